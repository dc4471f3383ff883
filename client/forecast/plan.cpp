#include "client/forecast/plan.h"

#include <algorithm>

#include "client/forecast/pins.h"
#include "client/text/split.h"
#include "guard/allowed_ips.h"

namespace veltrane {
namespace {

constexpr char kCatchAll[] = "0.0.0.0/0, ::/0";

void Refuse(Plan& plan, const std::string& error, const std::string& failure_reason) {
  plan.end = Plan::End::kRefused;
  plan.error = error;
  plan.failure_reason = failure_reason;
  plan.unclear.reset();
}

// Sets `allowed`. Without a profile the list is assumed to be a catch-all, and the network that the
// guard puts in its place is the unknown client's.
void ReadAllowedIps(const Situation& situation, bool guard, Plan& plan) {
  std::string list = situation.allowed_ips.value_or(kCatchAll);
  if (guard && (!situation.allowed_ips || !situation.address)) {
    plan.unclear = Cause::kGuardNetworkUnknown;
    return;
  }
  if (guard) {
    ConnectionProfile profile;
    profile.allowed_ips_csv = list;
    profile.address_cidr = *situation.address;
    RouteGuardResult result;
    result.effective_disable_default_route = true;
    PatchAllowedIps(profile, result);
    if (result.poc_route_guard_failed) {
      return Refuse(plan, "poc_route_guard_failed", result.failure_reason);
    }
    list = profile.allowed_ips_csv;
  }
  plan.allowed_list = list;
  for (const std::string_view item : Split(list, ',')) {
    if (const std::optional<IpNetwork> network = ParseNetwork(Trimmed(item))) {
      plan.allowed.push_back(*network);
    } else {
      plan.unclear = Cause::kProfileUnread;
    }
  }
}

// Whether a row goes with the tunnel that a connect replaces.
enum class Goes { kNo, kYes, kPerhaps };

Goes GoesWithTunnelToday(const Situation& situation, const IpRoute& route) {
  if (situation.tunnel_today == TunnelToday::kNone) return Goes::kNo;
  if (!situation.tunnel_interface) return Goes::kPerhaps;
  if (*situation.tunnel_interface != route.interface_index) return Goes::kNo;
  return situation.tunnel_today == TunnelToday::kUp ? Goes::kYes : Goes::kPerhaps;
}

// Under the guard, a default route through what the service takes for a tunnel undoes the connect.
void LookForTunnelDefaultRoute(const Situation& situation, Plan& plan) {
  if (!situation.ipv4_routes) {
    plan.unclear = Cause::kTableUnread;
    return;
  }
  for (const IpRoute& route : *situation.ipv4_routes) {
    if (route.prefix_length != 0) continue;
    const Goes goes = GoesWithTunnelToday(situation, route);
    const std::optional<bool> tunnel = FactsOf(situation, route.interface_index).labelled_tunnel;
    if (goes == Goes::kYes || tunnel == false) continue;
    if (goes == Goes::kNo && tunnel == true) {
      plan.end = Plan::End::kUndone;
      plan.error = plan.failure_reason = "poc_default_route_detected";
      plan.unclear.reset();
      return;
    }
    plan.unclear = goes == Goes::kPerhaps ? Cause::kOlderTunnel : Cause::kInterfaceUnproved;
  }
}

}  // namespace

Plan MakePlan(const Situation& situation, const World& world, const Subject& subject) {
  Plan plan;
  if (world.guard_overridden) {
    Refuse(plan, "poc_env_read_failed", "poc_env_read_failed");
    return plan;
  }
  ReadAllowedIps(situation, world.guard, plan);
  if (plan.end == Plan::End::kRefused) return plan;
  if (world.guard) {
    LookForTunnelDefaultRoute(situation, plan);
  } else if (world.in_remote_session) {
    Refuse(plan, "poc_route_guard_failed", "rdp_requires_disable_default_route");
  } else if (world.bypass) {
    PlanPins(situation, world, subject, plan);
  }
  return plan;
}

InterfaceFacts FactsOf(const Situation& situation, std::uint32_t interface_index) {
  const auto facts = std::find_if(
      situation.interfaces.begin(), situation.interfaces.end(),
      [=](const InterfaceFacts& candidate) { return candidate.index == interface_index; });
  if (facts != situation.interfaces.end()) return *facts;
  InterfaceFacts nothing;
  nothing.index = interface_index;
  return nothing;
}

}  // namespace veltrane
