#include "client/forecast/pins.h"
#include "tests/client/forecast/situations.h"
#include "tests/support/on_machine.h"

namespace veltrane {
namespace {

// The system parses the addresses.
class UnknownPins : public OnMachine {};

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
constexpr char kNoRoute[] = "refused: admin_bypass_failed (route_add_failed)";

TEST_F(UnknownPins, FollowFromAnInterfaceWhoseMetricIsNotKnown) {
  Situation office = Office();
  office.interfaces = {};
  office.session_clients = {Ip("198.51.100.9")};
  const World world = BypassWorld({"203.0.113.5"});
  EXPECT_EQ(Pinning(office, world, "203.0.113.5"), "connected, pinned, unclear: pin unclear");
  EXPECT_EQ(Pinning(office, world, "198.51.100.9"),
            "connected, perhaps pinned, unclear: pin unclear");
  // Perhaps the connect is refused.
  EXPECT_EQ(Pinning(office, world, "192.168.1.50"), "connected, unclear: pin unclear");
}

TEST_F(UnknownPins, DoNotFollowFromTheMetricWhenEverybodyRequiredHasARoute) {
  Situation office = Office();
  office.interfaces = {};
  office.ipv4_routes->push_back(RouteTo("203.0.113.5/32", "192.168.1.1", kLan, 15));
  EXPECT_EQ(Pinning(office, BypassWorld({"203.0.113.5"}), "203.0.113.5"), "connected, pinned");
  EXPECT_EQ(Pinning(office, BypassWorld({"203.0.113.5"}), "192.168.1.50"), "connected");
}

TEST_F(UnknownPins, AreARefusalWhenAnotherOneCannotBeMade) {
  Situation office = Office();
  office.interfaces = {};
  office.ipv4_routes->push_back(RouteTo("203.0.113.5/32", "192.168.1.1", kLan, 16));
  EXPECT_EQ(Pinning(office, BypassWorld({"198.51.100.9", "203.0.113.5"}), "198.51.100.9"),
            kNoRoute);
}

// The session may be gone by then, or the create may fail; neither keeps the connect from going on.
TEST_F(UnknownPins, AreThoseOfClientsOfSessionsBesideSomebodyRequired) {
  Situation office = Office();
  office.session_clients = {Ip("198.51.100.9")};
  EXPECT_EQ(Pinning(office, BypassWorld({"203.0.113.5"}), "198.51.100.9"),
            "connected, perhaps pinned, unclear: pin unclear");
}

TEST_F(UnknownPins, AreThoseOfClientsOfSessionsWithARouteThroughAnotherGateway) {
  for (const IpRoute& route : {RouteTo("198.51.100.9/32", "192.168.1.2", kLan, 5),
                               RouteTo("198.51.100.9/32", "192.168.1.1", kSecond, 5),
                               RouteTo("198.51.100.8/31", "192.168.1.1", kLan, 5)}) {
    Situation office = Office();
    office.session_clients = {Ip("198.51.100.9")};
    office.ipv4_routes->push_back(route);
    EXPECT_EQ(Pinning(office, BypassWorld({"203.0.113.5"}), "198.51.100.9"),
              "connected, perhaps pinned, unclear: pin unclear");
  }
}

TEST_F(UnknownPins, FollowFromAnotherWayThatIsAsGoodAsTheGateways) {
  Situation office = Office();
  office.ipv4_routes->push_back(RouteTo("0.0.0.0/0", "192.168.2.1", kSecond, 25));
  const World world = BypassWorld({"203.0.113.5"});
  EXPECT_EQ(Pinning(office, world, "203.0.113.5"), "connected, pinned, unclear: pin unclear");
  EXPECT_EQ(Pinning(office, world, "192.168.1.50"), "connected, unclear: pin unclear");
  // The other way may be one on which a route can be created.
  office.interfaces = {Hardware(kLan, 25), Hardware(kSecond, 1)};
  EXPECT_EQ(Pinning(office, world, "203.0.113.5"), "connected, pinned, unclear: pin unclear");
  EXPECT_EQ(Pinning(office, BypassWorld({}), "203.0.113.5"), kNobody);
  office.interfaces = {Hardware(kLan, 25), Hardware(kSecond, 2)};
  EXPECT_EQ(Pinning(office, world, "203.0.113.5"), kNoRoute);
}

TEST_F(UnknownPins, DoNotFollowFromAWayThatIsWorseThanTheGateways) {
  Situation office = Office();
  AddSecondAdapter(office);
  EXPECT_EQ(Pinning(office, BypassWorld({"203.0.113.5"}), "203.0.113.5"), "connected, pinned");
}

TEST_F(UnknownPins, FollowFromSessionsThatWereNotRead) {
  Situation office = Office();
  office.all_sessions_read = false;
  const World world = BypassWorld({"203.0.113.5"});
  EXPECT_EQ(Pinning(office, world, "198.51.100.9"),
            "connected, perhaps pinned, unclear: pin unclear");
  EXPECT_EQ(Pinning(office, world, "203.0.113.5"), "connected, pinned");
}

TEST_F(UnknownPins, DoNotFollowFromSessionsOfAddressesThatAreNeverPinned) {
  Situation office = Office();
  office.all_sessions_read = false;
  office.own_addresses->push_back({Ip("198.51.100.10"), kLan});
  const World world = BypassWorld({"203.0.113.5"});
  EXPECT_EQ(Pinning(office, world, "192.168.1.50"), "connected");
  EXPECT_EQ(Pinning(office, world, "2001:db8::5"), "connected");
  EXPECT_EQ(Pinning(office, world, "198.51.100.10"), "connected");
}

TEST_F(UnknownPins, DoNotFollowFromSessionsWhenNoRouteCanBeCreated) {
  Situation office = Office();
  office.all_sessions_read = false;
  office.interfaces = {Hardware(kLan, 15)};
  office.ipv4_routes->push_back(RouteTo("203.0.113.5/32", "192.168.1.1", kLan, 15));
  EXPECT_EQ(Pinning(office, BypassWorld({"203.0.113.5"}), "198.51.100.9"), "connected");
}

TEST_F(UnknownPins, FollowFromTheTableTheOwnAddressesTheGatewayAndTheConnections) {
  const World world = BypassWorld({"203.0.113.5"});
  Situation office = Office();
  office.ipv4_routes.reset();
  EXPECT_EQ(Pinning(office, world, "203.0.113.5"),
            "connected, perhaps pinned, unclear: table unread");
  office = Office();
  office.own_addresses.reset();
  EXPECT_EQ(Pinning(office, world, "203.0.113.5"),
            "connected, perhaps pinned, unclear: own addresses unread");
  office = Office();
  office.gateway.reset();
  EXPECT_EQ(Pinning(office, world, "203.0.113.5"),
            "connected, perhaps pinned, unclear: pin unclear");
  office = Office();
  office.rdp_peers.reset();
  EXPECT_EQ(Pinning(office, world, "203.0.113.5"),
            "connected, perhaps pinned, unclear: pin unclear");
}

TEST_F(UnknownPins, AreNotOfAddressesThatAreNeverPinned) {
  Situation office = Office();
  office.rdp_peers.reset();
  const World world = BypassWorld({"203.0.113.5"});
  EXPECT_EQ(Pinning(office, world, "192.168.1.50"), "connected, unclear: pin unclear");
  EXPECT_EQ(Pinning(office, world, "2001:db8::5"), "connected, unclear: pin unclear");
}

TEST_F(UnknownPins, KeepTheFirstThingThatIsUnclear) {
  Situation office = Office();
  office.interfaces = {};
  Plan plan;
  plan.unclear = Cause::kProfileUnread;
  PlanPins(office, BypassWorld({"203.0.113.5"}), Asked("203.0.113.5"), plan);
  EXPECT_EQ(Told(plan), "connected, pinned, unclear: profile unread");
}

}  // namespace
}  // namespace veltrane
