#include <algorithm>

#include "tests/simulation/invariants.h"

namespace veltrane::simulation {
namespace {

// The row of a call that creates or deletes one.
std::string RowOf(const CallFacts& call) { return call.text.substr(call.name.size() + 1); }

}  // namespace

Verdict OnlyRecordedRoutesAreDeleted(const CallFacts& call) {
  if (call.name != "DeleteForwardRow") return NotAsked();
  const std::string row = RowOf(call);
  const bool known =
      std::find(call.recorded.begin(), call.recorded.end(), row) != call.recorded.end();
  return known ? "" : "the route " + row + " was deleted and is none that this connect created";
}

Verdict OnlyHostRoutesThroughTheGatewayAreCreated(const CallFacts& call) {
  if (call.name != "CreateForwardRow") return NotAsked();
  const std::string row = RowOf(call);
  const std::string way = "/32 via " + call.gateway.value_or("nowhere") + " metric 1";
  return row.ends_with(way) ? ""
                            : "the route " + row + " was created, and not one that ends in " + way;
}

Verdict OnlyRequestsAndTimersChangeTheMachine(const CallFacts& call) {
  if (!call.serves || !call.changes) return NotAsked();
  if (call.role == Role::kPipe || call.role == Role::kTimer) return "";
  return "the " + RoleText(call.role) + " thread called " + call.text;
}

Verdict TheTimerWaitsItsTime(const CallFacts& call) {
  if (call.role != Role::kTimer) return NotAsked();
  const std::int64_t due = call.timer_delay * 10;
  if (call.name == "Sleep" && call.timer_sleeps < due) {
    return call.text == "Sleep 100" ? "" : "the timer slept otherwise: " + call.text;
  }
  if (call.timer_sleeps >= due) return "";
  return "after " + std::to_string(call.timer_sleeps) + " of " + std::to_string(due) +
         " sleeps the timer called " + call.text;
}

Verdict NoCallCarriesAKey(const CallFacts& call) {
  return call.text.find(kSecret) == std::string::npos ? "" : "a call carries a key: " + call.text;
}

Verdict StatesFollowTheirOrder(const CallFacts& call) {
  static const std::vector<std::uint32_t> kOrder = {2, 4, 3, 1};
  if (call.name != "ReportServiceStatus") return NotAsked();
  const bool follows = call.states.size() <= kOrder.size() &&
                       std::equal(call.states.begin(), call.states.end(), kOrder.begin());
  return follows ? "" : "the service went on to state " + std::to_string(call.states.back());
}

// A connect that is being served when the service is stopped may start one of its own, which ends
// with the server (docs/architecture.md).
Verdict AStoppedServiceHasNoTimer(const CallFacts& call) {
  if (call.text != "ReportServiceStatus 1") return NotAsked();
  return call.timer_outlives_stop ? "the service has stopped, and a timer runs" : "";
}

Verdict TheTunnelIsGivenTimeToStop(const CallFacts& call) {
  constexpr int kPolls = 15;
  if (call.name != "Service.Delete" || !call.serves || call.tunnel_stopped) return NotAsked();
  if (call.polls == kPolls) return "";
  return "deleted after " + std::to_string(call.polls) + " looks at its state";
}

Verdict TheStartIsReportedAsItWas(const CallFacts& call) {
  if (call.name != "PrintOutput" || call.text.find("passive startup report") == std::string::npos) {
    return NotAsked();
  }
  const auto says = [&call](const std::string& member) {
    return call.text.find("\"" + member) != std::string::npos;
  };
  const bool passive =
      says("startup_passive\":true") && says("startup_route_mutation_count\":0,") &&
      says("startup_tunnel_started\":false") && says("startup_config_written\":false");
  if (!passive) return "the start was not passive: " + call.text;
  const std::string running = call.tunnel_running ? "true" : "false";
  if (!call.undisturbed || says("leftover_tunnel_service_running\":" + running)) return "";
  return "the tunnel runs: " + running + ", but " + call.text;
}

// docs/architecture.md, "Threads and shared state": a lock is held only for an assignment.
Verdict NoMutexIsHeldAcrossACall(const CallFacts& call) {
  return call.locks == 0 ? "" : "a mutex is held in " + call.text;
}

const std::vector<Invariant<CallFacts>>& CallInvariants() {
  static const std::vector<Invariant<CallFacts>> invariants = {
      {"OnlyRecordedRoutesAreDeleted", OnlyRecordedRoutesAreDeleted},
      {"OnlyHostRoutesThroughTheGatewayAreCreated", OnlyHostRoutesThroughTheGatewayAreCreated},
      {"OnlyRequestsAndTimersChangeTheMachine", OnlyRequestsAndTimersChangeTheMachine},
      {"TheTimerWaitsItsTime", TheTimerWaitsItsTime},
      {"NoCallCarriesAKey", NoCallCarriesAKey},
      {"StatesFollowTheirOrder", StatesFollowTheirOrder},
      {"AStoppedServiceHasNoTimer", AStoppedServiceHasNoTimer},
      {"TheTunnelIsGivenTimeToStop", TheTunnelIsGivenTimeToStop},
      {"TheStartIsReportedAsItWas", TheStartIsReportedAsItWas},
      {"NoMutexIsHeldAcrossACall", NoMutexIsHeldAcrossACall},
  };
  return invariants;
}

}  // namespace veltrane::simulation
