#include "ipc/connection_profile.h"

#include <cstdint>
#include <stdexcept>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace veltrane {
namespace {

using testing::StrEq;
using testing::ThrowsMessage;

// The names of the members of a profile that are not empty, in the order of the record.
std::string FilledTexts(const ConnectionProfile& profile) {
  std::string names;
  if (!profile.node_id.empty()) names += "node_id ";
  if (!profile.device_id.empty()) names += "device_id ";
  if (!profile.address_cidr.empty()) names += "address_cidr ";
  if (!profile.endpoint_host.empty()) names += "endpoint_host ";
  if (!profile.server_public_key.empty()) names += "server_public_key ";
  if (!profile.client_private_key.empty()) names += "client_private_key ";
  if (!profile.client_public_key.empty()) names += "client_public_key ";
  if (!profile.pre_shared_key.empty()) names += "pre_shared_key ";
  if (!profile.dns_csv.empty()) names += "dns_csv ";
  if (!profile.allowed_ips_csv.empty()) names += "allowed_ips_csv ";
  if (!profile.display_name.empty()) names += "display_name ";
  return names;
}

std::string ConnectWithPort(const std::string& port) {
  return "{\"op\":\"connect\",\"endpoint_port\":\"" + port + "\"}";
}

TEST(ConnectionProfile, StartsWithItsDefaults) {
  const ConnectionProfile profile;
  EXPECT_EQ(FilledTexts(profile), "");
  EXPECT_EQ(profile.endpoint_port, 51820);
  EXPECT_EQ(profile.persistent_keepalive, 25);
  EXPECT_EQ(profile.mtu, 0);
}

TEST(ParseProfile, TakesEveryKeyIntoItsOwnMember) {
  const ConnectionProfile profile = ParseProfile(
      R"({"op":"connect","node_id":"n1","device_id":"d2","address_cidr":"10.8.0.3/32",)"
      R"("endpoint_host":"vpn4.example.net","endpoint_port":"443","server_public_key":"SPK5=",)"
      R"("client_private_key":"CPK6=","client_public_key":"CPUB7=","pre_shared_key":"PSK8=",)"
      R"("dns_csv":"9.9.9.9, 1.1.1.1","allowed_ips_csv":"0.0.0.0/0,::/0",)"
      R"("display_name":"Node One"})");
  EXPECT_EQ(profile.node_id, "n1");
  EXPECT_EQ(profile.device_id, "d2");
  EXPECT_EQ(profile.address_cidr, "10.8.0.3/32");
  EXPECT_EQ(profile.endpoint_host, "vpn4.example.net");
  EXPECT_EQ(profile.endpoint_port, 443);
  EXPECT_EQ(profile.server_public_key, "SPK5=");
  EXPECT_EQ(profile.client_private_key, "CPK6=");
  EXPECT_EQ(profile.client_public_key, "CPUB7=");
  EXPECT_EQ(profile.pre_shared_key, "PSK8=");
  EXPECT_EQ(profile.dns_csv, "9.9.9.9, 1.1.1.1");
  EXPECT_EQ(profile.allowed_ips_csv, "0.0.0.0/0,::/0");
  EXPECT_EQ(profile.display_name, "Node One");
  EXPECT_EQ(profile.persistent_keepalive, 25);
  EXPECT_EQ(profile.mtu, 0);
}

TEST(ParseProfile, RequiredKeysAloneLeaveEverythingElseAtItsDefault) {
  const ConnectionProfile profile = ParseProfile(R"({"node_id":"n1","client_private_key":"key="})");
  EXPECT_EQ(FilledTexts(profile), "node_id client_private_key ");
  EXPECT_EQ(profile.node_id, "n1");
  EXPECT_EQ(profile.client_private_key, "key=");
  EXPECT_EQ(profile.endpoint_port, 51820);
  EXPECT_EQ(profile.persistent_keepalive, 25);
  EXPECT_EQ(profile.mtu, 0);
}

TEST(ParseProfile, EmptyRequestYieldsTheDefaults) {
  const ConnectionProfile profile = ParseProfile("");
  EXPECT_EQ(FilledTexts(profile), "");
  EXPECT_EQ(profile.endpoint_port, 51820);
}

TEST(ParseProfile, ValuesAreUnescapedButNeitherTrimmedNorChecked) {
  const ConnectionProfile profile =
      ParseProfile(R"({"node_id":"  n\\1 \"x\" ","dns_csv":" not, an , address\n"})");
  EXPECT_EQ(profile.node_id, "  n\\1 \"x\" ");
  EXPECT_EQ(profile.dns_csv, " not, an , address\n");
}

TEST(ParseProfile, KeepaliveAndMtuCannotBeRequested) {
  const ConnectionProfile profile = ParseProfile(
      R"({"persistent_keepalive":"5","mtu":"1280","PersistentKeepalive":"6","MTU":"1300"})");
  EXPECT_EQ(profile.persistent_keepalive, 25);
  EXPECT_EQ(profile.mtu, 0);
  EXPECT_EQ(FilledTexts(profile), "");
}

// ---- each text member

struct TextKey {
  const char* key;
  std::string ConnectionProfile::*member;
};

class TextMember : public testing::TestWithParam<TextKey> {};

TEST_P(TextMember, IsReadFromItsKeyAlone) {
  const auto& [key, member] = GetParam();
  const ConnectionProfile profile =
      ParseProfile("{\"op\":\"connect\",\"" + std::string(key) + "\":\"the value\"}");
  EXPECT_EQ(profile.*member, "the value");
  EXPECT_EQ(FilledTexts(profile), std::string(key) + " ");
}

