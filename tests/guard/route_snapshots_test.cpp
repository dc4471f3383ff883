#include "guard/route_snapshots.h"

#include "tests/support/on_machine.h"

namespace veltrane {
namespace {

using simulated::MakeRoute;

using Strings = std::vector<std::string>;

class DefaultRouteText : public OnMachine {};

// The destination is not looked at; the last interface is gone.
TEST_F(DefaultRouteText, ShowsNextHopIndexLabelAndFirstMetric) {
  machine.routes.AddInterface(7, L"Modem");
  machine.routes.AddInterface(12, L"Ethernet \"2\"; @if9:x\\");
  EXPECT_EQ(FormatDefaultRoute(MakeRoute("10.0.0.0/8", "192.168.1.1", 7, 25)),
            "0.0.0.0/0->192.168.1.1@if7:Modem:metric=25");
  EXPECT_EQ(FormatDefaultRoute(MakeRoute("0.0.0.0/0", "0.0.0.0", 12, 0)),
            "0.0.0.0/0->0.0.0.0@if12:Ethernet \"2\"; @if9:x\\:metric=0");
  ForwardRow row = MakeRoute("0.0.0.0/0", "255.254.253.252", 4294967295, 4294967295);
  row.metric2 = row.metric3 = row.metric4 = row.metric5 = 1;
  EXPECT_EQ(FormatDefaultRoute(row),
            "0.0.0.0/0->255.254.253.252@if4294967295:if4294967295:metric=4294967295");
}

class DefaultRoutes : public OnMachine {};

TEST_F(DefaultRoutes, NeedBothDestinationAndMaskZero) {
  EXPECT_EQ(SnapshotDefaultRoutes(), "none");
  for (const char* destination :
       {"192.168.1.0/24", "203.0.113.5/32", "0.0.0.0/1", "128.0.0.0/1", "0.0.0.0/32"}) {
    machine.routes.Add(destination, "10.7.3.1", 21, 5);
  }
  ForwardRow row = MakeRoute("0.0.0.0/0", "10.7.3.1", 21, 5);
  row.dest = simulated::Ip("10.0.0.0");
  machine.routes.Add(row);
  EXPECT_EQ(SnapshotDefaultRoutes(), "none");
}

TEST_F(DefaultRoutes, OfAnUnreadableTableAreUnavailable) {
  machine.routes.AddPhysicalNetwork();
  machine.Fail("ReadForwardTable", 1, 122);
  EXPECT_EQ(SnapshotDefaultRoutes(), "unavailable");
}

TEST_F(DefaultRoutes, AreJoinedBySemicolonsInTheOrderThatThePlatformGives) {
  machine.routes.AddPhysicalNetwork();
  machine.routes.AddInterface(21, L"Veltrane WireGuard");
  machine.routes.Add("0.0.0.0/0", "10.7.3.1", 21, 5);
  EXPECT_EQ(SnapshotDefaultRoutes(),
            "0.0.0.0/0->10.7.3.1@if21:Veltrane WireGuard:metric=5;"
            "0.0.0.0/0->192.168.1.1@if12:Ethernet:metric=25");
  machine.routes.KeepTableOrder();
  EXPECT_EQ(SnapshotDefaultRoutes(),
            "0.0.0.0/0->192.168.1.1@if12:Ethernet:metric=25;"
            "0.0.0.0/0->10.7.3.1@if21:Veltrane WireGuard:metric=5");
}

TEST_F(DefaultRoutes, AreReadAnewOnceASnapshotAndNothingIsChanged) {
  machine.routes.AddPhysicalNetwork();
  EXPECT_EQ(SnapshotDefaultRoutes(), "0.0.0.0/0->192.168.1.1@if12:Ethernet:metric=25");
  EXPECT_EQ(machine.calls.All(), (Strings{"ReadForwardTable", "ReadInterfaceNames 12"}));
  machine.routes.SetMetric("0.0.0.0/0", 35);
  EXPECT_EQ(SnapshotDefaultRoutes(), "0.0.0.0/0->192.168.1.1@if12:Ethernet:metric=35");
}

struct Snapshot {
  Strings ips;
  const char* text;
};

// One route to each of two addresses, three to a third, and no host route to 10.9.9.9.
class HostRoutes : public OnMachine {
 protected:
  HostRoutes() {
    machine.routes.AddPhysicalNetwork();
    machine.routes.Add("10.1.2.3/32", "192.168.1.1", 12, 16);
    machine.routes.Add("203.0.113.5/32", "192.168.1.1", 4294967295, 1);
    machine.routes.Add("10.4.4.4/32", "192.168.1.254", 12, 1);
    machine.routes.Add("10.4.4.4/32", "192.168.1.1", 12, 1);
    machine.routes.Add("10.4.4.4/32", "192.168.1.1", 21, 1);
    for (const char* destination : {"10.9.9.0/24", "10.9.9.8/31", "10.9.9.9/31"}) {
      machine.routes.Add(destination, "192.168.1.1", 12, 1);
    }
  }
};

TEST_F(HostRoutes, AreListedAddressByAddressInTheOrderOfTheListAndThenOfTheTable) {
  for (const auto& [ips, text] : std::vector<Snapshot>{
           {{}, "none"},
           {{"10.1.2.3"}, "10.1.2.3/32->192.168.1.1@if12"},
           {{"203.0.113.5", "10.1.2.3"},
            "203.0.113.5/32->192.168.1.1@if4294967295;10.1.2.3/32->192.168.1.1@if12"},
           {{"10.1.2.3", "10.1.2.3"},
            "10.1.2.3/32->192.168.1.1@if12;10.1.2.3/32->192.168.1.1@if12"},
           {{"10.4.4.4"},
            "10.4.4.4/32->192.168.1.1@if12;10.4.4.4/32->192.168.1.1@if21;"
            "10.4.4.4/32->192.168.1.254@if12"}}) {
    EXPECT_EQ(SnapshotHostRoutes(ips), text);
  }
}

TEST_F(HostRoutes, OfTextsThatAreNoAddressAndOfAddressesWithoutOneAreSkipped) {
  for (const auto& [ips, text] :
       std::vector<Snapshot>{{{"10.1.2.3", "bad", "10.9.9.9"}, "10.1.2.3/32->192.168.1.1@if12"},
                             {{"bad", "", "10.1.2.3"}, "10.1.2.3/32->192.168.1.1@if12"},
                             {{"10.9.9.9", "3.2.1.10", "0.0.0.0"}, "none"},
                             {{"", " 10.1.2.3", "10.1.2.3 ", "10.1.2.3/32", "::1", "10.1.2",
                               "10.1.2.3.4", "host.example"},
                              "none"}}) {
    EXPECT_EQ(SnapshotHostRoutes(ips), text);
  }
}

TEST_F(HostRoutes, OfTheUnspecifiedAddressAreNotItsDefaultRoute) {
  machine.routes.Add("0.0.0.0/32", "192.168.1.1", 12, 1);
  EXPECT_EQ(SnapshotHostRoutes({"0.0.0.0"}), "0.0.0.0/32->192.168.1.1@if12");
}

TEST_F(HostRoutes, OfAnUnreadableTableAreUnavailableWhateverTheListHolds) {
  machine.FailAlways("ReadForwardTable", 50);
  for (const Strings& ips : {Strings{}, Strings{"10.1.2.3"}, Strings{"bad"}}) {
    EXPECT_EQ(SnapshotHostRoutes(ips), "unavailable");
  }
}

TEST_F(HostRoutes, AreReadOnceForAWholeListAndNoInterfaceIsAsked) {
  SnapshotHostRoutes({"10.1.2.3", "203.0.113.5", "bad"});
  SnapshotHostRoutes({});
  EXPECT_EQ(machine.calls.All(), (Strings{"ReadForwardTable", "ReadForwardTable"}));
}

}  // namespace
}  // namespace veltrane
