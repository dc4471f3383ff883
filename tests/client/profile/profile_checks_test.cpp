#include "client/profile/profile_checks.h"

#include "client/profile/value_formats.h"
#include "tests/client/profile/profile_text.h"

namespace veltrane {
namespace {

TEST(WireGuardKey, Is44CharactersOfBase64For32Bytes) {
  EXPECT_TRUE(IsWireGuardKey("iBnhCLo9Ui/z1eOdrXifD/phj28t9tEs+vG22i9gAHY="));
  EXPECT_TRUE(IsWireGuardKey("AAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAA="));
}

TEST(WireGuardKey, IsNotShorterLongerUnpaddedOrOfOtherCharacters) {
  EXPECT_FALSE(IsWireGuardKey(""));
  EXPECT_FALSE(IsWireGuardKey("iBnhCLo9Ui/z1eOdrXifD/phj28t9tEs+vG22i9gAH="));
  EXPECT_FALSE(IsWireGuardKey("iBnhCLo9Ui/z1eOdrXifD/phj28t9tEs+vG22i9gAHYA="));
  EXPECT_FALSE(IsWireGuardKey("iBnhCLo9Ui/z1eOdrXifD/phj28t9tEs+vG22i9gAHYA"));
  EXPECT_FALSE(IsWireGuardKey("iBnhCLo9Ui-z1eOdrXifD/phj28t9tEs+vG22i9gAHY="));
  EXPECT_FALSE(IsWireGuardKey("iBnhCLo9Ui/z1eOdrXifD/phj28t9tEs+vG22i9gAH=="));
}

TEST(WireGuardKey, HasNoBitsBehindItsLastByte) {
  EXPECT_FALSE(IsWireGuardKey("AAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAB="));
  EXPECT_FALSE(IsWireGuardKey("AAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAC="));
  EXPECT_TRUE(IsWireGuardKey("AAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAE="));
}

TEST(AddressWithPrefix, IsAnAddressOfEitherFamilyWithOrWithoutPrefix) {
  for (const char* good :
       {"10.66.66.7/32", "0.0.0.0/0", "10.66.66.7", "255.255.255.255/32", "fd00::5/128", "::/0",
        "::1", "2001:db8:0:1:2:3:4:5/64", "::ffff:192.0.2.1/96", "1::"}) {
    EXPECT_TRUE(IsAddressWithPrefix(good)) << good;
  }
}

TEST(AddressWithPrefix, IsNothingElse) {
  for (const char* bad :
       {"", "10.66.66", "10.66.66.7/33", "10.66.66.7/", "10.66.66.256", "10.66.66.07",
        "10.66.66.7/-1", "fd00::5/129", "fd00:::5", "1:2:3:4:5:6:7", "1:2:3:4:5:6:7:8:9", "1::2::3",
        "12345::", "1:2:3:4:5:6:7:8::", "::192.0.2", "192.0.2.1::", "example.org", "10.0.0.1 "}) {
    EXPECT_FALSE(IsAddressWithPrefix(bad)) << bad;
  }
}

TEST(HostName, IsLabelsJoinedByDots) {
  for (const char* good : {"vpn.example", "a", "a-b.c_d.example", "1.example"}) {
    EXPECT_TRUE(IsHostName(good)) << good;
  }
  for (const char* bad :
       {"", ".", "a..b", "-a", "a-", "10.0.0.300", "a b", "a:b", "\xC3\xA9.example"}) {
    EXPECT_FALSE(IsHostName(bad)) << bad;
  }
  EXPECT_FALSE(IsHostName(std::string(64, 'a')));
}

class ProfileProblems : public WithClientSide {
 protected:
  ProfileProblems() {
    Set(ProfileKey::kNodeId, "office");
    Set(ProfileKey::kAddress, "10.66.66.7/32");
    Set(ProfileKey::kEndpointHost, "192.0.2.10");
    Set(ProfileKey::kEndpointPort, "51820");
    Set(ProfileKey::kServerPublicKey, "XMRuUJayp638fyAx0EkOl68F51NYDKvvv48nFPiYc0Q=");
    Set(ProfileKey::kClientPrivateKey, "iBnhCLo9Ui/z1eOdrXifD/phj28t9tEs+vG22i9gAHY=");
    Set(ProfileKey::kAllowedIps, "10.66.66.0/24");
  }

  void Set(ProfileKey key, const std::string& value) { profile[key] = {SecretText(value), 7}; }

  // The problem after one value has been changed.
  std::string With(ProfileKey key, const std::string& value) {
    Set(key, value);
    const auto problem = FindProfileProblem(profile);
    return problem ? std::to_string(problem->line) + ": " + problem->text : "none";
  }

