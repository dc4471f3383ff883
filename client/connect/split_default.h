#pragma once

// Halves in place of a catch-all. Pure functions.

#include <string>
#include <string_view>

#include "client/forecast/situation.h"

namespace veltrane {

// AllowedIPs without a network of length /0.
struct SplitList {
  std::string allowed_ips;
  bool split_ipv4 = false;  // it has the halves of 0.0.0.0/0 in its place
  bool split_ipv6 = false;  // ... of ::/0
};

// Replaces each IPv4 network of length /0, however it is written, by "0.0.0.0/1, 128.0.0.0/1", and
// each IPv6 one by "::/1, 8000::/1", with which the WireGuard library sets up no firewall (its page
// "Network Configuration Quirks"). Other items stay as they are written. `list` is one that
// FindProfileProblem accepts.
SplitList SplitDefault(std::string_view list);

// Whether packets would go past a tunnel with this list that the firewall for a /0 would have
// blocked: it has the halves of one family alone, and the machine has routes of the other. A family
// whose routes could not be read has some.
bool Leaks(const SplitList& split, const Situation& situation);

}  // namespace veltrane
