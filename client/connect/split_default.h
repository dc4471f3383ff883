#pragma once

// Halves in place of a catch-all. Pure functions.

#include <string>
#include <string_view>

namespace veltrane {

// AllowedIPs without a network of length /0.
struct SplitList {
  std::string allowed_ips;
  bool changed = false;
  bool takes_ipv6 = false;  // it has the halves of ::/0
};

// Replaces each IPv4 network of length /0, however it is written, by "0.0.0.0/1, 128.0.0.0/1", and
// each IPv6 one by "::/1, 8000::/1", with which the WireGuard library sets up no firewall (its page
// "Network Configuration Quirks"). Other items stay as they are written. `list` is one that
// FindProfileProblem accepts.
SplitList SplitDefault(std::string_view list);

}  // namespace veltrane
