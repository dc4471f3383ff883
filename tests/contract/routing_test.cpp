// platform/routing.h and platform/interface_metric.h

#include "platform/routing.h"

#include <algorithm>

#include "platform/interface_metric.h"
#include "platform/ipv4.h"
#include "tests/contract/stage.h"

namespace veltrane::contract {
namespace {

// Cases over the network behind the default route.
class Routing : public Contract {
 protected:
  void SetUp() override {
    const std::optional<Network> found = stage.ReadNetwork();
    ASSERT_TRUE(found) << "this case needs a machine with a default route";
    network = *found;
  }

  ForwardRow DefaultRow() const {
    const std::vector<ForwardRow> rows = ReadForwardTable().value();
    for (const ForwardRow& row : rows) {
      if (row.dest == 0 && row.mask == 0 && row.next_hop == network.gateway) return row;
    }
    ADD_FAILURE() << "the default route is not in the table";
    return {};
  }

  // A route to an address for documentation, as the service makes one.
  ForwardRow HostRow() const {
    ForwardRow row;
    row.dest = ParseIpv4("203.0.113.77").value();
    row.mask = kHostMask;
    row.next_hop = network.gateway;
    row.interface_index = network.interface_index;
    row.type = kRouteTypeIndirect;
    row.proto = kRouteProtoManagement;
    row.metric1 = DefaultRow().metric1;
    return row;
  }

  std::vector<ForwardRow> RowsToHost() const {
    std::vector<ForwardRow> rows = ReadForwardTable().value();
    std::erase_if(rows, [](const ForwardRow& row) {
      return row.dest != ParseIpv4("203.0.113.77") || row.mask != kHostMask;
    });
    return rows;
  }

  Network network;
};

constexpr char kNoRoutes[] = "CreateIpForwardEntry answers 0 and does nothing";

TEST_F(Routing, TableHoldsTheDefaultRoute) {
  const ForwardRow row = DefaultRow();
  EXPECT_EQ(row.interface_index, network.interface_index);
  EXPECT_EQ(row.type, kRouteTypeIndirect);
}

TEST_F(Routing, TableHasMasksInNetworkByteOrder) {
  const std::vector<ForwardRow> rows = ReadForwardTable().value();
  EXPECT_TRUE(std::any_of(rows.begin(), rows.end(), [this](const ForwardRow& row) {
    return row.mask != 0 && row.mask != kHostMask && (row.mask & 0xFF) == 0xFF &&
           row.interface_index == network.interface_index &&
           row.dest == (network.own_address & row.mask);
  }));
}

TEST_F(Routing, TableIsSortedByDestination) {
  const std::vector<ForwardRow> rows = ReadForwardTable().value();
  EXPECT_TRUE(
      std::is_sorted(rows.begin(), rows.end(), [](const ForwardRow& left, const ForwardRow& right) {
        const auto in_host_order = [](std::uint32_t address) {
          return (address & 0xFF) << 24 | (address & 0xFF00) << 8 | (address >> 8 & 0xFF00) |
                 address >> 24;
        };
        return in_host_order(left.dest) < in_host_order(right.dest);
      }));
}

TEST_F(Routing, CreatedRouteIsInTheTableUntilItIsDeleted) {
  NOT_ON_WINE(kNoRoutes);
  stage.RemoveRouteAtEnd(HostRow());
  EXPECT_EQ(CreateForwardRow(HostRow()), 0U);
  ASSERT_EQ(RowsToHost().size(), 1U);
  EXPECT_EQ(RowsToHost()[0].next_hop, network.gateway);
  EXPECT_EQ(RowsToHost()[0].interface_index, network.interface_index);
  EXPECT_EQ(RowsToHost()[0].metric1, HostRow().metric1);
  EXPECT_EQ(DeleteForwardRow(HostRow()), 0U);
  EXPECT_EQ(RowsToHost().size(), 0U);
}

TEST_F(Routing, CreatingARouteThatIsThereAnswers5010) {
  NOT_ON_WINE(kNoRoutes);
  stage.RemoveRouteAtEnd(HostRow());
  EXPECT_EQ(CreateForwardRow(HostRow()), 0U);
  EXPECT_EQ(CreateForwardRow(HostRow()), 5010U);
}

TEST_F(Routing, CreatingARouteOfAnotherProtocolAnswers87) {
  NOT_ON_WINE(kNoRoutes);
  ForwardRow row = HostRow();
  row.proto = 0;
  EXPECT_EQ(CreateForwardRow(row), 87U);
  EXPECT_EQ(RowsToHost().size(), 0U);
}

TEST_F(Routing, DeletingARouteThatIsNotThereAnswers1168) {
  NOT_ON_WINE(kNoRoutes);
  EXPECT_EQ(DeleteForwardRow(HostRow()), 1168U);
}

TEST_F(Routing, BestRouteToAFarAddressIsTheDefaultRoute) {
  const BestRoute best = Take(FindBestRoute(ParseIpv4("203.0.113.77").value()));
  EXPECT_EQ(best.next_hop, network.gateway);
  EXPECT_EQ(best.interface_index, network.interface_index);
}

TEST_F(Routing, BestRouteToTheGatewayLeavesByTheSameInterface) {
  const BestRoute best = Take(FindBestRoute(network.gateway));
  EXPECT_NE(best.next_hop, network.gateway);
  EXPECT_EQ(best.interface_index, network.interface_index);
}

TEST_F(Routing, InterfaceHasTheNamesThatTheUserSees) {
  const InterfaceNames names = ReadInterfaceNames(network.interface_index).value();
  EXPECT_EQ(names.alias, network.alias);
  EXPECT_EQ(names.description, network.description);
}

TEST_F(Routing, InterfaceThatIsNotThereHasNoNames) {
  EXPECT_EQ(ReadInterfaceNames(0x00FFFFFF).has_value(), false);
}

TEST_F(Routing, AdapterAddressesAreInNetworkByteOrder) {
  const std::vector<std::uint32_t> addresses = ReadAdapterAddresses().value();
  EXPECT_EQ(std::count(addresses.begin(), addresses.end(), network.own_address), 1);
}

TEST_F(Routing, InterfaceHasAMetric) {
  NOT_ON_WINE("there is no GetIpInterfaceEntry");
  EXPECT_EQ(ReadInterfaceMetric(network.interface_index), network.interface_metric);
}

TEST_F(Routing, InterfaceThatIsNotThereHasNoMetric) {
  EXPECT_EQ(ReadInterfaceMetric(0x00FFFFFF), std::nullopt);
}

}  // namespace
}  // namespace veltrane::contract
