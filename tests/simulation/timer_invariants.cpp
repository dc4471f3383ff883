// What the auto-stop timer does at its end, and what it leaves, and what a client may expect.

#include <algorithm>

#include "tests/simulation/invariants.h"

namespace veltrane::simulation {
namespace {

constexpr std::int64_t kSleepsPerSecond = 10;
constexpr int kPolls = 15;
constexpr std::size_t kZeros = 4096;

bool Failed(const TimerFacts& timer, const std::string& name) {
  return std::any_of(timer.calls.begin(), timer.calls.end(),
                     [&name](const CallFacts& call) { return call.failed && call.name == name; });
}

// Walks through the calls of a teardown.
class Steps {
 public:
  explicit Steps(const TimerFacts& timer) : calls_(timer.calls) {}

  bool IsAt(const std::string& beginning) const {
    return next_ < calls_.size() && calls_[next_].text.starts_with(beginning);
  }

  // Takes the next call, which must begin like this. Null when it does not.
  const CallFacts* Take(const std::string& beginning) {
    return IsAt(beginning) ? &calls_[next_++] : nullptr;
  }

  void Skip(const std::string& beginning) {
    while (IsAt(beginning)) ++next_;
  }

  bool AreDone() const { return next_ == calls_.size(); }

  std::string Instead() const {
    return AreDone() ? " and no more" : " and not " + calls_[next_].text;
  }

 private:
  const std::vector<CallFacts>& calls_;
  std::size_t next_ = 0;
};

// Each part of a teardown answers which step is missing, or an empty text.
std::string StopsTunnel(Steps& steps) {
  const CallFacts* manager = steps.Take("ServiceManager.Open 0x");
  if (manager == nullptr) return "the manager is opened";
  if (manager->failed) return "";
  const CallFacts* service = steps.Take("ServiceManager.OpenExisting VeltraneVpnTunnel$Active ");
  if (service == nullptr) return "the tunnel service is opened";
  if (service->failed || !service->tunnel_installed) return "";
  if (steps.Take("Service.SendStop") == nullptr) return "the tunnel is told to stop";
  for (int polls = 0; polls < kPolls; ++polls) {
    const CallFacts* poll = steps.Take("Service.QueryState");
    if (poll == nullptr) break;  // what the looks at its state lead to is judged at each deletion
    steps.Take("Sleep 1000");
  }
  return steps.Take("Service.Delete") == nullptr ? "the tunnel service is deleted" : "";
}

std::string RemovesRoutes(Steps& steps, const TimerFacts& timer) {
  if (timer.beside_connect) {
    steps.Skip("DeleteForwardRow");
  } else {
    for (const std::string& row : timer.due) {
      if (steps.Take("DeleteForwardRow " + row) == nullptr) return row + " is deleted";
    }
  }
  const std::string line = " [Veltrane][admin_bypass] ";
  const bool debugger_first = steps.Take("PrintDebugger" + line) != nullptr;
  if (steps.Take("PrintError" + line) == nullptr) return "the removal is logged";
  if (debugger_first || steps.Take("PrintDebugger" + line) != nullptr) return "";
  return "the removal is told to the debugger";
}

std::string ScrubsFile(Steps& steps) {
  steps.Skip("ReadProcessVariable ProgramData");
  const CallFacts* test = steps.Take("TestExistence");
  if (test == nullptr) return "active.conf is asked for";
  if (!test->file_is_there) return "";
  const CallFacts* open = steps.Take("OutputFile.Open");
  if (open == nullptr) return "active.conf is opened";
  if (const CallFacts* write = steps.Take("OutputFile.Write")) {
    if (!write->text.ends_with(" 4096 bytes")) return "4096 zeros are written";
  }
  if (steps.Take("RemoveFile") == nullptr) return "active.conf is deleted";
  steps.Take("OutputFile.Close");
  return "";
}

}  // namespace

Verdict TheTimerWaitsToItsEnd(const TimerFacts& timer) {
  if (timer.may_be_told) return NotAsked();
  if (timer.sleeps < timer.delay * kSleepsPerSecond) return "nobody had told it to give up";
  return timer.calls.empty() ? "it was over, and did nothing" : "";
}

// The tunnel, the routes and the file, in this order and nothing else (docs/operations.md, "What
// stays behind").
Verdict TheTimerDoesItsWork(const TimerFacts& timer) {
  if (timer.calls.empty()) return NotAsked();
  Steps steps(timer);
  std::string missing = StopsTunnel(steps);
  if (missing.empty()) missing = RemovesRoutes(steps, timer);
  if (missing.empty()) missing = ScrubsFile(steps);
  if (!missing.empty()) return "due was that " + missing + steps.Instead();
  steps.Skip("Mutex.Lock");
  return steps.AreDone() ? "" : "it went on" + steps.Instead();
}

// A tunnel that cannot be opened, stopped or deleted goes on, and so does a file that somebody else
// has open. What a connect does meanwhile is not the timer's business.
Verdict TheTimerLeavesNothing(const TimerFacts& timer) {
  if (timer.calls.empty()) return NotAsked();
  if (timer.phase != Phase{"disconnected", ""}) return "the phase is " + timer.phase.first;
  if (timer.beside_connect) return "";
  if (!timer.recorded.empty()) return "the route " + timer.recorded.front() + " is recorded";
  if (timer.events) return "";
  const bool opened =
      !Failed(timer, "ServiceManager.Open") && !Failed(timer, "ServiceManager.OpenExisting");
  if (opened && !timer.odd_services) {
    if (timer.tunnel.running && !Failed(timer, "Service.SendStop")) return "the tunnel runs";
    if (timer.tunnel.installed && !timer.tunnel.running && !Failed(timer, "Service.Delete")) {
      return "the tunnel service is there";
    }
  }
  const bool spoilt = timer.odd_files || Failed(timer, "OutputFile.Open") ||
                      Failed(timer, "OutputFile.Write") || Failed(timer, "OutputFile.Close") ||
                      Failed(timer, "ReadProcessVariable");
  const bool scrubbed = !timer.conf || *timer.conf == std::string(kZeros, '\0');
  return spoilt || scrubbed ? "" : "the file " + *timer.conf;
}

Verdict ARequestIsAnswered(const ConversationFacts& conversation) {
  constexpr std::size_t kLongest = 65535;
  if (conversation.disturbed) return NotAsked();
  const bool due = conversation.size != 0 && conversation.size <= kLongest;
  if (conversation.has_reply == due) return "";
  return "a request of " + std::to_string(conversation.size) + " bytes had " +
         (due ? "no reply" : "a reply");
}

const std::vector<Invariant<TimerFacts>>& TimerInvariants() {
  static const std::vector<Invariant<TimerFacts>> invariants = {
      {"TheTimerWaitsToItsEnd", TheTimerWaitsToItsEnd},
      {"TheTimerDoesItsWork", TheTimerDoesItsWork},
      {"TheTimerLeavesNothing", TheTimerLeavesNothing},
  };
  return invariants;
}

const std::vector<Invariant<ConversationFacts>>& ConversationInvariants() {
  static const std::vector<Invariant<ConversationFacts>> invariants = {
      {"ARequestIsAnswered", ARequestIsAnswered},
  };
  return invariants;
}

}  // namespace veltrane::simulation
