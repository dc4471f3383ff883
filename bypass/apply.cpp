#include "bypass/apply.h"

#include <cstdint>
#include <optional>

#include "bypass/candidates.h"
#include "bypass/host_routes.h"
#include "bypass/recheck.h"
#include "bypass/report.h"
#include "guard/settings.h"
#include "platform/ipv4.h"
#include "platform/routing.h"

namespace veltrane {
namespace {

// The outcome of adding the routes of one apply.
struct RouteAdds {
  std::vector<HostRouteResult> results;
  std::string summary;
  std::optional<std::string> first_required_failure;  // "<ip> (<error message>)"
};

void ForgetEarlierBypass() {
  AddedRouteList().clear();
  SelectedBypassIps().clear();
  RequiredBypassIps().clear();
  CurrentPhysicalRoute() = {};
}

void SelectCandidates(const std::vector<BypassIpEntry>& candidates) {
  SelectedBypassIps().clear();
  RequiredBypassIps().clear();
  for (const BypassIpEntry& candidate : candidates) {
    SelectedBypassIps().push_back(candidate.ip);
    if (candidate.required) RequiredBypassIps().push_back(candidate.ip);
  }
}

RouteAdds AddRoutes(const std::vector<BypassIpEntry>& candidates) {
  RouteAdds adds;
  for (const BypassIpEntry& candidate : candidates) {
    const HostRouteResult result = AddHostRoute(candidate);
    adds.results.push_back(result);
    adds.summary += candidate.ip + ":" + (result.add_success ? "added" : "failed") + ";";
    if (!result.add_success && candidate.required && !adds.first_required_failure) {
      adds.first_required_failure = candidate.ip + " (" + result.error_message + ")";
    }
  }
  return adds;
}

AdminBypassState Refuse(AdminBypassState state, const std::string& reason,
                        const std::string& message) {
  state.failure_reason = reason;
  state.message = message;
  return StoreAndLogBypass(state);
}

// Removes the added routes first, because the removal stores and logs the state of the earlier
// bypass, which the refusal then replaces.
AdminBypassState RollBackAndRefuse(const AdminBypassState& state, const std::string& reason,
                                   const std::string& message) {
  RemoveBypassRoutes();
  return Refuse(state, reason, message);
}

}  // namespace

AdminBypassState ApplyAdminBypass(bool safe_mode) {
  AdminBypassState state;
  state.enabled = IsAdminBypassEnabled();
  state.auto_stop_seconds = AutoStopSeconds();
  state.required_enforced = !safe_mode;
  state.skipped_for_safe_mode = safe_mode;
  ForgetEarlierBypass();
  if (!state.enabled) {
    state.message = "admin bypass disabled for this build/config";
    CurrentAdminBypassState() = state;
    return state;
  }

  state.attempted = true;
  state.rdp_tcp_remote_addresses = FormatStringArray(ListRdpTcpRemoteAddresses());
  state.admin_env_ips = FormatStringArray(ListAdminEnvIps());
  const std::vector<BypassIpEntry> candidates = CollectBypassCandidates();
  state.selected_bypass_ip_entries = FormatBypassEntries(candidates);
  SelectCandidates(candidates);
  state.selected_admin_bypass_ips = FormatStringArray(SelectedBypassIps());

  if (safe_mode) {
    // Ready without any route: with the guard in force, the tunnel does not take the default route.
    state.routes_ready_before_tunnel = true;
    state.message = "admin bypass skipped for POC safe mode (disable-default-route)";
    return StoreAndLogBypass(state);
  }
  if (RequiredBypassIps().empty()) {
    return Refuse(state, "no_admin_bypass_ips",
                  "no required RDP/admin IPs detected; set ADMIN_BYPASS_IP, ADMIN_BYPASS_IPS, or "
                  "establish RDP before connecting");
  }

  const std::optional<std::uint32_t> probe = ParseIpv4(kProbeAddress);
  if (!probe) return Refuse(state, "physical_gateway_missing", "probe address parse failed");
  const Result<BestRoute> best = FindBestRoute(*probe);
  if (!best || best->next_hop == 0) {
    return Refuse(state, "physical_gateway_missing",
                  "physical default gateway not found before tunnel (GetBestRoute)");
  }
  CurrentPhysicalRoute() = {.gateway = best->next_hop, .interface_index = best->interface_index};
  state.physical_default_gateway_before_tunnel = FormatIpv4(best->next_hop);
  state.physical_interface_index_before_tunnel = std::to_string(best->interface_index);
  state.gateway = state.physical_default_gateway_before_tunnel;
  state.client_ip = RequiredBypassIps().front();

  const RouteAdds adds = AddRoutes(candidates);
  state.route_add_results = adds.summary;
  state.route_add_results_detail = FormatRouteAddDetails(adds.results);
  if (adds.first_required_failure) {
    return RollBackAndRefuse(
        state, "route_add_failed",
        "required admin bypass host route failed to add: " + *adds.first_required_failure);
  }

  state.routes_ready_before_tunnel =
      VerifyBypassRoutes(RequiredBypassIps(), &state.route_verify_before_tunnel);
  if (!state.routes_ready_before_tunnel) {
    return RollBackAndRefuse(
        state, "route_verify_before_tunnel_failed",
        "required admin bypass routes not verified before tunnel; refusing connect");
  }
  state.applied = true;
  state.message = "required admin bypass host routes verified before tunnel";
  return StoreAndLogBypass(state);
}

}  // namespace veltrane
