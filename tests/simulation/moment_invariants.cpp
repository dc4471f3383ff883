#include <algorithm>

#include "tests/simulation/invariants.h"

namespace veltrane::simulation {

Verdict ThePhaseIsOneOfThree(const MomentFacts& moment) {
  if (!moment.has_server) return NotAsked();
  for (const char* phase : {"disconnected", "connecting", "connected"}) {
    if (moment.phase == phase) return "";
  }
  return "the phase is \"" + moment.phase + "\"";
}

Verdict TheNodeBelongsToConnected(const MomentFacts& moment) {
  if (!moment.has_server) return NotAsked();
  if ((moment.phase == "connected") == !moment.node.empty()) return "";
  return "in phase " + moment.phase + " the node is \"" + moment.node + "\"";
}

Verdict OnlyAConnectIsConnecting(const MomentFacts& moment) {
  if (!moment.has_server || moment.phase != "connecting") return NotAsked();
  return moment.serves_connect ? "" : "the phase is connecting, and no connect is served";
}

Verdict AConnectIsConnecting(const MomentFacts& moment) {
  if (!moment.prepares_connect) return NotAsked();
  if (moment.phase == "connecting") return "";
  return "a connect is on its way, and the phase is " + moment.phase;
}

Verdict ThereIsOneTimerAtMost(const MomentFacts& moment) {
  if (moment.timers == 0) return NotAsked();
  return moment.timers == 1 ? "" : std::to_string(moment.timers) + " timers run";
}

Verdict ThereIsOnePipeInstanceAtMost(const MomentFacts& moment) {
  const std::size_t instances = moment.open.pipe_instances;
  if (instances == 0) return NotAsked();
  return instances == 1 ? "" : std::to_string(instances) + " instances";
}

Verdict NothingIsLeftOpen(const MomentFacts& moment) {
  if (!moment.idle) return NotAsked();
  OpenThings due;
  due.pipe_instances = moment.open.pipe_instances;
  // The access list of the pipe is kept as long as the pipe is served.
  due.security_records = std::min(moment.open.security_records, moment.pipe_threads);
  return moment.open == due ? "" : "the program has " + OpenText(moment.open) + " open";
}

Verdict ThePhaseIsTheLatestOutcome(const MomentFacts& moment) {
  if (!moment.has_server || !moment.idle) return NotAsked();
  if (moment.phases.contains({moment.phase, moment.node})) return "";
  return "the phase is " + moment.phase + " " + moment.node + " between two requests";
}

Verdict KeysAreInActiveConfAlone(const MomentFacts& moment) {
  if (!moment.looked_for_keys) return NotAsked();
  return moment.files_with_keys.empty() ? "" : "a key is in " + moment.files_with_keys.front();
}

const std::vector<Invariant<MomentFacts>>& MomentInvariants() {
  static const std::vector<Invariant<MomentFacts>> invariants = {
      {"ThePhaseIsOneOfThree", ThePhaseIsOneOfThree},
      {"TheNodeBelongsToConnected", TheNodeBelongsToConnected},
      {"OnlyAConnectIsConnecting", OnlyAConnectIsConnecting},
      {"AConnectIsConnecting", AConnectIsConnecting},
      {"ThereIsOneTimerAtMost", ThereIsOneTimerAtMost},
      {"ThereIsOnePipeInstanceAtMost", ThereIsOnePipeInstanceAtMost},
      {"NothingIsLeftOpen", NothingIsLeftOpen},
      {"ThePhaseIsTheLatestOutcome", ThePhaseIsTheLatestOutcome},
      {"KeysAreInActiveConfAlone", KeysAreInActiveConfAlone},
  };
  return invariants;
}

}  // namespace veltrane::simulation
