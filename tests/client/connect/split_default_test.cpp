#include "client/connect/split_default.h"

#include <gtest/gtest.h>

#include "client/forecast/networks.h"

namespace veltrane {
namespace {

TEST(SplitDefault, PutsHalvesInThePlaceOfACatchAll) {
  const SplitList split = SplitDefault("10.0.0.0/8, 0.0.0.0/0,::/0 , 192.0.2.1");
  EXPECT_EQ(split.allowed_ips, "10.0.0.0/8, 0.0.0.0/1, 128.0.0.0/1, ::/1, 8000::/1, 192.0.2.1");
  EXPECT_TRUE(split.split_ipv4);
  EXPECT_TRUE(split.split_ipv6);
}

TEST(SplitDefault, KnowsACatchAllHoweverItIsWritten) {
  EXPECT_EQ(SplitDefault("1.2.3.4/0").allowed_ips, "0.0.0.0/1, 128.0.0.0/1");
  EXPECT_EQ(SplitDefault("2001:db8::1/0").allowed_ips, "::/1, 8000::/1");
}

TEST(SplitDefault, LeavesAListWithoutOneAsItIsWritten) {
  const SplitList split = SplitDefault("10.0.0.0/00008, 0.0.0.0/1, ::/1");
  EXPECT_EQ(split.allowed_ips, "10.0.0.0/00008, 0.0.0.0/1, ::/1");
  EXPECT_FALSE(split.split_ipv4);
  EXPECT_FALSE(split.split_ipv6);
}

TEST(SplitDefault, KnowsACatchAllOfIpv6WithADottedQuad) {
  EXPECT_EQ(SplitDefault("::0.0.0.0/0").allowed_ips, "::/1, 8000::/1");
}

TEST(SplitDefault, DoesNotReplaceAnIpv4MappedNetwork) {
  const SplitList split = SplitDefault("0.0.0.0/0, ::ffff:0.0.0.0/0");
  EXPECT_EQ(
      split.problem,
      "AllowedIPs contains \"::ffff:0.0.0.0/0\", an IPv4-mapped network, which is IPv4 to one "
      "program and IPv6 to another, so that --split-default cannot replace it: write it as "
      "one of the two");
  EXPECT_EQ(split.allowed_ips, "");
}

IpRoute RouteTo(const char* network) {
  const IpNetwork to = *ParseNetwork(network);
  return {.destination = to.address,
          .prefix_length = to.prefix_length,
          .next_hop = {},
          .interface_index = 12,
          .metric = 25};
}

struct LeakCase {
  const char* name;
  const char* list;
  std::optional<std::vector<IpRoute>> ipv4;
  std::optional<std::vector<IpRoute>> ipv6;
  std::optional<IpFamily> leak;
};

class SplitListLeaks : public testing::TestWithParam<LeakCase> {};

TEST_P(SplitListLeaks, WhereItLeavesAFamilyThatHasSomewhereToGo) {
  Situation situation;
  situation.ipv4_routes = GetParam().ipv4;
  situation.ipv6_routes = GetParam().ipv6;
  EXPECT_EQ(FindLeak(SplitDefault(GetParam().list), situation), GetParam().leak);
}

const std::vector<IpRoute> kIpv4 = {RouteTo("0.0.0.0/0")};
const std::vector<IpRoute> kIpv6 = {RouteTo("::/0")};
const std::vector<IpRoute> kBareIpv4 = {RouteTo("127.0.0.0/8"), RouteTo("224.0.0.0/4"),
                                        RouteTo("255.255.255.255/32")};
const std::vector<IpRoute> kBareIpv6 = {RouteTo("::1/128"), RouteTo("fe80::/64"),
                                        RouteTo("ff00::/8")};

constexpr std::optional<IpFamily> kIpv4Leaks = IpFamily::kIpv4;
constexpr std::optional<IpFamily> kIpv6Leaks = IpFamily::kIpv6;

INSTANTIATE_TEST_SUITE_P(
    Cases, SplitListLeaks,
    testing::Values(
        LeakCase{"Ipv6PastIpv4", "0.0.0.0/0", kIpv4, kIpv6, kIpv6Leaks},
        LeakCase{"Ipv6ToAKnownNetwork", "0.0.0.0/0", kIpv4,
                 std::vector<IpRoute>{RouteTo("2001:db8::/64")}, kIpv6Leaks},
        LeakCase{"UnreadIpv6", "0.0.0.0/0", kIpv4, std::nullopt, kIpv6Leaks},
        LeakCase{"NoIpv6", "0.0.0.0/0", kIpv4, kBareIpv6, std::nullopt},
        LeakCase{"BothSplit", "0.0.0.0/0, ::/0", kIpv4, kIpv6, std::nullopt},
        LeakCase{"Ipv6InHalvesAlready", "0.0.0.0/0, ::/1, 8000::/1", kIpv4, kIpv6, std::nullopt},
        LeakCase{"Ipv6InHalfAlready", "0.0.0.0/0, ::/1", kIpv4, kIpv6, kIpv6Leaks},
        LeakCase{"Ipv6ButForAPiece", "0.0.0.0/0, ::/1, 8000::/2, c000::/3, e000::/4", kIpv4, kIpv6,
                 kIpv6Leaks},
        LeakCase{"Ipv4PastIpv6", "::/0", kIpv4, kIpv6, kIpv4Leaks},
        LeakCase{"Ipv4InHalvesAlready", "128.0.0.0/1, ::/0, 0.0.0.0/1", kIpv4, kIpv6, std::nullopt},
        LeakCase{"UnreadIpv4", "::/0", std::nullopt, kIpv6, kIpv4Leaks},
        LeakCase{"NoIpv4", "::/0", kBareIpv4, kIpv6, std::nullopt},
        LeakCase{"NothingSplit", "10.0.0.0/8", kIpv4, kIpv6, std::nullopt}),
    [](const auto& each) { return each.param.name; });

}  // namespace
}  // namespace veltrane
