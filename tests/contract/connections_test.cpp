// platform/connections.h

#include "platform/connections.h"

#include <algorithm>

#include "platform/ipv4.h"
#include "tests/contract/stage.h"

namespace veltrane::contract {
namespace {

using Connections = Contract;

// The port of a row as a plain number.
std::uint16_t PlainPort(const TcpConnection& row) {
  return static_cast<std::uint16_t>((row.local_port & 0xFF) << 8 | (row.local_port >> 8 & 0xFF));
}

std::vector<TcpConnection> RowsWithLocalPort(std::uint16_t port) {
  std::vector<TcpConnection> rows = ReadTcpConnections().value();
  std::erase_if(rows, [port](const TcpConnection& row) { return PlainPort(row) != port; });
  return rows;
}

TEST_F(Connections, HaveTheirLocalPortInNetworkByteOrder) {
  const Loopback loopback = stage.Connect();
  ASSERT_EQ(RowsWithLocalPort(loopback.server_port).size(), 1U);
  ASSERT_EQ(RowsWithLocalPort(loopback.client_port).size(), 1U);
}

TEST_F(Connections, HaveTheAddressOfTheOtherEndInNetworkByteOrder) {
  const Loopback loopback = stage.Connect();
  EXPECT_EQ(RowsWithLocalPort(loopback.server_port).at(0).remote_address, ParseIpv4("127.0.0.2"));
  EXPECT_EQ(RowsWithLocalPort(loopback.client_port).at(0).remote_address, ParseIpv4("127.0.0.1"));
}

TEST_F(Connections, AreInState5WhenTheyAreEstablished) {
  const Loopback loopback = stage.Connect();
  EXPECT_EQ(RowsWithLocalPort(loopback.server_port).at(0).state, 5U);
}

TEST_F(Connections, DoNotIncludePortsThatOnlyListen) {
  EXPECT_EQ(RowsWithLocalPort(stage.Listen()).size(), 0U);
}

}  // namespace
}  // namespace veltrane::contract
