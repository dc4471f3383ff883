#include "client/forecast/plan.h"

#include "tests/client/forecast/situations.h"
#include "tests/support/on_machine.h"

namespace veltrane {
namespace {

// The system parses the addresses.
class PlanOfAConnect : public OnMachine {};

std::string Planned(const Situation& situation, const World& world) {
  return Told(MakePlan(situation, world, Asked("203.0.113.5")));
}

// AllowedIPs as the guard leaves them, or what the service would do instead.
std::string Allowed(const Situation& situation, const World& world) {
  const Plan plan = MakePlan(situation, world, Asked("203.0.113.5"));
  if (plan.end != Plan::End::kConnected || plan.unclear) return Told(plan);
  std::string text;
  for (const IpNetwork& network : plan.allowed) text += NetworkText(network) + " ";
  return text;
}

Situation WithProfile(const std::string& allowed_ips, const std::string& address) {
  Situation office = Office();
  office.allowed_ips = allowed_ips;
  office.address = address;
  return office;
}

TEST_F(PlanOfAConnect, LeavesAllowedIpsAloneWithoutTheGuard) {
  EXPECT_EQ(Allowed(WithProfile("0.0.0.0/0, ::/0", "10.66.66.7/32"), World()), "0.0.0.0/0 ::/0 ");
  EXPECT_EQ(Allowed(WithProfile("1.2.3.4/0", "10.66.66.7/32"), World()), "0.0.0.0/0 ");
}

TEST_F(PlanOfAConnect, PutsTheClientsNetworkInThePlaceOfACatchAllUnderTheGuard) {
  EXPECT_EQ(Allowed(WithProfile("0.0.0.0/0, ::/0", "10.7.8.9/32"), GuardWorld()), "10.7.8.0/24 ");
  EXPECT_EQ(Allowed(WithProfile("192.168.0.0/16, ::/0", "10.7.8.9/32"), GuardWorld()),
            "10.7.8.0/24 ");
  EXPECT_EQ(Allowed(WithProfile("0.0.0.0/0", "fd00::7/128"), GuardWorld()), "10.66.66.0/24 ");
}

TEST_F(PlanOfAConnect, LeavesUnderTheGuardWhatIsWrittenDifferently) {
  EXPECT_EQ(Allowed(WithProfile("1.2.3.4/0", "10.7.8.9/32"), GuardWorld()), "0.0.0.0/0 ");
  EXPECT_EQ(Allowed(WithProfile("::0/0", "10.7.8.9/32"), GuardWorld()), "::/0 ");
  EXPECT_EQ(Allowed(WithProfile("0.0.0.0/1, 128.0.0.0/1", "10.7.8.9/32"), GuardWorld()),
            "0.0.0.0/1 128.0.0.0/1 ");
}

TEST_F(PlanOfAConnect, IsRefusedUnderTheGuardWhenAddressIsACatchAll) {
  EXPECT_EQ(Planned(WithProfile("10.0.0.0/8", "0.0.0.0/0"), GuardWorld()),
            "refused: poc_route_guard_failed (poc_route_guard_failed)");
  EXPECT_EQ(Planned(WithProfile("10.0.0.0/8", "0.0.0.0/0"), World()), "connected");
}

TEST_F(PlanOfAConnect, IsRefusedRatherThanUndone) {
  Situation office = WithProfile("10.0.0.0/8", "0.0.0.0/0");
  office.interfaces.push_back(LabelledTunnel(kTunnel));
  office.ipv4_routes->push_back(RouteTo("0.0.0.0/0", "10.8.0.1", kTunnel));
  EXPECT_EQ(Planned(office, GuardWorld()),
            "refused: poc_route_guard_failed (poc_route_guard_failed)");
}

TEST_F(PlanOfAConnect, AssumesACatchAllWithoutAProfile) {
  Situation office = Office();
  office.allowed_ips.reset();
  office.address.reset();
  EXPECT_EQ(Allowed(office, World()), "0.0.0.0/0 ::/0 ");
  EXPECT_EQ(Allowed(office, GuardWorld()), "connected, unclear: guard network unknown");
  office.address = "10.7.8.9/32";
  EXPECT_EQ(Allowed(office, GuardWorld()), "connected, unclear: guard network unknown");
}

TEST_F(PlanOfAConnect, DoesNotKnowTheGuardsNetworkWithoutAddress) {
  Situation office = Office();
  office.address.reset();
  EXPECT_EQ(Allowed(office, GuardWorld()), "connected, unclear: guard network unknown");
  EXPECT_EQ(Allowed(office, World()), "10.66.66.0/24 ");
}

TEST_F(PlanOfAConnect, IsUnclearWhenAllowedIpsAreNotNetworks) {
  EXPECT_EQ(Allowed(WithProfile("everything", "10.66.66.7/32"), World()),
            "connected, unclear: profile unread");
  const Plan plan =
      MakePlan(WithProfile("everything, 10.0.0.0/8,", "10.66.66.7/32"), World(), Asked("10.1.2.3"));
  EXPECT_EQ(Told(plan), "connected, unclear: profile unread");
  EXPECT_EQ(plan.allowed, std::vector{Net("10.0.0.0/8")});
  EXPECT_EQ(plan.allowed_list, "everything, 10.0.0.0/8,");
  // The octets of the client's own network are not checked.
  EXPECT_EQ(Allowed(WithProfile("0.0.0.0/0", "300.7.8.9/32"), GuardWorld()),
            "connected, unclear: profile unread");
}

TEST_F(PlanOfAConnect, IsRefusedWhenTheMachinesGuardIsOverridden) {
  World world = BypassWorld({});
  world.guard_overridden = true;
  world.in_remote_session = true;
  EXPECT_EQ(Planned(Office(), world), "refused: poc_env_read_failed (poc_env_read_failed)");
  EXPECT_EQ(Planned(Situation(), world), "refused: poc_env_read_failed (poc_env_read_failed)");
}

TEST_F(PlanOfAConnect, IsRefusedInARemoteSessionWithoutTheGuard) {
  World world;
  world.in_remote_session = true;
  EXPECT_EQ(Planned(Office(), world),
            "refused: poc_route_guard_failed (rdp_requires_disable_default_route)");
  // Whatever the profile says, and before the bypass.
  world.bypass = true;
  EXPECT_EQ(Planned(WithProfile("everything", "10.66.66.7/32"), world),
            "refused: poc_route_guard_failed (rdp_requires_disable_default_route)");
  world.guard = true;
  EXPECT_EQ(Planned(Office(), world), "connected");
}

TEST_F(PlanOfAConnect, PinsWithTheBypassAndWithoutTheGuard) {
  World world = BypassWorld({"203.0.113.5"});
  EXPECT_EQ(Planned(Office(), world), "connected, pinned");
  world.bypass = false;
  EXPECT_EQ(Planned(Office(), world), "connected");
  world.bypass = true;
  world.guard = true;
  EXPECT_EQ(Planned(Office(), world), "connected");
}

TEST_F(PlanOfAConnect, IsUndoneUnderTheGuardByADefaultRouteThroughAnotherTunnel) {
  Situation office = Office();
  office.interfaces.push_back(LabelledTunnel(kTunnel));
  office.ipv4_routes->push_back(RouteTo("0.0.0.0/0", "10.8.0.1", kTunnel, 900));
  EXPECT_EQ(Planned(office, GuardWorld()),
            "undone: poc_default_route_detected (poc_default_route_detected)");
  EXPECT_EQ(Planned(office, World()), "connected");
}

TEST_F(PlanOfAConnect, IsNotUndoneByOtherRoutesThroughAnotherTunnel) {
  Situation office = Office();
  office.interfaces.push_back(LabelledTunnel(kTunnel));
  office.ipv4_routes->push_back(RouteTo("0.0.0.0/1", "10.8.0.1", kTunnel, 5));
  office.ipv6_routes->push_back(RouteTo("::/0", "fe80::9", kTunnel, 5));
  EXPECT_EQ(Planned(office, GuardWorld()), "connected");
}

TEST_F(PlanOfAConnect, IsNotUndoneByTheDefaultRouteOfATunnelThatItReplaces) {
  Situation office = Office();
  AddOlderTunnel(office);
  office.interfaces.push_back(LabelledTunnel(kTunnel));
  office.ipv4_routes->push_back(RouteTo("0.0.0.0/0", "", kTunnel, 5));
  EXPECT_EQ(Planned(office, GuardWorld()), "connected");
  office.tunnel_today = TunnelToday::kNone;
  EXPECT_EQ(Planned(office, GuardWorld()),
            "undone: poc_default_route_detected (poc_default_route_detected)");
}

TEST_F(PlanOfAConnect, IsUnclearUnderTheGuardWhenADefaultRouteMayGoWithTheTunnelThatItReplaces) {
  Situation office = Office();
  office.interfaces.push_back(LabelledTunnel(kTunnel));
  office.ipv4_routes->push_back(RouteTo("0.0.0.0/0", "", kTunnel, 5));
  office.tunnel_today = TunnelToday::kUnknown;
  office.tunnel_interface = kTunnel;
  EXPECT_EQ(Planned(office, GuardWorld()), "connected, unclear: older tunnel");
  office.tunnel_interface.reset();
  EXPECT_EQ(Planned(office, GuardWorld()), "connected, unclear: older tunnel");
  office.tunnel_today = TunnelToday::kUp;
  EXPECT_EQ(Planned(office, GuardWorld()), "connected, unclear: older tunnel");
  office.interfaces.clear();
  EXPECT_EQ(Planned(office, GuardWorld()), "connected, unclear: older tunnel");
}

TEST_F(PlanOfAConnect, IsUndoneUnderTheGuardByADefaultRouteThatStaysBesideTheTunnelThatItReplaces) {
  Situation office = Office();
  AddOlderTunnel(office);
  office.interfaces.push_back(LabelledTunnel(41));
  office.ipv4_routes->push_back(RouteTo("0.0.0.0/0", "10.8.0.1", 41, 900));
  EXPECT_EQ(Planned(office, GuardWorld()),
            "undone: poc_default_route_detected (poc_default_route_detected)");
  office.tunnel_today = TunnelToday::kUnknown;
  EXPECT_EQ(Planned(office, GuardWorld()),
            "undone: poc_default_route_detected (poc_default_route_detected)");
}

TEST_F(PlanOfAConnect, IsNotUndoneByADefaultRouteWithoutATunnelsLabelWhateverItReplaces) {
  Situation office = Office();
  office.tunnel_today = TunnelToday::kUnknown;
  EXPECT_EQ(Planned(office, GuardWorld()), "connected");
}

TEST_F(PlanOfAConnect, IsUnclearUnderTheGuardWhenADefaultRoutesInterfaceIsNotKnown) {
  Situation office = Office();
  office.ipv4_routes->insert(office.ipv4_routes->begin(),
                             RouteTo("0.0.0.0/0", "10.8.0.1", kTunnel));
  EXPECT_EQ(Planned(office, GuardWorld()), "connected, unclear: interface unproved");
  office.ipv4_routes.reset();
  EXPECT_EQ(Planned(office, GuardWorld()), "connected, unclear: table unread");
}

TEST_F(PlanOfAConnect, IsUndoneWhateverElseIsUnclear) {
  Situation office = Office();
  office.allowed_ips = "everything";
  office.interfaces.push_back(LabelledTunnel(kTunnel));
  office.ipv4_routes->insert(office.ipv4_routes->begin(), RouteTo("0.0.0.0/0", "10.9.0.1", 41));
  office.ipv4_routes->push_back(RouteTo("0.0.0.0/0", "10.8.0.1", kTunnel));
  EXPECT_EQ(Planned(office, GuardWorld()),
            "undone: poc_default_route_detected (poc_default_route_detected)");
}

TEST(FactsOf, AreThoseOfTheInterfaceOrNone) {
  Situation office = Office();
  office.interfaces = {Hardware(kSecond, 7), Hardware(kLan, 9)};
  EXPECT_EQ(FactsOf(office, kLan).ipv4_metric, 9u);
  EXPECT_EQ(FactsOf(office, kLan).index, kLan);
  const InterfaceFacts nothing = FactsOf(office, kTunnel);
  EXPECT_EQ(nothing.index, kTunnel);
  EXPECT_FALSE(nothing.labelled_tunnel);
  EXPECT_FALSE(nothing.hardware);
  EXPECT_FALSE(nothing.ipv4_metric);
}

}  // namespace
}  // namespace veltrane
