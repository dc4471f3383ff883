#include "tests/simulation/invariants.h"

namespace veltrane::simulation {

std::string ThePhaseIsOneOfThree(const MomentFacts& moment) {
  if (!moment.has_server) return "";
  for (const char* phase : {"disconnected", "connecting", "connected"}) {
    if (moment.phase == phase) return "";
  }
  return "the phase is \"" + moment.phase + "\"";
}

std::string TheNodeBelongsToConnected(const MomentFacts& moment) {
  if (!moment.has_server || (moment.phase == "connected") == !moment.node.empty()) return "";
  return "in phase " + moment.phase + " the node is \"" + moment.node + "\"";
}

std::string OnlyAConnectIsConnecting(const MomentFacts& moment) {
  if (!moment.has_server || moment.phase != "connecting" || moment.serves_connect) return "";
  return "the phase is connecting, and no connect is served";
}

std::string AConnectIsConnecting(const MomentFacts& moment) {
  if (!moment.prepares_connect || moment.phase == "connecting") return "";
  return "a connect is on its way, and the phase is " + moment.phase;
}

std::string ThereIsOneTimerAtMost(const MomentFacts& moment) {
  return moment.timers <= 1 ? "" : std::to_string(moment.timers) + " timers run";
}

std::string ThereIsOnePipeInstanceAtMost(const MomentFacts& moment) {
  return moment.pipe_instances <= 1 ? "" : std::to_string(moment.pipe_instances) + " instances";
}

std::string NothingIsLeftOpen(const MomentFacts& moment) {
  if (!moment.idle) return "";
  if (moment.service_handles != 0) {
    return std::to_string(moment.service_handles) + " service handles are open";
  }
  if (moment.streams != 0) return std::to_string(moment.streams) + " files are open";
  // The access list of the pipe is kept as long as the pipe is served.
  if (moment.security_records > moment.pipe_threads) {
    return std::to_string(moment.security_records) + " access lists are kept";
  }
  return "";
}

std::string KeysAreInActiveConfAlone(const MomentFacts& moment) {
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
      {"KeysAreInActiveConfAlone", KeysAreInActiveConfAlone},
  };
  return invariants;
}

}  // namespace veltrane::simulation
