#include "tests/simulation/invariants.h"

namespace veltrane::simulation {
namespace {

// docs/protocol.md, "What ends the service", and docs/operations.md, "Stopping the service".
bool IsKnown(const EndFacts& end) {
  const bool serves_connect = end.served && end.served->op == "connect";
  if (end.by == "abort") {
    return end.passive_guard && end.served && end.served->op == "disconnect" &&
           !end.served->counted;
  }
  if (end.existence_unknown || end.thread_refused) return true;
  if (end.thread == "service main" && end.stop_waits) return true;
  return end.thread == "pipe" && serves_connect && end.served->promise.kind == Promise::Kind::kEnd;
}

}  // namespace

std::string TheProcessEndsForAKnownReason(const EndFacts& end) {
  if (end.by.empty() || IsKnown(end)) return "";
  return "the " + end.thread + " thread ended the process by " + end.by +
         (end.served ? " while it served " + end.served->request : "");
}

std::string AnOrderlyEndLeavesNothingOpen(const EndFacts& end) {
  if (!end.by.empty() || end.other_threads != 0) return "";
  if (end.service_handles == 0 && end.streams == 0 && end.pipe_instances == 0 &&
      end.security_records == 0) {
    return "";
  }
  return "the process ended with " + std::to_string(end.service_handles) + " service handles, " +
         std::to_string(end.streams) + " files, " + std::to_string(end.pipe_instances) +
         " pipes and " + std::to_string(end.security_records) + " access lists open";
}

const std::vector<Invariant<EndFacts>>& EndInvariants() {
  static const std::vector<Invariant<EndFacts>> invariants = {
      {"TheProcessEndsForAKnownReason", TheProcessEndsForAKnownReason},
      {"AnOrderlyEndLeavesNothingOpen", AnOrderlyEndLeavesNothingOpen},
  };
  return invariants;
}

}  // namespace veltrane::simulation
