// platform/console_input.h

#include "platform/console_input.h"

#include "platform/clock.h"
#include "tests/contract/stage.h"

namespace veltrane::contract {
namespace {

using ConsoleInput = Contract;

using Lines = std::vector<std::string>;

constexpr std::uint32_t kMinute = 60'000;

GUEST(ReadTwoLines) {
  TypedLine line;
  Tell(line.Read(kMinute).value_or("(none)"));
  Tell(line.Read(kMinute).value_or("(none)"));
}

TEST_F(ConsoleInput, IsReadLineByLine) {
  const GuestRun run = stage.RunInTerminal(80, ReadTwoLines, "one\rtwo words\r");
  EXPECT_EQ(run.told, (Lines{"one", "two words"}));
}

TEST_F(ConsoleInput, CanBeTakenBackWithBackspace) {
  const GuestRun run = stage.RunInTerminal(80, ReadTwoLines, "\b\bonx\be\r\r");
  EXPECT_EQ(run.told, (Lines{"one", ""}));
}

TEST_F(ConsoleInput, IsShownWhileItIsTyped) {
  EXPECT_EQ(stage.RunInTerminal(80, ReadTwoLines, "onx\be\r\r").screen.substr(0, 3),
            OnSimulatedMachine() ? "onx" : "one");
}

GUEST(ReadInSteps) {
  TypedLine line;
  std::optional<std::string> read;
  const std::int64_t began = UtcTicks();
  while (!read && UtcTicks() - began < 60 * kTicksPerSecond) read = line.Read(10);
  Tell(read.value_or("(none)"));
}

TEST_F(ConsoleInput, IsReadInManyShortWaits) {
  EXPECT_EQ(stage.RunInTerminal(80, ReadInSteps, "one\r").told, Lines{"one"});
}

GUEST(ReadInVain) {
  TypedLine line;
  Tell(line.Read(50).value_or("(none)"));
}

TEST_F(ConsoleInput, IsNotWaitedForBeyondTheTime) {
  EXPECT_EQ(stage.RunInTerminal(80, ReadInVain, "").told, Lines{"(none)"});
}

GUEST(DiscardTheSecondLine) {
  TypedLine line;
  Tell(line.Read(kMinute).value_or("(none)"));
  DiscardTypedInput();
  Tell(line.Read(50).value_or("(none)"));
}

TEST_F(ConsoleInput, CanBeThrownAway) {
  EXPECT_EQ(stage.RunInTerminal(80, DiscardTheSecondLine, "one\rtwo\r").told,
            (Lines{"one", "(none)"}));
}

GUEST(TellWhetherInteractive) { Tell(IsConsoleInteractive() ? "yes" : "no"); }

TEST_F(ConsoleInput, IsInteractiveInATerminal) {
  EXPECT_EQ(stage.RunInTerminal(80, TellWhetherInteractive, "").told, Lines{"yes"});
}

TEST_F(ConsoleInput, IsNotInteractiveWhenItIsAFile) {
  stage.SetInputFile("one\r");
  EXPECT_FALSE(IsConsoleInteractive());
}

// The clocks of Windows go on in steps of 16 ms.
constexpr std::uint32_t kInVain = 200;
constexpr std::uint64_t kLeastOfInVain = 180;

// Whoever reads again and again must not be kept busy.
std::uint64_t MillisecondsInVain() {
  const std::uint64_t began = UptimeMilliseconds();
  TypedLine line;
  EXPECT_EQ(line.Read(kInVain), std::nullopt);
  return UptimeMilliseconds() - began;
}

TEST_F(ConsoleInput, IsNotReadWhenItIsAFile) {
  stage.SetInputFile("one\r");
  EXPECT_GE(MillisecondsInVain(), kLeastOfInVain);
}

TEST_F(ConsoleInput, IsNotReadWhenItIsClosed) {
  stage.CloseInput();
  EXPECT_GE(MillisecondsInVain(), kLeastOfInVain);
}

}  // namespace
}  // namespace veltrane::contract
