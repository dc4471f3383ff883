#pragma once

// The network of both address families, as the client reads it: addresses, routes and connections.
// The service itself knows IPv4 alone (routing.h, connections.h).
// Units: addresses in network byte order; ports, indexes and metrics in host byte order.
// Threads: any.
// Windows: "IP Helper".

#include <array>
#include <compare>
#include <cstdint>
#include <optional>
#include <vector>

namespace veltrane {

enum class IpFamily { kIpv4, kIpv6 };

// An address without a zone. IPv4 uses the first four bytes; the others are 0.
struct IpAddress {
  IpFamily family = IpFamily::kIpv4;
  std::array<std::uint8_t, 16> bytes{};

  // NOLINTNEXTLINE(modernize-use-nullptr): the check misreads the comparison that is generated
  auto operator<=>(const IpAddress&) const = default;
};

struct IpRoute {
  IpAddress destination;
  std::uint32_t prefix_length = 0;
  IpAddress next_hop;  // all zeros for a route without a gateway
  std::uint32_t interface_index = 0;
  std::uint32_t metric = 0;

  bool operator==(const IpRoute&) const = default;
};

// Reads the IPv6 routes in the system's order (GetIpForwardTable2 with AF_INET6). The metrics do
// not include those of the interfaces (MIB_IPFORWARD_ROW2). nullopt on failure, or when the system
// lacks the call.
std::optional<std::vector<IpRoute>> ReadIpv6Routes();

// An established TCP connection.
struct IpConnection {
  IpAddress local;
  std::uint16_t local_port = 0;
  IpAddress remote;
  std::uint32_t scope_id = 0;  // of a link-local remote address, its interface; otherwise 0

  bool operator==(const IpConnection&) const = default;
};

// Reads the established TCP connections of a family in table order (GetExtendedTcpTable, class
// TCP_TABLE_OWNER_PID_CONNECTIONS, state MIB_TCP_STATE_ESTAB). An IPv4-mapped IPv6 address (RFC
// 4291, section 2.5.5.2) is returned as IPv4. nullopt on failure.
std::optional<std::vector<IpConnection>> ReadEstablishedConnections(IpFamily family);

// An address of the machine, and the interface that has it.
struct OwnAddress {
  IpAddress address;
  std::uint32_t interface_index = 0;

  bool operator==(const OwnAddress&) const = default;
};

// Reads the unicast addresses of every adapter, in adapter order, loopback included
// (GetAdaptersAddresses with AF_UNSPEC). nullopt on failure.
std::optional<std::vector<OwnAddress>> ReadOwnAddresses();

// Returns the metric that Windows adds to that of every IPv6 route through this interface
// (GetIpInterfaceEntry with AF_INET6). nullopt when the interface has no IPv6, or the system lacks
// the call.
std::optional<std::uint32_t> ReadIpv6InterfaceMetric(std::uint32_t interface_index);

// Returns whether an interface is a piece of hardware that is up (GetIfEntry2, the members
// InterfaceAndOperStatusFlags.HardwareInterface and OperStatus). A tunnel of whatever program is no
// hardware, and the routes of an interface that is down lead nowhere. nullopt on failure.
std::optional<bool> IsHardwareInterface(std::uint32_t interface_index);

}  // namespace veltrane
