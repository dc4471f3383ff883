#pragma once

// One-line descriptions of the default routes and the pinned host routes in the IPv4 forward table.
// Only reads; every call reads the table again.

#include <cstdint>
#include <string>
#include <vector>

#include "platform/routing.h"

namespace veltrane {

// Returns the label of an interface: its alias as UTF-8, its description when the alias is empty,
// or "if" and the index when the interface cannot be read.
std::string DescribeInterface(std::uint32_t interface_index);

// Returns true when the label contains "wireguard", "wintun" or "tunnel" in any case. The
// description matters only when it is the label.
bool IsTunnelInterface(std::uint32_t interface_index);

// Returns 0.0.0.0/0-><next hop>@if<index>:<label>:metric=<metric>
std::string FormatDefaultRoute(const ForwardRow& row);

// Returns true when a default route goes through a tunnel interface and, unless `offending_route`
// is null, sets it to the description of the first such route. Otherwise, and when the table cannot
// be read, returns false and leaves `offending_route` unchanged.
bool FindTunnelDefaultRoute(std::string* offending_route);

// Returns the default routes in table order, joined by ";"; "none" when there is none,
// "unavailable" when the table cannot be read.
std::string SnapshotDefaultRoutes();

// Returns the host routes of each address in turn as "<ip>/32-><next hop>@if<index>", joined by
// ";"; "none" when there is none, "unavailable" when the table cannot be read. Skips a string that
// is not an IPv4 address.
std::string SnapshotHostRoutes(const std::vector<std::string>& ips);

}  // namespace veltrane
