#include "guard/allowed_ips.h"

#include <gtest/gtest.h>

#include "guard/report.h"
#include "tests/guard/full_record.h"
#include "tests/support/report_texts.h"

namespace veltrane {
namespace {

TEST(CatchAll, IsFoundAsASubstringAnywhere) {
  for (const char* text :
       {"0.0.0.0/0", "::/0", "10.0.0.0/8,0.0.0.0/0", "0.0.0.0/0, 10.0.0.0/8",
        "10.0.0.0/8,::/0,192.168.1.0/24", "10.0.0.0/0", "0.0.0.0/00", "fd00::/0", "::/01"}) {
    EXPECT_TRUE(ContainsCatchAll(text)) << text;
  }
  EXPECT_TRUE(ContainsCatchAll(std::string_view("a\0::/0", 6)));
}

TEST(CatchAll, IsNotFoundInOtherNetworksOrInAnotherSpelling) {
  for (const char* text :
       {"", "10.0.0.0/8,192.168.1.0/24", "0.0.0.0/1,128.0.0.0/1", "::/1,8000::/1", "0.0.0.0/24",
        "0.0.0.0 /0", "0/0", "0.0.0.0/", "0.0.0.0", "::0/0", "::/", ":/0"}) {
    EXPECT_FALSE(ContainsCatchAll(text)) << text;
  }
}

class PatchedProfile : public testing::Test {
 protected:
  PatchedProfile() {
    profile.node_id = "node-1";
    profile.device_id = "device";
    profile.address_cidr = "10.7.3.9/32";
    profile.endpoint_host = "192.0.2.10";
    profile.endpoint_port = 443;
    profile.server_public_key = "public";
    profile.client_private_key = "private";
    profile.client_public_key = "client-public";
    profile.pre_shared_key = "preshared";
    profile.display_name = "Office";
    result.effective_disable_default_route = true;
  }

  void Patch(const std::string& allowed_ips) {
    profile.allowed_ips_csv = allowed_ips;
    profile.dns_csv = "10.66.66.1";
    PatchAllowedIps(profile, result);
  }

  // Expects this list in the profile, no DNS servers, and both lists in the record.
  void ExpectPatched(const std::string& before, const std::string& after) {
    EXPECT_EQ(profile.allowed_ips_csv, after);
    EXPECT_EQ(profile.dns_csv, "");
    EXPECT_EQ(result.generated_allowed_ips_before, before);
    EXPECT_EQ(result.generated_allowed_ips_after, after);
  }

  void ExpectSuccess() {
    EXPECT_FALSE(result.poc_route_guard_failed);
    EXPECT_EQ(result.failure_reason, "");
    EXPECT_EQ(result.message, "POC safe AllowedIPs applied (no catch-all)");
  }

  void ExpectRefusal() {
    EXPECT_TRUE(result.poc_route_guard_failed);
    EXPECT_EQ(result.failure_reason, "poc_route_guard_failed");
    EXPECT_EQ(result.message, "generated WireGuard config still contains catch-all AllowedIPs");
  }

