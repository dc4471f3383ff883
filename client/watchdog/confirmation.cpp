#include "client/watchdog/confirmation.h"

#include <algorithm>
#include <string_view>
#include <vector>

#include "client/text/split.h"
#include "client/text/utf8.h"
#include "client/text/windows_error.h"
#include "client/watchdog/words.h"
#include "platform/clock.h"

namespace veltrane {
namespace {

constexpr std::uint32_t kWatchdogMilliseconds = 15'000;
constexpr std::uint32_t kRoundMilliseconds = 1000;

constexpr char kTryAgain[] = ": try again";

// Splits a line into its word and its text.
std::pair<std::string_view, std::string> ReadWord(std::string_view line) {
  const std::size_t space = std::min(line.find(' '), line.size());
  return {line.substr(0, space), Printable(Trimmed(line.substr(space)))};
}

Arming NotArmed(std::string problem) { return {std::nullopt, std::move(problem)}; }

std::optional<Outcome> ReadOutcome(std::string_view line) {
  auto [word, text] = ReadWord(line);
  if (word == kWordConfirmed) return Outcome{OutcomeKind::kConfirmed, "the connection stays"};
  if (word == kWordUndone) return Outcome{OutcomeKind::kUndone, std::move(text)};
  if (word == kWordFailed) return Outcome{OutcomeKind::kNotUndone, std::move(text)};
  return std::nullopt;
}

}  // namespace

Arming Confirmation::Arm(std::uint32_t seconds, const std::string& node_id, bool any_server) {
  // One word, so that a node id that looks like an option is none.
  std::vector<std::string> arguments = {"watchdog", "--seconds=" + std::to_string(seconds),
                                        "--node-id=" + node_id};
  if (any_server) arguments.push_back("--any-server");
  Result<Watchdog> watchdog = Watchdog::Start(arguments);
  if (!watchdog) {
    return NotArmed("the watchdog cannot be started" + WindowsError(watchdog.Error()) + kTryAgain);
  }
  std::string line;
  switch (watchdog->Hear(kWatchdogMilliseconds, line)) {
    case Watchdog::Progress::kLine:
      break;
    case Watchdog::Progress::kNothing:
      return NotArmed(std::string("the watchdog did not report within 15 s") + kTryAgain);
    case Watchdog::Progress::kEnded:
      return NotArmed(std::string("the watchdog ended at once") + kTryAgain);
  }
  const auto [word, text] = ReadWord(line);
  if (word == kWordArmed) {
    return {Confirmation(std::move(*watchdog), {node_id, any_server}), {}};
  }
  if (word == kWordAnother) {
    return NotArmed(
        "another connect waits for its confirmation: confirm that one with veltranectl confirm, or "
        "wait until it has been undone (if there is none, another program holds the watchdog's "
        "pipe)");
  }
  return NotArmed("the watchdog cannot watch: " + text + kTryAgain);
}

bool Confirmation::SaySending() {
  std::string line;
  return watchdog_.Say(kWordSending) &&
         watchdog_.Hear(kWatchdogMilliseconds, line) == Watchdog::Progress::kLine &&
         line == kWordWatching;
}

bool Confirmation::SayAnswered() { return heard_answer_ = watchdog_.Say(kWordAnswered); }
void Confirmation::SayRefused() { watchdog_.Say(kWordRefused); }
void Confirmation::SayLost() { watchdog_.Say(kWordLost); }
void Confirmation::SayConfirmed() { watchdog_.Say(kWordConfirmed); }

std::optional<Outcome> Confirmation::Hear(std::uint32_t milliseconds) {
  if (!heard_answer_) return UndoHere("the watchdog ended before the service answered");
  std::string line;
  switch (watchdog_.Hear(milliseconds, line)) {
    case Watchdog::Progress::kLine:
      return ReadOutcome(line);
    case Watchdog::Progress::kNothing:
      return std::nullopt;
    case Watchdog::Progress::kEnded:
      break;
  }
  return UndoHere("the watchdog ended without a word");
}

Outcome Confirmation::UndoHere(const std::string& why) {
  const Undoing undoing = Undo(made_, SleepMilliseconds);
  return {undoing.undone ? OutcomeKind::kUndone : OutcomeKind::kNotUndone,
          why + "; " + undoing.text};
}

Outcome Confirmation::AwaitOutcome(const WaitObserver& observer) {
  for (std::uint32_t seconds = 1;; ++seconds) {
    if (std::optional<Outcome> outcome = Hear(kRoundMilliseconds)) return *outcome;
    observer(seconds);
  }
}

}  // namespace veltrane
