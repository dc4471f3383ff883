#include "guard/route_snapshots.h"

#include "tests/support/on_machine.h"

namespace veltrane {
namespace {

using simulated::MakeRoute;

class DefaultRoutes : public OnMachine {};

TEST_F(DefaultRoutes, OfAnEmptyTableAreNone) { EXPECT_EQ(SnapshotDefaultRoutes(), "none"); }

TEST_F(DefaultRoutes, OfATableWithoutAnyAreNone) {
  machine.routes.Add("192.168.1.0/24", "0.0.0.0", 12, 281);
  machine.routes.Add("203.0.113.5/32", "192.168.1.1", 12, 1);
  EXPECT_EQ(SnapshotDefaultRoutes(), "none");
}

TEST_F(DefaultRoutes, OfAnUnreadableTableAreUnavailable) {
  machine.routes.AddPhysicalNetwork();
  machine.Fail("ReadForwardTable", 1, 122);
  EXPECT_EQ(SnapshotDefaultRoutes(), "unavailable");
}

TEST_F(DefaultRoutes, ShowNextHopIndexLabelAndMetric) {
  machine.routes.AddPhysicalNetwork();
  EXPECT_EQ(SnapshotDefaultRoutes(), "0.0.0.0/0->192.168.1.1@if12:Ethernet:metric=25");
}

TEST_F(DefaultRoutes, AreJoinedBySemicolonsInTheSortedOrder) {
  machine.routes.AddPhysicalNetwork();
  machine.routes.AddInterface(21, L"Veltrane WireGuard");
  machine.routes.Add("0.0.0.0/0", "10.7.3.1", 21, 5);
  EXPECT_EQ(SnapshotDefaultRoutes(),
            "0.0.0.0/0->10.7.3.1@if21:Veltrane WireGuard:metric=5;"
            "0.0.0.0/0->192.168.1.1@if12:Ethernet:metric=25");
}

TEST_F(DefaultRoutes, StandInTheOrderThatThePlatformGives) {
  machine.routes.AddPhysicalNetwork();
  machine.routes.AddInterface(21, L"Veltrane WireGuard");
  machine.routes.Add("0.0.0.0/0", "10.7.3.1", 21, 5);
  machine.routes.KeepTableOrder();
  EXPECT_EQ(SnapshotDefaultRoutes(),
            "0.0.0.0/0->192.168.1.1@if12:Ethernet:metric=25;"
            "0.0.0.0/0->10.7.3.1@if21:Veltrane WireGuard:metric=5");
}

TEST_F(DefaultRoutes, NeedBothDestinationAndMaskZero) {
  machine.routes.Add("0.0.0.0/1", "10.7.3.1", 21, 5);
  machine.routes.Add("128.0.0.0/1", "10.7.3.1", 21, 5);
  machine.routes.Add("0.0.0.0/32", "10.7.3.1", 21, 5);
  ForwardRow row = MakeRoute("0.0.0.0/0", "10.7.3.1", 21, 5);
  row.dest = simulated::Ip("10.0.0.0");
  machine.routes.Add(row);
  EXPECT_EQ(SnapshotDefaultRoutes(), "none");
}

TEST_F(DefaultRoutes, OnALinkShowTheNextHopOfZeros) {
  machine.routes.AddInterface(7, L"Modem");
  machine.routes.Add("0.0.0.0/0", "0.0.0.0", 7, 50);
  EXPECT_EQ(SnapshotDefaultRoutes(), "0.0.0.0/0->0.0.0.0@if7:Modem:metric=50");
}

TEST_F(DefaultRoutes, ShowTheLargestIndexAndMetricUnsigned) {
  machine.routes.Add("0.0.0.0/0", "255.254.253.252", 4294967295u, 4294967295u);
  EXPECT_EQ(SnapshotDefaultRoutes(),
            "0.0.0.0/0->255.254.253.252@if4294967295:if4294967295:metric=4294967295");
}

TEST_F(DefaultRoutes, ShowTheFirstMetricOnly) {
  machine.routes.AddInterface(7, L"Modem");
  ForwardRow row = MakeRoute("0.0.0.0/0", "192.168.1.1", 7, 25);
  row.metric2 = 1;
  row.metric3 = 2;
  row.metric4 = 3;
  row.metric5 = 4;
  machine.routes.Add(row);
  EXPECT_EQ(SnapshotDefaultRoutes(), "0.0.0.0/0->192.168.1.1@if7:Modem:metric=25");
}

TEST_F(DefaultRoutes, OnAnInterfaceThatIsGoneShowItsIndexAsLabel) {
  machine.routes.Add("0.0.0.0/0", "10.0.0.1", 99, 5);
  EXPECT_EQ(SnapshotDefaultRoutes(), "0.0.0.0/0->10.0.0.1@if99:if99:metric=5");
}

TEST_F(DefaultRoutes, AreReadOnceASnapshotAndNothingIsChanged) {
  machine.routes.AddPhysicalNetwork();
  SnapshotDefaultRoutes();
  EXPECT_EQ(machine.calls.All(),
            (std::vector<std::string>{"ReadForwardTable", "ReadInterfaceNames 12"}));
}

TEST_F(DefaultRoutes, AreReadAnewForEverySnapshot) {
  machine.routes.AddPhysicalNetwork();
  EXPECT_EQ(SnapshotDefaultRoutes(), "0.0.0.0/0->192.168.1.1@if12:Ethernet:metric=25");
  machine.routes.SetMetric("0.0.0.0/0", 35);
  EXPECT_EQ(SnapshotDefaultRoutes(), "0.0.0.0/0->192.168.1.1@if12:Ethernet:metric=35");
  machine.routes.Remove("0.0.0.0/0");
  EXPECT_EQ(SnapshotDefaultRoutes(), "none");
}

class DefaultRouteText : public OnMachine {};

TEST_F(DefaultRouteText, AlwaysBeginsWithTheCatchAll) {
  machine.routes.AddInterface(12, L"Ethernet");
  EXPECT_EQ(FormatDefaultRoute(MakeRoute("10.0.0.0/8", "192.168.1.1", 12, 25)),
            "0.0.0.0/0->192.168.1.1@if12:Ethernet:metric=25");
}

TEST_F(DefaultRouteText, CopiesTheLabelVerbatim) {
  machine.routes.AddInterface(12, L"Ethernet \"2\"; @if9:x\\");
  EXPECT_EQ(FormatDefaultRoute(MakeRoute("0.0.0.0/0", "192.168.1.1", 12, 0)),
            "0.0.0.0/0->192.168.1.1@if12:Ethernet \"2\"; @if9:x\\:metric=0");
}

class HostRoutes : public OnMachine {};

TEST_F(HostRoutes, OfAnEmptyListAreNone) {
  machine.routes.AddPhysicalNetwork();
  EXPECT_EQ(SnapshotHostRoutes({}), "none");
}

TEST_F(HostRoutes, OfAnEmptyListAreUnavailableWhenTheTableIsUnreadable) {
  machine.FailAlways("ReadForwardTable", 50);
  EXPECT_EQ(SnapshotHostRoutes({}), "unavailable");
}

TEST_F(HostRoutes, OfAnUnreadableTableAreUnavailable) {
  machine.routes.Add("10.1.2.3/32", "192.168.1.1", 12, 1);
  machine.FailAlways("ReadForwardTable", 50);
  EXPECT_EQ(SnapshotHostRoutes({"10.1.2.3"}), "unavailable");
}

TEST_F(HostRoutes, OfAListOfUnparsableTextsAreUnavailableWhenTheTableIsUnreadable) {
  machine.FailAlways("ReadForwardTable", 50);
  EXPECT_EQ(SnapshotHostRoutes({"bad"}), "unavailable");
}

TEST_F(HostRoutes, ShowAddressNextHopAndIndexAlone) {
  machine.routes.AddPhysicalNetwork();
  machine.routes.Add("10.1.2.3/32", "192.168.1.1", 12, 16);
  EXPECT_EQ(SnapshotHostRoutes({"10.1.2.3"}), "10.1.2.3/32->192.168.1.1@if12");
}

TEST_F(HostRoutes, OfATextThatIsNoAddressAndOfAnAddressWithoutRouteAreSkipped) {
  machine.routes.AddPhysicalNetwork();
  machine.routes.Add("10.1.2.3/32", "192.168.1.1", 12, 1);
  EXPECT_EQ(SnapshotHostRoutes({"10.1.2.3", "bad", "10.9.9.9"}), "10.1.2.3/32->192.168.1.1@if12");
}

TEST_F(HostRoutes, OfAnAddressBehindATextThatIsNoneAreIncluded) {
  machine.routes.Add("10.1.2.3/32", "192.168.1.1", 12, 1);
  EXPECT_EQ(SnapshotHostRoutes({"bad", "", "10.1.2.3"}), "10.1.2.3/32->192.168.1.1@if12");
}

TEST_F(HostRoutes, OfTextsThatAreNoIpv4AddressAreNone) {
  machine.routes.Add("10.1.2.3/32", "192.168.1.1", 12, 1);
  EXPECT_EQ(SnapshotHostRoutes({"", " 10.1.2.3", "10.1.2.3 ", "10.1.2.3/32", "::1", "10.1.2",
                                "10.1.2.3.4", "host.example"}),
            "none");
}

TEST_F(HostRoutes, DoNotIncludeANetworkAroundTheAddress) {
  machine.routes.Add("10.1.2.0/24", "192.168.1.1", 12, 1);
  machine.routes.Add("10.1.2.2/31", "192.168.1.1", 12, 1);
  machine.routes.Add("0.0.0.0/0", "192.168.1.1", 12, 1);
  EXPECT_EQ(SnapshotHostRoutes({"10.1.2.3"}), "none");
}

TEST_F(HostRoutes, NeedTheFullMaskEvenOnTheAddressItself) {
  ForwardRow row = MakeRoute("10.1.2.3/32", "192.168.1.1", 12, 1);
  row.mask = simulated::Ip("255.255.255.254");
  machine.routes.Add(row);
  EXPECT_EQ(SnapshotHostRoutes({"10.1.2.3"}), "none");
}

TEST_F(HostRoutes, OfAnotherAddressAreNotIncluded) {
  machine.routes.Add("3.2.1.10/32", "192.168.1.1", 12, 1);
  EXPECT_EQ(SnapshotHostRoutes({"10.1.2.3"}), "none");
}

TEST_F(HostRoutes, StandInTheOrderOfTheList) {
  machine.routes.Add("10.1.2.3/32", "192.168.1.1", 12, 1);
  machine.routes.Add("203.0.113.5/32", "192.168.1.1", 12, 1);
  EXPECT_EQ(SnapshotHostRoutes({"203.0.113.5", "10.1.2.3"}),
            "203.0.113.5/32->192.168.1.1@if12;10.1.2.3/32->192.168.1.1@if12");
}

TEST_F(HostRoutes, ThroughSeveralGatewaysEachGiveAnElementInTableOrder) {
  machine.routes.Add("10.1.2.3/32", "192.168.1.254", 12, 1);
  machine.routes.Add("10.1.2.3/32", "192.168.1.1", 12, 1);
  machine.routes.Add("10.1.2.3/32", "192.168.1.1", 21, 1);
  EXPECT_EQ(SnapshotHostRoutes({"10.1.2.3"}),
            "10.1.2.3/32->192.168.1.1@if12;10.1.2.3/32->192.168.1.1@if21;"
            "10.1.2.3/32->192.168.1.254@if12");
}

TEST_F(HostRoutes, OfAnAddressThatIsListedTwiceAppearTwice) {
  machine.routes.Add("10.1.2.3/32", "192.168.1.1", 12, 1);
  EXPECT_EQ(SnapshotHostRoutes({"10.1.2.3", "10.1.2.3"}),
            "10.1.2.3/32->192.168.1.1@if12;10.1.2.3/32->192.168.1.1@if12");
}

TEST_F(HostRoutes, OfTheUnspecifiedAddressAreNotItsDefaultRoute) {
  machine.routes.AddPhysicalNetwork();
  EXPECT_EQ(SnapshotHostRoutes({"0.0.0.0"}), "none");
  machine.routes.Add("0.0.0.0/32", "192.168.1.1", 12, 1);
  EXPECT_EQ(SnapshotHostRoutes({"0.0.0.0"}), "0.0.0.0/32->192.168.1.1@if12");
}

TEST_F(HostRoutes, ShowTheLargestIndexUnsigned) {
  machine.routes.Add("10.1.2.3/32", "192.168.1.1", 4294967295u, 1);
  EXPECT_EQ(SnapshotHostRoutes({"10.1.2.3"}), "10.1.2.3/32->192.168.1.1@if4294967295");
}

TEST_F(HostRoutes, AreReadOnceForTheWholeListAndNoInterfaceIsAsked) {
  machine.routes.Add("10.1.2.3/32", "192.168.1.1", 12, 1);
  SnapshotHostRoutes({"10.1.2.3", "203.0.113.5", "bad"});
  EXPECT_EQ(machine.calls.All(), (std::vector<std::string>{"ReadForwardTable"}));
}

TEST_F(HostRoutes, OfAnEmptyListStillReadTheTable) {
  SnapshotHostRoutes({});
  EXPECT_EQ(machine.calls.All(), (std::vector<std::string>{"ReadForwardTable"}));
}

}  // namespace
}  // namespace veltrane
