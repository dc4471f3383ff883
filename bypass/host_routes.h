#pragma once

// The /32 host routes of the bypass: every change that the service makes to the routing table.
// Nothing here throws or takes a lock. Addresses are in network byte order.

#include <cstdint>
#include <string>

#include "bypass/records.h"

namespace veltrane {

// The metric with which routes are created. Windows refuses one below the metric of the interface
// (Microsoft KB947216).
inline constexpr std::uint32_t kPinnedMetric = 1;

// A route counts as verified only up to this metric; with a higher one it counts as absent.
inline constexpr std::uint32_t kHighestGoodMetric = 15;

// Looks for the first /32 row for the address, whatever its gateway and interface. Reads the table
// anew; an unreadable table holds nothing. Each pointer may be null.
bool FindHostRoute(std::uint32_t dest, std::uint32_t* next_hop, std::uint32_t* interface_index,
                   std::uint32_t* metric);

// Looks for the first /32 row for the address through this next hop and interface.
bool FindExactHostRoute(std::uint32_t dest, std::uint32_t next_hop, std::uint32_t interface_index,
                        std::uint32_t* metric);

// Adds a host route for the candidate through the physical default gateway unless a verified one is
// there, and verifies it. Makes one create call at most. Every row that it creates is recorded for
// removal, before it is verified. Failure reasons: "invalid_ip", "route_add_failed" and
// "route_verify_failed".
HostRouteResult AddHostRoute(const BypassIpEntry& entry);

// Adds the route for an address once more, as a required entry of source "legacy". Returns
// add_success; `detail`, when given, becomes "<ip>:added" or "<ip>:add_failed(<status>)".
bool ReAddHostRoute(const std::string& ip, std::string* detail);

// Deletes every recorded row in the order of creation, ignoring failures, and forgets them; clears
// applied and routes_ready_before_tunnel in the current state as it was at the start, gives it the
// message "admin bypass host routes removed" if it has none, stores and logs it, and returns a
// copy.
AdminBypassState RemoveBypassRoutes();

}  // namespace veltrane
