// What keeps a connection, what the clock does, and whom the watchdog lets confirm. Every end that
// undoes is in ends_test.cpp.

#include "client/watchdog/watchdog.h"

#include "tests/client/watchdog/on_watched_machine.h"

namespace veltrane {
namespace {

constexpr char kUndone[] = "undone the connection to \"office\" has been undone";

class Watching : public OnWatchedMachine {
 protected:
  Watching() {
    StartService();
    ConnectTo("office");
    side.watchdogs.ClientSays("sending");
  }

  WatchEnd Watch() { return KeepWatch({{"office", false}, 60}); }

  // Another program asks the watchdog then, and reads the answer a second later.
  void Ask(double seconds, simulated::PipeClient& asker, const std::string& request) {
    At(seconds, [&asker, request] {
      ASSERT_EQ(asker.TryConnect(), 0U);
      asker.Send(request);
    });
    At(seconds + 1, [this, &asker] { answer = asker.Receive(); });
  }
  std::optional<std::string> answer;
  simulated::PipeClient program{kConfirmPipeName};
};

TEST_F(Watching, EndsWithAConfirmationUpToTheLastMoment) {
  Say(5, "answered");
  Say(64.999, "confirmed");
  EXPECT_EQ(Watch(), WatchEnd::kConfirmed);
  EXPECT_EQ(side.watchdogs.told, (Texts{"armed", "watching", "confirmed"}));
  EXPECT_TRUE(TunnelRuns());
  EXPECT_DOUBLE_EQ(Seconds(), 64.999);
}

TEST_F(Watching, UndoesWhenTheConfirmationComesWithTheDeadline) {
  Say(5, "answered");
  Say(65, "confirmed");
  EXPECT_EQ(Watch(), WatchEnd::kUndone);
  EXPECT_EQ(side.watchdogs.told, (Texts{"armed", "watching", kUndone}));
  EXPECT_FALSE(TunnelRuns());
}

TEST_F(Watching, TakesAConfirmationWhoseClientHasEndedRightAfterIt) {
  Say(5, "answered");
  Say(20, "confirmed");
  At(20, [this] { side.watchdogs.ClientEnds(); });
  EXPECT_EQ(Watch(), WatchEnd::kConfirmed);
  EXPECT_TRUE(TunnelRuns());
}

TEST_F(Watching, EndsWithARefusalAndUndoesNothing) {
  Say(5, "refused");
  At(5, [this] { side.watchdogs.ClientEnds(); });
  EXPECT_EQ(Watch(), WatchEnd::kRefused);
  EXPECT_EQ(side.watchdogs.told, (Texts{"armed", "watching"}));
  EXPECT_TRUE(TunnelRuns());
}

TEST_F(Watching, CountsFromTheAnswerHoweverLateThatIs) {
  Say(159, "answered");
  EXPECT_EQ(Watch(), WatchEnd::kUndone);
  EXPECT_DOUBLE_EQ(Seconds(), 219);
}

TEST_F(Watching, IsNotProlongedByASecondAnnouncement) {
  Say(100, "sending");
  EXPECT_EQ(Watch(), WatchEnd::kUndone);
  EXPECT_EQ(side.watchdogs.told, (Texts{"armed", "watching", kUndone}));
  EXPECT_DOUBLE_EQ(Seconds(), 170);
}

TEST_F(Watching, IsNotProlongedByASecondAnswer) {
  Say(5, "answered");
  Say(60, "answered");
  EXPECT_EQ(Watch(), WatchEnd::kUndone);
  EXPECT_DOUBLE_EQ(Seconds(), 65);
}

TEST_F(Watching, IgnoresWordsThatItDoesNotKnow) {
  Say(5, "answered");
  Say(6, "confirmed?");
  Say(7, "");
  EXPECT_EQ(Watch(), WatchEnd::kUndone);
  EXPECT_DOUBLE_EQ(Seconds(), 65);
}

TEST_F(Watching, GoesByTheTimeThatPassesNotByTheTimeOfDay) {
  Say(5, "answered");
  At(10, [this] { machine.clock.SetTime(1); });
  EXPECT_EQ(Watch(), WatchEnd::kUndone);
  EXPECT_DOUBLE_EQ(Seconds(), 65);
}

TEST_F(Watching, UndoesWhenTheMachineWakesUpAfterTheDeadlineAndAConfirmationAwaits) {
  Say(5, "answered");
  At(20, [this] {
    machine.clock.Advance(3'600'000);
    side.watchdogs.ClientSays("confirmed");
  });
  EXPECT_EQ(Watch(), WatchEnd::kUndone);
  EXPECT_EQ(side.watchdogs.told, (Texts{"armed", "watching", kUndone}));
}

TEST_F(Watching, EndsWithAConfirmationFromAnotherProgram) {
  Say(5, "answered");
  Ask(64.999, program, "confirm\n");
  EXPECT_EQ(Watch(), WatchEnd::kConfirmed);
  EXPECT_EQ(program.Receive(), "confirmed\n");
  EXPECT_EQ(side.watchdogs.told, (Texts{"armed", "watching", "confirmed"}));
  EXPECT_TRUE(TunnelRuns());
}

TEST_F(Watching, TellsAnotherProgramThatItIsTooEarly) {
  Ask(4, program, "confirm\n");
  Say(5, "answered");
  EXPECT_EQ(Watch(), WatchEnd::kUndone);
  EXPECT_EQ(answer, "early\n");
}

TEST_F(Watching, TellsAnotherProgramThatItIsTooLate) {
  Say(5, "answered");
  Ask(65, program, "confirm\n");
  EXPECT_EQ(Watch(), WatchEnd::kUndone);
  EXPECT_EQ(program.Receive(), "late\n");
}

TEST_F(Watching, TellsAnotherProgramThatItIsTooLateWhileItUndoes) {
  StopService();
  Say(5, "answered");
  Ask(101, program, "confirm\n");
  EXPECT_EQ(Watch(), WatchEnd::kNotUndone);
  EXPECT_EQ(answer, "late\n");
}

TEST_F(Watching, TakesNoOtherWordForAConfirmation) {
  Say(5, "answered");
  Ask(20, program, "status\n");
  EXPECT_EQ(Watch(), WatchEnd::kUndone);
  EXPECT_EQ(answer, "unknown\n");
}

TEST_F(Watching, IsNotHeldUpByAProgramThatSaysNothing) {
  Say(5, "answered");
  At(6, [this] { program.TryConnect(); });
  EXPECT_EQ(Watch(), WatchEnd::kUndone);
  EXPECT_DOUBLE_EQ(Seconds(), 65);
}

TEST_F(Watching, TurnsToTheNextProgramWhenOneSaysNothing) {
  Say(5, "answered");
  At(6, [this] { program.TryConnect(); });
  simulated::PipeClient second(kConfirmPipeName);
  At(8, [&second] { EXPECT_EQ(second.TryConnect(), 231U); });
  Say(11, "");  // a wait ends, in which the first one is sent away
  Ask(12, second, "confirm\n");
  EXPECT_EQ(Watch(), WatchEnd::kConfirmed);
  EXPECT_EQ(second.Receive(), "confirmed\n");
}

TEST_F(Watching, LetsTheUserAndThoseConfirmWhoMayDoAnything) {
  Say(5, "refused");
  Watch();
  const simulated::CreatedPipe pipe = machine.pipes.Created().back();
  EXPECT_EQ(pipe.parameters.name, L"\\\\.\\pipe\\VeltraneVpnConfirm");
  EXPECT_EQ(simulated::AccessTexts(pipe.access.value()),
            (Texts{"user S-1-5-18 0xc0100000 inherit 0", "user S-1-5-32-544 0xc0100000 inherit 0",
                   "user S-1-5-21-1-2-3-1001 0xc0100000 inherit 0"}));
}

TEST_F(Watching, IsDoneByOneAtATime) {
  const auto first =
      ServerPipe::Create({.name = kConfirmPipeName, .open_mode = 3, .max_instances = 1}, nullptr);
  side.watchdogs.ClientEnds();
  EXPECT_EQ(Watch(), WatchEnd::kNotArmed);
  EXPECT_EQ(side.watchdogs.told, (Texts{"another"}));
  EXPECT_TRUE(TunnelRuns());
}

TEST_F(Watching, DoesNotBeginWhenWindowsRefusesIt) {
  side.watchdogs.begin_error = 1400;
  EXPECT_EQ(Watch(), WatchEnd::kNotArmed);
  EXPECT_EQ(side.watchdogs.told, (Texts{"failed Windows refuses it (Windows error 1400)"}));
}

TEST_F(Watching, DoesNotBeginWhenItIsUnknownWhoMayConfirm) {
  machine.FailAlways("ReadOwnUserSid", 5);
  EXPECT_EQ(Watch(), WatchEnd::kNotArmed);
  EXPECT_EQ(side.watchdogs.told, (Texts{"failed Windows does not say who may confirm"}));
}

class WatchingUnannounced : public OnWatchedMachine {};

TEST_F(WatchingUnannounced, UndoesAnAnsweredConnectionAllTheSame) {
  StartService();
  ConnectTo("office");
  Say(5, "answered");
  EXPECT_EQ(KeepWatch({{"office", false}, 60}), WatchEnd::kUndone);
  EXPECT_FALSE(TunnelRuns());
}

using WatchdogCommand = Watching;

TEST_F(WatchdogCommand, WatchesOverTheNodeThatItNames) {
  Say(5, "answered");
  EXPECT_EQ(Run({"watchdog", "--seconds=60", "--node-id=office"}), 8);
  EXPECT_EQ(side.watchdogs.told, (Texts{"armed", "watching", kUndone}));
  EXPECT_DOUBLE_EQ(Seconds(), 65);
  EXPECT_EQ(side.Output() + side.Error(), "");
}

TEST_F(WatchdogCommand, TakesANodeThatLooksLikeAnOption) {
  ConnectTo("--help");
  side.watchdogs.ClientEnds();
  EXPECT_EQ(Run({"watchdog", "--seconds=60", "--node-id=--help"}), 8);
  EXPECT_EQ(side.watchdogs.told,
            (Texts{"armed", "watching", "undone the connection to \"--help\" has been undone"}));
}

TEST_F(WatchdogCommand, HasAnExitCodeForEachEnd) {
  Say(5, "refused");
  EXPECT_EQ(Run({"watchdog", "--seconds=60", "--node-id=office"}), 0);
  Say(9, "sending");
  Say(10, "confirmed");
  EXPECT_EQ(Run({"watchdog", "--seconds=60", "--node-id=office"}), 0);
  side.watchdogs.begin_error = 5;
  EXPECT_EQ(Run({"watchdog", "--seconds=60", "--node-id=office"}), 4);
  side.watchdogs.begin_error = 0;
  side.watchdogs.MustEnd();
  EXPECT_EQ(Run({"watchdog", "--seconds=60", "--node-id=office"}), 0);
  StopService();
  side.watchdogs.ClientSays("sending");
  side.watchdogs.ClientEnds();
  EXPECT_EQ(Run({"watchdog", "--seconds=60", "--node-id=office"}), 9);
}

TEST_F(WatchdogCommand, IsNotForTyping) {
  side.watchdogs.has_client = false;
  EXPECT_EQ(Run({"watchdog", "--seconds=60", "--node-id=office"}), 2);
  EXPECT_EQ(side.Error(),
            "veltranectl: only connect --confirm starts a watchdog: veltranectl help connect\n");
}

}  // namespace
}  // namespace veltrane
