#pragma once

// The IPv4 routing table and the interfaces behind it (IP Helper). Addresses are in network byte
// order, metrics and indexes are unsigned. May be called on any thread; nothing here takes a lock.

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "platform/result.h"

namespace veltrane {

// The mask of a route to a single address.
inline constexpr std::uint32_t kHostMask = 0xFFFFFFFF;

inline constexpr std::uint32_t kRouteTypeIndirect = 4;     // MIB_IPROUTE_TYPE_INDIRECT
inline constexpr std::uint32_t kRouteProtoManagement = 3;  // MIB_IPPROTO_NETMGMT

// One row of the IPv4 forward table, member by member the MIB_IPFORWARDROW of ipmib.h.
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

// Reads the forward table in the platform's sorted order (GetIpForwardTable, size query first).
// nullopt when the size query does not answer ERROR_INSUFFICIENT_BUFFER (122), success included, or
// when the second call does not answer 0.
std::optional<std::vector<ForwardRow>> ReadForwardTable();

inline constexpr std::uint32_t kErrorObjectAlreadyExists = 5010;  // ERROR_OBJECT_ALREADY_EXISTS

// Creates or deletes a route (CreateIpForwardEntry, DeleteIpForwardEntry). Return the Win32 status,
// 0 on success.
std::uint32_t CreateForwardRow(const ForwardRow& row);
std::uint32_t DeleteForwardRow(const ForwardRow& row);

struct BestRoute {
  std::uint32_t next_hop = 0;
  std::uint32_t interface_index = 0;
};

// Asks which route a packet to `dest` would take, with source address 0 (GetBestRoute).
Result<BestRoute> FindBestRoute(std::uint32_t dest);

struct InterfaceNames {
  std::wstring alias;
  std::wstring description;
};

// Reads the names of the interface with this index (GetIfEntry2 on a row that is zero but for its
// InterfaceIndex); nullopt on any status but 0.
std::optional<InterfaceNames> ReadInterfaceNames(std::uint32_t interface_index);

// Lists the IPv4 unicast addresses of every adapter, in adapter order (GetAdaptersAddresses for
// AF_INET, skipping anycast and multicast); nullopt when the size query does not answer
// ERROR_BUFFER_OVERFLOW (111) or the second call fails.
std::optional<std::vector<std::uint32_t>> ReadAdapterAddresses();

}  // namespace veltrane