  Profile profile;
};

TEST_F(ProfileProblems, AGoodProfileHasNone) {
  EXPECT_EQ(FindProfileProblem(profile), std::nullopt);
}

TEST_F(ProfileProblems, PortDnsAndPreSharedKeyMayBeMissing) {
  EXPECT_EQ(With(ProfileKey::kEndpointPort, ""), "none");
  EXPECT_EQ(With(ProfileKey::kDns, ""), "none");
  EXPECT_EQ(With(ProfileKey::kPreSharedKey, ""), "none");
}

TEST_F(ProfileProblems, WhatATunnelNeedsIsMissed) {
  EXPECT_EQ(With(ProfileKey::kNodeId, ""), "0: node_id is missing: add it, or use --node-id");
}

TEST_F(ProfileProblems, AMissingPrivateKeyIsMissed) {
  EXPECT_EQ(With(ProfileKey::kClientPrivateKey, ""),
            "0: client_private_key is missing: add the key (44 characters of base64)");
}

TEST_F(ProfileProblems, AMissingServerKeyIsMissed) {
  EXPECT_EQ(With(ProfileKey::kServerPublicKey, ""),
            "0: server_public_key is missing: add the key (44 characters of base64)");
}

TEST_F(ProfileProblems, AMissingAddressIsMissed) {
  EXPECT_EQ(With(ProfileKey::kAddress, ""),
            "0: address_cidr is missing: add the tunnel's own address, such as 10.66.66.7/32");
}

TEST_F(ProfileProblems, AMissingEndpointIsMissed) {
  EXPECT_EQ(With(ProfileKey::kEndpointHost, ""),
            "0: endpoint_host is missing: add the server's name or address");
}

TEST_F(ProfileProblems, MissingAllowedIpsAreMissed) {
  EXPECT_EQ(
      With(ProfileKey::kAllowedIps, ""),
      "0: allowed_ips_csv is missing: add the networks behind the tunnel, such as 10.66.66.0/24");
}

TEST_F(ProfileProblems, ABadKeyIsNamedAndNotShown) {
  EXPECT_EQ(With(ProfileKey::kClientPrivateKey, "secret"),
            "7: client_private_key is not a WireGuard key: a key is 32 bytes in base64, 44 "
            "characters ending in \"=\"");
}

TEST_F(ProfileProblems, ABadPreSharedKeyIsNamedAndNotShown) {
  EXPECT_EQ(With(ProfileKey::kPreSharedKey, "secret"),
            "7: pre_shared_key is not a WireGuard key: a key is 32 bytes in base64, 44 characters "
            "ending in \"=\"");
}

TEST_F(ProfileProblems, ABadItemOfAListIsShown) {
  EXPECT_EQ(
      With(ProfileKey::kAllowedIps, "10.0.0.0/8, 10.0.0.0/40"),
      "7: allowed_ips_csv contains \"10.0.0.0/40\", which is not a network such as 10.66.66.0/24");
}

TEST_F(ProfileProblems, AKeyInTheWrongPlaceIsNotShown) {
  EXPECT_EQ(With(ProfileKey::kAddress, "iBnhCLo9Ui/z1eOdrXifD/phj28t9tEs+vG22i9gAHY="),
            "7: address_cidr contains \"(hidden, 44 characters)\", which is not an address such as "
            "10.66.66.7/32");
}

TEST_F(ProfileProblems, APortIsANumberFrom1To65535) {
  const std::string problem = "\": a port is a number from 1 to 65535";
  EXPECT_EQ(With(ProfileKey::kEndpointPort, "0"), "7: endpoint_port is \"0" + problem);
  EXPECT_EQ(With(ProfileKey::kEndpointPort, "65536"), "7: endpoint_port is \"65536" + problem);
  EXPECT_EQ(With(ProfileKey::kEndpointPort, "51820abc"),
            "7: endpoint_port is \"51820abc" + problem);
  EXPECT_EQ(With(ProfileKey::kEndpointPort, "-1"), "7: endpoint_port is \"-1" + problem);
  EXPECT_EQ(With(ProfileKey::kEndpointPort, "65535"), "none");
  EXPECT_EQ(With(ProfileKey::kEndpointPort, "1"), "none");
}

TEST_F(ProfileProblems, AnIpv6EndpointNeedsBrackets) {
  EXPECT_EQ(With(ProfileKey::kEndpointHost, "2001:db8::1"),
            "7: endpoint_host is an IPv6 address without brackets: write [2001:db8::1]");
  EXPECT_EQ(With(ProfileKey::kEndpointHost, "[2001:db8::1]"), "none");
}

TEST_F(ProfileProblems, AnEndpointIsANameOrAnAddress) {
  EXPECT_EQ(With(ProfileKey::kEndpointHost, "not a host"),
            "7: endpoint_host is \"not a host\", neither a host name nor an address");
  EXPECT_EQ(With(ProfileKey::kEndpointHost, "vpn.example"), "none");
}

TEST_F(ProfileProblems, DnsHoldsAddressesAndSearchDomains) {
  EXPECT_EQ(With(ProfileKey::kDns, "10.0.0.1, fd00::1, example.org"), "none");
  EXPECT_EQ(
      With(ProfileKey::kDns, "10.0.0.1;10.0.0.2"),
      "7: dns_csv contains \"10.0.0.1;10.0.0.2\", which is neither an address nor a search domain");
}

TEST_F(ProfileProblems, ALineFeedWouldReachTheConfigurationFile) {
  EXPECT_EQ(With(ProfileKey::kDisplayName, "a\nb"),
            "7: display_name has control characters or is not UTF-8: retype it");
  EXPECT_EQ(With(ProfileKey::kDisplayName, "\xFF"),
            "7: display_name has control characters or is not UTF-8: retype it");
}

TEST_F(ProfileProblems, AQuoteInTheNodeIdWouldBreakTheReplies) {
  EXPECT_EQ(With(ProfileKey::kNodeId, "a\"b"),
            "7: node_id has a double quote or a backslash, which would break the service's "
            "replies: choose another, or use --node-id");
}

}  // namespace
}  // namespace veltrane
