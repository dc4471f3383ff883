#include "client/connect/split_default.h"

#include <vector>

#include "client/forecast/networks.h"
#include "client/text/split.h"

namespace veltrane {
namespace {

constexpr char kIpv4Halves[] = "0.0.0.0/1, 128.0.0.0/1";
constexpr char kIpv6Halves[] = "::/1, 8000::/1";

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
    split.changed = true;
    split.takes_ipv6 = split.takes_ipv6 || ipv6;
  }
  return split;
}

}  // namespace veltrane
