#include "client/watchdog/question.h"

#include <optional>
#include <string>

#include "client/text/split.h"
#include "platform/clock.h"
#include "platform/console_input.h"

namespace veltrane {
namespace {

constexpr std::uint32_t kRoundMilliseconds = 100;

constexpr char kUndoing[] = "waiting until the connection has been undone";
constexpr char kConfirming[] = "waiting for the watchdog";

Outcome Await(Confirmation& confirmation, const char* what, Display& display) {
  Outcome outcome = confirmation.AwaitOutcome(
      [&display, what](std::uint32_t seconds) { display.ShowWait(what, seconds); });
  display.EndWait();
  return outcome;
}

}  // namespace

Outcome AskAtConsole(Confirmation& confirmation, std::uint32_t seconds, Display& display) {
  const std::string question =
      "Type " + std::string(kKeepWord) + " and press Enter to keep the connection: ";
  display.Print("Within " + std::to_string(seconds) +
                " s it will be undone, unless you confirm it here or by veltranectl confirm.\n" +
                question);
  DiscardTypedInput();
  const std::uint64_t until = UptimeMilliseconds() + std::uint64_t{seconds} * 1000;
  TypedLine line;
  while (UptimeMilliseconds() < until) {
    if (const std::optional<Outcome> outcome = confirmation.Hear(0)) {
      display.Print("\n");
      return *outcome;
    }
    const std::optional<std::string> typed = line.Read(kRoundMilliseconds);
    if (!typed) continue;
    if (Trimmed(*typed) == kKeepWord) {
      confirmation.SayConfirmed();
      return Await(confirmation, kConfirming, display);
    }
    display.Print(question);
  }
  display.Print("\n");
  return Await(confirmation, kUndoing, display);
}

}  // namespace veltrane
