#include "tests/simulation/promise.h"

#include <map>

#include "tests/simulation/administrators.h"
#include "tests/simulation/settings.h"
#include "tests/simulation/wire.h"

namespace veltrane::simulation {
namespace {

using simulated::Machine;

// Whether the route is there afterwards and good: one that is there with a metric of 15 or less
// stays, one that is there otherwise is in the way, and else it is created, with metric 1 unless
// the machine gives it another.
bool CanBePinned(const Machine& machine, const std::string& address, const std::string& way) {
  const std::string beginning = address + "/32 via " + way + " metric ";
  for (const std::string& route : machine.routes.Texts()) {
    if (route.starts_with(beginning)) return std::stoul(route.substr(beginning.size())) <= 15;
  }
  return machine.routes.MetricOfCreatedRows().value_or(1) <= 15;
}

// The reason for which the bypass refuses; empty when it does not.
std::string WhyNotPinned(const Machine& machine, const std::set<std::string>& own) {
  const std::map<std::string, bool> candidates = Candidates(AdministrationOf(machine), own);
  bool any = false;
  for (const auto& [address, required] : candidates) any = any || required;
  if (!any) return "no_admin_bypass_ips";
  const std::optional<std::string> way = PhysicalWay(machine);
  if (!way) return "physical_gateway_missing";
  for (const auto& [address, required] : candidates) {
    if (required && !CanBePinned(machine, address, *way)) return "route_add_failed";
  }
  return "";
}

Promise Refusal(const std::string& error, const std::string& reason = {}) {
  return {.kind = Promise::Kind::kReply, .error = error, .reason = reason};
}

Promise PromiseForConnect(const Machine& machine, const std::string& request,
                          const std::string& nonce, const std::set<std::string>& own) {
  if (!nonce.empty() && FieldOf(request, "session_nonce") != nonce) {
    return Refusal("session_mismatch");
  }
  Wish wish = WishOf(request);
  if (!wish.port) return {.kind = Promise::Kind::kEnd};
  if (wish.node.empty() || wish.private_key.empty()) return Refusal("invalid_profile");

  const std::wstring guard_name = L"VELTRANE_POC_DISABLE_DEFAULT_ROUTE";
  const bool guard = IsOn(SettingOf(machine, guard_name));
  const bool remote = machine.sessions.IsRemote();
  if (remote && !guard && IsOn(MachineSettingOf(machine, guard_name))) {
    return Refusal("poc_env_read_failed");
  }
  if (guard) wish = Guarded(wish);
  if (guard && HasCatchAll(ConfOf(wish))) return Refusal("poc_route_guard_failed");
  if (remote && !guard) return Refusal("poc_route_guard_failed");
  const bool bypass = !guard && BypassIsOn(AdministrationOf(machine));
  if (bypass) {
    const std::string reason = WhyNotPinned(machine, own);
    if (!reason.empty()) return Refusal("admin_bypass_failed", reason);
  }
  return {.kind = Promise::Kind::kGoesOn,
          .bypass = bypass,
          .guard = guard,
          .conf = ConfOf(wish),
          .delay = SecondsOf(SettingOf(machine, L"VELTRANE_POC_AUTO_STOP_SECONDS"))};
}

}  // namespace

std::set<std::string> PublicAddressesIn(const std::vector<std::uint32_t>& addresses) {
  std::set<std::string> own;
  for (const std::uint32_t address : addresses) {
    if (IsPublic(simulated::IpText(address))) own.insert(simulated::IpText(address));
  }
  return own;
}

std::optional<std::string> PhysicalWay(const Machine& machine) {
  const Result<BestRoute> best = machine.routes.Best(simulated::Ip("8.8.8.8"));
  if (!best || best->next_hop == 0) return std::nullopt;
  return simulated::IpText(best->next_hop) + " if " + std::to_string(best->interface_index);
}

Promise PromiseFor(const Machine& machine, const std::string& request, const std::string& nonce,
                   bool counted, const std::set<std::string>& own) {
  if (MentionsPath(request)) return Refusal("forbidden_path");
  const std::string op = FieldOf(request, "op");
  if (op == "connect") return PromiseForConnect(machine, request, nonce, own);
  if (op == "disconnect" && !counted &&
      IsOn(SettingOf(machine, L"VELTRANE_POC_DISABLE_ALL_NETWORK_MUTATION_ON_STARTUP"))) {
    return {.kind = Promise::Kind::kEnd};
  }
  const bool known = op == "disconnect" || op == "status" || op == "register_session";
  return Refusal(known ? "" : "unknown_op");
}

}  // namespace veltrane::simulation
