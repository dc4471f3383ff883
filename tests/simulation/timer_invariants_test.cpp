// Each invariant of timers and conversations holds for what the program does, and breaks when that
// is doctored.

#include <gtest/gtest.h>

#include "tests/simulation/invariants.h"

namespace veltrane::simulation {
namespace {

constexpr char kRow[] = "203.0.113.5/32 via 192.168.1.1 if 12 metric 1";
constexpr char kOther[] = "9.9.9.9/32 via 192.168.1.1 if 12 metric 1";

CallFacts Call(const std::string& name, const std::string& details) {
  CallFacts call;
  call.role = Role::kTimer;
  call.name = name;
  call.text = name + " " + details;
  call.tunnel_installed = true;
  call.file_is_there = true;
  return call;
}

// A timer that has expired and taken everything down.
TimerFacts Expired() {
  const std::string tunnel = "VeltraneVpnTunnel$Active";
  const std::string line = "[Veltrane][admin_bypass] enabled=1 applied=0 failure=";
  return {.sleeps = 20,
          .delay = 2,
          .calls = {Call("ServiceManager.Open", "0xf003f"),
                    Call("ServiceManager.OpenExisting", tunnel + " 0x10024"),
                    Call("Service.SendStop", tunnel), Call("Service.QueryState", tunnel),
                    Call("Sleep", "1000"), Call("Service.QueryState", tunnel),
                    Call("Service.Delete", tunnel), Call("DeleteForwardRow", kRow),
                    Call("DeleteForwardRow", kOther), Call("PrintDebugger", line),
                    Call("PrintError", line), Call("ReadProcessVariable", "ProgramData"),
                    Call("TestExistence", "C:\\active.conf"),
                    Call("OutputFile.Open", "C:\\active.conf"),
                    Call("OutputFile.Write", "C:\\active.conf 4096 bytes"),
                    Call("RemoveFile", "C:\\active.conf"),
                    Call("OutputFile.Close", "C:\\active.conf"), Call("Mutex.Lock", "")},
          .phase = {"disconnected", ""},
          .conf = std::string(4096, '\0'),
          .due = {kRow, kOther}};
}

void Fail(TimerFacts& timer, const std::string& name) {
  for (CallFacts& call : timer.calls) {
    if (call.name == name) call.failed = 5;
  }
}

TEST(TimerInvariants, HoldForATimerThatHasExpired) {
  EXPECT_EQ(Court<TimerFacts>(TimerInvariants()).Judge(Expired()), "");
}

TEST(TimerInvariants, ATimerMayNotGiveUpByItself) {
  TimerFacts timer = Expired();
  timer.sleeps = 19;
  EXPECT_NE(TheTimerWaitsToItsEnd(timer), "");
  timer.may_be_told = true;
  EXPECT_FALSE(TheTimerWaitsToItsEnd(timer).WasAsked());
  TimerFacts idle = Expired();
  idle.calls.clear();
  EXPECT_NE(TheTimerWaitsToItsEnd(idle), "");
}

TEST(TimerInvariants, ATimerMayNotLeaveOutAStepOfTheTeardown) {
  const TimerFacts whole = Expired();
  for (std::size_t i = 0; i < whole.calls.size(); ++i) {
    const std::string& name = whole.calls[i].name;
    // How often it looks is judged when it deletes the service; the rest changes nothing.
    if (name == "Service.QueryState" || name == "Sleep" || name == "ReadProcessVariable" ||
        name == "OutputFile.Write" || name == "OutputFile.Close" || name == "Mutex.Lock") {
      continue;
    }
    TimerFacts timer = whole;
    timer.calls.erase(timer.calls.begin() + static_cast<std::ptrdiff_t>(i));
    EXPECT_NE(TheTimerDoesItsWork(timer), "") << whole.calls[i].text;
  }
}

TEST(TimerInvariants, ATimerMayNotDoItsStepsInAnotherOrder) {
  TimerFacts timer = Expired();
  std::swap(timer.calls[7], timer.calls[8]);  // the routes, in the order of their creation
  EXPECT_NE(TheTimerDoesItsWork(timer), "");
  timer = Expired();
  std::rotate(timer.calls.begin(), timer.calls.begin() + 7, timer.calls.begin() + 11);
  EXPECT_NE(TheTimerDoesItsWork(timer), "");
}

TEST(TimerInvariants, ATimerMayNotDoAnythingElse) {
  TimerFacts timer = Expired();
  timer.calls.push_back(Call("DeleteForwardRow", kRow));
  EXPECT_NE(TheTimerDoesItsWork(timer), "");
  timer = Expired();
  timer.calls[14] = Call("OutputFile.Write", "C:\\active.conf 1 bytes");
  EXPECT_NE(TheTimerDoesItsWork(timer), "");
}

TEST(TimerInvariants, ATimerGoesOnWhereACallFails) {
  TimerFacts timer = Expired();
  timer.calls.erase(timer.calls.begin() + 1, timer.calls.begin() + 7);
  EXPECT_NE(TheTimerDoesItsWork(timer), "");
  Fail(timer, "ServiceManager.Open");
  EXPECT_EQ(TheTimerDoesItsWork(timer), "");
}

TEST(TimerInvariants, ATimerMayNotLeaveAConnectionBehind) {
  TimerFacts timer = Expired();
  timer.phase = {"connected", "fra-1"};
  EXPECT_NE(TheTimerLeavesNothing(timer), "");
}

TEST(TimerInvariants, ATimerMayNotLeaveAnythingUp) {
  TimerFacts recorded = Expired();
  recorded.recorded = {kRow};
  EXPECT_NE(TheTimerLeavesNothing(recorded), "");
  TimerFacts running = Expired();
  running.tunnel = {true, true};
  EXPECT_NE(TheTimerLeavesNothing(running), "");
  Fail(running, "Service.QueryState");
  EXPECT_NE(TheTimerLeavesNothing(running), "");
  Fail(running, "Service.SendStop");
  EXPECT_EQ(TheTimerLeavesNothing(running), "");
  TimerFacts installed = Expired();
  installed.tunnel = {true, false};
  EXPECT_NE(TheTimerLeavesNothing(installed), "");
  Fail(installed, "Service.Delete");
  EXPECT_EQ(TheTimerLeavesNothing(installed), "");
  TimerFacts key = Expired();
  key.conf = "PrivateKey = SECRET-1=\n";
  EXPECT_NE(TheTimerLeavesNothing(key), "");
  Fail(key, "OutputFile.Write");
  EXPECT_EQ(TheTimerLeavesNothing(key), "");
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

}  // namespace
}  // namespace veltrane::simulation
