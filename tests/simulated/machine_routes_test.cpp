// The routing table of the simulated machine.

#include <optional>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/routing.h"
#include "tests/simulated/machine.h"

namespace veltrane::simulated {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

std::vector<std::string> ReadTexts() {
  const std::optional<std::vector<ForwardRow>> rows = ReadForwardTable();
  std::vector<std::string> texts;
  for (const ForwardRow& row : rows.value()) texts.push_back(RouteText(row));
  return texts;
}

TEST(SimulatedRoutes, MadeRouteHasTheMembersOfAWindowsRow) {
  ForwardRow expected;
  expected.dest = 0x057100CB;
  expected.mask = 0xFFFFFFFF;
  expected.next_hop = 0x0101A8C0;
  expected.interface_index = 12;
  expected.type = 4;
  expected.proto = 3;
  expected.metric1 = 1;
  EXPECT_EQ(MakeRoute("203.0.113.5/32", "192.168.1.1", 12, 1), expected);
}

TEST(SimulatedRoutes, MasksAreInNetworkByteOrder) {
  EXPECT_EQ(MakeRoute("0.0.0.0/0", "10.0.0.1", 1, 1).mask, 0U);
  EXPECT_EQ(MakeRoute("10.1.0.0/20", "10.0.0.1", 1, 1).mask, 0x00F0FFFFU);
  EXPECT_EQ(RouteText(MakeRoute("10.1.0.0/20", "0.0.0.0", 1, 256)),
            "10.1.0.0/20 via 0.0.0.0 if 1 metric 256");
}

TEST(SimulatedRoutes, ReadIsSortedByDestinationAndNextHopAsNumbers) {
  Machine machine;
  machine.routes.Add("203.0.113.5/32", "192.168.1.1", 12, 1);
  machine.routes.Add("0.0.0.0/0", "192.168.1.1", 12, 25);
  machine.routes.Add("9.1.0.0/16", "192.168.1.1", 12, 1);
  machine.routes.Add("10.0.0.0/8", "192.168.1.1", 12, 1);
  machine.routes.Add("0.0.0.0/0", "10.66.66.1", 23, 0);
  EXPECT_THAT(ReadTexts(), ElementsAre("0.0.0.0/0 via 10.66.66.1 if 23 metric 0",
                                       "0.0.0.0/0 via 192.168.1.1 if 12 metric 25",
                                       "9.1.0.0/16 via 192.168.1.1 if 12 metric 1",
                                       "10.0.0.0/8 via 192.168.1.1 if 12 metric 1",
                                       "203.0.113.5/32 via 192.168.1.1 if 12 metric 1"));
}

TEST(SimulatedRoutes, ProtocolGoesBeforeNextHopInTheSortedOrder) {
  Machine machine;
  ForwardRow later = MakeRoute("0.0.0.0/0", "10.0.0.1", 1, 1);
  later.proto = 13;
  machine.routes.Add(later);
  machine.routes.Add("0.0.0.0/0", "192.168.1.1", 12, 25);
  EXPECT_THAT(ReadTexts(), ElementsAre("0.0.0.0/0 via 192.168.1.1 if 12 metric 25",
                                       "0.0.0.0/0 via 10.0.0.1 if 1 metric 1"));
}

TEST(SimulatedRoutes, EqualRowsKeepTheirTableOrder) {
  Machine machine;
  machine.routes.Add("0.0.0.0/0", "192.168.1.1", 14, 50);
  machine.routes.Add("0.0.0.0/0", "192.168.1.1", 12, 25);
  EXPECT_THAT(ReadTexts(), ElementsAre("0.0.0.0/0 via 192.168.1.1 if 14 metric 50",
                                       "0.0.0.0/0 via 192.168.1.1 if 12 metric 25"));
}

TEST(SimulatedRoutes, TableOrderCanBeKept) {
  Machine machine;
  machine.routes.KeepTableOrder();
  machine.routes.Add("203.0.113.5/32", "192.168.1.1", 12, 1);
  machine.routes.Add("0.0.0.0/0", "192.168.1.1", 12, 25);
  EXPECT_THAT(ReadTexts(), ElementsAre("203.0.113.5/32 via 192.168.1.1 if 12 metric 1",
                                       "0.0.0.0/0 via 192.168.1.1 if 12 metric 25"));
}

TEST(SimulatedRoutes, CreatedRowIsAddedWholeAndDeletedAgain) {
  Machine machine;
  const ForwardRow row = MakeRoute("203.0.113.5/32", "192.168.1.1", 12, 1);
  EXPECT_EQ(CreateForwardRow(row), 0U);
  EXPECT_THAT(machine.routes.Rows(), ElementsAre(row));
  EXPECT_EQ(DeleteForwardRow(row), 0U);
  EXPECT_THAT(machine.routes.Rows(), IsEmpty());
}

TEST(SimulatedRoutes, CreatingTheSameRouteWithAnotherMetricAnswers5010) {
  Machine machine;
  machine.routes.Add("203.0.113.5/32", "192.168.1.1", 12, 20);
  EXPECT_EQ(CreateForwardRow(MakeRoute("203.0.113.5/32", "192.168.1.1", 12, 1)), 5010U);
  EXPECT_THAT(machine.routes.Texts(),
              ElementsAre("203.0.113.5/32 via 192.168.1.1 if 12 metric 20"));
}

TEST(SimulatedRoutes, RouteThroughAnotherGatewayOrInterfaceIsAnotherRoute) {
  const Machine machine;
  EXPECT_EQ(CreateForwardRow(MakeRoute("203.0.113.5/32", "192.168.1.1", 12, 1)), 0U);
  EXPECT_EQ(CreateForwardRow(MakeRoute("203.0.113.5/32", "192.168.1.2", 12, 1)), 0U);
  EXPECT_EQ(CreateForwardRow(MakeRoute("203.0.113.5/32", "192.168.1.1", 13, 1)), 0U);
}

TEST(SimulatedRoutes, DeletingAMissingRouteAnswers1168) {
  Machine machine;
  machine.routes.Add("203.0.113.5/32", "192.168.1.1", 12, 1);
  EXPECT_EQ(DeleteForwardRow(MakeRoute("203.0.113.5/32", "192.168.1.1", 13, 1)), 1168U);
  EXPECT_EQ(machine.routes.Rows().size(), 1U);
}

TEST(SimulatedRoutes, DeletingARouteOfAnotherProtocolAnswers1168) {
  Machine machine;
  machine.routes.Add("203.0.113.5/32", "192.168.1.1", 12, 1);
  ForwardRow row = MakeRoute("203.0.113.5/32", "192.168.1.1", 12, 1);
  row.proto = 0;
  EXPECT_EQ(DeleteForwardRow(row), 1168U);
  EXPECT_EQ(machine.routes.Rows().size(), 1U);
}

TEST(SimulatedRoutes, MetricOfCreatedRowsCanBeForced) {
  Machine machine;
  machine.routes.SetMetricOfCreatedRows(16);
  CreateForwardRow(MakeRoute("203.0.113.5/32", "192.168.1.1", 12, 1));
  EXPECT_THAT(machine.routes.Texts(),
              ElementsAre("203.0.113.5/32 via 192.168.1.1 if 12 metric 16"));
}

TEST(SimulatedRoutes, TestCanChangeMetricsAndRemoveRoutes) {
  Machine machine;
  machine.routes.AddPhysicalNetwork();
  machine.routes.SetMetric("0.0.0.0/0", 5);
  EXPECT_TRUE(machine.routes.Has("0.0.0.0/0 via 192.168.1.1 if 12 metric 5"));
  EXPECT_EQ(machine.routes.Remove("0.0.0.0/0"), 1U);
  EXPECT_EQ(machine.routes.Remove("0.0.0.0/0"), 0U);
  machine.routes.Clear();
  EXPECT_THAT(machine.routes.Texts(), IsEmpty());
}

TEST(SimulatedRoutes, BestRouteHasTheLongestMaskThenTheLowestMetric) {
  Machine machine;
  machine.routes.Add("0.0.0.0/0", "192.168.1.1", 12, 25);
  machine.routes.Add("0.0.0.0/0", "192.168.2.1", 14, 10);
  machine.routes.Add("203.0.113.0/24", "10.66.66.1", 23, 90);
  const BestRoute far = *FindBestRoute(Ip("8.8.8.8"));
  EXPECT_EQ(IpText(far.next_hop), "192.168.2.1");
  EXPECT_EQ(far.interface_index, 14U);
  EXPECT_EQ(FindBestRoute(Ip("203.0.113.5"))->interface_index, 23U);
}

TEST(SimulatedRoutes, BestRouteToTheOwnNetworkHasNoNextHop) {
  Machine machine;
  machine.routes.AddPhysicalNetwork();
  const BestRoute best = *FindBestRoute(Ip("192.168.1.77"));
  EXPECT_EQ(best.next_hop, 0U);
  EXPECT_EQ(best.interface_index, 12U);
}

TEST(SimulatedRoutes, WithoutARouteTheBestRouteAnswers1232) {
  const Machine machine;
  EXPECT_EQ(FindBestRoute(Ip("8.8.8.8")).Error(), 1232U);
}

TEST(SimulatedRoutes, BestRouteCanBeOverridden) {
  Machine machine;
  machine.routes.OverrideBestRoute({Ip("10.0.0.1"), 7});
  EXPECT_EQ(FindBestRoute(Ip("8.8.8.8"))->interface_index, 7U);
  machine.routes.ClearBestRouteOverride();
  EXPECT_EQ(FindBestRoute(Ip("8.8.8.8")).Error(), 1232U);
}

TEST(SimulatedRoutes, InterfaceNamesAreReadUntilTheInterfaceGoes) {
  Machine machine;
  machine.routes.AddInterface(23, L"Veltrane", L"WireGuard Tunnel");
  EXPECT_EQ(ReadInterfaceNames(23).value().alias, L"Veltrane");
  EXPECT_EQ(ReadInterfaceNames(23).value().description, L"WireGuard Tunnel");
  machine.routes.RemoveInterface(23);
  EXPECT_FALSE(ReadInterfaceNames(23));
}

TEST(SimulatedRoutes, AdapterAddressesKeepTheirOrder) {
  Machine machine;
  EXPECT_THAT(ReadAdapterAddresses().value(), IsEmpty());
  machine.routes.AddAdapterAddress("198.51.100.7");
  machine.routes.AddAdapterAddress("10.0.0.2");
  EXPECT_THAT(ReadAdapterAddresses().value(), ElementsAre(0x076433C6U, 0x0200000AU));
}

TEST(SimulatedRoutes, EveryReadCanFail) {
  Machine machine;
  machine.FailAlways("ReadForwardTable", 5);
  machine.FailAlways("ReadAdapterAddresses", 5);
  machine.FailAlways("ReadInterfaceNames", 5);
  machine.routes.AddPhysicalNetwork();
  EXPECT_FALSE(ReadForwardTable());
  EXPECT_FALSE(ReadAdapterAddresses());
  EXPECT_FALSE(ReadInterfaceNames(12));
}

}  // namespace
}  // namespace veltrane::simulated
