// The network that replaces a catch-all list: the first three numbers of the client's address, read
// as scanf reads "%u.%u.%u.%u/%u" on Windows.

#include <gtest/gtest.h>

#include "guard/allowed_ips.h"

namespace veltrane {
namespace {

std::string NetworkOf(const std::string& address) {
  ConnectionProfile profile;
  profile.address_cidr = address;
  profile.allowed_ips_csv = "0.0.0.0/0";
  RouteGuardResult result;
  result.effective_disable_default_route = true;
  PatchAllowedIps(profile, result);
  EXPECT_EQ(result.generated_allowed_ips_after, profile.allowed_ips_csv);
  return profile.allowed_ips_csv;
}

struct Address {
  const char* cidr;
  const char* network;
};

constexpr Address kFourNumbers[] = {
    {"10.7.3.9/32", "10.7.3.0/24"},
    {"10.7.3.9", "10.7.3.0/24"},
    {"172.16.5.4/16", "172.16.5.0/24"},
    {"10.7.3.9/99999", "10.7.3.0/24"},
    {"10.7.3.9/abc", "10.7.3.0/24"},
    {"10.7.3.9/", "10.7.3.0/24"},
    {"10.7.3.9 and more", "10.7.3.0/24"},
    {"10.7.3.9/32,fd00::5/128", "10.7.3.0/24"},
    {"010.007.003.009/32", "10.7.3.0/24"},
    {"0.0.0.0/32", "0.0.0.0/24"},
    {"255.255.255.255/32", "255.255.255.0/24"},
    {"999.1000.70000.1/32", "999.1000.70000.0/24"},
    {"4294967295.4294967295.4294967295.4294967295/32", "4294967295.4294967295.4294967295.0/24"},
    {"99999999999999999999999.7.3.9/32", "4294967295.7.3.0/24"},
    {"4294967296.4294967297.3.9/32", "4294967295.4294967295.3.0/24"},
    {"-4294967296.7.3.9/32", "1.7.3.0/24"},
    {" 10.7.3.9/32", "10.7.3.0/24"},
    {"\t\n\v\f\r 10.7.3.9/32", "10.7.3.0/24"},
    {"10. 7.  3.\t9/32", "10.7.3.0/24"},
    {"+10.+7.+3.+9/32", "10.7.3.0/24"},
    {"10.-1.3.9/32", "10.4294967295.3.0/24"},
    {"10.-0.3.9/32", "10.0.3.0/24"},
};

TEST(ReplacementNetwork, HoldsTheFirstThreeOfFourNumbersOfAnyRange) {
  for (const auto& [cidr, network] : kFourNumbers) EXPECT_EQ(NetworkOf(cidr), network) << cidr;
}

TEST(ReplacementNetwork, IsAFixedOneWithoutFourNumbers) {
  for (const char* address :
       {"", " ", "fd00::5/128", "2001:db8::5/128", "none", "10/8", "10.7.3", "10.7.3/24", "10.7.3.",
        "10.7.3.x/32", "10 .7.3.9/32", "x10.7.3.9/32", ".10.7.3.9/32", "10..7.3.9/32", "10,7,3,9",
        "0x0a.7.3.9/32", "- 10.7.3.9/32"}) {
    EXPECT_EQ(NetworkOf(address), "10.66.66.0/24") << address;
  }
}

}  // namespace
}  // namespace veltrane
