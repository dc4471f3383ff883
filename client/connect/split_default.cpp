#include "client/connect/split_default.h"

#include <algorithm>
#include <vector>

#include "client/forecast/networks.h"
#include "client/text/quoting.h"
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

std::string MappedText(std::string_view item) {
  return "AllowedIPs contains " + Quoted(item) +
         ", an IPv4-mapped network, which is IPv4 to one program and IPv6 to another, so that "
         "--split-default cannot replace it: write it as one of the two";
}

}  // namespace

SplitList SplitDefault(std::string_view list) {
  SplitList split;
  for (const std::string_view item : Split(list, ',')) {
    const std::string_view text = Trimmed(item);
    const std::optional<IpNetwork> network = ParseNetwork(text);
    if (!network) {
      split = {};
      split.problem = MappedText(text);
      return split;
    }
    if (!split.allowed_ips.empty()) split.allowed_ips += ", ";
    if (network->prefix_length > 0) {
      split.allowed_ips += text;
      continue;
    }
    const bool ipv6 = network->address.family == IpFamily::kIpv6;
    split.allowed_ips += ipv6 ? kIpv6Halves : kIpv4Halves;
    (ipv6 ? split.split_ipv6 : split.split_ipv4) = true;
  }
  return split;
}

std::optional<IpFamily> FindLeak(const SplitList& split, const Situation& situation) {
  if (!split.split_ipv4 && !split.split_ipv6) return std::nullopt;
  const std::vector<IpNetwork> networks = ParseNetworks(split.allowed_ips).value();
  for (const IpFamily family : {IpFamily::kIpv6, IpFamily::kIpv4}) {
    const bool ipv6 = family == IpFamily::kIpv6;
    if (!CoverFamily(networks, family) &&
        HasRoutes(ipv6 ? situation.ipv6_routes : situation.ipv4_routes)) {
      return family;
    }
  }
  return std::nullopt;
}

}  // namespace veltrane
