#include <algorithm>

#include "tests/simulation/end_reasons.h"
#include "tests/simulation/invariants.h"

namespace veltrane::simulation {
namespace {

bool Failed(const EndFacts& end, const std::string& name) {
  return std::any_of(end.calls.begin(), end.calls.end(),
                     [&name](const CallFacts& call) { return call.failed && call.name == name; });
}

// The exit codes that the documents allow (docs/operations.md, "Modes and exit codes").
std::vector<int> DueExitCodes(const EndFacts& end) {
  const std::wstring& mode = end.arguments.at(0);
  if (mode == L"/service") {
    if (end.arguments.size() < 2) return {1};  // the usage text
    if (end.arguments[1].empty()) return {1};
    if (Failed(end, "Library.Load")) return {2};
    if (end.library_answers != 2 && Failed(end, "Library.Find")) return {3};
    return {end.library_answers};
  }
  if (mode == L"--install") {
    const bool fails = Failed(end, "ServiceManager.Open") || Failed(end, "ServiceManager.Create");
    return fails ? std::vector{0, 1} : std::vector{0};
  }
  if (mode != L"--run-as-service" || end.last_call.name != "RunServiceDispatcher") return {0};
  return {static_cast<int>(end.last_call.failed.value_or(0))};
}

}  // namespace

Verdict TheProcessEndsForAKnownReason(const EndFacts& end) {
  if (end.by.empty()) return NotAsked();
  if (ReasonOf(end) != nullptr) return "";
  return "the " + end.thread + " thread ended the process by " + end.by +
         (end.served ? " while it served " + end.served->request : "");
}

Verdict TheExitCodeIsTheDueOne(const EndFacts& end) {
  if (!end.by.empty()) return NotAsked();
  const std::vector<int> due = DueExitCodes(end);
  if (std::find(due.begin(), due.end(), end.exit_code) != due.end()) return "";
  return "the exit code is " + std::to_string(end.exit_code) + " and not " +
         std::to_string(due.front());
}

Verdict AnOrderlyEndLeavesNothingOpen(const EndFacts& end) {
  if (!end.by.empty() || end.other_threads != 0) return NotAsked();
  return end.open == OpenThings() ? "" : "the process ended with " + OpenText(end.open) + " open";
}

const std::vector<Invariant<EndFacts>>& EndInvariants() {
  static const std::vector<Invariant<EndFacts>> invariants = {
      {"TheProcessEndsForAKnownReason", TheProcessEndsForAKnownReason},
      {"TheExitCodeIsTheDueOne", TheExitCodeIsTheDueOne},
      {"AnOrderlyEndLeavesNothingOpen", AnOrderlyEndLeavesNothingOpen},
  };
  return invariants;
}

}  // namespace veltrane::simulation
