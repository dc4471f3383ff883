// What a connect that succeeded has done.

#include "tests/simulation/exchange_parts.h"
#include "tests/simulation/invariants.h"

namespace veltrane::simulation {
namespace {

using Facts = ExchangeFacts;

}  // namespace

Verdict TheTunnelStartsFromItsFile(const Facts& facts) {
  const auto reply = SuccessIn(facts);
  if (!reply || !facts.IsCalm()) return NotAsked();
  if (facts.conf_at_start == facts.promise.conf) return "";
  return "the tunnel was started from " + facts.conf_at_start.value_or("no file");
}

Verdict TheTimerIsScheduledAsTold(const Facts& facts) {
  const auto reply = SuccessIn(facts);
  if (!reply) return NotAsked();
  const std::int64_t delay = facts.shown.delay;
  if (delay == 0) return reply->auto_stop_scheduled ? "there is a timer" : NotAsked();
  if (!reply->auto_stop_scheduled) return "there is no timer";
  if (facts.timers_after != 1) return "the timer is not there";
  if (delay != reply->auto_stop_seconds) return "the delay";
  const std::string deadline = TimeText(facts.deadline_counts_from + delay);
  return reply->deadline == deadline ? "" : reply->deadline + " is not " + deadline;
}

Verdict ConnectedMeansStarted(const Facts& facts) {
  const auto reply = SuccessIn(facts);
  if (!reply) return NotAsked();
  return facts.started ? "" : "connected, and the tunnel was not started";
}

Verdict TheTunnelIsThisProgram(const Facts& facts) {
  const auto reply = SuccessIn(facts);
  if (!reply || !facts.IsCalm() || facts.odd_services) return NotAsked();
  if (!facts.replaced) return "the earlier tunnel was not stopped";
  if (facts.command_line != facts.due_command_line) return "the tunnel runs " + facts.command_line;
  return facts.has_own_sid ? "" : "the tunnel service has no SID of its own";
}

// A call that sets an access list may fail, and nothing comes of it.
Verdict KeysAreLockedAway(const Facts& facts) {
  const bool spoilt = Failed(facts, {"MakeNtSid", "SetProtectedAccess", "ReadProcessVariable"});
  if (spoilt || !facts.looked_at_access) return NotAsked();
  return facts.open_to_others.empty() ? "" : "others may read " + facts.open_to_others;
}

}  // namespace veltrane::simulation
