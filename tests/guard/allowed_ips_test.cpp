#include "guard/allowed_ips.h"

#include <gtest/gtest.h>

namespace veltrane {
namespace {

TEST(CatchAll, IsFoundAsTheWholeText) {
  EXPECT_TRUE(ContainsCatchAll("0.0.0.0/0"));
  EXPECT_TRUE(ContainsCatchAll("::/0"));
}

TEST(CatchAll, IsFoundAnywhereInTheText) {
  EXPECT_TRUE(ContainsCatchAll("10.0.0.0/8,0.0.0.0/0"));
  EXPECT_TRUE(ContainsCatchAll("0.0.0.0/0, 10.0.0.0/8"));
  EXPECT_TRUE(ContainsCatchAll("10.0.0.0/8,::/0,192.168.1.0/24"));
}

TEST(CatchAll, IsASubstringNotAnAddress) {
  EXPECT_TRUE(ContainsCatchAll("10.0.0.0/0"));
  EXPECT_TRUE(ContainsCatchAll("0.0.0.0/00"));
  EXPECT_TRUE(ContainsCatchAll("fd00::/0"));
  EXPECT_TRUE(ContainsCatchAll("::/01"));
}

TEST(CatchAll, IsNotFoundInOtherNetworks) {
  EXPECT_FALSE(ContainsCatchAll(""));
  EXPECT_FALSE(ContainsCatchAll("10.0.0.0/8,192.168.1.0/24"));
  EXPECT_FALSE(ContainsCatchAll("0.0.0.0/1,128.0.0.0/1"));
  EXPECT_FALSE(ContainsCatchAll("::/1,8000::/1"));
  EXPECT_FALSE(ContainsCatchAll("0.0.0.0/24"));
}

TEST(CatchAll, IsNotFoundInAnotherSpelling) {
  EXPECT_FALSE(ContainsCatchAll("0.0.0.0 /0"));
  EXPECT_FALSE(ContainsCatchAll("0/0"));
  EXPECT_FALSE(ContainsCatchAll("0.0.0.0/"));
  EXPECT_FALSE(ContainsCatchAll("0.0.0.0"));
  EXPECT_FALSE(ContainsCatchAll("::0/0"));
  EXPECT_FALSE(ContainsCatchAll("::/"));
  EXPECT_FALSE(ContainsCatchAll(":/0"));
}

TEST(CatchAll, IsFoundBehindAZeroByte) {
  EXPECT_TRUE(ContainsCatchAll(std::string_view("a\0::/0", 6)));
}

RouteGuardResult GuardOn() {
  RouteGuardResult result;
  result.effective_disable_default_route = true;
  return result;
}

ConnectionProfile Profile(const std::string& allowed_ips, const std::string& address) {
  ConnectionProfile profile;
  profile.node_id = "node-1";
  profile.client_private_key = "private";
  profile.server_public_key = "public";
  profile.endpoint_host = "192.0.2.10";
  profile.dns_csv = "10.66.66.1";
  profile.address_cidr = address;
  profile.allowed_ips_csv = allowed_ips;
  return profile;
}

TEST(GuardOff, LeavesTheProfileUntouched) {
  ConnectionProfile profile = Profile("0.0.0.0/0", "10.7.3.9/32");
  RouteGuardResult result;
  PatchAllowedIps(profile, result);
  EXPECT_EQ(profile.allowed_ips_csv, "0.0.0.0/0");
  EXPECT_EQ(profile.dns_csv, "10.66.66.1");
  EXPECT_EQ(profile.address_cidr, "10.7.3.9/32");
}

TEST(GuardOff, RecordsTheListBeforeAndNoneAfter) {
  ConnectionProfile profile = Profile("0.0.0.0/0", "10.7.3.9/32");
  RouteGuardResult result;
  PatchAllowedIps(profile, result);
  EXPECT_EQ(result.generated_allowed_ips_before, "0.0.0.0/0");
  EXPECT_EQ(result.generated_allowed_ips_after, "");
  EXPECT_FALSE(result.poc_route_guard_failed);
  EXPECT_EQ(result.failure_reason, "");
  EXPECT_EQ(result.message, "disable-default-route not active");
}

TEST(GuardOff, ChecksNothingElse) {
  ConnectionProfile profile = Profile("10.0.0.0/8", "10.7.3.9/32");
  profile.endpoint_host = "::/0";
  RouteGuardResult result;
  PatchAllowedIps(profile, result);
  EXPECT_FALSE(result.poc_route_guard_failed);
  EXPECT_EQ(result.message, "disable-default-route not active");
}

TEST(GuardOn, ReplacesACatchAllListByTheClientsNetwork) {
  ConnectionProfile profile = Profile("0.0.0.0/0, ::/0", "10.7.3.9/32");
  RouteGuardResult result = GuardOn();
  PatchAllowedIps(profile, result);
  EXPECT_EQ(profile.allowed_ips_csv, "10.7.3.0/24");
  EXPECT_EQ(result.generated_allowed_ips_before, "0.0.0.0/0, ::/0");
  EXPECT_EQ(result.generated_allowed_ips_after, "10.7.3.0/24");
  EXPECT_FALSE(result.poc_route_guard_failed);
  EXPECT_EQ(result.failure_reason, "");
  EXPECT_EQ(result.message, "POC safe AllowedIPs applied (no catch-all)");
}

TEST(GuardOn, DropsEveryOtherEntryWithTheCatchAll) {
  ConnectionProfile profile = Profile("192.168.1.0/24,::/0,172.16.0.0/12", "10.7.3.9/32");
  RouteGuardResult result = GuardOn();
  PatchAllowedIps(profile, result);
  EXPECT_EQ(profile.allowed_ips_csv, "10.7.3.0/24");
  EXPECT_EQ(result.generated_allowed_ips_before, "192.168.1.0/24,::/0,172.16.0.0/12");
}

TEST(GuardOn, ReplacesAnIpv6CatchAllAloneByTheIpv4Network) {
  ConnectionProfile profile = Profile("::/0", "10.7.3.9/32");
  RouteGuardResult result = GuardOn();
  PatchAllowedIps(profile, result);
  EXPECT_EQ(profile.allowed_ips_csv, "10.7.3.0/24");
}

TEST(GuardOn, TreatsASubstringAsACatchAll) {
  ConnectionProfile profile = Profile("10.0.0.0/0", "10.7.3.9/32");
  RouteGuardResult result = GuardOn();
  PatchAllowedIps(profile, result);
  EXPECT_EQ(profile.allowed_ips_csv, "10.7.3.0/24");
  EXPECT_EQ(result.message, "POC safe AllowedIPs applied (no catch-all)");
}

TEST(GuardOn, LeavesAListWithoutCatchAllAsItIs) {
  ConnectionProfile profile = Profile("10.0.0.0/8,192.168.1.0/24", "10.7.3.9/32");
  RouteGuardResult result = GuardOn();
  PatchAllowedIps(profile, result);
  EXPECT_EQ(profile.allowed_ips_csv, "10.0.0.0/8,192.168.1.0/24");
  EXPECT_EQ(result.generated_allowed_ips_before, "10.0.0.0/8,192.168.1.0/24");
  EXPECT_EQ(result.generated_allowed_ips_after, "10.0.0.0/8,192.168.1.0/24");
  EXPECT_FALSE(result.poc_route_guard_failed);
  EXPECT_EQ(result.message, "POC safe AllowedIPs applied (no catch-all)");
}

TEST(GuardOn, LeavesAnEmptyListEmpty) {
  ConnectionProfile profile = Profile("", "10.7.3.9/32");
  RouteGuardResult result = GuardOn();
  PatchAllowedIps(profile, result);
  EXPECT_EQ(profile.allowed_ips_csv, "");
  EXPECT_EQ(result.generated_allowed_ips_after, "");
  EXPECT_EQ(result.message, "POC safe AllowedIPs applied (no catch-all)");
}

TEST(GuardOn, EmptiesTheDnsServersWhenTheListIsReplaced) {
  ConnectionProfile profile = Profile("0.0.0.0/0", "10.7.3.9/32");
  RouteGuardResult result = GuardOn();
  PatchAllowedIps(profile, result);
  EXPECT_EQ(profile.dns_csv, "");
}

TEST(GuardOn, EmptiesTheDnsServersWhenTheListIsKept) {
  ConnectionProfile profile = Profile("10.0.0.0/8", "10.7.3.9/32");
  RouteGuardResult result = GuardOn();
  PatchAllowedIps(profile, result);
  EXPECT_EQ(profile.dns_csv, "");
}

TEST(GuardOn, LeavesEveryOtherFieldOfTheProfileAlone) {
  ConnectionProfile profile = Profile("0.0.0.0/0", "10.7.3.9/32");
  profile.device_id = "device";
  profile.client_public_key = "client-public";
  profile.pre_shared_key = "preshared";
  profile.display_name = "Office";
  profile.endpoint_port = 443;
  RouteGuardResult result = GuardOn();
  PatchAllowedIps(profile, result);
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

TEST(GuardOn, LeavesTheSettingsInTheRecordAlone) {
  ConnectionProfile profile = Profile("0.0.0.0/0", "10.7.3.9/32");
  RouteGuardResult result = GuardOn();
  result.rdp_session_active = true;
  result.auto_stop_seconds = 60;
  result.machine_env_VELTRANE_POC_DISABLE_DEFAULT_ROUTE = "1";
  PatchAllowedIps(profile, result);
  EXPECT_TRUE(result.effective_disable_default_route);
  EXPECT_TRUE(result.rdp_session_active);
  EXPECT_EQ(result.auto_stop_seconds, 60);
  EXPECT_EQ(result.machine_env_VELTRANE_POC_DISABLE_DEFAULT_ROUTE, "1");
}

struct Field {
  const char* name;
  std::string ConnectionProfile::*member;
};

void PrintTo(const Field& field, std::ostream* out) { *out << field.name; }

std::string NameOf(const testing::TestParamInfo<Field>& info) { return info.param.name; }

class RenderedField : public testing::TestWithParam<Field> {};

TEST_P(RenderedField, WithAnIpv6CatchAllMakesTheGuardRefuse) {
  ConnectionProfile profile = Profile("10.0.0.0/8", "10.7.3.9/32");
  profile.*GetParam().member = "x::/0y";
  RouteGuardResult result = GuardOn();
  PatchAllowedIps(profile, result);
  EXPECT_TRUE(result.poc_route_guard_failed);
  EXPECT_EQ(result.failure_reason, "poc_route_guard_failed");
  EXPECT_EQ(result.message, "generated WireGuard config still contains catch-all AllowedIPs");
}

TEST_P(RenderedField, WithAnIpv4CatchAllMakesTheGuardRefuse) {
  ConnectionProfile profile = Profile("10.0.0.0/8", "10.7.3.9/32");
  profile.*GetParam().member = "10.0.0.0/0";
  RouteGuardResult result = GuardOn();
  PatchAllowedIps(profile, result);
  EXPECT_TRUE(result.poc_route_guard_failed);
  EXPECT_EQ(result.failure_reason, "poc_route_guard_failed");
  EXPECT_EQ(result.message, "generated WireGuard config still contains catch-all AllowedIPs");
}

INSTANTIATE_TEST_SUITE_P(
    Guard, RenderedField,
    testing::Values(Field{"ClientPrivateKey", &ConnectionProfile::client_private_key},
                    Field{"AddressCidr", &ConnectionProfile::address_cidr},
                    Field{"ServerPublicKey", &ConnectionProfile::server_public_key},
                    Field{"PreSharedKey", &ConnectionProfile::pre_shared_key},
                    Field{"EndpointHost", &ConnectionProfile::endpoint_host}),
    NameOf);

class FieldOutsideTheFile : public testing::TestWithParam<Field> {};

TEST_P(FieldOutsideTheFile, MayHoldACatchAll) {
  ConnectionProfile profile = Profile("10.0.0.0/8", "10.7.3.9/32");
  profile.*GetParam().member = "::/0,0.0.0.0/0";
  RouteGuardResult result = GuardOn();
  PatchAllowedIps(profile, result);
  EXPECT_FALSE(result.poc_route_guard_failed);
  EXPECT_EQ(result.failure_reason, "");
  EXPECT_EQ(result.message, "POC safe AllowedIPs applied (no catch-all)");
}

INSTANTIATE_TEST_SUITE_P(Guard, FieldOutsideTheFile,
                         testing::Values(Field{"DnsCsv", &ConnectionProfile::dns_csv},
                                         Field{"NodeId", &ConnectionProfile::node_id},
                                         Field{"DeviceId", &ConnectionProfile::device_id},
                                         Field{"ClientPublicKey",
                                               &ConnectionProfile::client_public_key},
                                         Field{"DisplayName", &ConnectionProfile::display_name}),
                         NameOf);

TEST(GuardRefusal, ComesAfterTheListAndTheDnsServersWereRewritten) {
  ConnectionProfile profile = Profile("0.0.0.0/0", "10.7.3.9/32");
  profile.endpoint_host = "::/0";
  RouteGuardResult result = GuardOn();
  PatchAllowedIps(profile, result);
  EXPECT_TRUE(result.poc_route_guard_failed);
  EXPECT_EQ(profile.allowed_ips_csv, "10.7.3.0/24");
  EXPECT_EQ(profile.dns_csv, "");
  EXPECT_EQ(result.generated_allowed_ips_before, "0.0.0.0/0");
  EXPECT_EQ(result.generated_allowed_ips_after, "10.7.3.0/24");
}

TEST(GuardRefusal, IsMadeForAnAddressThatIsACatchAllItself) {
  ConnectionProfile profile = Profile("0.0.0.0/0", "0.0.0.0/0");
  RouteGuardResult result = GuardOn();
  PatchAllowedIps(profile, result);
  EXPECT_EQ(profile.allowed_ips_csv, "0.0.0.0/24");
  EXPECT_EQ(result.message, "generated WireGuard config still contains catch-all AllowedIPs");
}

TEST(GuardRefusal, IsNotMadeForTheNetworkOfTheUnspecifiedAddress) {
  ConnectionProfile profile = Profile("0.0.0.0/0", "0.0.0.0/32");
  RouteGuardResult result = GuardOn();
  PatchAllowedIps(profile, result);
  EXPECT_EQ(profile.allowed_ips_csv, "0.0.0.0/24");
  EXPECT_EQ(result.message, "POC safe AllowedIPs applied (no catch-all)");
}

}  // namespace
}  // namespace veltrane
