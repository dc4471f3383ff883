#include "client/forecast/forecast.h"
#include "tests/client/forecast/situations.h"
#include "tests/support/on_machine.h"

namespace veltrane {
namespace {

// The system parses the addresses.
class Lost : public OnMachine {
 protected:
  Lost() { halves_.allowed_ips = "0.0.0.0/1, 128.0.0.0/1"; }

  Situation office_ = Office();
  Situation halves_ = Office();
};

class Blocked : public Lost {};
class Tunnel : public Lost {};

TEST_F(Blocked, IsEverybodyByANetworkOfLengthZero) {
  office_.allowed_ips = "0.0.0.0/0";
  EXPECT_EQ(Forecast(office_, "203.0.113.5"),
            "blocked, slash zero 0.0.0.0/0; now 12 through 192.168.1.1");
  EXPECT_EQ(Forecast(office_, "192.168.1.50"), "blocked, slash zero 0.0.0.0/0; now 12 on the link");
  EXPECT_EQ(Forecast(office_, "2001:db8::5"),
            "blocked, slash zero 0.0.0.0/0; now 12 through fe80::1");
  EXPECT_EQ(Forecast(office_, Asked("fe80::50", kLan)),
            "blocked, slash zero 0.0.0.0/0; now 12 on the link");
  EXPECT_EQ(Forecast(office_, Connected("203.0.113.5", "192.168.1.10")),
            "blocked, slash zero 0.0.0.0/0; now 12 through 192.168.1.1");
}

TEST_F(Blocked, IsIpv4ByANetworkOfIpv6) {
  office_.allowed_ips = "::/0";
  EXPECT_EQ(Forecast(office_, "203.0.113.5"),
            "blocked, slash zero ::/0; now 12 through 192.168.1.1");
  EXPECT_EQ(Forecast(office_, "192.168.1.50"), "blocked, slash zero ::/0; now 12 on the link");
}

TEST_F(Blocked, IsByTheLengthHoweverTheNetworkIsWritten) {
  office_.allowed_ips = "10.0.0.0/8, 1.2.3.4/0, ::0/0";
  EXPECT_EQ(Forecast(office_, "203.0.113.5"),
            "blocked, slash zero 1.2.3.4/0 ::0/0; now 12 through 192.168.1.1");
  office_.allowed_ips = "0.0.0.0/00, 10.0.0.0/8";
  EXPECT_EQ(Forecast(office_, "203.0.113.5"),
            "blocked, slash zero 0.0.0.0/00; now 12 through 192.168.1.1");
}

TEST_F(Blocked, IsSomebodyWhoIsPinnedToo) {
  office_.allowed_ips = "0.0.0.0/0";
  office_.worlds = {BypassWorld({"203.0.113.5"})};
  EXPECT_EQ(Forecast(office_, "203.0.113.5"),
            "blocked, slash zero 0.0.0.0/0; now 12 through 192.168.1.1");
}

TEST_F(Blocked, IsUnderTheGuardWhatItsTwoTextsMiss) {
  office_.worlds = {GuardWorld()};
  office_.allowed_ips = "1.2.3.4/0";
  EXPECT_EQ(Forecast(office_, "203.0.113.5"),
            "blocked, slash zero 1.2.3.4/0; now 12 through 192.168.1.1");
  office_.allowed_ips = "0.0.0.0/0";
  EXPECT_EQ(Forecast(office_, "203.0.113.5"),
            "stays, proved; now 12 through 192.168.1.1; after 12 through 192.168.1.1");
}

TEST_F(Blocked, IsAssumedWithoutAProfile) {
  office_.allowed_ips.reset();
  office_.address.reset();
  EXPECT_EQ(Forecast(office_, "203.0.113.5"),
            "blocked, assumed catch-all 0.0.0.0/0 ::/0; now 12 through 192.168.1.1");
}

TEST_F(Blocked, IsWhoeverWhateverElseIsUnknown) {
  Situation nothing;
  nothing.worlds = {World()};
  nothing.allowed_ips = "0.0.0.0/0";
  EXPECT_EQ(Forecast(nothing, "203.0.113.5"),
            "blocked, slash zero 0.0.0.0/0; now unread; replaces a tunnel");
  EXPECT_EQ(Forecast(nothing, "127.0.0.1"),
            "blocked, slash zero 0.0.0.0/0; now unread; replaces a tunnel");
}

TEST_F(Tunnel, TakesWhomAllowedIpsName) {
  EXPECT_EQ(Forecast(halves_, "203.0.113.5"),
            "tunnel, network taken 128.0.0.0/1; now 12 through 192.168.1.1; after the new tunnel");
  office_.allowed_ips = "10.0.0.0/8, 2001:db8::/32";
  EXPECT_EQ(Forecast(office_, "2001:db8::5"),
            "tunnel, network taken 2001:db8::/32; now 12 through fe80::1; after the new tunnel");
}

TEST_F(Tunnel, TakesTheMoreSpecificOfItsNetworks) {
  office_.allowed_ips = "128.0.0.0/1, 203.0.113.0/24, 203.0.0.0/16";
  EXPECT_EQ(
      Forecast(office_, "203.0.113.5"),
      "tunnel, network taken 203.0.113.0/24; now 12 through 192.168.1.1; after the new tunnel");
}

TEST_F(Tunnel, TakesTheNetworkOfAddress) {
  office_.address = "fd00::7/64, 10.66.66.7/8";
  EXPECT_EQ(Forecast(office_, "10.1.2.3"),
            "tunnel, network taken 10.66.66.7/8; now 12 through 192.168.1.1; after the new tunnel");
  EXPECT_EQ(Forecast(office_, "fd00::9"),
            "tunnel, network taken fd00::7/64; now 12 through fe80::1; after the new tunnel");
}

TEST_F(Tunnel, TakesTheMachinesOwnNetworkWhenItNamesIt) {
  office_.allowed_ips = "192.168.1.0/24";
  EXPECT_EQ(Forecast(office_, "192.168.1.50"),
            "tunnel, network taken 192.168.1.0/24; now 12 on the link; after the new tunnel");
}

TEST_F(Tunnel, TakesTheDefaultRouteWhenAddressIsACatchAll) {
  office_.address = "10.66.66.7/0";
  EXPECT_EQ(Forecast(office_, "203.0.113.5"),
            "tunnel, network taken 10.66.66.7/0; now 12 through 192.168.1.1; after the new tunnel");
}

TEST_F(Tunnel, TakesSomebodyPinnedWhoseVeryAddressAllowedIpsName) {
  office_.worlds = {BypassWorld({"203.0.113.5"})};
  office_.allowed_ips = "203.0.113.5/32";
  EXPECT_EQ(
      Forecast(office_, "203.0.113.5"),
      "tunnel, network taken 203.0.113.5/32; now 12 through 192.168.1.1; after the new tunnel");
}

TEST_F(Tunnel, MayLeaveAnEstablishedConnectionAlone) {
  EXPECT_EQ(Forecast(halves_, Connected("203.0.113.5", "192.168.1.10")),
            "tunnel, network taken 128.0.0.0/1; now 12 through 192.168.1.1; after the new tunnel; "
            "may survive");
}

TEST_F(Tunnel, DoesNotLeaveAConnectionAloneThatCameByATunnel) {
  halves_.interfaces = {LabelledTunnel(kLan)};
  EXPECT_EQ(Forecast(halves_, Connected("203.0.113.5", "192.168.1.10")),
            "tunnel, network taken 128.0.0.0/1; now tunnel 12 through 192.168.1.1; after the new "
            "tunnel");
  // Nor one whose interface is not known.
  halves_.interfaces = {};
  EXPECT_EQ(Forecast(halves_, Connected("203.0.113.5", "192.168.1.10")),
            "tunnel, network taken 128.0.0.0/1; now 12 through 192.168.1.1; after the new tunnel");
}

TEST_F(Tunnel, TakesSomebodyWhoIsOnALinkOnlyByAMoreSpecificNetwork) {
  EXPECT_EQ(Forecast(halves_, "192.168.1.50"),
            "stays, proved; now 12 on the link; after 12 on the link");
  halves_.allowed_ips = "192.168.1.0/25";
  EXPECT_EQ(Forecast(halves_, "192.168.1.50"),
            "tunnel, network taken 192.168.1.0/25; now 12 on the link; after the new tunnel");
  EXPECT_EQ(Forecast(halves_, "192.168.1.250"),
            "stays, proved; now 12 on the link; after 12 on the link");
}

}  // namespace
}  // namespace veltrane