TEST_P(TextMember, StaysEmptyWhenTheValueIsNoString) {
  const auto& [key, member] = GetParam();
  for (const char* value : {"7", "true", "null", "[\"x\"]", "{}", "\"unterminated"}) {
    EXPECT_EQ(ParseProfile("{\"" + std::string(key) + "\":" + value).*member, "") << value;
  }
}

INSTANTIATE_TEST_SUITE_P(
    ParseProfile, TextMember,
    testing::Values(TextKey{"node_id", &ConnectionProfile::node_id},
                    TextKey{"device_id", &ConnectionProfile::device_id},
                    TextKey{"address_cidr", &ConnectionProfile::address_cidr},
                    TextKey{"endpoint_host", &ConnectionProfile::endpoint_host},
                    TextKey{"server_public_key", &ConnectionProfile::server_public_key},
                    TextKey{"client_private_key", &ConnectionProfile::client_private_key},
                    TextKey{"client_public_key", &ConnectionProfile::client_public_key},
                    TextKey{"pre_shared_key", &ConnectionProfile::pre_shared_key},
                    TextKey{"dns_csv", &ConnectionProfile::dns_csv},
                    TextKey{"allowed_ips_csv", &ConnectionProfile::allowed_ips_csv},
                    TextKey{"display_name", &ConnectionProfile::display_name}),
    [](const testing::TestParamInfo<TextKey>& test) { return std::string(test.param.key); });

// ---- the port

TEST(EndpointPort, BareNumberGivesTheDefault) {
  EXPECT_EQ(ParseProfile(R"({"endpoint_port":443})").endpoint_port, 51820);
}

TEST(EndpointPort, EmptyTextGivesTheDefault) {
  EXPECT_EQ(ParseProfile(ConnectWithPort("")).endpoint_port, 51820);
}

struct PortText {
  const char* name;
  const char* text;  // as it stands in the request
  std::int32_t expected = 0;
};

class ConvertedPort : public testing::TestWithParam<PortText> {};

TEST_P(ConvertedPort, IsStoredAsItIs) {
  EXPECT_EQ(ParseProfile(ConnectWithPort(GetParam().text)).endpoint_port, GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(EndpointPort, ConvertedPort,
                         testing::Values(PortText{"Plain", "443", 443},
                                         PortText{"LeadingBlankAndTrailingLetter", " 443x", 443},
                                         PortText{"EveryLeadingWhiteSpace", " \t\n\v\f\r443", 443},
                                         PortText{"EscapedWhiteSpace", "\\t\\n\\r443", 443},
                                         PortText{"TrailingLetters", "51820abc", 51820},
                                         PortText{"TrailingBlank", "443 ", 443},
                                         PortText{"TrailingFraction", "443.9", 443},
                                         PortText{"PlusSign", "+443", 443},
                                         PortText{"Zero", "0", 0}, PortText{"MinusOne", "-1", -1},
                                         PortText{"AboveThePortRange", "65536", 65536},
                                         PortText{"LeadingZeros", "000443", 443},
                                         PortText{"HexadecimalStopsAtTheLetter", "0x1F", 0},
                                         PortText{"HighestNumber", "2147483647", 2147483647},
                                         PortText{"LowestNumber", "-2147483648", -2147483647 - 1}),
                         [](const testing::TestParamInfo<PortText>& test) {
                           return std::string(test.param.name);
                         });

class PortWithoutDigits : public testing::TestWithParam<PortText> {};

TEST_P(PortWithoutDigits, ThrowsInvalidArgument) {
  EXPECT_THAT([] { ParseProfile(ConnectWithPort(GetParam().text)); },
              ThrowsMessage<std::invalid_argument>(StrEq("invalid stoi argument")));
}

INSTANTIATE_TEST_SUITE_P(
    EndpointPort, PortWithoutDigits,
    testing::Values(PortText{"Letters", "abc"}, PortText{"LetterFirst", "x443"},
                    PortText{"BlankAlone", " "}, PortText{"SignAlone", "-"},
                    PortText{"TwoSigns", "+-443"}, PortText{"SignThenBlank", "- 443"},
                    PortText{"NoBreakSpaceFirst",
                             "\xA0"
                             "443"}),
    [](const testing::TestParamInfo<PortText>& test) { return std::string(test.param.name); });

class PortBeyond32Bits : public testing::TestWithParam<PortText> {};

TEST_P(PortBeyond32Bits, ThrowsOutOfRange) {
  EXPECT_THAT([] { ParseProfile(ConnectWithPort(GetParam().text)); },
              ThrowsMessage<std::out_of_range>(StrEq("stoi argument out of range")));
}

INSTANTIATE_TEST_SUITE_P(EndpointPort, PortBeyond32Bits,
                         testing::Values(PortText{"ElevenNines", "99999999999"},
                                         PortText{"OneAboveTheHighest", "2147483648"},
                                         PortText{"OneBelowTheLowest", "-2147483649"},
                                         PortText{"Beyond64Bits", "99999999999999999999999"},
                                         PortText{"Below64Bits", "-99999999999999999999999"},
                                         PortText{"TrailingLetters", "99999999999x"}),
                         [](const testing::TestParamInfo<PortText>& test) {
                           return std::string(test.param.name);
                         });

}  // namespace
}  // namespace veltrane
