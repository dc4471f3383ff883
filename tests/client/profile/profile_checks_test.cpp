#include "client/profile/profile_checks.h"

#include "tests/client/profile/profile_text.h"

namespace veltrane {
namespace {

// A profile with all that a tunnel needs, every value from line 7.
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

  std::string Problem(const ProfileKeyWords& words = kProfileKeyNames) const {
    const auto problem = FindProfileProblem(profile, words);
    return problem ? std::to_string(problem->line) + ": " + problem->text : "none";
  }

  Profile profile;
};

TEST_F(ProfileProblems, AGoodProfileHasNone) { EXPECT_EQ(Problem(), "none"); }

TEST_F(ProfileProblems, TheFirstIsReported) {
  Set(ProfileKey::kEndpointPort, "0");
  Set(ProfileKey::kAddress, "");
  EXPECT_EQ(Problem(),
            "0: address_cidr is missing: add the tunnel's own address, such as 10.66.66.7/32");
}

TEST_F(ProfileProblems, AreToldInTheWordsOfTheFile) {
  Set(ProfileKey::kEndpointPort, "0");
  EXPECT_EQ(Problem(kConfKeyWords), "7: Endpoint is \"0\": a port is a number from 1 to 65535");
}

struct Change {
  const char* name;
  ProfileKey key;
  const char* value;
  const char* problem;
};

class ChangedProfile : public ProfileProblems, public testing::WithParamInterface<Change> {};

TEST_P(ChangedProfile, HasThisProblem) {
  Set(GetParam().key, GetParam().value);
  EXPECT_EQ(Problem(), GetParam().problem);
}

INSTANTIATE_TEST_SUITE_P(
    Values, ChangedProfile,
    testing::Values(
        Change{"NodeIdMissing", ProfileKey::kNodeId, "",
               "0: node_id is missing: add it, or use --node-id"},
        Change{"PrivateKeyMissing", ProfileKey::kClientPrivateKey, "",
               "0: client_private_key is missing: add the key (44 characters of base64)"},
        Change{"ServerKeyMissing", ProfileKey::kServerPublicKey, "",
               "0: server_public_key is missing: add the key (44 characters of base64)"},
        Change{"AddressMissing", ProfileKey::kAddress, "",
               "0: address_cidr is missing: add the tunnel's own address, such as 10.66.66.7/32"},
        Change{"EndpointMissing", ProfileKey::kEndpointHost, "",
               "0: endpoint_host is missing: add the server's name or address"},
        Change{"AllowedIpsMissing", ProfileKey::kAllowedIps, "",
               "0: allowed_ips_csv is missing: add the networks behind the tunnel, such as "
               "10.66.66.0/24"},
        Change{"PortMissing", ProfileKey::kEndpointPort, "", "none"},
        Change{"DnsMissing", ProfileKey::kDns, "", "none"},
        Change{"PreSharedKeyMissing", ProfileKey::kPreSharedKey, "", "none"},
        Change{"PrivateKeyIsNotOne", ProfileKey::kClientPrivateKey, "secret",
               "7: client_private_key is not a WireGuard key: a key is 32 bytes in base64, 44 "
               "characters ending in \"=\""},
        Change{"PreSharedKeyIsNotOne", ProfileKey::kPreSharedKey, "secret",
               "7: pre_shared_key is not a WireGuard key: a key is 32 bytes in base64, 44 "
               "characters ending in \"=\""},
        Change{"ServerKeyIsNotOne", ProfileKey::kServerPublicKey, "secret",
               "7: server_public_key is not a WireGuard key: a key is 32 bytes in base64, 44 "
               "characters ending in \"=\""},
        Change{"ClientKeyIsNotOne", ProfileKey::kClientPublicKey, "secret",
               "7: client_public_key is not a WireGuard key: a key is 32 bytes in base64, 44 "
               "characters ending in \"=\""},
        Change{"OneOfTheAllowedIps", ProfileKey::kAllowedIps, "10.0.0.0/8, 10.0.0.0/40",
               "7: allowed_ips_csv contains \"10.0.0.0/40\", which is not a network such as "
               "10.66.66.0/24"},
        Change{"KeyInTheWrongPlaceIsHidden", ProfileKey::kAddress,
               "iBnhCLo9Ui/z1eOdrXifD/phj28t9tEs+vG22i9gAHY=",
               "7: address_cidr contains \"(hidden, 44 characters)\", which is not an address such "
               "as 10.66.66.7/32"},
        Change{"PortZero", ProfileKey::kEndpointPort, "0",
               "7: endpoint_port is \"0\": a port is a number from 1 to 65535"},
        Change{"PortTooLarge", ProfileKey::kEndpointPort, "65536",
               "7: endpoint_port is \"65536\": a port is a number from 1 to 65535"},
        Change{"PortWithLetters", ProfileKey::kEndpointPort, "51820abc",
               "7: endpoint_port is \"51820abc\": a port is a number from 1 to 65535"},
        Change{"PortNegative", ProfileKey::kEndpointPort, "-1",
               "7: endpoint_port is \"-1\": a port is a number from 1 to 65535"},
        Change{"LowestPort", ProfileKey::kEndpointPort, "1", "none"},
        Change{"HighestPort", ProfileKey::kEndpointPort, "65535", "none"},
        Change{"Ipv6EndpointWithoutBrackets", ProfileKey::kEndpointHost, "2001:db8::1",
               "7: endpoint_host is an IPv6 address without brackets: write [2001:db8::1]"},
        Change{"Ipv6EndpointInBrackets", ProfileKey::kEndpointHost, "[2001:db8::1]", "none"},
        Change{"EndpointIsNotAHost", ProfileKey::kEndpointHost, "not a host",
               "7: endpoint_host is \"not a host\", neither a host name nor an address"},
        Change{"EndpointByName", ProfileKey::kEndpointHost, "vpn.example", "none"},
        Change{"DnsServersAndSearchDomains", ProfileKey::kDns, "10.0.0.1, fd00::1, example.org",
               "none"},
        Change{"DnsWithSemicolon", ProfileKey::kDns, "10.0.0.1;10.0.0.2",
               "7: dns_csv contains \"10.0.0.1;10.0.0.2\", which is neither an address nor a "
               "search domain"},
        Change{"LineFeed", ProfileKey::kDisplayName, "a\nb",
               "7: display_name has control characters or is not UTF-8: retype it"},
        Change{"NotUtf8", ProfileKey::kDisplayName, "\xFF",
               "7: display_name has control characters or is not UTF-8: retype it"},
        Change{"NodeIdWithQuote", ProfileKey::kNodeId, "a\"b",
               "7: node_id has a double quote or a backslash, which would break the service's "
               "replies: choose another, or use --node-id"},
        Change{"NodeIdWithBackslash", ProfileKey::kNodeId, "a\\b",
               "7: node_id has a double quote or a backslash, which would break the service's "
               "replies: choose another, or use --node-id"}),
    [](const auto& change) { return change.param.name; });

}  // namespace
}  // namespace veltrane