  ConnectionProfile profile;
  RouteGuardResult result;
};

TEST_F(PatchedProfile, WithTheGuardOffIsNeitherChangedNorChecked) {
  result = {};
  profile.endpoint_host = "::/0";
  Patch("0.0.0.0/0");
  EXPECT_EQ(profile.allowed_ips_csv, "0.0.0.0/0");
  EXPECT_EQ(profile.dns_csv, "10.66.66.1");
  EXPECT_EQ(FormatRouteGuardReport(result),
            With(kFreshGuard, {R"("generated_allowed_ips_before":"0.0.0.0/0",)"
                               R"("message":"disable-default-route not active")"}));
}

TEST_F(PatchedProfile, GetsTheClientsNetworkInsteadOfAListWithACatchAll) {
  for (const char* list :
       {"0.0.0.0/0, ::/0", "192.168.1.0/24,::/0,172.16.0.0/12", "::/0", "10.0.0.0/0"}) {
    Patch(list);
    ExpectPatched(list, "10.7.3.0/24");
    ExpectSuccess();
  }
}

TEST_F(PatchedProfile, KeepsAListWithoutCatchAll) {
  for (const char* list : {"10.0.0.0/8,192.168.1.0/24", ""}) {
    Patch(list);
    ExpectPatched(list, list);
    ExpectSuccess();
  }
}

TEST_F(PatchedProfile, KeepsEveryOtherField) {
  Patch("0.0.0.0/0");
  EXPECT_EQ(profile.node_id, "node-1");
  EXPECT_EQ(profile.device_id, "device");
  EXPECT_EQ(profile.address_cidr, "10.7.3.9/32");
  EXPECT_EQ(profile.endpoint_host, "192.0.2.10");
  EXPECT_EQ(profile.endpoint_port, 443);
  EXPECT_EQ(profile.server_public_key, "public");
  EXPECT_EQ(profile.client_private_key, "private");
  EXPECT_EQ(profile.client_public_key, "client-public");
  EXPECT_EQ(profile.pre_shared_key, "preshared");
  EXPECT_EQ(profile.persistent_keepalive, 25);
  EXPECT_EQ(profile.mtu, 0);
  EXPECT_EQ(profile.display_name, "Office");
}

TEST_F(PatchedProfile, FillsThreeMembersOfTheRecordAlone) {
  result = FullRecord();
  Patch("10.0.0.0/8");
  EXPECT_EQ(FormatRouteGuardReport(result),
            With(kFullReport, {R"("generated_allowed_ips_before":"10.0.0.0/8")",
                               R"("generated_allowed_ips_after":"10.0.0.0/8")",
                               R"j("message":"POC safe AllowedIPs applied (no catch-all)")j"}));
}

TEST_F(PatchedProfile, IsRefusedWithACatchAllInAFieldOfTheFile) {
  const ConnectionProfile good = profile;
  const RouteGuardResult fresh = result;
  for (std::string* field :
       {&profile.client_private_key, &profile.address_cidr, &profile.server_public_key,
        &profile.pre_shared_key, &profile.endpoint_host}) {
    for (const char* text : {"x::/0y", "10.0.0.0/0"}) {
      profile = good;
      result = fresh;
      SCOPED_TRACE(std::string(text) + " instead of " + *field);
      *field = text;
      Patch("10.0.0.0/8");
      ExpectRefusal();
    }
  }
}

TEST_F(PatchedProfile, MayHoldACatchAllInItsDnsServersAndOutsideTheFile) {
  profile.allowed_ips_csv = "10.0.0.0/8";
  for (std::string* field : {&profile.dns_csv, &profile.node_id, &profile.device_id,
                             &profile.client_public_key, &profile.display_name}) {
    *field = "::/0,0.0.0.0/0";
  }
  PatchAllowedIps(profile, result);
  ExpectSuccess();
}

TEST_F(PatchedProfile, IsRefusedAfterItsListAndItsDnsServersWereRewritten) {
  profile.endpoint_host = "::/0";
  Patch("0.0.0.0/0");
  ExpectPatched("0.0.0.0/0", "10.7.3.0/24");
  ExpectRefusal();
}

TEST_F(PatchedProfile, IsRefusedForAnAddressThatIsACatchAllButNotForItsNetwork) {
  profile.address_cidr = "0.0.0.0/32";
  Patch("0.0.0.0/0");
  ExpectPatched("0.0.0.0/0", "0.0.0.0/24");
  ExpectSuccess();
  profile.address_cidr = "0.0.0.0/0";
  Patch("0.0.0.0/0");
  ExpectPatched("0.0.0.0/0", "0.0.0.0/24");
  ExpectRefusal();
}

}  // namespace
}  // namespace veltrane
