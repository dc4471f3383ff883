#pragma once

// The /32 host routes of the bypass, which are the only changes that the service makes to the
// forward table. Nothing here takes a lock. Addresses are in network byte order.

#include <cstdint>
#include <string>

#include "bypass/records.h"

namespace veltrane {

// The metric of the routes that the service creates. Windows refuses a metric below that of the
// interface with ERROR_BAD_ARGUMENTS (160; Microsoft KB 947216).
inline constexpr std::uint32_t kPinnedMetric = 1;

// The highest metric of a verified route; a route with a higher one counts as absent.
inline constexpr std::uint32_t kHighestGoodMetric = 15;

// Finds the first /32 row for the address, through any next hop and interface. Returns false when
// there is none or the table cannot be read. Reads the table on every call. Each pointer may be
// null.
bool FindHostRoute(std::uint32_t dest, std::uint32_t* next_hop, std::uint32_t* interface_index,
                   std::uint32_t* metric);

// The same for the first /32 row for the address through this next hop and interface.
bool FindExactHostRoute(std::uint32_t dest, std::uint32_t next_hop, std::uint32_t interface_index,
                        std::uint32_t* metric);

// Adds a host route for the candidate through the physical default gateway, unless a verified one
// exists, and verifies it. Makes at most one create call. Records every row that it creates for
// removal, before verifying it. Failure reasons: "invalid_ip", "route_add_failed" and
// "route_verify_failed".
HostRouteResult AddHostRoute(const BypassIpEntry& entry);

// Adds the route for an address again, as a required entry with the source "legacy". Returns
// add_success; unless `detail` is null, sets it to "<ip>:added" or "<ip>:add_failed(<status>)".
bool ReAddHostRoute(const std::string& ip, std::string* detail);

// Deletes every recorded row in the order of creation, ignoring failures, and clears the list.
// Then, in a copy of the current state that was taken at the start, clears applied and
// routes_ready_before_tunnel, and sets the message "admin bypass host routes removed" if it has
// none; stores, logs and returns that copy.
AdminBypassState RemoveBypassRoutes();

}  // namespace veltrane
