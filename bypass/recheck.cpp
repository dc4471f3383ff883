#include "bypass/recheck.h"

#include <cstdint>
#include <optional>

#include "bypass/host_routes.h"
#include "platform/ipv4.h"

namespace veltrane {
namespace {

struct Check {
  bool good = false;
  std::string text;
};

Check CheckRoute(const std::string& ip) {
  const std::optional<std::uint32_t> dest = ParseIpv4(ip);
  if (!dest) return {false, ip + ":invalid;"};
  const PhysicalRoute& physical = CurrentPhysicalRoute();
  std::uint32_t metric = 0;
  if (!FindExactHostRoute(*dest, physical.gateway, physical.interface_index, &metric)) {
    return {false, ip + ":missing;"};
  }
  if (metric > kHighestGoodMetric) {
    return {false, ip + ":metric_high(" + std::to_string(metric) + ");"};
  }
  return {true, ip + ":ok(metric=" + std::to_string(metric) + ");"};
}

std::string ReAddSelectedRoutes() {
  std::string summary;
  for (const std::string& ip : SelectedBypassIps()) {
    std::string detail;
    ReAddHostRoute(ip, &detail);
    summary += detail + ";";
  }
  return summary;
}

}  // namespace

bool VerifyBypassRoutes(const std::vector<std::string>& ips, std::string* summary) {
  bool all_good = true;
  std::string text;
  for (const std::string& ip : ips) {
    const Check check = CheckRoute(ip);
    all_good = all_good && check.good;
    text += check.text;
  }
  if (summary != nullptr) *summary = text;
  return all_good && !ips.empty();
}

AdminBypassState RecheckBypassAfterTunnel() {
  AdminBypassState state = CurrentAdminBypassState();
  if (!state.enabled || !state.attempted || SelectedBypassIps().empty()) return state;

  std::string summary;
  if (VerifyBypassRoutes(RequiredBypassIps(), &summary)) {
    state.route_verify_after_tunnel = summary;
    state.applied = true;
    state.message = "admin bypass routes verified after tunnel";
    return StoreAndLogBypass(state);
  }

  state.route_readded_after_tunnel = true;
  state.route_add_results = ReAddSelectedRoutes();
  state.routes_ready_before_tunnel = VerifyBypassRoutes(RequiredBypassIps(), &summary);
  state.applied = state.routes_ready_before_tunnel;
  state.route_verify_after_tunnel = summary;
  if (state.applied) {
    state.message = "admin bypass routes re-added and verified after tunnel";
  } else {
    state.failure_reason = "route_verify_after_tunnel_failed";
    state.message = "admin bypass routes lost after tunnel start and could not be restored";
  }
  return StoreAndLogBypass(state);
}

}  // namespace veltrane
