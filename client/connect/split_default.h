#pragma once

// Halves in place of a catch-all. Pure functions.

#include <optional>
#include <string>
#include <string_view>

#include "client/forecast/situation.h"

namespace veltrane {

// AllowedIPs without a network of length /0.
struct SplitList {
  std::string allowed_ips;
  std::string problem;      // why the list cannot be split; the rest is then empty
  bool split_ipv4 = false;  // it has the halves of 0.0.0.0/0 in its place
  bool split_ipv6 = false;  // ... of ::/0
};

// Replaces each IPv4 network of length /0, however it is written, by "0.0.0.0/1, 128.0.0.0/1", and
// each IPv6 one by "::/1, 8000::/1", with which the WireGuard library sets up no firewall (its page
// "Network Configuration Quirks"). Other items stay as they are written. An IPv4-mapped IPv6
// network is a problem: whether it is a catch-all, and of which family, differs between programs.
// `list` is one that FindProfileProblem accepts.
SplitList SplitDefault(std::string_view list);

// Finds the family whose packets would go past a tunnel with this list although the firewall for a
// /0 would have blocked them: something was split, the list does not have every address of the
// family, and the machine has routes of it. A family whose routes could not be read has some.
std::optional<IpFamily> FindLeak(const SplitList& split, const Situation& situation);

}  // namespace veltrane
