#pragma once

// The TCP connections of both families.

#include <cstdint>
#include <string>
#include <vector>

#include "platform/connections.h"
#include "platform/ip_network.h"
#include "tests/simulated/core.h"

namespace veltrane::simulated {

// Empty at the start; the rows of a family stay in the order in which they were added. Every member
// may be called on any thread.
class Connections {
 public:
  explicit Connections(Core& core) : core_(core) {}

  // An IPv4 connection in a state of MIB_TCP_STATE (5 is established; the program does not see
  // those that listen, 2). `local_port` is the plain number, 3389 for Remote Desktop; the row holds
  // it in network byte order with `garbage` in the upper half of the member, as Windows may leave
  // there.
  void Add(std::uint32_t state, std::uint16_t local_port, const std::string& remote_address,
           std::uint16_t garbage = 0xBEEF);
  void AddEstablished(std::uint16_t local_port, const std::string& remote_address,
                      const std::string& local_address = "192.168.1.10");
  void AddRow(const TcpConnection& row, const std::string& local_address = "192.168.1.10");

  // An IPv6 connection; an IPv4-mapped address is read as one of IPv4.
  void AddIpv6(std::uint32_t state, std::uint16_t local_port, const std::string& remote_address,
               const std::string& local_address, std::uint32_t scope_id = 0);
  void AddEstablishedIpv6(std::uint16_t local_port, const std::string& remote_address,
                          const std::string& local_address, std::uint32_t scope_id = 0);

  void Clear();

  // For the boundary functions.
  std::vector<TcpConnection> Rows() const;  // of IPv4
  std::vector<IpConnection> Established(IpFamily family) const;

 private:
  struct Ipv4Row {
    TcpConnection row;
    IpAddress local;
  };
  struct Ipv6Row {
    std::uint32_t state = 0;
    IpConnection connection;
  };

  std::vector<Ipv4Row> Ipv4Rows() const;

  Core& core_;
  std::vector<Ipv4Row> ipv4_rows_;
  std::vector<Ipv6Row> ipv6_rows_;
};

}  // namespace veltrane::simulated
