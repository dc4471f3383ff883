// The network that replaces a catch-all list: the first three numbers of the client's address, read
// as C's scanf reads "%u.%u.%u.%u/%u".

#include <gtest/gtest.h>

#include "guard/allowed_ips.h"

namespace veltrane {
namespace {

struct Address {
  const char* name;
  const char* cidr;
  const char* network;
};

void PrintTo(const Address& address, std::ostream* out) { *out << '"' << address.cidr << '"'; }

class ReplacementNetwork : public testing::TestWithParam<Address> {};

TEST_P(ReplacementNetwork, IsReadFromTheAddress) {
  ConnectionProfile profile;
  profile.allowed_ips_csv = "0.0.0.0/0";
  profile.address_cidr = GetParam().cidr;
  RouteGuardResult result;
  result.effective_disable_default_route = true;
  PatchAllowedIps(profile, result);
  EXPECT_EQ(profile.allowed_ips_csv, GetParam().network);
  EXPECT_EQ(result.generated_allowed_ips_after, GetParam().network);
}

std::string NameOf(const testing::TestParamInfo<Address>& info) { return info.param.name; }

INSTANTIATE_TEST_SUITE_P(
    FourNumbers, ReplacementNetwork,
    testing::Values(
        Address{"WithAPrefix", "10.7.3.9/32", "10.7.3.0/24"},
        Address{"WithoutAPrefix", "10.7.3.9", "10.7.3.0/24"},
        Address{"WithAnotherPrefix", "172.16.5.4/16", "172.16.5.0/24"},
        Address{"WithAHugePrefix", "10.7.3.9/99999", "10.7.3.0/24"},
        Address{"WithAPrefixThatIsNoNumber", "10.7.3.9/abc", "10.7.3.0/24"},
        Address{"WithASlashAlone", "10.7.3.9/", "10.7.3.0/24"},
        Address{"WithTrailingText", "10.7.3.9 and more", "10.7.3.0/24"},
        Address{"FirstOfAList", "10.7.3.9/32,fd00::5/128", "10.7.3.0/24"},
        Address{"WithLeadingZeros", "010.007.003.009/32", "10.7.3.0/24"},
        Address{"AllZero", "0.0.0.0/32", "0.0.0.0/24"},
        Address{"AllOnes", "255.255.255.255/32", "255.255.255.0/24"},
        Address{"WithoutARangeCheck", "999.1000.70000.1/32", "999.1000.70000.0/24"},
        Address{"WithTheLargestNumbers", "4294967295.4294967295.4294967295.4294967295/32",
                "4294967295.4294967295.4294967295.0/24"},
        Address{"BeyondEveryInteger", "99999999999999999999999.7.3.9/32", "4294967295.7.3.0/24"},
        Address{"AfterABlank", " 10.7.3.9/32", "10.7.3.0/24"},
        Address{"AfterEveryKindOfWhiteSpace", "\t\n\v\f\r 10.7.3.9/32", "10.7.3.0/24"},
        Address{"WithBlanksBehindTheDots", "10. 7.  3.\t9/32", "10.7.3.0/24"},
        Address{"WithPlusSigns", "+10.+7.+3.+9/32", "10.7.3.0/24"},
        Address{"WithAMinusSign", "10.-1.3.9/32", "10.4294967295.3.0/24"},
        Address{"WithMinusZero", "10.-0.3.9/32", "10.0.3.0/24"}),
    NameOf);

INSTANTIATE_TEST_SUITE_P(
    FewerNumbers, ReplacementNetwork,
    testing::Values(Address{"Empty", "", "10.66.66.0/24"}, Address{"Blank", " ", "10.66.66.0/24"},
                    Address{"Ipv6", "fd00::5/128", "10.66.66.0/24"},
                    Address{"Ipv6ThatBeginsWithADigit", "2001:db8::5/128", "10.66.66.0/24"},
                    Address{"Words", "none", "10.66.66.0/24"},
                    Address{"One", "10/8", "10.66.66.0/24"},
                    Address{"Three", "10.7.3", "10.66.66.0/24"},
                    Address{"ThreeAndAPrefix", "10.7.3/24", "10.66.66.0/24"},
                    Address{"ThreeAndADot", "10.7.3.", "10.66.66.0/24"},
                    Address{"ThreeAndAWord", "10.7.3.x/32", "10.66.66.0/24"},
                    Address{"BlankBeforeADot", "10 .7.3.9/32", "10.66.66.0/24"},
                    Address{"LeadingLetter", "x10.7.3.9/32", "10.66.66.0/24"},
                    Address{"LeadingDot", ".10.7.3.9/32", "10.66.66.0/24"},
                    Address{"TwoDots", "10..7.3.9/32", "10.66.66.0/24"},
                    Address{"Commas", "10,7,3,9", "10.66.66.0/24"},
                    Address{"Hexadecimal", "0x0a.7.3.9/32", "10.66.66.0/24"},
                    Address{"SignAndBlank", "- 10.7.3.9/32", "10.66.66.0/24"}),
    NameOf);

}  // namespace
}  // namespace veltrane
