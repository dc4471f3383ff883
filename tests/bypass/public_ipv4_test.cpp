// The filter of the whole bypass: which addresses are public.

#include <gtest/gtest.h>

#include "bypass/candidates.h"
#include "tests/support/on_machine.h"

namespace veltrane {
namespace {

class PublicIpv4 : public OnMachine {
 protected:
  static void ExpectPublic(std::initializer_list<const char*> ips) {
    for (const char* ip : ips) EXPECT_TRUE(IsPublicIpv4(ip)) << ip;
  }
  static void ExpectNotPublic(std::initializer_list<const char*> ips) {
    for (const char* ip : ips) EXPECT_FALSE(IsPublicIpv4(ip)) << '"' << ip << '"';
  }
};

TEST_F(PublicIpv4, IsAnOrdinaryAddressAlsoBesideAPrivateRange) {
  ExpectPublic({"8.8.8.8", "203.0.113.5", "198.51.100.7"});
  ExpectPublic({"0.0.0.1", "0.255.255.255", "9.255.255.255", "11.0.0.0", "126.255.255.255",
                "128.0.0.0", "169.253.255.255", "169.255.0.0", "172.15.255.255", "172.32.0.0",
                "172.32.0.1", "192.167.255.255", "192.169.0.0", "171.16.0.1", "173.16.0.1",
                "191.168.0.1", "193.168.0.1", "168.254.0.1", "170.254.0.1"});
}

TEST_F(PublicIpv4, IsACarrierGradeNatMulticastOrBroadcastAddress) {
  ExpectPublic({"100.64.0.0", "100.64.0.1", "100.127.255.255"});
  ExpectPublic({"224.0.0.1", "239.255.255.250", "240.0.0.1", "255.255.255.255"});
}

TEST_F(PublicIpv4, IsAnAddressWithPrivateBytesInOtherPlaces) {
  ExpectPublic({"5.0.0.10", "1.0.0.127", "1.10.0.0", "1.127.0.0", "1.1.16.172", "1.172.16.1",
                "1.1.168.192", "1.192.168.1", "1.1.254.169"});
}

TEST_F(PublicIpv4, IsNoUnspecifiedLoopbackPrivateOrLinkLocalAddress) {
  ExpectNotPublic({"0.0.0.0", "127.0.0.0", "127.0.0.1", "127.255.255.255"});
  ExpectNotPublic({"10.0.0.0", "10.255.255.255", "172.16.0.0", "172.20.1.1", "172.31.255.255",
                   "192.168.0.0", "192.168.255.255"});
  ExpectNotPublic({"169.254.0.0", "169.254.255.255"});
}

TEST_F(PublicIpv4, IsNothingButADottedQuad) {
  ExpectNotPublic({"", "203.0.113", "203.0.113.5.6", "203.0.113.256", "203.0.113.-5",
                   "203.0.113.5/32", "203.0.113.5:3389", " 203.0.113.5", "203.0.113.5 ",
                   "203.0.113.5.", "example.org", "localhost", "2001:db8::1", "::ffff:203.0.113.5",
                   "0xCB.0.113.5", "3405803781"});
}

}  // namespace
}  // namespace veltrane
