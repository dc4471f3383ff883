#include <algorithm>

#include "tests/simulation/invariants.h"

namespace veltrane::simulation {
namespace {

// The row of a call that creates or deletes one.
std::string RowOf(const CallFacts& call) { return call.text.substr(call.name.size() + 1); }

}  // namespace

std::string OnlyRecordedRoutesAreDeleted(const CallFacts& call) {
  if (call.name != "DeleteForwardRow") return "";
  const std::string row = RowOf(call);
  const bool known =
      std::find(call.recorded.begin(), call.recorded.end(), row) != call.recorded.end();
  return known ? "" : "the route " + row + " was deleted and is none that this connect created";
}

std::string OnlyHostRoutesThroughTheGatewayAreCreated(const CallFacts& call) {
  if (call.name != "CreateForwardRow") return "";
  const std::string row = RowOf(call);
  const std::string way = "/32 via " + call.gateway.value_or("nowhere") + " metric 1";
  return row.ends_with(way) ? ""
                            : "the route " + row + " was created, and not one that ends in " + way;
}

std::string OnlyRequestsAndTimersChangeTheMachine(const CallFacts& call) {
  if (!call.serves || !call.changes) return "";
  if (call.role == Role::kPipe || call.role == Role::kTimer) return "";
  return "the " + RoleText(call.role) + " thread called " + call.text;
}

std::string TheTimerWaitsItsTime(const CallFacts& call) {
  if (call.role != Role::kTimer) return "";
  const std::int64_t due = call.timer_delay * 10;
  if (call.name == "Sleep" && call.timer_sleeps < due) {
    return call.text == "Sleep 100" ? "" : "the timer slept otherwise: " + call.text;
  }
  if (call.timer_sleeps >= due) return "";
  return "after " + std::to_string(call.timer_sleeps) + " of " + std::to_string(due) +
         " sleeps the timer called " + call.text;
}

std::string NoCallCarriesAKey(const CallFacts& call) {
  return call.text.find(kSecret) == std::string::npos ? "" : "a call carries a key: " + call.text;
}

const std::vector<Invariant<CallFacts>>& CallInvariants() {
  static const std::vector<Invariant<CallFacts>> invariants = {
      {"OnlyRecordedRoutesAreDeleted", OnlyRecordedRoutesAreDeleted},
      {"OnlyHostRoutesThroughTheGatewayAreCreated", OnlyHostRoutesThroughTheGatewayAreCreated},
      {"OnlyRequestsAndTimersChangeTheMachine", OnlyRequestsAndTimersChangeTheMachine},
      {"TheTimerWaitsItsTime", TheTimerWaitsItsTime},
      {"NoCallCarriesAKey", NoCallCarriesAKey},
  };
  return invariants;
}

}  // namespace veltrane::simulation
