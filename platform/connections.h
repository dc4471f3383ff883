#pragma once

// The IPv4 TCP connections of the machine.
// Units: addresses and ports in network byte order.
// Threads: any.
// Windows: "IP Helper".

#include <cstdint>
#include <optional>
#include <vector>

namespace veltrane {

// The state of an established connection (MIB_TCP_STATE_ESTAB).
inline constexpr std::uint32_t kTcpEstablished = 5;

// The members of a connection table row (MIB_TCPROW_OWNER_PID) that the service reads.
struct TcpConnection {
  std::uint32_t state = 0;       // MIB_TCP_STATE
  std::uint32_t local_port = 0;  // in the low 16 bits; the high 16 bits are undefined
  std::uint32_t remote_address = 0;
};

// Reads the connections in table order (GetExtendedTcpTable, unsorted, class
// TCP_TABLE_OWNER_PID_CONNECTIONS). nullopt unless the size query returns
// ERROR_INSUFFICIENT_BUFFER (122) and the second call succeeds with as many rows as the table
// claims.
std::optional<std::vector<TcpConnection>> ReadTcpConnections();

}  // namespace veltrane
