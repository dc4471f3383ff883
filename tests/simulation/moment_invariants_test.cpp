// Each invariant of moments, timers, conversations and ends holds for what the program does, and
// breaks when that is doctored.

#include <gtest/gtest.h>

#include "tests/simulation/invariants.h"

namespace veltrane::simulation {
namespace {

MomentFacts Connected() {
  MomentFacts moment;
  moment.process_lives = true;
  moment.has_server = true;
  moment.phase = "connected";
  moment.node = "fra-1";
  moment.timers = 1;
  moment.pipe_threads = 1;
  moment.idle = true;
  moment.pipe_instances = 1;
  moment.security_records = 1;
  return moment;
}

// What a rule says of the moment after the change.
template <typename Change>
std::string After(Change change, std::string (*rule)(const MomentFacts&)) {
  MomentFacts moment = Connected();
  change(moment);
  return rule(moment);
}

TEST(MomentInvariants, HoldWhileConnected) {
  EXPECT_EQ(Judge(MomentInvariants(), Connected()), "");
}

TEST(MomentInvariants, ThePhaseMayNotBeAnotherWord) {
  EXPECT_NE(After([](MomentFacts& moment) { moment.phase = "Connected"; }, ThePhaseIsOneOfThree),
            "");
}

TEST(MomentInvariants, ANodeMayNotOutliveItsConnection) {
  EXPECT_NE(
      After([](MomentFacts& moment) { moment.phase = "disconnected"; }, TheNodeBelongsToConnected),
      "");
  EXPECT_NE(After([](MomentFacts& moment) { moment.node.clear(); }, TheNodeBelongsToConnected), "");
}

TEST(MomentInvariants, NothingButAConnectMayBeConnecting) {
  const auto connecting = [](MomentFacts& moment) { moment.phase = "connecting"; };
  EXPECT_NE(After(connecting, OnlyAConnectIsConnecting), "");
}

TEST(MomentInvariants, AConnectOnItsWayMayNotBeConnectedYet) {
  EXPECT_NE(
      After([](MomentFacts& moment) { moment.prepares_connect = true; }, AConnectIsConnecting), "");
}

TEST(MomentInvariants, ThereMayNotBeTwoTimers) {
  EXPECT_NE(After([](MomentFacts& moment) { moment.timers = 2; }, ThereIsOneTimerAtMost), "");
}

TEST(MomentInvariants, ThereMayNotBeTwoPipes) {
  EXPECT_NE(
      After([](MomentFacts& moment) { moment.pipe_instances = 2; }, ThereIsOnePipeInstanceAtMost),
      "");
}

TEST(MomentInvariants, NothingMayBeOpenBetweenRequests) {
  EXPECT_NE(After([](MomentFacts& moment) { moment.service_handles = 1; }, NothingIsLeftOpen), "");
  EXPECT_NE(After([](MomentFacts& moment) { moment.streams = 1; }, NothingIsLeftOpen), "");
  EXPECT_NE(After([](MomentFacts& moment) { moment.security_records = 2; }, NothingIsLeftOpen), "");
  EXPECT_EQ(After(
                [](MomentFacts& moment) {
                  moment.idle = false;
                  moment.service_handles = 2;
                },
                NothingIsLeftOpen),
            "");
}

TEST(MomentInvariants, NoOtherFileMayHaveAKey) {
  EXPECT_NE(After([](MomentFacts& moment) { moment.files_with_keys = {"C:\\log.txt"}; },
                  KeysAreInActiveConfAlone),
            "");
}

TimerFacts Expired() {
  return {.sleeps = 20,
          .delay = 2,
          .calls = {"ServiceManager.Open", "ServiceManager.OpenExisting", "PrintDebugger",
                    "PrintError", "ReadProcessVariable", "TestExistence"},
          .phase = "disconnected"};
}

TEST(TimerInvariants, ATimerMayNotGiveUpByItself) {
  TimerFacts timer = Expired();
  EXPECT_EQ(Judge(TimerInvariants(), timer), "");
  timer.sleeps = 19;
  EXPECT_NE(TheTimerDoesItsWork(timer), "");
  timer.may_be_told = true;
  EXPECT_EQ(TheTimerDoesItsWork(timer), "");
}

TEST(TimerInvariants, ATimerMayNotLeaveOutAStepOfTheTeardown) {
  for (const char* step : {"ServiceManager.Open", "PrintError", "TestExistence"}) {
    TimerFacts timer = Expired();
    std::erase(timer.calls, step);
    EXPECT_NE(TheTimerDoesItsWork(timer), "") << step;
  }
}

TEST(TimerInvariants, ATimerMayNotLeaveAConnectionBehind) {
  TimerFacts timer = Expired();
  timer.phase = "connected";
  EXPECT_NE(TheTimerLeavesDisconnected(timer), "");
}

TEST(ConversationInvariants, ARequestMayNotGoUnanswered) {
  EXPECT_EQ(ARequestIsAnswered({.size = 65535, .has_reply = true}), "");
  EXPECT_NE(ARequestIsAnswered({.size = 65535}), "");
  EXPECT_EQ(ARequestIsAnswered({.size = 65535, .disturbed = true}), "");
}

TEST(ConversationInvariants, ARequestThatIsEmptyOrTooLongMayNotBeAnswered) {
  EXPECT_EQ(ARequestIsAnswered({.size = 65536}), "");
  EXPECT_NE(ARequestIsAnswered({.size = 65536, .has_reply = true}), "");
  EXPECT_NE(ARequestIsAnswered({.size = 0, .has_reply = true}), "");
}

EndFacts Terminated() {
  EndFacts end;
  end.by = "terminate";
  end.thread = "pipe";
  end.served.emplace();
  end.served->op = "connect";
  return end;
}

TEST(EndInvariants, AProcessMayNotEndForNoReason) {
  EXPECT_NE(TheProcessEndsForAKnownReason(Terminated()), "");
  EndFacts abort = Terminated();
  abort.by = "abort";
  EXPECT_NE(TheProcessEndsForAKnownReason(abort), "");
}

TEST(EndInvariants, TheReasonsOfTheProtocolAreKnown) {
  EndFacts bad_port = Terminated();
  bad_port.served->promise.kind = Promise::Kind::kEnd;
  EXPECT_EQ(TheProcessEndsForAKnownReason(bad_port), "");
  EndFacts existence = Terminated();
  existence.existence_unknown = true;
  EXPECT_EQ(TheProcessEndsForAKnownReason(existence), "");
  EndFacts thread = Terminated();
  thread.thread_refused = true;
  EXPECT_EQ(TheProcessEndsForAKnownReason(thread), "");
  EndFacts stop = Terminated();
  stop.thread = "service main";
  stop.stop_waits = true;
  EXPECT_EQ(TheProcessEndsForAKnownReason(stop), "");
  EndFacts passive = Terminated();
  passive.by = "abort";
  passive.served->op = "disconnect";
  passive.passive_guard = true;
  EXPECT_EQ(TheProcessEndsForAKnownReason(passive), "");
  passive.served->counted = true;
  EXPECT_NE(TheProcessEndsForAKnownReason(passive), "");
}

TEST(EndInvariants, AnOrderlyEndMayNotLeaveAnythingOpen) {
  EndFacts end;
  EXPECT_EQ(AnOrderlyEndLeavesNothingOpen(end), "");
  end.security_records = 1;
  EXPECT_NE(AnOrderlyEndLeavesNothingOpen(end), "");
  end.other_threads = 1;  // the process ends around them
  EXPECT_EQ(AnOrderlyEndLeavesNothingOpen(end), "");
}

}  // namespace
}  // namespace veltrane::simulation
