#include "client/forecast/forecast.h"

#include "tests/client/forecast/situations.h"
#include "tests/support/on_machine.h"

namespace veltrane {
namespace {

// The system parses the addresses.
class Verdict : public OnMachine {
 protected:
  Verdict() { halves_.allowed_ips = "0.0.0.0/1, 128.0.0.0/1"; }

  Situation office_ = Office();
  Situation halves_ = Office();
};

class Moves : public Verdict {};
class Undone : public Verdict {};
class Refused : public Verdict {};
class Stays : public Verdict {};

TEST_F(Moves, WhoIsPinnedThroughTheOtherGateway) {
  AddSecondAdapter(office_);
  office_.rdp_peers = {{Ip("203.0.113.5")}};
  office_.worlds = {BypassWorld({})};
  EXPECT_EQ(Forecast(office_, Connected("203.0.113.5", "192.168.2.10")),
            "moves, pinned elsewhere; now 13 through 192.168.2.1; after 12 through 192.168.1.1; "
            "may survive");
}

TEST_F(Moves, WhoIsOnTheLinkAndPinnedThroughTheGateway) {
  office_.ipv4_routes->push_back(RouteTo("203.0.113.0/24", "", kLan));
  office_.worlds = {BypassWorld({"203.0.113.5"})};
  EXPECT_EQ(Forecast(office_, "203.0.113.5"),
            "moves, pinned elsewhere; now 12 on the link; after 12 through 192.168.1.1");
}

TEST_F(Moves, WhoIsPinnedByARouteThatIsThereAlready) {
  office_.ipv4_routes->push_back(RouteTo("203.0.113.5/32", "192.168.1.1", kLan, 15));
  AddSecondAdapter(office_);
  office_.worlds = {BypassWorld({"203.0.113.5"})};
  EXPECT_EQ(Forecast(office_, Connected("203.0.113.5", "192.168.2.10")),
            "moves, pinned elsewhere; now 13 through 192.168.2.1; after 12 through 192.168.1.1; "
            "may survive");
}

TEST_F(Moves, WhoCameByAnInterfaceThatIsNotTheTablesBest) {
  AddSecondAdapter(office_);
  EXPECT_EQ(Forecast(office_, Connected("203.0.113.5", "192.168.2.10")),
            "moves, left elsewhere; now 13 through 192.168.2.1; after 12 through 192.168.1.1; "
            "may survive");
}

TEST_F(Moves, WhoIsPinnedBesideABetterRouteOfTheOperators) {
  AddSecondAdapter(office_);
  office_.interfaces[0].ipv4_metric = 15;
  office_.ipv4_routes->push_back(RouteTo("203.0.113.5/32", "192.168.1.1", kLan, 15));
  office_.ipv4_routes->push_back(RouteTo("203.0.113.5/32", "192.168.2.1", kSecond, 5));
  office_.worlds = {BypassWorld({"203.0.113.5"})};
  EXPECT_EQ(Forecast(office_, Connected("203.0.113.5", "192.168.1.10")),
            "moves, left elsewhere; now 12 through 192.168.1.1; after 13 through 192.168.2.1; "
            "may survive");
}

TEST_F(Moves, WhoIsOnTheLinkOfTwoInterfacesAndCameByTheOther) {
  AddSecondAdapter(office_);
  office_.ipv4_routes->push_back(RouteTo("192.168.7.0/24", "", kLan, 257));
  office_.ipv4_routes->push_back(RouteTo("192.168.7.0/24", "", kSecond, 281));
  EXPECT_EQ(Forecast(office_, Connected("192.168.7.50", "192.168.2.10")),
            "moves, left elsewhere; now 13 on the link; after 12 on the link; may survive");
}

TEST_F(Moves, WhoIsReachedThroughWhatMayBeTheTunnelThatIsReplaced) {
  AddOlderTunnel(office_);
  office_.tunnel_today = TunnelToday::kUnknown;
  EXPECT_EQ(Forecast(office_, "203.0.113.5"),
            "moves, left elsewhere; now tunnel 40 on the link; after 12 through 192.168.1.1; "
            "replaces a tunnel");
}

TEST_F(Moves, ToThePhysicalInterfaceWhoCameByTheTunnelThatIsReplaced) {
  AddOlderTunnel(office_);
  EXPECT_EQ(Forecast(office_, "203.0.113.5"),
            "moves, left elsewhere; now tunnel 40 on the link; after 12 through 192.168.1.1; "
            "replaces a tunnel");
}

TEST_F(Moves, NowhereWhoHasNoOtherRouteThanTheTunnelThatIsReplaced) {
  AddOlderTunnel(office_);
  office_.ipv4_routes = {{RouteTo("203.0.113.0/24", "", kTunnel)}};
  office_.own_addresses->push_back({Ip("10.66.66.7"), kTunnel});
  EXPECT_EQ(Forecast(office_, "203.0.113.5"),
            "moves, nowhere; now tunnel 40 on the link; after none; replaces a tunnel");
  // The address of the connection goes with the tunnel.
  office_.interfaces.push_back(Hardware(kTunnel));
  EXPECT_EQ(Forecast(office_, Connected("203.0.113.5", "10.66.66.7")),
            "moves, nowhere; now tunnel 40 on the link; after none; replaces a tunnel");
}

TEST_F(Undone, IsByADefaultRouteThroughAnotherTunnelUnderTheGuard) {
  office_.interfaces.push_back(LabelledTunnel(kTunnel));
  office_.ipv4_routes->push_back(RouteTo("0.0.0.0/0", "10.8.0.1", kTunnel, 900));
  office_.worlds = {GuardWorld()};
  EXPECT_EQ(Forecast(office_, "203.0.113.5"),
            "undone, tunnel default route poc_default_route_detected "
            "(poc_default_route_detected); now 12 through 192.168.1.1");
}

TEST_F(Refused, SaysWithWhichErrorAndReason) {
  office_.worlds = {BypassWorld({})};
  EXPECT_EQ(Forecast(office_, "203.0.113.5"),
            "refused, refusal admin_bypass_failed (no_admin_bypass_ips); now 12 through "
            "192.168.1.1");
}

TEST_F(Refused, IsBeforeTheNetworksCount) {
  office_.worlds = {BypassWorld({})};
  office_.allowed_ips = "0.0.0.0/0";
  EXPECT_EQ(Forecast(office_, "203.0.113.5"),
            "refused, refusal admin_bypass_failed (no_admin_bypass_ips); now 12 through "
            "192.168.1.1");
}

TEST_F(Refused, RemembersTheTunnelThatIsUp) {
  AddOlderTunnel(office_);
  office_.worlds = {BypassWorld({})};
  EXPECT_EQ(Forecast(office_, "192.168.1.50"),
            "refused, refusal admin_bypass_failed (no_admin_bypass_ips); now 12 on the link; "
            "replaces a tunnel");
}

TEST_F(Stays, WhoKeepsTheWay) {
  EXPECT_EQ(Forecast(office_, "203.0.113.5"),
            "stays, proved; now 12 through 192.168.1.1; after 12 through 192.168.1.1");
  EXPECT_EQ(Forecast(office_, "2001:db8::5"),
            "stays, proved; now 12 through fe80::1; after 12 through fe80::1");
  EXPECT_EQ(Forecast(office_, "192.168.1.1"),
            "stays, proved; now 12 on the link; after 12 on the link");
  EXPECT_EQ(Forecast(office_, Connected("203.0.113.5", "192.168.1.10")),
            "stays, proved; now 12 through 192.168.1.1; after 12 through 192.168.1.1");
}

TEST_F(Stays, WhoIsPinned) {
  halves_.worlds = {BypassWorld({"203.0.113.5"})};
  EXPECT_EQ(Forecast(halves_, "203.0.113.5"),
            "stays, proved; now 12 through 192.168.1.1; after 12 through 192.168.1.1");
  EXPECT_EQ(Forecast(halves_, "203.0.113.6"),
            "tunnel, network taken 128.0.0.0/1; now 12 through 192.168.1.1; after the new tunnel");
}

TEST_F(Stays, WhoIsPinnedBesideAWorseRouteOfTheOperators) {
  AddSecondAdapter(halves_);
  halves_.ipv4_routes->push_back(RouteTo("203.0.113.5/32", "192.168.2.1", kSecond, 2));
  halves_.worlds = {BypassWorld({"203.0.113.5"})};
  EXPECT_EQ(Forecast(halves_, Connected("203.0.113.5", "192.168.1.10")),
            "stays, proved; now 12 through 192.168.1.1; after 12 through 192.168.1.1");
}

TEST_F(Stays, WhoHasAHostRouteOfTheOperators) {
  halves_.ipv4_routes->push_back(RouteTo("203.0.113.5/32", "192.168.1.1", kLan, 16));
  EXPECT_EQ(Forecast(halves_, "203.0.113.5"),
            "stays, proved; now 12 through 192.168.1.1; after 12 through 192.168.1.1");
}

TEST_F(Stays, WhoCameByTheSecondAdapterToItsOwnNetwork) {
  AddSecondAdapter(halves_);
  EXPECT_EQ(Forecast(halves_, Connected("192.168.2.50", "192.168.2.10")),
            "stays, proved; now 13 on the link; after 13 on the link");
}

TEST_F(Stays, WhoIsOnTheLinkOfALinkLocalAddress) {
  office_.allowed_ips = "fe80::/64, fe80::50/128, ::/1, 8000::/1";
  EXPECT_EQ(Forecast(office_, Asked("fe80::50", kLan)),
            "stays, proved; now 12 on the link; after 12 on the link");
  office_.ipv6_routes->push_back(RouteTo("fe80::/64", "", kSecond, 281));
  EXPECT_EQ(Forecast(office_, Asked("fe80::50", kSecond)),
            "stays, proved; now 13 on the link; after 13 on the link");
}

TEST_F(Stays, WhoHasAnInterfaceThatItsAddressDoesNotNeed) {
  EXPECT_EQ(Forecast(office_, Asked("2001:db8::5", kSecond)),
            "stays, proved; now 12 through fe80::1; after 12 through fe80::1");
}

TEST_F(Stays, WhoIsReachedThroughAnInterfaceThatIsNoLongerATunnels) {
  office_.tunnel_interface = kLan;
  EXPECT_EQ(Forecast(office_, "203.0.113.5"),
            "stays, proved; now 12 through 192.168.1.1; after 12 through 192.168.1.1");
}

TEST_F(Stays, WhoIsOfTheFamilyThatTheTunnelDoesNotTake) {
  EXPECT_EQ(Forecast(halves_, "2001:db8::5"),
            "stays, proved; now 12 through fe80::1; after 12 through fe80::1");
}

TEST_F(Verdict, IsGivenForEachSubjectInTheirOrder) {
  halves_.subjects = {Asked("192.168.1.50"), Asked("203.0.113.5"),
                      Connected("203.0.113.5", "192.168.1.10")};
  const std::vector<Outlook> outlooks = MakeForecast(halves_);
  ASSERT_EQ(outlooks.size(), 3u);
  for (std::size_t i = 0; i < 3; ++i) EXPECT_EQ(outlooks[i].subject, halves_.subjects[i]);
  EXPECT_EQ(NameOf(outlooks[0].verdict), "stays");
  EXPECT_EQ(NameOf(outlooks[1].verdict), "tunnel");
  halves_.subjects.clear();
  EXPECT_TRUE(MakeForecast(halves_).empty());
}

}  // namespace
}  // namespace veltrane
