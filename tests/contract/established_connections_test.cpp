// platform/ip_network.h: established connections

#include <algorithm>

#include "platform/ip_network.h"
#include "tests/contract/stage.h"

namespace veltrane::contract {
namespace {

using EstablishedConnections = Contract;

constexpr IpAddress kServer{IpFamily::kIpv4, {127, 0, 0, 1}};
constexpr IpAddress kClient{IpFamily::kIpv4, {127, 0, 0, 2}};
constexpr IpAddress kIpv6Loopback{IpFamily::kIpv6,
                                  {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1}};

std::vector<IpConnection> WithLocalPort(IpFamily family, std::uint16_t port) {
  std::vector<IpConnection> connections = ReadEstablishedConnections(family).value();
  std::erase_if(connections,
                [port](const IpConnection& connection) { return connection.local_port != port; });
  return connections;
}

std::vector<IpConnection> OfBothFamiliesWithLocalPort(std::uint16_t port) {
  std::vector<IpConnection> connections = WithLocalPort(IpFamily::kIpv4, port);
  for (const IpConnection& other : WithLocalPort(IpFamily::kIpv6, port)) {
    connections.push_back(other);
  }
  return connections;
}

using List = std::vector<IpConnection>;

TEST_F(EstablishedConnections, HaveBothAddressesInNetworkByteOrderAndTheLocalPortAsANumber) {
  const Loopback loopback = stage.Connect();
  EXPECT_EQ(WithLocalPort(IpFamily::kIpv4, loopback.server_port),
            (List{{kServer, loopback.server_port, kClient, 0}}));
  EXPECT_EQ(WithLocalPort(IpFamily::kIpv4, loopback.client_port),
            (List{{kClient, loopback.client_port, kServer, 0}}));
}

TEST_F(EstablishedConnections, OfOneFamilyAreNotThoseOfTheOther) {
  const Loopback loopback = stage.Connect();
  EXPECT_EQ(WithLocalPort(IpFamily::kIpv6, loopback.server_port), List{});
}

TEST_F(EstablishedConnections, DoNotIncludePortsThatOnlyListen) {
  EXPECT_EQ(WithLocalPort(IpFamily::kIpv4, stage.Listen()), List{});
}

TEST_F(EstablishedConnections, DoNotIncludeThoseThatEnd) {
  const Loopback loopback = stage.ConnectAndHangUp();
  EXPECT_TRUE(
      Eventually([&] { return WithLocalPort(IpFamily::kIpv4, loopback.server_port).empty(); }));
  EXPECT_EQ(WithLocalPort(IpFamily::kIpv4, loopback.client_port), List{});
}

TEST_F(EstablishedConnections, OfIpv6HaveAllBytesOfTheirAddresses) {
  const std::optional<Loopback> loopback = stage.ConnectIpv6();
  if (!loopback) GTEST_SKIP() << "not here: this machine has no IPv6";
  EXPECT_EQ(WithLocalPort(IpFamily::kIpv6, loopback->server_port),
            (List{{kIpv6Loopback, loopback->server_port, kIpv6Loopback, 0}}));
  EXPECT_EQ(WithLocalPort(IpFamily::kIpv6, loopback->client_port),
            (List{{kIpv6Loopback, loopback->client_port, kIpv6Loopback, 0}}));
}

TEST_F(EstablishedConnections, OfIpv6DoNotIncludeThoseThatEnd) {
  const std::optional<Loopback> loopback = stage.ConnectIpv6AndHangUp();
  if (!loopback) GTEST_SKIP() << "not here: this machine has no IPv6";
  EXPECT_TRUE(
      Eventually([&] { return WithLocalPort(IpFamily::kIpv6, loopback->server_port).empty(); }));
  EXPECT_EQ(WithLocalPort(IpFamily::kIpv6, loopback->client_port), List{});
}

TEST_F(EstablishedConnections, OfIpv4ToAServerOfBothFamiliesHaveIpv4Addresses) {
  const std::optional<Loopback> loopback = stage.ConnectToBothFamilies();
  if (!loopback) GTEST_SKIP() << "not here: this machine has no IPv6";
  EXPECT_EQ(OfBothFamiliesWithLocalPort(loopback->server_port),
            (List{{kServer, loopback->server_port, kClient, 0}}));
}

TEST_F(EstablishedConnections, FromALinkLocalAddressHaveItsInterface) {
  NOT_ON_WINE("the scope id tells the kind of the scope, not the interface");
  const std::optional<LinkLocalLoopback> loopback = stage.ConnectLinkLocal();
  if (!loopback) GTEST_SKIP() << "not here: this machine has no link-local address";
  const std::uint16_t port = loopback->ports.server_port;
  EXPECT_EQ(WithLocalPort(IpFamily::kIpv6, port),
            (List{{loopback->address, port, loopback->address, loopback->interface_index}}));
}

}  // namespace
}  // namespace veltrane::contract
