#include "guard/allowed_ips.h"

#include <cstdio>
#include <string>

#include "tunnel/wireguard_config.h"

namespace veltrane {
namespace {

// Returns the /24 network of the client's own address. The octets are not range-checked.
std::string ClientNetwork(const std::string& address_cidr) {
  unsigned first = 0;
  unsigned second = 0;
  unsigned third = 0;
  unsigned fourth = 0;
  unsigned prefix_length = 32;
  const int converted = std::sscanf(address_cidr.c_str(), "%u.%u.%u.%u/%u", &first, &second, &third,
                                    &fourth, &prefix_length);
  if (converted < 4) return "10.66.66.0/24";
  char network[48];
  std::snprintf(network, sizeof(network), "%u.%u.%u.0/24", first, second, third);
  return network;
}

void Fail(RouteGuardResult& result, const char* message) {
  result.poc_route_guard_failed = true;
  result.failure_reason = "poc_route_guard_failed";
  result.message = message;
}

}  // namespace

bool ContainsCatchAll(std::string_view text) {
  return text.find("0.0.0.0/0") != std::string_view::npos ||
         text.find("::/0") != std::string_view::npos;
}

void PatchAllowedIps(ConnectionProfile& profile, RouteGuardResult& result) {
  result.generated_allowed_ips_before = profile.allowed_ips_csv;
  if (!result.effective_disable_default_route) {
    result.message = "disable-default-route not active";
    return;
  }
  if (ContainsCatchAll(profile.allowed_ips_csv)) {
    profile.allowed_ips_csv = ClientNetwork(profile.address_cidr);
  }
  profile.dns_csv.clear();
  result.generated_allowed_ips_after = profile.allowed_ips_csv;
  if (ContainsCatchAll(result.generated_allowed_ips_after)) {
    Fail(result, "AllowedIPs still contains catch-all after POC patch; refusing tunnel");
    return;
  }
  if (ContainsCatchAll(RenderWireGuardConfig(profile))) {
    Fail(result, "generated WireGuard config still contains catch-all AllowedIPs");
    return;
  }
  result.message = "POC safe AllowedIPs applied (no catch-all)";
}

}  // namespace veltrane
