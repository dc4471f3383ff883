// A process ends for a reason of docs/protocol.md that has its cause, and for no other.

#include <gtest/gtest.h>

#include "tests/simulation/end_reasons.h"
#include "tests/simulation/invariants.h"

namespace veltrane::simulation {
namespace {

using Change = void (*)(EndFacts&);

EndFacts Terminated(const std::string& thread, const std::string& operation = {}) {
  EndFacts end;
  end.by = "terminate";
  end.thread = thread;
  end.last_pipe_call = "ServerPipe.Read";
  if (operation.empty()) return end;
  end.served.emplace();
  end.served->op = operation;
  return end;
}

CallFacts Call(const std::string& name, bool changes = false) {
  CallFacts call;
  call.name = name;
  call.changes = changes;
  return call;
}

std::string NameOf(const EndFacts& end) {
  const Reason* reason = ReasonOf(end);
  return reason == nullptr ? "" : reason->name;
}

// The process ends for this reason, and with any of the changes for none.
void ExpectReason(const EndFacts& end, const std::string& name,
                  const std::vector<Change>& changes) {
  EXPECT_EQ(NameOf(end), name);
  EXPECT_EQ(TheProcessEndsForAKnownReason(end), "");
  for (const Change& change : changes) {
    EndFacts other = end;
    change(other);
    EXPECT_EQ(NameOf(other), "") << name;
    EXPECT_NE(TheProcessEndsForAKnownReason(other), "") << name;
  }
}

TEST(EndReasons, AProcessMayNotEndForNone) {
  EXPECT_NE(TheProcessEndsForAKnownReason(Terminated("pipe", "connect")), "");
  EXPECT_NE(TheProcessEndsForAKnownReason(Terminated("timer")), "");
  EXPECT_NE(TheProcessEndsForAKnownReason(Terminated("service main")), "");
}

TEST(EndReasons, APortThatIsNoNumber) {
  EndFacts end = Terminated("pipe", "connect");
  end.served->promise.kind = Promise::Kind::kEnd;
  ExpectReason(end, "a port that is no number",
               {[](auto& other) { other.by = "abort"; },
                [](auto& other) { other.served->promise.kind = Promise::Kind::kGoesOn; },
                [](auto& other) { other.served->calls = {Call("OutputFile.Open", true)}; }});
}

TEST(EndReasons, AChangeInThePassivePhase) {
  EndFacts end = Terminated("pipe", "disconnect");
  end.by = "abort";
  end.passive_guard = true;
  ExpectReason(end, "a change in the passive phase",
               {[](auto& other) { other.by = "terminate"; },
                [](auto& other) { other.passive_guard = false; },
                [](auto& other) { other.served->counted = true; },
                [](auto& other) { other.served->calls = {Call("Service.SendStop", true)}; }});
}

TEST(EndReasons, AFileThatMayOrMayNotBeThere) {
  EndFacts end = Terminated("pipe", "disconnect");
  end.last_call = {"TestExistence", 5};
  const std::string name = "an active.conf that may or may not be there";
  ExpectReason(end, name,
               {[](auto& other) { other.last_call.failed.reset(); },
                [](auto& other) { other.last_call.name = "OutputFile.Open"; },
                [](auto& other) { other.served->op = "status"; }});
  EndFacts timer = Terminated("timer");
  timer.last_call = end.last_call;
  ExpectReason(timer, name, {[](auto& other) { other.thread = "service main"; }});
  EndFacts connect = Terminated("pipe", "connect");
  connect.last_call = end.last_call;
  connect.served->calls = {Call("ServiceManager.Open")};
  ExpectReason(connect, name, {[](auto& other) { other.served->calls.clear(); }});
}

TEST(EndReasons, ATimerThreadThatCannotBeCreated) {
  EndFacts end = Terminated("pipe", "connect");
  end.thread_refused = end.served->started = true;
  end.last_pipe_call = "UtcTicks";
  ExpectReason(end, "no thread for the timer",
               {[](auto& other) { other.thread_refused = false; },
                [](auto& other) { other.served->started = false; },
                [](auto& other) { other.last_pipe_call = "Mutex.Lock"; }});
}

TEST(EndReasons, APipeThreadThatCannotBeCreated) {
  EndFacts end = Terminated("service main");
  end.thread_refused = true;
  end.last_pipe_call.clear();
  ExpectReason(end, "no thread for the pipe",
               {[](auto& other) { other.thread_refused = false; },
                [](auto& other) { other.last_pipe_call = "Sleep"; }});
}

TEST(EndReasons, ALockThatIsRefused) {
  EndFacts end = Terminated("pipe", "status");
  end.last_call = {"Mutex.Lock", 11};
  ExpectReason(end, "a lock that was refused",
               {[](auto& other) { other.last_call.failed.reset(); },
                [](auto& other) { other.served->op = "register_session"; },
                [](auto& other) { other.thread = "service main"; }});
}

TEST(EndReasons, AStopThatWaits) {
  EndFacts end = Terminated("service main", "connect");
  end.stop_is_served = true;
  ExpectReason(
      end, "a stop that waits for a request",
      {[](auto& other) { other.stop_is_served = false; },
       [](auto& other) { other.thread = "main"; }, [](auto& other) { other.by = "abort"; }});
  end.served.reset();
  EXPECT_EQ(NameOf(end), "a stop that waits for the pipe thread");
  end.cannot_wake = true;
  EXPECT_EQ(NameOf(end), "a stop that cannot wake the pipe thread");
}

TEST(EndReasons, TwoThatWaitForOneTimer) {
  EndFacts end = Terminated("pipe", "disconnect");
  end.joined_twice = end.console_stops = true;
  ExpectReason(end, "a stop and a request that wait for one timer",
               {[](auto& other) { other.joined_twice = false; },
                [](auto& other) { other.console_stops = false; }});
  EndFacts stop = Terminated("service main");
  stop.joined_twice = stop.stop_is_served = true;
  ExpectReason(stop, "a stop that waits for a timer",
               {[](auto& other) { other.stop_is_served = false; }});
}

EndFacts Returned(const std::vector<std::wstring>& arguments, int exit_code) {
  EndFacts end;
  end.arguments = arguments;
  end.exit_code = exit_code;
  return end;
}

TEST(EndInvariants, TheExitCodeMayNotBeAnother) {
  EXPECT_EQ(TheExitCodeIsTheDueOne(Returned({L"--console"}, 0)), "");
  EXPECT_NE(TheExitCodeIsTheDueOne(Returned({L"--console"}, 1)), "");
  EXPECT_EQ(TheExitCodeIsTheDueOne(Returned({L"/service", L""}, 1)), "");
  EXPECT_NE(TheExitCodeIsTheDueOne(Returned({L"/service", L""}, 0)), "");
}

TEST(EndInvariants, AnInstallationMayFailWithACallAlone) {
  EndFacts end = Returned({L"--install"}, 1);
  EXPECT_NE(TheExitCodeIsTheDueOne(end), "");
  end.calls = {Call("ServiceManager.Create")};
  end.calls.back().failed = 5;
  EXPECT_EQ(TheExitCodeIsTheDueOne(end), "");
}

TEST(EndInvariants, TheTunnelProcessAnswersAsItsLibrary) {
  EndFacts end = Returned({L"/service", L"C:\\active.conf"}, 4);
  EXPECT_NE(TheExitCodeIsTheDueOne(end), "");
  end.library_answers = 4;
  EXPECT_EQ(TheExitCodeIsTheDueOne(end), "");
  end.calls = {Call("Library.Load"), Call("Library.Find")};
  end.calls[1].failed = 127;
  EXPECT_NE(TheExitCodeIsTheDueOne(end), "");
  end.exit_code = 3;
  EXPECT_EQ(TheExitCodeIsTheDueOne(end), "");
  end.calls[0].failed = 126;
  EXPECT_NE(TheExitCodeIsTheDueOne(end), "");
}

TEST(EndInvariants, ADispatcherThatFailsGivesItsError) {
  EndFacts end = Returned({L"--run-as-service"}, 1063);
  end.last_call = {"RunServiceDispatcher", 1063};
  EXPECT_EQ(TheExitCodeIsTheDueOne(end), "");
  end.exit_code = 0;
  EXPECT_NE(TheExitCodeIsTheDueOne(end), "");
}

TEST(EndInvariants, AnOrderlyEndMayNotLeaveAnythingOpen) {
  EndFacts end;
  EXPECT_EQ(AnOrderlyEndLeavesNothingOpen(end), "");
  for (const auto& leave :
       std::vector<void (*)(OpenThings&)>{[](OpenThings& open) { open.service_handles = 1; },
                                          [](OpenThings& open) { open.streams = 1; },
                                          [](OpenThings& open) { open.pipe_instances = 1; },
                                          [](OpenThings& open) { open.security_records = 1; },
                                          [](OpenThings& open) { open.libraries = 1; },
                                          [](OpenThings& open) { open.locks = 1; }}) {
    EndFacts other = end;
    leave(other.open);
    EXPECT_NE(AnOrderlyEndLeavesNothingOpen(other), "") << OpenText(other.open);
    other.other_threads = 1;  // the process ends around them
    EXPECT_FALSE(AnOrderlyEndLeavesNothingOpen(other).WasAsked());
  }
}

}  // namespace
}  // namespace veltrane::simulation
