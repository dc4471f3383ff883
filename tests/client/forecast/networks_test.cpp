#include "client/forecast/networks.h"

#include <array>

namespace veltrane {
namespace {

using Bytes = std::array<std::uint8_t, 16>;

constexpr IpAddress Ipv4(std::uint8_t a, std::uint8_t b, std::uint8_t c, std::uint8_t d) {
  return {.family = IpFamily::kIpv4, .bytes = {a, b, c, d}};
}

constexpr IpAddress Ipv6(const Bytes& bytes) { return {.family = IpFamily::kIpv6, .bytes = bytes}; }

struct AddressCase {
  const char* text;
  IpAddress address;
  const char* printed;
};

class Address : public testing::TestWithParam<AddressCase> {};

TEST_P(Address, IsReadAndPrinted) {
  EXPECT_EQ(ParseAddress(GetParam().text), GetParam().address);
  EXPECT_EQ(AddressText(GetParam().address), GetParam().printed);
}

INSTANTIATE_TEST_SUITE_P(
    OfIpv4, Address,
    testing::Values(AddressCase{"203.0.113.5", Ipv4(203, 0, 113, 5), "203.0.113.5"},
                    AddressCase{"0.0.0.0", Ipv4(0, 0, 0, 0), "0.0.0.0"},
                    AddressCase{"255.255.255.255", Ipv4(255, 255, 255, 255), "255.255.255.255"}));

INSTANTIATE_TEST_SUITE_P(
    OfIpv6, Address,
    testing::Values(
        AddressCase{"2001:db8:0:0:8:800:200c:417a",
                    Ipv6({0x20, 0x01, 0x0d, 0xb8, 0, 0, 0, 0, 0, 8, 8, 0, 0x20, 0x0c, 0x41, 0x7a}),
                    "2001:db8::8:800:200c:417a"},
        AddressCase{"2001:DB8::8:800:200C:417A",
                    Ipv6({0x20, 0x01, 0x0d, 0xb8, 0, 0, 0, 0, 0, 8, 8, 0, 0x20, 0x0c, 0x41, 0x7a}),
                    "2001:db8::8:800:200c:417a"},
        AddressCase{"FF01::101", Ipv6({0xff, 0x01, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1, 1}),
                    "ff01::101"},
        AddressCase{"::1", Ipv6({0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1}), "::1"},
        AddressCase{"::", Ipv6({}), "::"}, AddressCase{"0:0:0:0:0:0:0:0", Ipv6({}), "::"},
        AddressCase{"fe80::", Ipv6({0xfe, 0x80}), "fe80::"},
        AddressCase{"1:2:3:4:5:6:7:8", Ipv6({0, 1, 0, 2, 0, 3, 0, 4, 0, 5, 0, 6, 0, 7, 0, 8}),
                    "1:2:3:4:5:6:7:8"},
        AddressCase{"::2:3:4:5:6:7:8", Ipv6({0, 0, 0, 2, 0, 3, 0, 4, 0, 5, 0, 6, 0, 7, 0, 8}),
                    "0:2:3:4:5:6:7:8"},
        AddressCase{"1:2:3:4:5:6:7::", Ipv6({0, 1, 0, 2, 0, 3, 0, 4, 0, 5, 0, 6, 0, 7, 0, 0}),
                    "1:2:3:4:5:6:7:0"},
        AddressCase{"1:0:0:4:5:0:0:8", Ipv6({0, 1, 0, 0, 0, 0, 0, 4, 0, 5, 0, 0, 0, 0, 0, 8}),
                    "1::4:5:0:0:8"},
        AddressCase{"1:0:0:4:0:0:0:8", Ipv6({0, 1, 0, 0, 0, 0, 0, 4, 0, 0, 0, 0, 0, 0, 0, 8}),
                    "1:0:0:4::8"},
        AddressCase{"0001:00a0::0b00", Ipv6({0, 1, 0, 0xa0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0x0b, 0}),
                    "1:a0::b00"},
        AddressCase{"::203.0.113.5", Ipv6({0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 203, 0, 113, 5}),
                    "::cb00:7105"},
        AddressCase{"64:ff9b::192.0.2.33",
                    Ipv6({0, 0x64, 0xff, 0x9b, 0, 0, 0, 0, 0, 0, 0, 0, 192, 0, 2, 33}),
                    "64:ff9b::c000:221"},
        AddressCase{"1:2:3:4:5:6:192.0.2.33",
                    Ipv6({0, 1, 0, 2, 0, 3, 0, 4, 0, 5, 0, 6, 192, 0, 2, 33}),
                    "1:2:3:4:5:6:c000:221"}));

INSTANTIATE_TEST_SUITE_P(
    ThatIsMapped, Address,
    testing::Values(AddressCase{"::ffff:203.0.113.5", Ipv4(203, 0, 113, 5), "203.0.113.5"},
                    AddressCase{"::FFFF:cb00:7105", Ipv4(203, 0, 113, 5), "203.0.113.5"},
                    AddressCase{"0:0:0:0:0:ffff:127.0.0.1", Ipv4(127, 0, 0, 1), "127.0.0.1"},
                    // One bit away from the prefix of the mapped addresses.
                    AddressCase{"::1:ffff:203.0.113.5",
                                Ipv6({0, 0, 0, 0, 0, 0, 0, 0, 0, 1, 0xff, 0xff, 203, 0, 113, 5}),
                                "::1:ffff:cb00:7105"},
                    AddressCase{"::fffe:203.0.113.5",
                                Ipv6({0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xff, 0xfe, 203, 0, 113, 5}),
                                "::fffe:cb00:7105"}));

TEST(ParseAddress, ReadsNothingElse) {
  for (const char* text : {"",
                           " ",
                           "203.0.113",
                           "203.0.113.5.6",
                           "203.0.113.256",
                           "203.0.113.05",
                           "203.0.113.-5",
                           "203.0.113.5/32",
                           "203.0.113.5 ",
                           " 203.0.113.5",
                           "203.0.113.0x5",
                           "3405803781",
                           ":",
                           ":::",
                           "1",
                           "1:2:3:4:5:6:7",
                           "1:2:3:4:5:6:7:8:9",
                           "1::2::3",
                           "1:2:3:4::5:6:7:8",
                           "12345::",
                           "g::",
                           "1:2:3:4:5:6:7:8:",
                           ":1:2:3:4:5:6:7",
                           "::1/128",
                           "fe80::1%12",
                           "[::1]",
                           "192.0.2.1::",
                           "::192.0.2.1:1",
                           "1:2:3:4:5:6:7:192.0.2.1",
                           "localhost",
                           "any"}) {
    EXPECT_EQ(ParseAddress(text), std::nullopt) << text;
  }
}

bool CoversIpv4(const char* list) {
  return CoverFamily(ParseNetworks(list).value(), IpFamily::kIpv4);
}

bool CoversIpv6(const char* list) {
  return CoverFamily(ParseNetworks(list).value(), IpFamily::kIpv6);
}

TEST(CoverFamily, IsTrueForACatchAll) {
  EXPECT_TRUE(CoversIpv4("0.0.0.0/0"));
  EXPECT_TRUE(CoversIpv6("10.0.0.0/8, ::/0"));
}

TEST(CoverFamily, IsTrueForItsPiecesInAnyOrder) {
  EXPECT_TRUE(CoversIpv4("128.0.0.0/1, 0.0.0.0/1"));
  EXPECT_TRUE(CoversIpv4("192.0.0.0/2, 64.0.0.0/2, 0.0.0.0/2, 128.0.0.0/2"));
  EXPECT_TRUE(CoversIpv6("8000::/1, ::/2, 4000::/2"));
}

TEST(CoverFamily, IsTrueForPiecesThatOverlap) {
  EXPECT_TRUE(CoversIpv4("0.0.0.0/1, 10.0.0.0/8, 128.0.0.0/1, 203.0.113.5"));
}

TEST(CoverFamily, IsFalseWhenOneAddressIsMissing) {
  std::string list;
  std::uint32_t address = 0;
  for (int length = 1; length <= 32; ++length) {
    list += std::to_string(address >> 24) + "." + std::to_string(address >> 16 & 255) + "." +
            std::to_string(address >> 8 & 255) + "." + std::to_string(address & 255) + "/" +
            std::to_string(length) + ", ";
    if (length < 32) address |= 1u << (32 - length);
  }
  EXPECT_FALSE(CoversIpv4((list + "10.0.0.0/8").c_str()));
  EXPECT_TRUE(CoversIpv4((list + "255.255.255.255").c_str()));
}

TEST(CoverFamily, IsFalseForTheOtherFamilyAndForNothing) {
  EXPECT_FALSE(CoversIpv6("0.0.0.0/0"));
  EXPECT_FALSE(CoversIpv4("::/1, 8000::/1"));
  EXPECT_FALSE(CoverFamily({}, IpFamily::kIpv4));
}

TEST(IsOfMachine, IsFalseForZerosMulticastAndBroadcast) {
  EXPECT_FALSE(IsOfMachine(Ipv4(0, 0, 0, 0)));
  EXPECT_FALSE(IsOfMachine(Ipv4(224, 0, 0, 0)));
  EXPECT_FALSE(IsOfMachine(Ipv4(239, 255, 255, 255)));
  EXPECT_FALSE(IsOfMachine(Ipv4(255, 255, 255, 255)));
  EXPECT_FALSE(IsOfMachine(Ipv6({})));
  EXPECT_FALSE(IsOfMachine(Ipv6({0xff})));
  EXPECT_FALSE(IsOfMachine(Ipv6({0xff, 0x02, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1})));
  EXPECT_TRUE(IsOfMachine(Ipv4(0, 0, 0, 1)));
  EXPECT_TRUE(IsOfMachine(Ipv4(223, 255, 255, 255)));
  EXPECT_TRUE(IsOfMachine(Ipv4(240, 0, 0, 0)));
  EXPECT_TRUE(IsOfMachine(Ipv4(255, 255, 255, 254)));
  EXPECT_TRUE(IsOfMachine(Ipv4(203, 0, 113, 5)));
  EXPECT_TRUE(IsOfMachine(Ipv6({0xfe, 0x80, 0xff})));
  EXPECT_TRUE(IsOfMachine(Ipv6({0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1})));
}

TEST(IsUnspecified, IsTrueForTheTwoAddressesOfZeros) {
  EXPECT_TRUE(IsUnspecified(Ipv4(0, 0, 0, 0)));
  EXPECT_TRUE(IsUnspecified(Ipv6({})));
  EXPECT_FALSE(IsUnspecified(Ipv4(0, 0, 0, 1)));
  EXPECT_FALSE(IsUnspecified(Ipv4(1, 0, 0, 0)));
  EXPECT_FALSE(IsUnspecified(Ipv6({0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1})));
}

TEST(IsLoopback, IsTrueForAWholeNetworkOfIpv4AndOneAddressOfIpv6) {
  EXPECT_TRUE(IsLoopback(Ipv4(127, 0, 0, 1)));
  EXPECT_TRUE(IsLoopback(Ipv4(127, 255, 255, 255)));
  EXPECT_FALSE(IsLoopback(Ipv4(126, 255, 255, 255)));
  EXPECT_FALSE(IsLoopback(Ipv4(128, 0, 0, 0)));
  EXPECT_TRUE(IsLoopback(Ipv6({0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1})));
  EXPECT_FALSE(IsLoopback(Ipv6({})));
  EXPECT_FALSE(IsLoopback(Ipv6({0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 2})));
  EXPECT_FALSE(IsLoopback(Ipv6({1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1})));
  EXPECT_FALSE(IsLoopback(Ipv6({127, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1, 1})));
}

TEST(IsIpv6LinkLocal, IsTrueForTenBits) {
  EXPECT_TRUE(IsIpv6LinkLocal(Ipv6({0xfe, 0x80})));
  EXPECT_TRUE(IsIpv6LinkLocal(Ipv6({0xfe, 0xbf, 0xff})));
  EXPECT_FALSE(IsIpv6LinkLocal(Ipv6({0xfe, 0x7f, 0xff})));
  EXPECT_FALSE(IsIpv6LinkLocal(Ipv6({0xfe, 0xc0})));
  EXPECT_FALSE(IsIpv6LinkLocal(Ipv6({0xff, 0x80})));
  EXPECT_FALSE(IsIpv6LinkLocal(Ipv4(254, 128, 0, 0)));
  EXPECT_FALSE(IsIpv6LinkLocal(Ipv4(169, 254, 0, 1)));
}

}  // namespace
}  // namespace veltrane
