#include "guard/allowed_ips.h"

#include <string>

#include "text/dotted_numbers.h"
#include "tunnel/wireguard_config.h"

namespace veltrane {
namespace {

// Returns the /24 network of the client's own address. The numbers are not range-checked.
std::string ClientNetwork(const std::string& address_cidr) {
  const auto numbers = ReadDottedNumbers(address_cidr);
  if (!numbers) return "10.66.66.0/24";
  const auto [first, second, third, fourth] = *numbers;
  return std::to_string(first) + "." + std::to_string(second) + "." + std::to_string(third) +
         ".0/24";
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
