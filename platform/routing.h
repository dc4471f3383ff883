#pragma once

// The IPv4 forward table and the interfaces that its routes use.
// Units: addresses and masks in network byte order; metrics and indexes in host byte order.
// Threads: any; nothing here takes a lock.
// Windows: "IP Helper".

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "platform/result.h"

namespace veltrane {

// The mask of a host route, 255.255.255.255.
inline constexpr std::uint32_t kHostMask = 0xFFFFFFFF;

inline constexpr std::uint32_t kRouteTypeInvalid = 2;      // MIB_IPROUTE_TYPE_INVALID
inline constexpr std::uint32_t kRouteTypeIndirect = 4;     // MIB_IPROUTE_TYPE_INDIRECT
inline constexpr std::uint32_t kRouteProtoManagement = 3;  // MIB_IPPROTO_NETMGMT
inline constexpr std::uint32_t kRouteProtoIcmp = 4;        // MIB_IPPROTO_ICMP

// One row of the forward table: the members of MIB_IPFORWARDROW (ipmib.h) in their order.
struct ForwardRow {
  std::uint32_t dest = 0;
  std::uint32_t mask = 0;
  std::uint32_t policy = 0;
  std::uint32_t next_hop = 0;
  std::uint32_t interface_index = 0;
  std::uint32_t type = 0;
  std::uint32_t proto = 0;
  std::uint32_t age = 0;
  std::uint32_t next_hop_as = 0;
  std::uint32_t metric1 = 0;
  std::uint32_t metric2 = 0;
  std::uint32_t metric3 = 0;
  std::uint32_t metric4 = 0;
  std::uint32_t metric5 = 0;

  bool operator==(const ForwardRow&) const = default;
};

// Reads the forward table in the system's sorted order (GetIpForwardTable). nullopt unless the size
// query returns ERROR_INSUFFICIENT_BUFFER (122) and the second call succeeds with as many rows as
// the table claims; a size query that succeeds counts as a failure.
std::optional<std::vector<ForwardRow>> ReadForwardTable();

inline constexpr std::uint32_t kErrorObjectAlreadyExists = 5010;  // ERROR_OBJECT_ALREADY_EXISTS

// Create and delete a route (CreateIpForwardEntry, DeleteIpForwardEntry). Return 0, or the Win32
// error.
std::uint32_t CreateForwardRow(const ForwardRow& row);
std::uint32_t DeleteForwardRow(const ForwardRow& row);

struct BestRoute {
  std::uint32_t next_hop = 0;
  std::uint32_t interface_index = 0;
};

// Returns the route that a packet to `dest` would take (GetBestRoute with source address 0). Fails
// with the Win32 error.
Result<BestRoute> FindBestRoute(std::uint32_t dest);

struct InterfaceNames {
  std::wstring alias;
  std::wstring description;
};

// Reads the names of the interface with this index (GetIfEntry2). nullopt on failure.
std::optional<InterfaceNames> ReadInterfaceNames(std::uint32_t interface_index);

// Reads the IPv4 unicast addresses of every adapter, in adapter order (GetAdaptersAddresses,
// AF_INET). Leaves out an address that is shorter than its family needs. nullopt unless the size
// query returns ERROR_BUFFER_OVERFLOW (111) and the second call succeeds.
std::optional<std::vector<std::uint32_t>> ReadAdapterAddresses();

}  // namespace veltrane
