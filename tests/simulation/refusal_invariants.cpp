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
Verdict NoCall(const Facts& facts, const std::string& error, Condition forbidden) {
  for (const CallFacts& call : facts.calls) {
    if (forbidden(call)) return "before \"" + error + "\" there was " + call.text;
  }
  return "";
}

}  // namespace

Verdict ARefusalChangesNothing(const Facts& facts) {
  const auto reply = ReplyIn(facts);
  const std::string operation = OperationOf(facts);
  const bool refused = reply && (ErrorsBeforeAnything().contains(reply->error) ||
                                 reply->error == "poc_env_read_failed");
  const bool harmless =
      operation == "status" || operation == "register_session" || operation == "any";
  if (!refused && !harmless) return NotAsked();
  return NoCall(facts, reply ? reply->error : operation,
                [](const CallFacts& call) { return call.changes; });
}

// docs/operations.md, "What stays behind".
Verdict ARefusalKeepsToItsRow(const Facts& facts) {
  const auto reply = RefusalIn(facts);
  if (!reply) return NotAsked();
  if (reply->error == "config_write_failed") return NoCall(facts, reply->error, ChangesService);
  const bool before_file = reply->error == "poc_route_guard_failed" ||
                           (reply->error == "admin_bypass_failed" &&
                            reply->failure_reason != "route_verify_after_tunnel_failed");
  if (!before_file) return NotAsked();
  return NoCall(facts, reply->error,
                [](const CallFacts& call) { return call.changes && !ChangesRoute(call); });
}

Verdict ARefusalDeletesWhatItCreated(const Facts& facts) {
  const auto reply = ReplyIn(facts);
  // Beside a timer the lists of routes are shared without a lock (docs/architecture.md).
  if (!reply || reply->ok || facts.beside_timer || facts.created.empty()) return NotAsked();
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
Verdict AnErrorLeavesNoNewTunnel(const Facts& facts) {
  const auto reply = RefusalIn(facts);
  if (!reply || !facts.started || facts.beside_timer) return NotAsked();
  const std::string error = "\"" + reply->error + "\"";
  const bool opened =
      !FailedAfterStart(facts, {"ServiceManager.Open", "ServiceManager.OpenExisting"});
  if (!opened || facts.events) return NotAsked();
  if (!facts.stop_sent) return error + " did not stop the tunnel";
  if (facts.odd_services) return NotAsked();
  if (facts.tunnel_after.running && !FailedAfterStart(facts, {"Service.SendStop"})) {
    return error + " left the tunnel running";
  }
  if (facts.tunnel_after.installed && !facts.tunnel_after.running &&
      !FailedAfterStart(facts, {"Service.Delete"})) {
    return error + " left the tunnel service";
  }
  return "";
}

// Before that there is none, unless an earlier one runs on.
Verdict ATunnelThatWasNotStartedDoesNotRun(const Facts& facts) {
  const auto reply = RefusalIn(facts);
  if (!reply || facts.started || facts.tunnel_before.running) return NotAsked();
  if (facts.events || facts.odd_services || facts.beside_timer) return NotAsked();
  return facts.tunnel_after.running ? "a tunnel runs after \"" + reply->error + "\"" : "";
}

Verdict ADisconnectLeavesNothing(const Facts& facts) {
  const auto reply = ReplyIn(facts);
  if (!reply || !reply->ok || OperationOf(facts) != "disconnect") return NotAsked();
  if (!facts.recorded_after.empty()) return "the route " + facts.recorded_after.front();
  if (facts.timers_after != 0) return "a timer";
  if (facts.events) return "";
  const bool opened = !Failed(facts, {"ServiceManager.Open", "ServiceManager.OpenExisting"});
  const bool stays = facts.odd_services || Failed(facts, {"Service.SendStop", "Service.Delete"});
  if (opened && !stays && facts.tunnel_after.installed) return "the tunnel service";
  const bool scrubbed = !facts.conf_after || *facts.conf_after == std::string(4096, '\0');
  const bool spoilt = facts.odd_files || Failed(facts, {"ReadProcessVariable", "OutputFile.Open",
                                                        "OutputFile.Write", "OutputFile.Close"});
  return scrubbed || spoilt ? "" : "the file " + *facts.conf_after;
}

// A cancel is seen after the 100 ms that the timer is asleep for.
Verdict ACancelledTimerSleepsNoMore(const Facts& facts) {
  if (OperationOf(facts) != "disconnect" || facts.beside_timer) return NotAsked();
  if (facts.sleeps_of_timer <= 1) return facts.sleeps_of_timer == 0 ? NotAsked() : "";
  return "the timer slept " + std::to_string(facts.sleeps_of_timer) + " times after the disconnect";
}

}  // namespace veltrane::simulation
