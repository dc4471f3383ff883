#include "client/forecast/forecast.h"
#include "tests/client/forecast/situations.h"
#include "tests/support/on_machine.h"

// Each test takes one proof away from somebody who stays.

namespace veltrane {
namespace {

// The system parses the addresses.
class Proof : public OnMachine {
 protected:
  // Halves, and an administrator whom the settings name and whom the service pins.
  Proof() {
    pinned_.allowed_ips = "0.0.0.0/1, 128.0.0.0/1";
    pinned_.worlds = {BypassWorld({"203.0.113.5"})};
  }

  Situation office_ = Office();
  Situation pinned_ = Office();
};

TEST_F(Proof, IsTheTableOfTheFamily) {
  office_.ipv4_routes.reset();
  EXPECT_EQ(Forecast(office_, "203.0.113.5"), "unknown, table unread; now unread");
  EXPECT_EQ(Forecast(office_, "2001:db8::5"),
            "stays, proved; now 12 through fe80::1; after 12 through fe80::1");
  office_ = Office();
  office_.ipv6_routes.reset();
  EXPECT_EQ(Forecast(office_, "2001:db8::5"), "unknown, table unread; now unread");
  EXPECT_EQ(Forecast(office_, "203.0.113.5"),
            "stays, proved; now 12 through 192.168.1.1; after 12 through 192.168.1.1");
}

TEST_F(Proof, IsTheIpv4TableForEverybodyWhenItDecidesAboutPins) {
  pinned_.ipv4_routes.reset();
  EXPECT_EQ(Forecast(pinned_, "2001:db8::5"), "unknown, table unread; now 12 through fe80::1");
}

TEST_F(Proof, IsTheIpv4TableForEverybodyUnderTheGuard) {
  office_.ipv4_routes.reset();
  office_.worlds = {GuardWorld()};
  EXPECT_EQ(Forecast(office_, "2001:db8::5"), "unknown, table unread; now 12 through fe80::1");
}

TEST_F(Proof, IsTheListOfOwnAddresses) {
  office_.own_addresses.reset();
  EXPECT_EQ(Forecast(office_, "203.0.113.5"),
            "unknown, own addresses unread; now 12 through 192.168.1.1");
  EXPECT_EQ(Forecast(office_, Connected("203.0.113.5", "192.168.1.10")),
            "unknown, own addresses unread; now none");
}

TEST_F(Proof, IsThatNoTunnelIsUp) {
  office_.tunnel_today = TunnelToday::kUp;
  office_.tunnel_interface = kTunnel;
  EXPECT_EQ(Forecast(office_, "192.168.1.50"),
            "unknown, older tunnel; now 12 on the link; replaces a tunnel");
  office_.tunnel_today = TunnelToday::kUnknown;
  office_.tunnel_interface.reset();
  EXPECT_EQ(Forecast(office_, "192.168.1.50"),
            "unknown, older tunnel; now 12 on the link; replaces a tunnel");
}

TEST_F(Proof, IsARouteToday) {
  office_.ipv4_routes = {{RouteTo("192.168.1.0/24", "", kLan)}};
  EXPECT_EQ(Forecast(office_, "203.0.113.5"), "unknown, no way today; now none");
}

TEST_F(Proof, IsARouteBackFromTheInterfaceOfTheConnection) {
  office_.own_addresses->push_back({Ip("192.168.2.10"), kSecond});
  EXPECT_EQ(Forecast(office_, Connected("203.0.113.5", "192.168.2.10")),
            "unknown, arrival unclear; now none");
}

TEST_F(Proof, IsThatTheLocalAddressIsTheMachines) {
  EXPECT_EQ(Forecast(office_, Connected("203.0.113.5", "192.168.3.10")),
            "unknown, arrival unclear; now none");
  Subject without_local = Connected("203.0.113.5", "192.168.1.10");
  without_local.local.reset();
  EXPECT_EQ(Forecast(office_, without_local), "unknown, arrival unclear; now none");
}

TEST_F(Proof, IsThatOneWayIsTheBest) {
  office_.ipv4_routes->push_back(RouteTo("0.0.0.0/0", "192.168.1.2", kLan, 25));
  EXPECT_EQ(Forecast(office_, "203.0.113.5"),
            "unknown, ways are equal; now 12 through 192.168.1.1");
  EXPECT_EQ(Forecast(office_, "192.168.1.50"),
            "stays, proved; now 12 on the link; after 12 on the link");
}

TEST_F(Proof, IsThatOneWayIsTheBestTodayEvenForSomebodyPinned) {
  pinned_.ipv4_routes->push_back(RouteTo("203.0.113.0/24", "192.168.1.1", kLan, 25));
  pinned_.ipv4_routes->push_back(RouteTo("203.0.113.0/24", "192.168.1.2", kLan, 25));
  EXPECT_EQ(Forecast(pinned_, "203.0.113.5"),
            "unknown, ways are equal; now 12 through 192.168.1.1");
}

TEST_F(Proof, IsThatOneWayIsTheBestAfterTheConnect) {
  AddSecondAdapter(office_);
  office_.ipv4_routes->push_back(RouteTo("203.0.113.0/24", "192.168.1.1", kLan, 7));
  office_.ipv4_routes->push_back(RouteTo("203.0.113.0/24", "192.168.2.1", kSecond, 7));
  EXPECT_EQ(Forecast(office_, Connected("203.0.113.5", "192.168.1.10")),
            "unknown, ways are equal; now 12 through 192.168.1.1");
  EXPECT_EQ(Forecast(office_, Connected("203.0.113.5", "192.168.2.10")),
            "unknown, ways are equal; now 13 through 192.168.2.1");
}

TEST_F(Proof, IsThatTheWayIsNotAnotherTunnel) {
  office_.interfaces = {LabelledTunnel(kLan)};
  EXPECT_EQ(Forecast(office_, "203.0.113.5"),
            "unknown, other tunnel; now tunnel 12 through 192.168.1.1");
}

TEST_F(Proof, IsThatTheInterfaceIsHardwareWithoutATunnelsLabel) {
  const char* unproved = "unknown, interface unproved; now 12 through 192.168.1.1";
  office_.interfaces = {};
  EXPECT_EQ(Forecast(office_, "203.0.113.5"), unproved);
  office_.interfaces = {Hardware(kLan)};
  office_.interfaces[0].hardware = false;
  EXPECT_EQ(Forecast(office_, "203.0.113.5"), unproved);
  office_.interfaces[0].hardware.reset();
  EXPECT_EQ(Forecast(office_, "203.0.113.5"), unproved);
  office_.interfaces = {Hardware(kLan)};
  office_.interfaces[0].labelled_tunnel.reset();
  EXPECT_EQ(Forecast(office_, "203.0.113.5"), unproved);
}

TEST_F(Proof, IsThatNoDefaultRouteUnderTheGuardIsPerhapsATunnels) {
  office_.worlds = {GuardWorld()};
  office_.ipv4_routes->push_back(RouteTo("0.0.0.0/0", "10.8.0.1", kTunnel, 900));
  EXPECT_EQ(Forecast(office_, "192.168.1.50"), "unknown, interface unproved; now 12 on the link");
}

TEST_F(Proof, IsThatTheAddressIsSomebodyElses) {
  EXPECT_EQ(Forecast(office_, "127.0.0.1"), "unknown, loopback; now 1 on the link");
  EXPECT_EQ(Forecast(office_, Connected("127.0.0.2", "127.0.0.1")),
            "unknown, loopback; now 1 on the link");
  EXPECT_EQ(Forecast(office_, "::1"), "unknown, loopback; now 1 on the link");
  EXPECT_EQ(Forecast(office_, "192.168.1.10"), "unknown, own address; now 12 on the link");
}

TEST_F(Proof, IsTheZoneOfALinkLocalAddress) {
  EXPECT_EQ(Forecast(office_, "fe80::50"), "unknown, zone missing; now 12 on the link");
  EXPECT_EQ(Forecast(office_, Asked("fe80::50", kSecond)), "unknown, no way today; now none");
}

TEST_F(Proof, IsTheProfilesAddress) {
  office_.address = "10.66.66.7/33";
  EXPECT_EQ(Forecast(office_, "203.0.113.5"),
            "unknown, profile unread; now 12 through 192.168.1.1");
  office_.address.reset();
  EXPECT_EQ(Forecast(office_, "203.0.113.5"),
            "unknown, profile unread; now 12 through 192.168.1.1");
}

TEST_F(Proof, IsThatAddressIsNotACatchAll) {
  office_.address = "10.66.66.7/0";
  EXPECT_EQ(Forecast(office_, "192.168.1.50"), "unknown, Address catches all; now 12 on the link");
}

TEST_F(Proof, IsThatAllowedIpsAreNetworks) {
  office_.allowed_ips = "10.66.66.0/24, everything";
  EXPECT_EQ(Forecast(office_, "203.0.113.5"),
            "unknown, profile unread; now 12 through 192.168.1.1");
}

TEST_F(Proof, IsTheNetworkThatTheGuardPutsIn) {
  office_.allowed_ips.reset();
  office_.address.reset();
  office_.worlds = {GuardWorld()};
  EXPECT_EQ(Forecast(office_, "203.0.113.5"),
            "unknown, guard network unknown; now 12 through 192.168.1.1");
}

TEST_F(Proof, OfAPinIsTheMetricOfTheInterface) {
  pinned_.interfaces[0].ipv4_metric.reset();
  // Either he is pinned, or the connect is refused.
  EXPECT_EQ(Forecast(pinned_, "203.0.113.5"), "unknown, pin unclear; now 12 through 192.168.1.1");
  EXPECT_EQ(Forecast(pinned_, "192.168.1.50"), "unknown, pin unclear; now 12 on the link");
}

TEST_F(Proof, OfAPinIsTheGateway) {
  pinned_.gateway.reset();
  EXPECT_EQ(Forecast(pinned_, "203.0.113.5"),
            "tunnel, network taken 128.0.0.0/1; now 12 through 192.168.1.1; after the new tunnel");
  EXPECT_EQ(Forecast(pinned_, "192.168.1.50"), "unknown, pin unclear; now 12 on the link");
}

TEST_F(Proof, OfAPinIsTheListOfConnections) {
  pinned_.rdp_peers.reset();
  EXPECT_EQ(Forecast(pinned_, "203.0.113.5"),
            "tunnel, network taken 128.0.0.0/1; now 12 through 192.168.1.1; after the new tunnel");
  EXPECT_EQ(Forecast(pinned_, "192.168.1.50"), "unknown, pin unclear; now 12 on the link");
}

TEST_F(Proof, OfNoPinIsThatAllSessionsWereRead) {
  AddSecondAdapter(office_);
  office_.worlds = {BypassWorld({"198.51.100.9"})};
  office_.all_sessions_read = false;
  office_.ipv4_routes->push_back(RouteTo("203.0.113.0/24", "192.168.2.1", kSecond, 7));
  // A session of his would pin him through the other gateway.
  EXPECT_EQ(Forecast(office_, Connected("203.0.113.5", "192.168.2.10")),
            "moves, pinned elsewhere; now 13 through 192.168.2.1; after 12 through 192.168.1.1; "
            "may survive");
  // Or through the one by which he came, so that nothing would change.
  EXPECT_EQ(Forecast(office_, "203.0.114.5"), "unknown, pin unclear; now 12 through 192.168.1.1");
  office_.all_sessions_read = true;
  EXPECT_EQ(Forecast(office_, Connected("203.0.113.5", "192.168.2.10")),
            "stays, proved; now 13 through 192.168.2.1; after 13 through 192.168.2.1");
}

TEST_F(Proof, OfAPinIsNotAGatewayOfZeros) {
  office_.worlds = {BypassWorld({"203.0.113.5"})};
  office_.rdp_peers.reset();
  office_.gateway = Way{kLan, Ip("0.0.0.0")};
  EXPECT_EQ(Forecast(office_, "203.0.113.5"), "unknown, pin unclear; now 12 through 192.168.1.1");
}

TEST_F(Proof, OfAPinIsThatNoOtherHostRouteIsAsGood) {
  AddSecondAdapter(pinned_);
  pinned_.ipv4_routes->push_back(RouteTo("203.0.113.5/32", "192.168.2.1", kSecond, 1));
  EXPECT_EQ(Forecast(pinned_, Connected("203.0.113.5", "192.168.2.10")),
            "unknown, ways are equal; now 13 through 192.168.2.1");
}

TEST_F(Proof, IsAtLeastOneWorld) {
  office_.worlds.clear();
  EXPECT_EQ(Forecast(office_, "203.0.113.5"), "unknown, pin unclear; now 12 through 192.168.1.1");
}

}  // namespace
}  // namespace veltrane
