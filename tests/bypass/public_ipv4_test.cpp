// The filter of the whole bypass: which addresses are public.

#include <algorithm>

#include <gtest/gtest.h>

#include "bypass/candidates.h"
#include "tests/support/on_machine.h"

namespace veltrane {
namespace {

std::string AddressName(const testing::TestParamInfo<const char*>& info) {
  std::string name = info.param;
  std::replace(name.begin(), name.end(), '.', '_');
  return name;
}

class PublicIpv4 : public OnMachine, public testing::WithParamInterface<const char*> {};

TEST_P(PublicIpv4, Passes) { EXPECT_TRUE(IsPublicIpv4(GetParam())); }

INSTANTIATE_TEST_SUITE_P(Ordinary, PublicIpv4,
                         testing::Values("8.8.8.8", "203.0.113.5", "198.51.100.7"), AddressName);

INSTANTIATE_TEST_SUITE_P(BesideAPrivateRange, PublicIpv4,
                         testing::Values("0.0.0.1", "0.255.255.255", "9.255.255.255", "11.0.0.0",
                                         "126.255.255.255", "128.0.0.0", "169.253.255.255",
                                         "169.255.0.0", "172.15.255.255", "172.32.0.0",
                                         "172.32.0.1", "192.167.255.255", "192.169.0.0",
                                         "171.16.0.1", "173.16.0.1", "191.168.0.1", "193.168.0.1",
                                         "168.254.0.1", "170.254.0.1"),
                         AddressName);

INSTANTIATE_TEST_SUITE_P(CarrierGradeNat, PublicIpv4,
                         testing::Values("100.64.0.0", "100.64.0.1", "100.127.255.255"),
                         AddressName);

INSTANTIATE_TEST_SUITE_P(MulticastAndBroadcast, PublicIpv4,
                         testing::Values("224.0.0.1", "239.255.255.250", "240.0.0.1",
                                         "255.255.255.255"),
                         AddressName);

INSTANTIATE_TEST_SUITE_P(PrivateBytesInOtherPlaces, PublicIpv4,
                         testing::Values("5.0.0.10", "1.0.0.127", "1.10.0.0", "1.127.0.0",
                                         "1.1.16.172", "1.172.16.1", "1.1.168.192", "1.192.168.1",
                                         "1.1.254.169"),
                         AddressName);

class NotPublicIpv4 : public OnMachine, public testing::WithParamInterface<const char*> {};

TEST_P(NotPublicIpv4, IsRefused) { EXPECT_FALSE(IsPublicIpv4(GetParam())); }

INSTANTIATE_TEST_SUITE_P(Unspecified, NotPublicIpv4, testing::Values("0.0.0.0"), AddressName);

INSTANTIATE_TEST_SUITE_P(Loopback, NotPublicIpv4,
                         testing::Values("127.0.0.0", "127.0.0.1", "127.255.255.255"), AddressName);

INSTANTIATE_TEST_SUITE_P(Private, NotPublicIpv4,
                         testing::Values("10.0.0.0", "10.255.255.255", "172.16.0.0", "172.20.1.1",
                                         "172.31.255.255", "192.168.0.0", "192.168.255.255"),
                         AddressName);

INSTANTIATE_TEST_SUITE_P(LinkLocal, NotPublicIpv4,
                         testing::Values("169.254.0.0", "169.254.255.255"), AddressName);

struct Malformed {
  const char* name;
  const char* text;
};

std::string MalformedName(const testing::TestParamInfo<Malformed>& info) { return info.param.name; }

class NoIpv4 : public OnMachine, public testing::WithParamInterface<Malformed> {};

TEST_P(NoIpv4, IsRefused) { EXPECT_FALSE(IsPublicIpv4(GetParam().text)); }

INSTANTIATE_TEST_SUITE_P(
    Texts, NoIpv4,
    testing::Values(
        Malformed{"Empty", ""}, Malformed{"ThreeNumbers", "203.0.113"},
        Malformed{"FiveNumbers", "203.0.113.5.6"}, Malformed{"NumberAbove255", "203.0.113.256"},
        Malformed{"NegativeNumber", "203.0.113.-5"}, Malformed{"PrefixLength", "203.0.113.5/32"},
        Malformed{"Port", "203.0.113.5:3389"}, Malformed{"LeadingBlank", " 203.0.113.5"},
        Malformed{"TrailingBlank", "203.0.113.5 "}, Malformed{"TrailingDot", "203.0.113.5."},
        Malformed{"HostName", "example.org"}, Malformed{"Localhost", "localhost"},
        Malformed{"Ipv6", "2001:db8::1"}, Malformed{"Ipv6Mapped", "::ffff:203.0.113.5"},
        Malformed{"Hexadecimal", "0xCB.0.113.5"}, Malformed{"PlainNumber", "3405803781"}),
    MalformedName);

}  // namespace
}  // namespace veltrane
