// platform/console.h

#include "platform/console.h"

#include <algorithm>
#include <atomic>

#include "tests/contract/stage.h"

namespace veltrane::contract {
namespace {

using Console = Contract;
using ConsoleEvents = Contract;

// The C library of Windows ends a line with CR LF.
std::string WithBareLineFeeds(std::string text) {
  std::erase(text, '\r');
  return text;
}

TEST_F(Console, PrintsToStandardOutputAtOnce) {
  const Printed printed = stage.Capture([] { PrintOutput(L"100% %s\n"); });
  EXPECT_EQ(WithBareLineFeeds(printed.output), "100% %s\n");
  EXPECT_EQ(printed.error, "");
}

TEST_F(Console, PrintsOnAfterACharacterThatTheStreamCannotPrint) {
  const Printed printed = stage.Capture([] {
    PrintOutput(L"\u20AC\n");
    PrintOutput(L"later\n");
  });
  EXPECT_TRUE(WithBareLineFeeds(printed.output).ends_with("later\n"));
}

TEST_F(Console, PrintsToStandardErrorAtOnceAndAsItStands) {
  const Printed printed = stage.Capture([] { PrintError(L"100% %s\n"); });
  EXPECT_EQ(WithBareLineFeeds(printed.error), "100% %s\n");
  EXPECT_EQ(printed.output, "");
}

TEST_F(Console, PrintsALineOfAWideAndANarrowText) {
  const Printed printed = stage.Capture([] { PrintErrorLine(L"label %d: ", "{\"a\":\"%s\"}"); });
  EXPECT_EQ(WithBareLineFeeds(printed.error), "label %d: {\"a\":\"%s\"}\n");
  EXPECT_EQ(printed.output, "");
}

TEST_F(Console, PrintsANarrowTextByteByByteUpToItsFirstZero) {
  const Printed printed =
      stage.Capture([] { PrintErrorLine(L"", std::string("\xC3\xA9\0rest", 7)); });
  EXPECT_EQ(WithBareLineFeeds(printed.error), "\xC3\xA9\n");
}

TEST_F(Console, HandsTextsToTheDebuggerAlone) {
  const Printed printed = stage.Capture([] { PrintDebugger(L"100% %s"); });
  EXPECT_EQ(printed.debugger, "100% %s");
  EXPECT_EQ(printed.output, "");
  EXPECT_EQ(printed.error, "");
}

std::atomic<std::uint32_t> seen_type;
std::atomic<std::thread::id> seen_thread;

bool TakeUpToClose(std::uint32_t control_type) {
  seen_type = control_type;
  seen_thread = std::this_thread::get_id();
  return control_type <= kConsoleClose;
}

bool PassOn(std::uint32_t) { return false; }

class ConsoleEvent : public Contract, public testing::WithParamInterface<std::uint32_t> {};

INSTANTIATE_TEST_SUITE_P(OfType, ConsoleEvent,
                         testing::Values(kConsoleCtrlC, kConsoleCtrlBreak, kConsoleClose, 5U, 6U));

TEST_P(ConsoleEvent, ReachesTheHandlerWhichTakesItOrPassesItOn) {
  InstallConsoleHandler(TakeUpToClose);
  seen_type = 99;
  const std::optional<bool> taken = stage.SendConsoleEvent(GetParam());
  if (!taken) GTEST_SKIP() << "not here: this console event cannot be sent";
  EXPECT_EQ(seen_type, GetParam());
  EXPECT_EQ(*taken, GetParam() <= kConsoleClose);
}

TEST_F(ConsoleEvents, AreHandledOnAThreadOfTheirOwn) {
  InstallConsoleHandler(TakeUpToClose);
  seen_thread = std::this_thread::get_id();
  if (!stage.SendConsoleEvent(kConsoleCtrlC)) GTEST_SKIP() << "not here: no console event";
  EXPECT_NE(seen_thread.load(), std::this_thread::get_id());
}

TEST_F(ConsoleEvents, GoToTheHandlerThatWasInstalledLast) {
  InstallConsoleHandler(TakeUpToClose);
  InstallConsoleHandler(PassOn);
  const std::optional<bool> taken = stage.SendConsoleEvent(kConsoleCtrlC);
  if (!taken) GTEST_SKIP() << "not here: no console event";
  EXPECT_FALSE(*taken);
}

}  // namespace
}  // namespace veltrane::contract
