#include "tests/simulation/end_reasons.h"

#include <algorithm>

namespace veltrane::simulation {
namespace {

bool Serves(const EndFacts& end, const char* operation) {
  return end.thread == "pipe" && end.served && end.served->op == operation;
}

bool HasChangedSomething(const EndFacts& end) {
  return std::any_of(end.served->calls.begin(), end.served->calls.end(),
                     [](const CallFacts& call) { return call.changes; });
}

bool HasCalled(const EndFacts& end, const char* name) {
  return std::any_of(end.served->calls.begin(), end.served->calls.end(),
                     [name](const CallFacts& call) { return call.name == name; });
}

bool LastCallFailed(const EndFacts& end, const char* name) {
  return end.last_call.name == name && end.last_call.failed.has_value();
}

bool IsBadPort(const EndFacts& end) {
  return end.by == "terminate" && Serves(end, "connect") &&
         end.served->promise.kind == Promise::Kind::kEnd && !HasChangedSomething(end);
}

bool IsPassiveGuard(const EndFacts& end) {
  return end.by == "abort" && Serves(end, "disconnect") && !end.served->counted &&
         end.passive_guard && !HasChangedSomething(end);
}

// It is asked for in a teardown, and in a connect whose tunnel could not be started.
bool IsUnknownExistence(const EndFacts& end) {
  if (end.by != "terminate" || !LastCallFailed(end, "TestExistence")) return false;
  return end.thread == "timer" || Serves(end, "disconnect") ||
         (Serves(end, "connect") && HasCalled(end, "ServiceManager.Open"));
}

bool IsTimerThread(const EndFacts& end) {
  return end.by == "terminate" && end.thread_refused && Serves(end, "connect") &&
         end.served->started && end.last_pipe_call == "UtcTicks";
}

bool IsPipeThread(const EndFacts& end) {
  return end.by == "terminate" && end.thread_refused && end.last_pipe_call.empty() &&
         (end.thread == "main" || end.thread == "service main");
}

bool IsLock(const EndFacts& end) {
  if (end.by != "terminate" || !LastCallFailed(end, "Mutex.Lock")) return false;
  return end.thread == "timer" || Serves(end, "status") || Serves(end, "connect") ||
         Serves(end, "disconnect");
}

// The service looks whether it is to end, while the stop still waits (docs/operations.md, "Stopping
// the service").
bool IsStop(const EndFacts& end) {
  return end.by == "terminate" && end.thread == "service main" && end.stop_is_served &&
         !end.joined_twice;
}

bool IsStopBesideRequest(const EndFacts& end) { return IsStop(end) && end.served; }

bool IsStopThatDoesNotWake(const EndFacts& end) {
  return IsStop(end) && !end.served && end.cannot_wake;
}

bool IsStopBesidePipe(const EndFacts& end) {
  return IsStop(end) && !end.served && !end.cannot_wake;
}

// docs/operations.md as above, and docs/architecture.md, "Threads and shared state".
bool IsStopBesideTimer(const EndFacts& end) {
  return end.by == "terminate" && end.joined_twice && end.thread == "service main" &&
         end.stop_is_served;
}

bool IsRequestBesideStop(const EndFacts& end) {
  return end.by == "terminate" && end.joined_twice && end.thread != "service main" &&
         (end.stop_is_served || end.console_stops) && end.served;
}

}  // namespace

const std::vector<Reason>& Reasons() {
  static const std::vector<Reason> reasons = {
      {"a port that is no number", IsBadPort},
      {"a change in the passive phase", IsPassiveGuard},
      {"an active.conf that may or may not be there", IsUnknownExistence},
      {"no thread for the timer", IsTimerThread},
      {"no thread for the pipe", IsPipeThread},
      {"a lock that was refused", IsLock},
      {"a stop that waits for a request", IsStopBesideRequest},
      {"a stop that cannot wake the pipe thread", IsStopThatDoesNotWake},
      {"a stop that waits for the pipe thread", IsStopBesidePipe},
      {"a stop that waits for a timer", IsStopBesideTimer},
      {"a stop and a request that wait for one timer", IsRequestBesideStop},
  };
  return reasons;
}

const Reason* ReasonOf(const EndFacts& end) {
  if (end.by.empty()) return nullptr;
  const auto found = std::find_if(Reasons().begin(), Reasons().end(),
                                  [&end](const Reason& reason) { return reason.is(end); });
  return found == Reasons().end() ? nullptr : &*found;
}

}  // namespace veltrane::simulation
