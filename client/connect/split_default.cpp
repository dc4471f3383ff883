#include "client/connect/split_default.h"

#include <algorithm>
#include <vector>

#include "client/forecast/networks.h"
#include "client/text/split.h"

namespace veltrane {
namespace {

constexpr char kIpv4Halves[] = "0.0.0.0/1, 128.0.0.0/1";
constexpr char kIpv6Halves[] = "::/1, 8000::/1";

// A route to more than what a machine without the family has anyway: loopback, link-local and
// multicast.
bool LeadsSomewhere(const IpRoute& route) {
  const IpAddress& to = route.destination;
  if (to.family == IpFamily::kIpv4) return !IsLoopback(to) && to.bytes[0] < 224;
  return !IsLoopback(to) && !IsIpv6LinkLocal(to) && to.bytes[0] != 0xFF;
}

bool HasRoutes(const std::optional<std::vector<IpRoute>>& routes) {
  return !routes || std::any_of(routes->begin(), routes->end(), LeadsSomewhere);
}

}  // namespace

SplitList SplitDefault(std::string_view list) {
  SplitList split;
  for (const std::string_view item : Split(list, ',')) {
    const std::string_view text = Trimmed(item);
    const std::optional<IpNetwork> network = ParseNetwork(text);
    if (!split.allowed_ips.empty()) split.allowed_ips += ", ";
    if (!network || network->prefix_length > 0) {
      split.allowed_ips += text;
      continue;
    }
    const bool ipv6 = network->address.family == IpFamily::kIpv6;
    split.allowed_ips += ipv6 ? kIpv6Halves : kIpv4Halves;
    (ipv6 ? split.split_ipv6 : split.split_ipv4) = true;
  }
  return split;
}

bool Leaks(const SplitList& split, const Situation& situation) {
  return (split.split_ipv4 && !split.split_ipv6 && HasRoutes(situation.ipv6_routes)) ||
         (split.split_ipv6 && !split.split_ipv4 && HasRoutes(situation.ipv4_routes));
}

}  // namespace veltrane
