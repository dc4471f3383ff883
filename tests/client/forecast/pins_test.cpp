#include "client/forecast/pins.h"

#include "tests/client/forecast/situations.h"
#include "tests/support/on_machine.h"

namespace veltrane {
namespace {

// The system parses the addresses.
class Pins : public OnMachine {};
class RefusedPins : public OnMachine {};

// What the bypass would do for the subject, in words.
std::string Pinning(const Situation& situation, const World& world, const Subject& subject) {
  Plan plan;
  PlanPins(situation, world, subject, plan);
  return Told(plan);
}

std::string Pinning(const Situation& situation, const World& world, const std::string& address) {
  return Pinning(situation, world, Asked(address));
}

constexpr char kNobody[] = "refused: admin_bypass_failed (no_admin_bypass_ips)";
constexpr char kNoGateway[] = "refused: admin_bypass_failed (physical_gateway_missing)";
constexpr char kNoRoute[] = "refused: admin_bypass_failed (route_add_failed)";

TEST_F(Pins, AreForAddressesThatTheSettingsName) {
  const World world = BypassWorld({"203.0.113.5", "198.51.100.9"});
  EXPECT_EQ(Pinning(Office(), world, "203.0.113.5"), "connected, pinned");
  EXPECT_EQ(Pinning(Office(), world, "198.51.100.9"), "connected, pinned");
  EXPECT_EQ(Pinning(Office(), world, "203.0.113.6"), "connected");
}

TEST_F(Pins, AreForPeersOfRemoteDesktopConnections) {
  Situation office = Office();
  office.rdp_peers = {{Ip("203.0.113.5")}};
  EXPECT_EQ(Pinning(office, BypassWorld({}), "203.0.113.5"), "connected, pinned");
  EXPECT_EQ(Pinning(office, BypassWorld({}), "203.0.113.6"), "connected");
}

TEST_F(Pins, AreForWhomAListNamesThatIsNotKnown) {
  World world = BypassWorld({});
  world.names_subject = true;
  EXPECT_EQ(Pinning(Office(), world, "203.0.113.5"), "connected, pinned");
  EXPECT_EQ(Pinning(Office(), world, "192.168.1.50"), kNobody);
}

TEST_F(Pins, OfTheOptionalAreProvedWhereTheyAreThereAlready) {
  for (const std::uint32_t metric : {0u, 15u, 16u}) {
    Situation office = Office();
    office.session_clients = {Ip("198.51.100.9")};
    office.ipv4_routes->push_back(RouteTo("198.51.100.9/32", "192.168.1.1", kLan, metric));
    EXPECT_EQ(Pinning(office, BypassWorld({"203.0.113.5"}), "198.51.100.9"), "connected") << metric;
  }
}

TEST_F(Pins, AreForSomebodyElseWhomAListNamesThatIsNotKnown) {
  World world = BypassWorld({});
  world.names_other = true;
  EXPECT_EQ(Pinning(Office(), world, "203.0.113.5"), "connected");
  EXPECT_EQ(Pinning(Office(), world, "192.168.1.50"), "connected");
  Situation office = Office();
  office.interfaces = {Hardware(kLan, 25)};
  EXPECT_EQ(Pinning(office, world, "203.0.113.5"), "connected");
  // Those whom the service must pin besides.
  office.rdp_peers = {{Ip("203.0.113.5")}};
  EXPECT_EQ(Pinning(office, world, "203.0.113.5"), kNoRoute);
  office.interfaces = {Hardware(kLan, 1)};
  EXPECT_EQ(Pinning(office, world, "203.0.113.5"), "connected, pinned");
}

TEST_F(Pins, AreRefusedWithoutAGatewayWhomeverAListNames) {
  World world = BypassWorld({});
  world.names_other = true;
  Situation office = Office();
  office.gateway = Way{kLan, Ip("0.0.0.0")};
  EXPECT_EQ(Pinning(office, world, "203.0.113.5"), kNoGateway);
}

TEST_F(Pins, AreRefusedWithClientsOfSessionsAlone) {
  Situation office = Office();
  office.session_clients = {Ip("198.51.100.9")};
  EXPECT_EQ(Pinning(office, BypassWorld({}), "198.51.100.9"), kNobody);
}

TEST_F(Pins, AreRefusedWithoutAnybody) {
  EXPECT_EQ(Pinning(Office(), BypassWorld({}), "203.0.113.5"), kNobody);
}

TEST_F(Pins, AreForPublicIpv4AddressesAlone) {
  for (const char* named :
       {"10.1.2.3", "172.16.0.1", "172.31.255.255", "192.168.1.50", "169.254.7.7", "127.0.0.1",
        "0.0.0.0", "2001:db8::5", "203.0.113", "203.0.113.5/32", "::ffff:203.0.113.5",
        "::ffff:cb00:7105", "office.example"}) {
    EXPECT_EQ(Pinning(Office(), BypassWorld({named}), "198.51.100.9"), kNobody) << named;
  }
  for (const char* named : {"9.255.255.255", "11.0.0.0", "172.15.255.255", "172.32.0.0",
                            "192.167.0.1", "169.253.0.1", "100.64.0.1", "224.0.0.1"}) {
    EXPECT_EQ(Pinning(Office(), BypassWorld({named}), named), "connected, pinned") << named;
  }
}

TEST_F(Pins, AreNotForAddressesOfTheMachine) {
  Situation office = Office();
  office.own_addresses->push_back({Ip("203.0.113.5"), kLan});
  office.rdp_peers = {{Ip("203.0.113.5")}};
  World world = BypassWorld({"203.0.113.5"});
  world.names_subject = true;
  EXPECT_EQ(Pinning(office, world, "203.0.113.5"), kNobody);
  office.session_clients = {Ip("203.0.113.5")};
  EXPECT_EQ(Pinning(office, BypassWorld({"198.51.100.9"}), "203.0.113.5"), "connected");
}

TEST_F(Pins, NeedAGateway) {
  Situation office = Office();
  office.gateway = Way{kLan, Ip("0.0.0.0")};
  EXPECT_EQ(Pinning(office, BypassWorld({"203.0.113.5"}), "203.0.113.5"), kNoGateway);
}

TEST_F(Pins, AreCreatedWhereTheInterfacesMetricIsNotAboveTheirs) {
  for (const std::uint32_t metric : {0u, 1u}) {
    Situation office = Office();
    office.interfaces = {Hardware(kLan, metric)};
    EXPECT_EQ(Pinning(office, BypassWorld({"203.0.113.5"}), "203.0.113.5"), "connected, pinned")
        << metric;
  }
  for (const std::uint32_t metric : {2u, 15u, 16u, 25u}) {
    Situation office = Office();
    office.interfaces = {Hardware(kLan, metric)};
    EXPECT_EQ(Pinning(office, BypassWorld({"203.0.113.5"}), "203.0.113.5"), kNoRoute) << metric;
  }
}

TEST_F(Pins, DependOnTheMetricOfTheGatewaysInterface) {
  Situation office = Office();
  office.interfaces = {Hardware(kSecond, 25), Hardware(kLan, 1)};
  EXPECT_EQ(Pinning(office, BypassWorld({"203.0.113.5"}), "203.0.113.5"), "connected, pinned");
  office.gateway = Way{kSecond, Ip("192.168.2.1")};
  EXPECT_EQ(Pinning(office, BypassWorld({"203.0.113.5"}), "203.0.113.5"), kNoRoute);
}

TEST_F(Pins, MayBeRoutesThatAreThereWithAMetricOf15OrLess) {
  for (const std::uint32_t metric : {0u, 1u, 2u, 15u}) {
    Situation office = Office();
    office.interfaces = {Hardware(kLan, 15)};
    office.ipv4_routes->push_back(RouteTo("203.0.113.5/32", "192.168.1.1", kLan, metric));
    EXPECT_EQ(Pinning(office, BypassWorld({"203.0.113.5"}), "203.0.113.5"), "connected, pinned")
        << metric;
  }
}

TEST_F(Pins, AreNeitherVerifiedNorCreatedBesideARouteWithAMetricOf16) {
  Situation office = Office();
  office.interfaces = {Hardware(kLan, 1)};
  office.ipv4_routes->push_back(RouteTo("203.0.113.5/32", "192.168.1.1", kLan, 16));
  EXPECT_EQ(Pinning(office, BypassWorld({"203.0.113.5"}), "203.0.113.5"), kNoRoute);
}

TEST_F(Pins, AreNotRoutesThroughAnotherGatewayOrInterfaceOrToAnotherNetwork) {
  for (const IpRoute& route : {RouteTo("203.0.113.4/32", "192.168.1.2", kLan, 5),
                               RouteTo("203.0.113.4/32", "192.168.1.1", kSecond, 5),
                               RouteTo("203.0.113.4/31", "192.168.1.1", kLan, 5),
                               RouteTo("203.0.113.5/32", "192.168.1.1", kLan, 5)}) {
    Situation office = Office();
    office.interfaces = {Hardware(kLan, 15)};
    office.ipv4_routes->push_back(route);
    EXPECT_EQ(Pinning(office, BypassWorld({"203.0.113.4"}), "203.0.113.4"), kNoRoute)
        << AddressText(route.destination) << " " << AddressText(route.next_hop);
  }
}

TEST_F(Pins, OfEverybodyRequiredAreNeeded) {
  Situation office = Office();
  office.interfaces = {Hardware(kLan, 15)};
  office.ipv4_routes->push_back(RouteTo("203.0.113.5/32", "192.168.1.1", kLan, 15));
  office.rdp_peers = {{Ip("198.51.100.9")}};
  EXPECT_EQ(Pinning(office, BypassWorld({"203.0.113.5"}), "203.0.113.5"), kNoRoute);
}

TEST_F(Pins, OfTheOptionalAreLeftOutWhereTheyCannotBeMade) {
  Situation office = Office();
  office.interfaces = {Hardware(kLan, 15)};
  office.ipv4_routes->push_back(RouteTo("203.0.113.5/32", "192.168.1.1", kLan, 15));
  office.session_clients = {Ip("198.51.100.9")};
  EXPECT_EQ(Pinning(office, BypassWorld({"203.0.113.5"}), "198.51.100.9"), "connected");
}

TEST_F(Pins, OfSomebodyWhoIsBothRequiredAndOptionalAreNeeded) {
  Situation office = Office();
  office.interfaces = {Hardware(kLan, 15)};
  office.session_clients = {Ip("203.0.113.5")};
  EXPECT_EQ(Pinning(office, BypassWorld({"203.0.113.5"}), "203.0.113.5"), kNoRoute);
}

TEST_F(Pins, AreRefusedInTheServicesOrder) {
  Situation office = Office();
  office.interfaces = {Hardware(kLan, 25)};
  office.gateway = Way{kLan, Ip("0.0.0.0")};
  EXPECT_EQ(Pinning(office, BypassWorld({}), "203.0.113.5"), kNobody);
  EXPECT_EQ(Pinning(office, BypassWorld({"203.0.113.5"}), "203.0.113.5"), kNoGateway);
  office.gateway = Way{kLan, Ip("192.168.1.1")};
  EXPECT_EQ(Pinning(office, BypassWorld({"203.0.113.5"}), "203.0.113.5"), kNoRoute);
}

TEST_F(Pins, AreRefusedWhenAListNamesSomebodyForWhomThereIsNoRoute) {
  World world = BypassWorld({"203.0.113.5"});
  world.names_unpinnable = true;
  EXPECT_EQ(Pinning(Office(), world, "203.0.113.5"), kNoRoute);
  // Whatever else is unknown.
  EXPECT_EQ(Pinning(Situation(), world, "203.0.113.5"), kNoRoute);
}

TEST_F(RefusedPins, MakeEverythingElseClear) {
  Plan plan;
  plan.unclear = Cause::kProfileUnread;
  PlanPins(Office(), BypassWorld({}), Asked("203.0.113.5"), plan);
  EXPECT_EQ(Told(plan), kNobody);
}

}  // namespace
}  // namespace veltrane
