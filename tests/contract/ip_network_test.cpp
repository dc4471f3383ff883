// platform/ip_network.h: addresses, routes and interfaces

#include "platform/ip_network.h"

#include <algorithm>
#include <cstring>

#include "tests/contract/stage.h"

namespace veltrane::contract {
namespace {

constexpr std::uint32_t kNoInterface = 0x00FFFFFF;

IpAddress Ipv4(std::uint32_t address) {
  IpAddress ipv4;
  std::memcpy(ipv4.bytes.data(), &address, sizeof(address));
  return ipv4;
}

constexpr IpAddress kLoopback{IpFamily::kIpv4, {127, 0, 0, 1}};
constexpr IpAddress kIpv6Loopback{IpFamily::kIpv6,
                                  {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1}};

OwnAddress OwnEntry(const IpAddress& address) {
  const std::vector<OwnAddress> addresses = ReadOwnAddresses().value();
  const auto found =
      std::find_if(addresses.begin(), addresses.end(),
                   [&address](const OwnAddress& own) { return own.address == address; });
  if (found == addresses.end()) throw std::runtime_error("the address is not an own one");
  return *found;
}

// Cases over the network behind the default route.
class OwnNetwork : public Contract {
 protected:
  void SetUp() override {
    const std::optional<Network> found = stage.ReadNetwork();
    ASSERT_TRUE(found) << "this case needs a machine with a default route";
    network = *found;
  }

  Network network;
};

TEST_F(OwnNetwork, HasItsAddressesInNetworkByteOrderWithTheirInterface) {
  EXPECT_EQ(OwnEntry(Ipv4(network.own_address)).interface_index, network.interface_index);
}

TEST_F(OwnNetwork, HasTheLoopbackAddressOnAnotherInterface) {
  EXPECT_NE(OwnEntry(kLoopback).interface_index, network.interface_index);
}

TEST_F(OwnNetwork, IsReachedByHardware) {
  EXPECT_EQ(IsHardwareInterface(network.interface_index), true);
}

TEST_F(OwnNetwork, HasALoopbackThatIsNoHardware) {
  EXPECT_EQ(IsHardwareInterface(OwnEntry(kLoopback).interface_index), false);
}

using OwnAddresses = Contract;

TEST_F(OwnAddresses, IncludeThoseOfIpv6) {
  if (!stage.ConnectIpv6()) GTEST_SKIP() << "not here: this machine has no IPv6";
  EXPECT_EQ(OwnEntry(kIpv6Loopback).address, kIpv6Loopback);
}

using Interfaces = Contract;

TEST_F(Interfaces, ThatAreNotThereAreNeitherHardwareNorNot) {
  EXPECT_EQ(IsHardwareInterface(kNoInterface), std::nullopt);
}

TEST_F(Interfaces, ThatAreNotThereHaveNoMetricOfIpv6) {
  EXPECT_EQ(ReadIpv6InterfaceMetric(kNoInterface), std::nullopt);
}

// Cases over the network behind the default route of IPv6.
class Ipv6OfThisMachine : public Contract {
 protected:
  void SetUp() override {
    NOT_ON_WINE("no route and no interface of IPv6 can be read, nor the interface of an address");
    const std::optional<Ipv6Network> found = stage.ReadIpv6Network();
    if (!found) GTEST_SKIP() << "not here: this machine has no default route of IPv6";
    network = *found;
  }

  static std::vector<IpRoute> RoutesTo(const IpAddress& destination, std::uint32_t prefix_length) {
    std::vector<IpRoute> routes = ReadIpv6Routes().value();
    std::erase_if(routes, [&](const IpRoute& route) {
      return route.destination != destination || route.prefix_length != prefix_length;
    });
    return routes;
  }

  Ipv6Network network;
};

constexpr IpAddress kNoGateway{IpFamily::kIpv6, {}};

TEST_F(Ipv6OfThisMachine, HasItsAddressesWithTheirInterface) {
  EXPECT_EQ(OwnEntry(network.own_address).interface_index, network.interface_index);
}

TEST_F(Ipv6OfThisMachine, HasTheDefaultRouteInItsTable) {
  const std::vector<IpRoute> routes = RoutesTo(kNoGateway, 0);
  EXPECT_TRUE(std::any_of(routes.begin(), routes.end(), [this](const IpRoute& route) {
    return route.next_hop == network.gateway && route.interface_index == network.interface_index;
  }));
}

TEST_F(Ipv6OfThisMachine, HasZerosForTheGatewayOfADirectRoute) {
  const std::vector<IpRoute> routes = RoutesTo(network.own_address, 128);
  ASSERT_EQ(routes.size(), 1U);
  EXPECT_EQ(routes[0].next_hop, kNoGateway);
  EXPECT_EQ(routes[0].interface_index, network.interface_index);
}

TEST_F(Ipv6OfThisMachine, HasAMetricOfItsInterface) {
  EXPECT_EQ(ReadIpv6InterfaceMetric(network.interface_index), network.interface_metric);
}

}  // namespace
}  // namespace veltrane::contract
