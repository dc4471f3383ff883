#pragma once

// The IPv4 TCP connections of the machine (IP Helper). May be called on any thread.

#include <cstdint>
#include <optional>
#include <vector>

namespace veltrane {

// A connection in the state MIB_TCP_STATE_ESTAB.
inline constexpr std::uint32_t kTcpEstablished = 5;

// One row of the connection table: the members of MIB_TCPROW_OWNER_PID that the service reads.
struct TcpConnection {
  std::uint32_t state = 0;           // MIB_TCP_STATE
  std::uint32_t local_port = 0;      // low 16 bits in network byte order, the rest undefined
  std::uint32_t remote_address = 0;  // network byte order
};

// Reads the IPv4 connections in table order (GetExtendedTcpTable, unsorted, class
// TCP_TABLE_OWNER_PID_CONNECTIONS); nullopt when the size query does not answer
// ERROR_INSUFFICIENT_BUFFER (122) or the second call fails.
std::optional<std::vector<TcpConnection>> ReadTcpConnections();

}  // namespace veltrane
