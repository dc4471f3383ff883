#include "client/profile/value_formats.h"

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

TEST(WireGuardKey, HasNoBitsAfterItsLastByte) {
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

}  // namespace
}  // namespace veltrane
