// What ends a timer before its time, and what does not.

#include <system_error>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "ipc/auto_stop.h"
#include "tests/scenarios/auto_stop_scenario.h"

namespace veltrane {
namespace {

using AutoStopCancel = AutoStopScenario;

TEST_F(AutoStopCancel, ADisconnectWaitsForTheTimerAndTearsDownOnce) {
  SetAdministrator();
  ConnectFor(L"1");
  PassSleeps(3);
  auto reply = UntilTheTimerIsTold([this] { return Handle(kDisconnect); });
  EXPECT_EQ(Story(), Texts{});  // the timer is in its fourth sleep
  machine.clock.Advance(100);
  reply.get();
  EXPECT_EQ(PhaseAndNode(), "disconnected");
  EXPECT_EQ(machine.clock.Sleeps().size(), 4U);
  EXPECT_FALSE(server.auto_stop_thread.joinable());
  EXPECT_EQ(Story(), Steps({kStopsTunnel, kUnpins, kScrubsConf}));
}

TEST_F(AutoStopCancel, ACancelDuringTheLastSleepComesInTime) {
  ConnectFor(L"1");
  PassSleeps(9);
  auto cancelled = UntilTheTimerIsTold([this] { CancelAutoStop(server); });
  machine.clock.Advance(100);
  cancelled.get();
  EXPECT_EQ(machine.clock.Sleeps().size(), 10U);
  EXPECT_EQ(PhaseAndNode(), "connected fra-1");
  EXPECT_EQ(machine.calls.All(), Texts(9, "Sleep 100"));
}

TEST_F(AutoStopCancel, ACancelBeforeTheFirstSleepIsSeenAtOnce) {
  machine.clock.RunFreely();
  ScheduleAutoStop(server, 2147483647, nullptr);
  CancelAutoStop(server);
  EXPECT_FALSE(server.auto_stop_thread.joinable());
  EXPECT_EQ(machine.Changes(), Texts{});
}

TEST_F(AutoStopCancel, ANewConnectEndsTheOldTimerBeforeItStartsItsOwn) {
  ConnectFor(L"1");
  PassSleeps(8);
  auto reply = UntilTheTimerIsTold([this] { return Handle(kConnectElsewhere); });
  EXPECT_EQ(PhaseAndNode(), "connected ams-2");
  machine.clock.Advance(100);
  reply.get();
  StartStory();
  // The new timer sleeps its ten times, although the old one had one sleep to go.
  PassSleeps(9);
  EXPECT_EQ(PhaseAndNode(), "connected ams-2");
  EXPECT_EQ(Story(), Texts{});
  PassTheLastSleeps(1);
  EXPECT_EQ(machine.clock.Sleeps().size(), 19U);
  EXPECT_EQ(Story(), Steps({kStopsTunnel, kLogsOff, kScrubsConf}));
}

TEST_F(AutoStopCancel, TheDeadlineIsReckonedBeforeTheOldTimerIsWaitedFor) {
  ConnectFor(L"10");
  machine.clock.SetTicks(17947959079500000);  // 02:25:07.95
  machine.clock.WaitForSleepers(1);
  auto reply = UntilTheTimerIsTold([this] { return Handle(kConnect); });
  machine.clock.Advance(100);
  EXPECT_THAT(reply.get(),
              testing::HasSubstr(R"("auto_stop_deadline_utc":"2026-11-16T02:25:17Z"}})"));
}

TEST_F(AutoStopCancel, AConnectThatFailsLeavesTheOldTimerRunning) {
  ConnectFor(L"1");
  PassSleeps(5);
  machine.Fail("MoveFileWithFlags", 1, 5);
  Handle(kConnectElsewhere);
  EXPECT_FALSE(server.auto_stop_cancel);
  EXPECT_TRUE(server.auto_stop_thread.joinable());
  EXPECT_EQ(PhaseAndNode(), "disconnected");
  StartStory();
  machine.clock.AdvanceInSteps(5, 100);
  server.auto_stop_thread.join();
  EXPECT_EQ(machine.Changes(), Steps({kStopsTunnel, kScrubsConf}));
}

TEST_F(AutoStopCancel, AConnectWithoutADelayLeavesTheOldTimerRunning) {
  ConnectFor(L"1");
  SetAutoStop(L"");
  Handle(kConnectElsewhere);
  EXPECT_FALSE(server.auto_stop_cancel);
  EXPECT_EQ(PhaseAndNode(), "connected ams-2");
  PassTheLastSecond();
  EXPECT_EQ(State(), "disconnected; active.conf of zeros");
}

TEST_F(AutoStopCancel, StatusAndRegistrationLeaveTheTimerRunning) {
  ConnectFor(L"1");
  Handle(kStatus);
  Handle(R"({"op":"register_session","session_nonce":""})");
  EXPECT_FALSE(server.auto_stop_cancel);
  PassTheLastSecond();
}

TEST_F(AutoStopCancel, AnExpiredTimerStaysJoinableUntilTheNextDisconnect) {
  ConnectFor(L"1");
  PassTheLastSecond();
  EXPECT_TRUE(server.auto_stop_thread.joinable());
  EXPECT_FALSE(server.auto_stop_cancel);
  StartStory();
  Handle(kDisconnect);
  EXPECT_FALSE(server.auto_stop_thread.joinable());
  EXPECT_EQ(machine.Changes(), kScrubsConf);
}

TEST_F(AutoStopCancel, ATimerAfterADisconnectRunsToItsEnd) {
  Handle(kDisconnect);
  EXPECT_TRUE(server.auto_stop_cancel);
  ConnectFor(L"1");
  EXPECT_FALSE(server.auto_stop_cancel);
  PassTheLastSecond();
  EXPECT_EQ(State(), "disconnected; active.conf of zeros");
}

TEST_F(AutoStopCancel, WithoutATimerItReturnsAtOnce) {
  CancelAutoStop(server);
  EXPECT_TRUE(server.auto_stop_cancel);
  CancelAutoStop(server);
  EXPECT_EQ(machine.calls.All(), Texts{});
}

TEST_F(AutoStopCancel, OnTheTimersOwnThreadItIsAnError) {
#ifdef __SANITIZE_THREAD__
  GTEST_SKIP() << "ThreadSanitizer takes a thread that failed to join itself for a joined one";
#endif
  ConnectFor(L"1");
  std::error_code code;
  machine.OnCall("Service.SendStop", 1, [&] {
    try {
      CancelAutoStop(server);
    } catch (const std::system_error& error) {
      code = error.code();
    }
  });
  PassTheLastSecond();
  EXPECT_EQ(code, std::errc::resource_deadlock_would_occur);
}

}  // namespace
}  // namespace veltrane
