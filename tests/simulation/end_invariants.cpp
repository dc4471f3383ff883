#include <algorithm>

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
  // A stop and a request that wait for the end of the same timer (service/ipc_server.h, Stop).
  if (end.joined_twice && end.stop_waits) return true;
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

std::string TheTimerDoesItsWork(const TimerFacts& timer) {
  if (timer.may_be_told || timer.delay == 0) return "";
  if (timer.sleeps < timer.delay * 10) return "the timer gave up, and nobody had told it to";
  // The tunnel, the routes and the file, in this order.
  auto at = timer.calls.begin();
  for (const char* step : {"ServiceManager.Open", "PrintError", "TestExistence"}) {
    at = std::find(at, timer.calls.end(), step);
    if (at == timer.calls.end()) return std::string("the timer ended without ") + step;
  }
  return "";
}

std::string TheTimerLeavesDisconnected(const TimerFacts& timer) {
  if (timer.calls.empty() || timer.phase == "disconnected") return "";
  return "the timer has torn down, and the phase is " + timer.phase;
}

std::string ARequestIsAnswered(const ConversationFacts& conversation) {
  constexpr std::size_t kLongest = 65535;
  const bool due = conversation.size != 0 && conversation.size <= kLongest;
  if (conversation.disturbed || conversation.has_reply == due) return "";
  return "a request of " + std::to_string(conversation.size) + " bytes had " +
         (due ? "no reply" : "a reply");
}

const std::vector<Invariant<TimerFacts>>& TimerInvariants() {
  static const std::vector<Invariant<TimerFacts>> invariants = {
      {"TheTimerDoesItsWork", TheTimerDoesItsWork},
      {"TheTimerLeavesDisconnected", TheTimerLeavesDisconnected},
  };
  return invariants;
}

const std::vector<Invariant<ConversationFacts>>& ConversationInvariants() {
  static const std::vector<Invariant<ConversationFacts>> invariants = {
      {"ARequestIsAnswered", ARequestIsAnswered},
  };
  return invariants;
}

const std::vector<Invariant<EndFacts>>& EndInvariants() {
  static const std::vector<Invariant<EndFacts>> invariants = {
      {"TheProcessEndsForAKnownReason", TheProcessEndsForAKnownReason},
      {"AnOrderlyEndLeavesNothingOpen", AnOrderlyEndLeavesNothingOpen},
  };
  return invariants;
}

}  // namespace veltrane::simulation
