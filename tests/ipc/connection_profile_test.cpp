#include "ipc/connection_profile.h"

#include <stdexcept>
#include <string>

#include <gtest/gtest.h>

#include "tests/support/name_of.h"

namespace veltrane {
namespace {

struct TextKey {
  const char* name;
  std::string ConnectionProfile::*member;
};

const TextKey kTextKeys[] = {{"node_id", &ConnectionProfile::node_id},
                             {"device_id", &ConnectionProfile::device_id},
                             {"address_cidr", &ConnectionProfile::address_cidr},
                             {"endpoint_host", &ConnectionProfile::endpoint_host},
                             {"server_public_key", &ConnectionProfile::server_public_key},
                             {"client_private_key", &ConnectionProfile::client_private_key},
                             {"client_public_key", &ConnectionProfile::client_public_key},
                             {"pre_shared_key", &ConnectionProfile::pre_shared_key},
                             {"dns_csv", &ConnectionProfile::dns_csv},
                             {"allowed_ips_csv", &ConnectionProfile::allowed_ips_csv},
                             {"display_name", &ConnectionProfile::display_name}};

// The profile's texts that are not empty, in the order of the record: "node_id=n1;"; then its
// numbers where they are not the defaults.
std::string Filled(const ConnectionProfile& profile) {
  std::string filled;
  for (const auto& [name, member] : kTextKeys) {
    if (!(profile.*member).empty()) filled += std::string(name) + "=" + profile.*member + ";";
  }
  if (profile.endpoint_port != 51820) filled += "port=" + std::to_string(profile.endpoint_port);
  if (profile.persistent_keepalive != 25) filled += "keepalive";
  if (profile.mtu != 0) filled += "mtu";
  return filled;
}

std::string ConnectWithPort(const std::string& port) {
  return "{\"op\":\"connect\",\"endpoint_port\":\"" + port + "\"}";
}

TEST(ConnectionProfile, StartsWithItsDefaults) { EXPECT_EQ(Filled(ConnectionProfile{}), ""); }

TEST(ParseProfile, TakesEveryKeyIntoItsOwnMember) {
  EXPECT_EQ(
      Filled(ParseProfile(
          R"({"op":"connect","node_id":"n1","device_id":"d2","address_cidr":"10.8.0.3/32",)"
          R"("endpoint_host":"vpn4.example.net","endpoint_port":"443","server_public_key":"SPK5=",)"
          R"("client_private_key":"CPK6=","client_public_key":"CPUB7=","pre_shared_key":"PSK8=",)"
          R"("dns_csv":"9.9.9.9, 1.1.1.1","allowed_ips_csv":"0.0.0.0/0,::/0",)"
          R"("display_name":"Node One"})")),
      "node_id=n1;device_id=d2;address_cidr=10.8.0.3/32;endpoint_host=vpn4.example.net;"
      "server_public_key=SPK5=;client_private_key=CPK6=;client_public_key=CPUB7=;"
      "pre_shared_key=PSK8=;dns_csv=9.9.9.9, 1.1.1.1;allowed_ips_csv=0.0.0.0/0,::/0;"
      "display_name=Node One;port=443");
}

TEST(ParseProfile, RequiredKeysAloneLeaveEverythingElseAtItsDefault) {
  EXPECT_EQ(Filled(ParseProfile(R"({"node_id":"n1","client_private_key":"key="})")),
            "node_id=n1;client_private_key=key=;");
  EXPECT_EQ(Filled(ParseProfile("")), "");
}

TEST(ParseProfile, ValuesAreUnescapedButNeitherTrimmedNorChecked) {
  EXPECT_EQ(Filled(ParseProfile(R"({"node_id":"  n\\1 \"x\" ","dns_csv":" not, an , address\n"})")),
            "node_id=  n\\1 \"x\" ;dns_csv= not, an , address\n;");
}

TEST(ParseProfile, KeepaliveAndMtuCannotBeRequested) {
  EXPECT_EQ(
      Filled(ParseProfile(
          R"({"persistent_keepalive":"5","mtu":"1280","PersistentKeepalive":"6","MTU":"1300"})")),
      "");
}

// ---- each text member

class TextMember : public testing::TestWithParam<TextKey> {};

TEST_P(TextMember, IsReadFromItsKeyAlone) {
  const std::string key = GetParam().name;
  EXPECT_EQ(Filled(ParseProfile("{\"op\":\"connect\",\"" + key + "\":\"the value\"}")),
            key + "=the value;");
}

TEST_P(TextMember, StaysEmptyWhenTheValueIsNoString) {
  const std::string key = GetParam().name;
  for (const char* value : {"7", "true", "null", "[\"x\"]", "{}", "\"unterminated"}) {
    EXPECT_EQ(Filled(ParseProfile("{\"" + key + "\":" + value)), "") << value;
  }
}

INSTANTIATE_TEST_SUITE_P(ParseProfile, TextMember, testing::ValuesIn(kTextKeys), NameOf<TextKey>);

// ---- the port

TEST(EndpointPort, BareNumberOrEmptyTextGivesTheDefault) {
  EXPECT_EQ(ParseProfile(R"({"endpoint_port":443})").endpoint_port, 51820);
  EXPECT_EQ(ParseProfile(ConnectWithPort("")).endpoint_port, 51820);
}

struct PortText {
  const char* name;
  const char* text;  // as it stands in the request
  const char* outcome;
};

class PortRead : public testing::TestWithParam<PortText> {};

// The port that is stored, or the exception that is thrown.
std::string Outcome(const std::string& text) {
  try {
    return std::to_string(ParseProfile(ConnectWithPort(text)).endpoint_port);
  } catch (const std::invalid_argument& error) {
    return std::string("invalid_argument: ") + error.what();
  } catch (const std::out_of_range& error) {
    return std::string("out_of_range: ") + error.what();
  }
}

TEST_P(PortRead, IsANumberOf32BitsAtTheBeginningOrRaisesAnError) {
  EXPECT_EQ(Outcome(GetParam().text), GetParam().outcome);
}

constexpr char kNoDigits[] = "invalid_argument: invalid stoi argument";
constexpr char kTooLong[] = "out_of_range: stoi argument out of range";

const PortText kPortTexts[] = {{"Plain", "443", "443"},
                               {"LeadingBlankAndTrailingLetter", " 443x", "443"},
                               {"EveryLeadingWhiteSpace", " \t\n\v\f\r443", "443"},
                               {"EscapedWhiteSpace", "\\t\\n\\r443", "443"},
                               {"TrailingLetters", "51820abc", "51820"},
                               {"TrailingBlank", "443 ", "443"},
                               {"TrailingFraction", "443.9", "443"},
                               {"PlusSign", "+443", "443"},
                               {"Zero", "0", "0"},
                               {"MinusOne", "-1", "-1"},
                               {"AboveThePortRange", "65536", "65536"},
                               {"LeadingZeros", "000443", "443"},
                               {"HexadecimalStopsAtTheLetter", "0x1F", "0"},
                               {"HighestNumber", "2147483647", "2147483647"},
                               {"LowestNumber", "-2147483648", "-2147483648"},
                               {"Letters", "abc", kNoDigits},
                               {"LetterFirst", "x443", kNoDigits},
                               {"BlankAlone", " ", kNoDigits},
                               {"SignAlone", "-", kNoDigits},
                               {"TwoSigns", "+-443", kNoDigits},
                               {"SignThenBlank", "- 443", kNoDigits},
                               {"NoBreakSpaceFirst",
                                "\xA0"
                                "443",
                                kNoDigits},
                               {"ElevenNines", "99999999999", kTooLong},
                               {"OneAboveTheHighest", "2147483648", kTooLong},
                               {"OneBelowTheLowest", "-2147483649", kTooLong},
                               {"Beyond64Bits", "99999999999999999999999", kTooLong},
                               {"Below64Bits", "-99999999999999999999999", kTooLong},
                               {"OutOfRangeWithTrailingLetters", "99999999999x", kTooLong}};

INSTANTIATE_TEST_SUITE_P(EndpointPort, PortRead, testing::ValuesIn(kPortTexts), NameOf<PortText>);

}  // namespace
}  // namespace veltrane
