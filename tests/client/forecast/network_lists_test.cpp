#include "client/forecast/networks.h"

namespace veltrane {
namespace {

IpAddress Ip(const char* text) { return ParseAddress(text).value(); }
IpNetwork Net(const std::string& text) { return ParseNetwork(text).value(); }

struct NetworkCase {
  const char* text;
  const char* printed;
};

class Network : public testing::TestWithParam<NetworkCase> {};

TEST_P(Network, IsReadWithItsHostBitsCleared) {
  const std::optional<IpNetwork> network = ParseNetwork(GetParam().text);
  ASSERT_TRUE(network) << GetParam().text;
  EXPECT_EQ(NetworkText(*network), GetParam().printed);
}

INSTANTIATE_TEST_SUITE_P(OfIpv4, Network,
                         testing::Values(NetworkCase{"0.0.0.0/0", "0.0.0.0/0"},
                                         NetworkCase{"1.2.3.4/0", "0.0.0.0/0"},
                                         NetworkCase{"255.255.255.255/1", "128.0.0.0/1"},
                                         NetworkCase{"255.255.255.255/7", "254.0.0.0/7"},
                                         NetworkCase{"255.255.255.255/8", "255.0.0.0/8"},
                                         NetworkCase{"255.255.255.255/9", "255.128.0.0/9"},
                                         NetworkCase{"255.255.255.255/15", "255.254.0.0/15"},
                                         NetworkCase{"255.255.255.255/16", "255.255.0.0/16"},
                                         NetworkCase{"255.255.255.255/17", "255.255.128.0/17"},
                                         NetworkCase{"10.66.66.7/24", "10.66.66.0/24"},
                                         NetworkCase{"10.66.66.7/29", "10.66.66.0/29"},
                                         NetworkCase{"10.66.66.7/30", "10.66.66.4/30"},
                                         NetworkCase{"10.66.66.7/31", "10.66.66.6/31"},
                                         NetworkCase{"10.66.66.7/32", "10.66.66.7/32"},
                                         NetworkCase{"10.66.66.7", "10.66.66.7/32"}));

INSTANTIATE_TEST_SUITE_P(
    OfIpv6, Network,
    testing::Values(NetworkCase{"::/0", "::/0"}, NetworkCase{"::0/0", "::/0"},
                    NetworkCase{"2001:db8::5/0", "::/0"}, NetworkCase{"8000::/1", "8000::/1"},
                    NetworkCase{"ffff::/1", "8000::/1"}, NetworkCase{"::1/1", "::/1"},
                    NetworkCase{"2001:db8:ffff::/33", "2001:db8:8000::/33"},
                    NetworkCase{"2001:db8::1:2:3:4/64", "2001:db8::/64"},
                    NetworkCase{"2001:db8::ffff:2:3:4/65", "2001:db8:0:0:8000::/65"},
                    NetworkCase{"2001:db8::ff/127", "2001:db8::fe/127"},
                    NetworkCase{"2001:db8::ff/128", "2001:db8::ff/128"},
                    NetworkCase{"2001:db8::ff", "2001:db8::ff/128"}));

TEST(ParseNetwork, KeepsTheLength) {
  for (std::uint32_t length = 0; length <= 32; ++length) {
    EXPECT_EQ(Net("0.0.0.0/" + std::to_string(length)).prefix_length, length);
  }
  for (std::uint32_t length = 0; length <= 128; ++length) {
    EXPECT_EQ(Net("::/" + std::to_string(length)).prefix_length, length);
  }
}

TEST(ParseNetwork, ReadsTheLengthAsANumberOfAnyDigits) {
  EXPECT_EQ(NetworkText(Net("1.2.3.4/00")), "0.0.0.0/0");
  EXPECT_EQ(NetworkText(Net("10.66.66.7/0000000024")), "10.66.66.0/24");
  EXPECT_EQ(NetworkText(Net("2001:db8::5/00")), "::/0");
  EXPECT_EQ(NetworkText(Net("2001:db8::5/0064")), "2001:db8::/64");
}

TEST(ParseNetwork, ReadsNothingElse) {
  for (const char* text : {"",
                           "/",
                           "/0",
                           "0.0.0.0/",
                           "0.0.0.0/33",
                           "0.0.0.0/-0",
                           "0.0.0.0/+0",
                           "0.0.0.0/ 0",
                           "0.0.0.0 /0",
                           " 0.0.0.0/0",
                           "0.0.0.0/0 ",
                           "0.0.0.0/0/0",
                           "0.0.0.0/0x0",
                           "0.0.0.0/255.0.0.0",
                           "0.0.0.0/4294967296",
                           "::/",
                           "::/129",
                           "::/-1",
                           "fe80::%12/64",
                           "0/0",
                           "default",
                           "10.0.0.0-10.0.0.9",
                           "::ffff:203.0.113.0/120",
                           "::ffff:203.0.113.5",
                           "::ffff:203.0.113.0/24",
                           "::FFFF:cb00:7105/128",
                           "0:0:0:0:0:ffff:0:0/0"}) {
    EXPECT_EQ(ParseNetwork(text), std::nullopt) << text;
  }
}

TEST(ParseNetworks, ReadsAListInItsOrder) {
  EXPECT_EQ(ParseNetworks("10.0.0.0/8"), std::vector{Net("10.0.0.0/8")});
  EXPECT_EQ(
      ParseNetworks("192.168.0.0/16,\t::/1 , 10.0.0.1,10.0.0.1"),
      (std::vector{Net("192.168.0.0/16"), Net("::/1"), Net("10.0.0.1/32"), Net("10.0.0.1/32")}));
}

TEST(ParseNetworks, ReadsNothingWhenOneItemIsNotANetwork) {
  for (const char* text : {"", " ", ",", "10.0.0.0/8,", ",10.0.0.0/8", "10.0.0.0/8,,::/0",
                           "10.0.0.0/8;::/0", "10.0.0.0/8 ::/0", "10.0.0.0/8, everything"}) {
    EXPECT_EQ(ParseNetworks(text), std::nullopt) << text;
  }
}

struct BorderCase {
  const char* network;
  const char* below;  // the last address before the network
  const char* first;
  const char* last;
  const char* above;  // the first one behind it
};

class Borders : public testing::TestWithParam<BorderCase> {};

TEST_P(Borders, AreThoseOfTheNetwork) {
  const BorderCase& border = GetParam();
  EXPECT_FALSE(Net(border.network).Contains(Ip(border.below)));
  EXPECT_TRUE(Net(border.network).Contains(Ip(border.first)));
  EXPECT_TRUE(Net(border.network).Contains(Ip(border.last)));
  EXPECT_FALSE(Net(border.network).Contains(Ip(border.above)));
}

INSTANTIATE_TEST_SUITE_P(
    OfNetworks, Borders,
    testing::Values(
        BorderCase{"64.0.0.0/2", "63.255.255.255", "64.0.0.0", "127.255.255.255", "128.0.0.0"},
        BorderCase{"10.0.0.0/7", "9.255.255.255", "10.0.0.0", "11.255.255.255", "12.0.0.0"},
        BorderCase{"10.0.0.0/8", "9.255.255.255", "10.0.0.0", "10.255.255.255", "11.0.0.0"},
        BorderCase{"10.128.0.0/9", "10.127.255.255", "10.128.0.0", "10.255.255.255", "11.0.0.0"},
        BorderCase{"10.6.0.0/15", "10.5.255.255", "10.6.0.0", "10.7.255.255", "10.8.0.0"},
        BorderCase{"10.6.0.0/16", "10.5.255.255", "10.6.0.0", "10.6.255.255", "10.7.0.0"},
        BorderCase{"10.6.128.0/17", "10.6.127.255", "10.6.128.0", "10.6.255.255", "10.7.0.0"},
        BorderCase{"10.6.6.0/24", "10.6.5.255", "10.6.6.0", "10.6.6.255", "10.6.7.0"},
        BorderCase{"10.6.6.6/31", "10.6.6.5", "10.6.6.6", "10.6.6.7", "10.6.6.8"},
        BorderCase{"10.6.6.6/32", "10.6.6.5", "10.6.6.6", "10.6.6.6", "10.6.6.7"},
        BorderCase{"2001:db8::/32", "2001:db7:ffff::", "2001:db8::", "2001:db8:ffff::ffff",
                   "2001:db9::"},
        BorderCase{"2001:db8:0:2::/63", "2001:db8:0:1:ffff::", "2001:db8:0:2::",
                   "2001:db8:0:3:ffff::", "2001:db8:0:4::"},
        BorderCase{"2001:db8:0:2::/64", "2001:db8:0:1:ffff::", "2001:db8:0:2::",
                   "2001:db8:0:2:ffff::", "2001:db8:0:3::"},
        BorderCase{"2001:db8::6/127", "2001:db8::5", "2001:db8::6", "2001:db8::7", "2001:db8::8"},
        BorderCase{"2001:db8::6/128", "2001:db8::5", "2001:db8::6", "2001:db8::6", "2001:db8::7"}));

TEST(NetworkOfLengthZero, ContainsItsFamilyAndNoOther) {
  for (const char* address : {"0.0.0.0", "127.255.255.255", "128.0.0.0", "255.255.255.255"}) {
    EXPECT_TRUE(Net("0.0.0.0/0").Contains(Ip(address))) << address;
    EXPECT_FALSE(Net("::/0").Contains(Ip(address))) << address;
  }
  for (const char* address : {"::", "7fff::", "8000::", "ffff::ffff"}) {
    EXPECT_TRUE(Net("::/0").Contains(Ip(address))) << address;
    EXPECT_FALSE(Net("0.0.0.0/0").Contains(Ip(address))) << address;
  }
}

}  // namespace
}  // namespace veltrane
