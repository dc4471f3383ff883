// What a refusal, and a disconnect, leave behind.

#include <algorithm>

#include "tests/simulation/exchange_parts.h"
#include "tests/simulation/invariants.h"

namespace veltrane::simulation {
namespace {

using Facts = ExchangeFacts;

bool ChangesService(const CallFacts& call) {
  return call.changes && call.name.starts_with("Service");
}

bool ChangesRoute(const CallFacts& call) { return call.name.ends_with("ForwardRow"); }

template <typename Condition>
std::string NoCall(const Facts& facts, const std::string& error, Condition forbidden) {
  for (const CallFacts& call : facts.calls) {
    if (forbidden(call)) return "before \"" + error + "\" there was " + call.text;
  }
  return "";
}

}  // namespace

std::string ARefusalChangesNothing(const Facts& facts) {
  const auto reply = ReplyIn(facts);
  const std::string operation = OperationOf(facts);
  const bool refused = reply && (ErrorsBeforeAnything().contains(reply->error) ||
                                 reply->error == "poc_env_read_failed");
  const bool harmless =
      operation == "status" || operation == "register_session" || operation == "any";
  if (!refused && !harmless) return "";
  return NoCall(facts, reply ? reply->error : operation,
                [](const CallFacts& call) { return call.changes; });
}

// docs/operations.md, "What stays behind".
std::string ARefusalKeepsToItsRow(const Facts& facts) {
  const auto reply = ReplyIn(facts);
  if (!reply || reply->ok || OperationOf(facts) != "connect") return "";
  if (reply->error == "config_write_failed") return NoCall(facts, reply->error, ChangesService);
  const bool before_file = reply->error == "poc_route_guard_failed" ||
                           (reply->error == "admin_bypass_failed" &&
                            reply->failure_reason != "route_verify_after_tunnel_failed");
  if (!before_file) return "";
  return NoCall(facts, reply->error,
                [](const CallFacts& call) { return call.changes && !ChangesRoute(call); });
}

std::string ARefusalDeletesWhatItCreated(const Facts& facts) {
  const auto reply = ReplyIn(facts);
  // Beside a timer the lists of routes are shared without a lock (docs/architecture.md).
  if (!reply || reply->ok || facts.beside_timer) return "";
  for (const std::string& row : facts.created) {
    if (std::count(facts.deleted.begin(), facts.deleted.end(), row) <
        std::count(facts.created.begin(), facts.created.end(), row)) {
      return "\"" + reply->error + "\" left the route " + row;
    }
  }
  return "";
}

// A tunnel service that cannot be opened, or does not stop when it is told to, goes on
// (docs/operations.md, "What stays behind").
std::string AnErrorLeavesNoNewTunnel(const Facts& facts) {
  const auto reply = ReplyIn(facts);
  if (!reply || reply->ok || OperationOf(facts) != "connect") return "";
  if (facts.manager_failed || facts.odd_services || facts.beside_timer) return "";
  if (facts.started && !facts.stop_sent) return "\"" + reply->error + "\" did not stop the tunnel";
  if (facts.events || !facts.tunnel_after.running || facts.tunnel_before.running) return "";
  return "\"" + reply->error + "\" left a tunnel that was not there before";
}

std::string ADisconnectLeavesNothing(const Facts& facts) {
  const auto reply = ReplyIn(facts);
  if (!reply || !reply->ok || OperationOf(facts) != "disconnect") return "";
  if (!facts.recorded_after.empty()) return "the route " + facts.recorded_after.front();
  if (facts.timers_after != 0) return "a timer";
  if (facts.failures || facts.events) return "";
  if (!facts.odd_services && facts.tunnel_after.installed) return "the tunnel service";
  const bool scrubbed = !facts.conf_after || *facts.conf_after == std::string(4096, '\0');
  return scrubbed || facts.odd_files ? "" : "the file " + *facts.conf_after;
}

// A cancel is seen after the 100 ms that the timer is asleep for.
std::string ACancelledTimerSleepsNoMore(const Facts& facts) {
  if (OperationOf(facts) != "disconnect" || facts.beside_timer || facts.sleeps_of_timer <= 1)
    return "";
  return "the timer slept " + std::to_string(facts.sleeps_of_timer) + " times after the disconnect";
}

}  // namespace veltrane::simulation
