#include <algorithm>

#include "client/forecast/forecast.h"
#include "client/forecast/worlds.h"
#include "tests/client/forecast/situations.h"
#include "tests/support/on_machine.h"

// What once passed for proved.

namespace veltrane {
namespace {

// The system parses the addresses.
class Doubt : public OnMachine {
 protected:
  Doubt() { halves_.allowed_ips = "0.0.0.0/1, 128.0.0.0/1"; }

  Situation office_ = Office();
  Situation halves_ = Office();
};

TEST_F(Doubt, IsATokenThatTheServiceDoesNotTakeForIpv4) {
  halves_.worlds = {BypassWorld({"198.51.100.9", "::ffff:203.0.113.5"})};
  EXPECT_EQ(Forecast(halves_, "203.0.113.5"),
            "tunnel, network taken 128.0.0.0/1; now 12 through 192.168.1.1; after the new tunnel");
}

TEST_F(Doubt, IsTheTunnelsAddressWhenItIsTheAdministrators) {
  office_.address = "10.66.66.7/32, 192.168.1.50/16";
  EXPECT_EQ(Forecast(office_, "192.168.1.50"), "unknown, own address; now 12 on the link");
  EXPECT_EQ(Forecast(office_, "192.168.1.51"),
            "stays, proved; now 12 on the link; after 12 on the link");
}

TEST_F(Doubt, IsTheTunnelsAddressWhenItIsTheGateways) {
  office_.address = "192.168.1.1/32";
  EXPECT_EQ(Forecast(office_, "203.0.113.5"), "unknown, Address taken; now 12 through 192.168.1.1");
  EXPECT_EQ(Forecast(office_, "192.168.1.50"),
            "stays, proved; now 12 on the link; after 12 on the link");
  office_.address = "10.66.66.7/32, fe80::1/64";
  EXPECT_EQ(Forecast(office_, "2001:db8::5"), "unknown, Address taken; now 12 through fe80::1");
}

TEST_F(Doubt, IsTheTunnelsAddressWhenItIsTheMachines) {
  office_.address = "192.168.1.10/32";
  EXPECT_EQ(Forecast(office_, Connected("203.0.113.5", "192.168.1.10")),
            "unknown, Address taken; now 12 through 192.168.1.1");
  EXPECT_EQ(Forecast(office_, "2001:db8::5"), "unknown, Address taken; now 12 through fe80::1");
}

TEST_F(Doubt, IsWhichFamilyAMappedNetworkIsTakenFor) {
  office_.allowed_ips = "::ffff:203.0.113.0/24";
  EXPECT_EQ(Forecast(office_, "203.0.113.5"),
            "unknown, profile unread; now 12 through 192.168.1.1");
  office_.allowed_ips = "::ffff:203.0.113.5";
  EXPECT_EQ(Forecast(office_, "203.0.113.5"),
            "unknown, profile unread; now 12 through 192.168.1.1");
}

TEST_F(Doubt, IsWhatAnItemIsThatCannotBeReadAndTheOthersCount) {
  office_.allowed_ips = "everything, 128.0.0.0/1";
  EXPECT_EQ(Forecast(office_, "203.0.113.5"),
            "tunnel, network taken 128.0.0.0/1; now 12 through 192.168.1.1; after the new tunnel");
  EXPECT_EQ(Forecast(office_, "10.1.2.3"), "unknown, profile unread; now 12 through 192.168.1.1");
  office_.allowed_ips = "everything, 0.0.0.0/0";
  EXPECT_EQ(Forecast(office_, "203.0.113.5"),
            "blocked, slash zero 0.0.0.0/0; now 12 through 192.168.1.1");
}

TEST_F(Doubt, IsWhomAListNamesThatIsNotKnown) {
  KnownSettings known;
  known.values = {"", "1", "", std::nullopt};
  halves_.worlds = ListWorlds(known);
  EXPECT_EQ(Forecast(halves_, Connected("10.1.2.3", "192.168.1.10")),
            "tunnel, network taken 0.0.0.0/1; now 12 through 192.168.1.1; after the new tunnel; "
            "settled by ADMIN_BYPASS_IPS; may survive");
}

TEST_F(Doubt, IsAPinForTheClientOfASession) {
  halves_.session_clients = {Ip("203.0.113.5")};
  halves_.worlds = {BypassWorld({"198.51.100.9"})};
  EXPECT_EQ(Forecast(halves_, "203.0.113.5"),
            "tunnel, network taken 128.0.0.0/1; now 12 through 192.168.1.1; after the new tunnel");
  office_.session_clients = {Ip("203.0.113.5")};
  office_.worlds = {BypassWorld({"198.51.100.9"})};
  EXPECT_EQ(Forecast(office_, "203.0.113.5"), "unknown, pin unclear; now 12 through 192.168.1.1");
  // A route that is there already stays.
  halves_.ipv4_routes->push_back(RouteTo("203.0.113.5/32", "192.168.1.1", kLan, 15));
  EXPECT_EQ(Forecast(halves_, "203.0.113.5"),
            "stays, proved; now 12 through 192.168.1.1; after 12 through 192.168.1.1");
}

TEST_F(Doubt, IsAnAddressOfTwoInterfacesToWhichAConnectionCame) {
  office_.own_addresses->push_back({Ip("192.168.1.10"), kLan});
  EXPECT_EQ(Forecast(office_, Connected("203.0.113.5", "192.168.1.10")),
            "stays, proved; now 12 through 192.168.1.1; after 12 through 192.168.1.1");
  AddSecondAdapter(office_);
  office_.own_addresses->push_back({Ip("192.168.1.10"), kSecond});
  EXPECT_EQ(Forecast(office_, Connected("203.0.113.5", "192.168.1.10")),
            "unknown, arrival unclear; now none");
  std::reverse(office_.own_addresses->begin(), office_.own_addresses->end());
  EXPECT_EQ(Forecast(office_, Connected("203.0.113.5", "192.168.1.10")),
            "unknown, arrival unclear; now none");
}

TEST_F(Doubt, IsAZoneThatContradictsTheAddressToWhichAConnectionCame) {
  Subject subject = Connected("fe80::50", "fe80::10");
  subject.scope_id = kLan;
  EXPECT_EQ(Forecast(office_, subject), "stays, proved; now 12 on the link; after 12 on the link");
  subject.scope_id = kSecond;
  EXPECT_EQ(Forecast(office_, subject), "unknown, zone missing; now 12 on the link");
  subject.scope_id = kLan;
  office_.own_addresses->push_back({Ip("fe80::10"), kSecond});
  EXPECT_EQ(Forecast(office_, subject), "unknown, zone missing; now none");
}

// Windows may answer the service's question for the gateway with the other one.
TEST_F(Doubt, IsAPinThroughOneOfTwoGatewaysThatAreEquallyGood) {
  halves_.worlds = {BypassWorld({"203.0.113.5"})};
  halves_.ipv4_routes->push_back(RouteTo("0.0.0.0/0", "192.168.1.2", kLan, 25));
  halves_.ipv4_routes->push_back(RouteTo("203.0.113.0/24", "192.168.1.1", kLan, 25));
  EXPECT_EQ(Forecast(halves_, "203.0.113.5"), "unknown, pin unclear; now 12 through 192.168.1.1");
}

TEST_F(Doubt, IsAnAddressThatNobodyCanHave) {
  for (const char* address : {"0.0.0.0", "255.255.255.255", "224.0.0.1"}) {
    EXPECT_EQ(Forecast(office_, address), "unknown, nobody's; now 12 through 192.168.1.1")
        << address;
  }
  for (const char* address : {"::", "ff02::1"}) {
    EXPECT_EQ(Forecast(office_, address), "unknown, nobody's; now 12 through fe80::1") << address;
  }
  EXPECT_EQ(Forecast(office_, "192.168.1.255"), "unknown, nobody's; now 12 on the link");
}

TEST_F(Doubt, IsNotWhatTheClientOfASessionClaimsAndTheDetailSaysSo) {
  Subject subject = Asked("192.168.1.50");
  subject.reason = SubjectReason::kRdpSession;
  EXPECT_EQ(Forecast(office_, subject), "stays, proved; now 12 on the link; after 12 on the link");
}

TEST_F(Doubt, IsWhatARefusalSaysWhoseReasonsDiffer) {
  World nobody = BypassWorld({});
  World unpinnable = BypassWorld({});
  unpinnable.names_unpinnable = true;
  unpinnable.choices = {0, 0, 1, 0};
  office_.worlds = {nobody, unpinnable};
  EXPECT_EQ(Forecast(office_, "203.0.113.5"),
            "refused, refusal admin_bypass_failed (no_admin_bypass_ips); now 12 through "
            "192.168.1.1");
}

TEST_F(Doubt, IsNotWhatIsUndoneForWhoCameByTheTunnelThatIsReplaced) {
  AddOlderTunnel(office_);
  office_.interfaces.push_back(LabelledTunnel(41));
  office_.ipv4_routes->push_back(RouteTo("0.0.0.0/0", "10.8.0.1", 41, 900));
  office_.worlds = {GuardWorld()};
  EXPECT_EQ(Forecast(office_, "203.0.113.5"),
            "undone, tunnel default route poc_default_route_detected "
            "(poc_default_route_detected); now tunnel 40 on the link; replaces a tunnel");
}

// Only one of the ways of today has to be left for the connect to move nobody for certain.
TEST_F(Doubt, IsWhichOfTheWaysIsTakenThatAreEquallyGoodToday) {
  AddSecondAdapter(office_);
  office_.ipv4_routes->push_back(RouteTo("203.0.113.0/24", "192.168.2.1", kSecond, 7));
  office_.ipv4_routes->push_back(RouteTo("203.0.113.0/24", "192.168.1.1", kLan, 7));
  office_.worlds = {BypassWorld({"203.0.113.5"})};
  EXPECT_EQ(Forecast(office_, "203.0.113.5"),
            "unknown, ways are equal; now 13 through 192.168.2.1");
  office_.ipv4_routes->back() = RouteTo("203.0.113.0/24", "192.168.2.2", kSecond, 7);
  EXPECT_EQ(Forecast(office_, "203.0.113.5"),
            "moves, pinned elsewhere; now 13 through 192.168.2.1; after 12 through 192.168.1.1");
}

TEST_F(Doubt, IsNotAPinThroughTheTunnelThatIsReplacedForItGoesWithIt) {
  AddOlderTunnel(office_);
  office_.interfaces.push_back(Hardware(kTunnel));
  office_.gateway = Way{kTunnel, Ip("10.8.0.1")};
  office_.worlds = {BypassWorld({"203.0.113.5"})};
  EXPECT_EQ(Forecast(office_, "203.0.113.5"),
            "moves, left elsewhere; now tunnel 40 on the link; after 12 through 192.168.1.1; "
            "replaces a tunnel");
}

// Either he is pinned, or the connect is refused; he is not left to the tunnel.
TEST_F(Doubt, IsThePinOfSomebodyRequiredWithoutTheMetricOfTheInterface) {
  halves_.interfaces[0].ipv4_metric.reset();
  halves_.rdp_peers = {{Ip("203.0.113.5")}};
  halves_.worlds = {BypassWorld({})};
  EXPECT_EQ(Forecast(halves_, Connected("203.0.113.5", "192.168.1.10")),
            "unknown, pin unclear; now 12 through 192.168.1.1");
  AddSecondAdapter(halves_);
  EXPECT_EQ(Forecast(halves_, Connected("203.0.113.5", "192.168.2.10")),
            "moves, pinned elsewhere; now 13 through 192.168.2.1; after 12 through 192.168.1.1; "
            "may survive");
}

}  // namespace
}  // namespace veltrane
