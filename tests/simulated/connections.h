#pragma once

// The IPv4 TCP connections.

#include <cstdint>
#include <string>
#include <vector>

#include "platform/connections.h"
#include "tests/simulated/core.h"

namespace veltrane::simulated {

// Empty at the start; rows stay in the order in which they were added. Every member may be called
// on any thread.
class Connections {
 public:
  explicit Connections(Core& core) : core_(core) {}

  // A connection in a state of MIB_TCP_STATE (5 is established; the program does not see those that
  // listen, 2). `local_port` is the plain number,
  // 3389 for Remote Desktop; the row holds it in network byte order with `garbage` in the upper
  // half of the member, as Windows may leave there.
  void Add(std::uint32_t state, std::uint16_t local_port, const std::string& remote_address,
           std::uint16_t garbage = 0xBEEF);
  void AddEstablished(std::uint16_t local_port, const std::string& remote_address);
  void AddRow(const TcpConnection& row);
  void Clear();

  // For the boundary function.
  std::vector<TcpConnection> Rows() const;

 private:
  Core& core_;
  std::vector<TcpConnection> rows_;
};

}  // namespace veltrane::simulated
