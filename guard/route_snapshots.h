#pragma once

// What the IPv4 routing table says about the default route and about the pinned host routes, as
// one-line texts. Everything here only reads, and reads the table anew on every call.

#include <cstdint>
#include <string>
#include <vector>

#include "platform/routing.h"

namespace veltrane {

// The label of an interface: its alias as UTF-8, its description when the alias is empty, "if" and
// the index when the interface cannot be read.
std::string DescribeInterface(std::uint32_t interface_index);

// True when the label holds "wireguard", "wintun" or "tunnel" in any case. The description counts
// only when it is the label.
bool IsTunnelInterface(std::uint32_t interface_index);

// 0.0.0.0/0-><next hop>@if<index>:<label>:metric=<metric>
std::string FormatDefaultRoute(const ForwardRow& row);

// True when a default route leads into a tunnel interface; `offending_route`, when given, then
// receives the element text of the first such route. False, with the text untouched, otherwise and
// when the table is unreadable.
bool FindTunnelDefaultRoute(std::string* offending_route);

// Every default route in table order, joined by ";"; "none", or "unavailable" when the table is
// unreadable.
std::string SnapshotDefaultRoutes();

// Every host route of the addresses, address by address, as "<ip>/32-><next hop>@if<index>" joined
// by ";"; "none", or "unavailable" when the table is unreadable. A text that is no IPv4 address is
// skipped.
std::string SnapshotHostRoutes(const std::vector<std::string>& ips);

}  // namespace veltrane
