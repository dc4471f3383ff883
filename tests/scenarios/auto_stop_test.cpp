// The timer of a connection: what the connect's reply says about it, how it counts, what it does
// when it expires, and the record that a schedule leaves.

#include "ipc/auto_stop.h"

#include <csignal>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/scenarios/auto_stop_scenario.h"
#include "tests/support/name_of.h"

namespace veltrane {
namespace {

using testing::HasSubstr;
using AutoStop = AutoStopScenario;

TEST_F(AutoStop, TheReplyNamesTheDelayAndTheDeadline) {
  SetAutoStop(L"90");
  EXPECT_EQ(
      Handle(kConnect),
      Reply(kConnected, With(kBypassOff, {R"("auto_stop_seconds":90)"}),
            With(kGuardOff, {"auto_stop_scheduled", R"("auto_stop_seconds":90)",
                             R"("effective_auto_stop_seconds":90)",
                             R"("machine_env_VELTRANE_POC_AUTO_STOP_SECONDS":"90")", kRoutesKept,
                             kNotActive, R"("auto_stop_deadline_utc":"2026-11-16T02:26:37Z")"})));
  EXPECT_TRUE(server.auto_stop_thread.joinable());
}

TEST_F(AutoStop, ADelayThatAppearsDuringTheConnectIsTakenFromTheSecondReading) {
  machine.OnCall("Service.Start", 1, [this] { SetAutoStop(L"30"); });
  EXPECT_EQ(
      Handle(kConnect),
      Reply(kConnected, kBypassOff,
            With(kGuardOff, {"auto_stop_scheduled", R"("auto_stop_seconds":30)", kRoutesKept,
                             kNotActive, R"("auto_stop_deadline_utc":"2026-11-16T02:25:37Z")"})));
}

TEST_F(AutoStop, ADelayThatDisappearsDuringTheConnectStillCounts) {
  SetAutoStop(L"1");
  machine.OnCall("Service.Start", 1, [this] { SetAutoStop(L""); });
  EXPECT_THAT(Handle(kConnect), HasSubstr(R"("auto_stop_deadline_utc":"2026-11-16T02:25:08Z"}})"));
}

TEST_F(AutoStop, WithoutTheGuardTheBypassRecordCarriesTheDelayThatTheBypassRead) {
  SetAutoStop(L"45");
  // The guard's two settings have been read; the bypass reads the second once more.
  machine.OnCall("ReadProcessVariable", 3, [this] { SetAutoStop(L"60"); });
  const std::string reply = Handle(kConnect);
  EXPECT_THAT(reply, HasSubstr(R"("skipped_for_safe_mode":false,"auto_stop_seconds":60,)"));
  EXPECT_THAT(reply, HasSubstr(R"("auto_stop_scheduled":true,"auto_stop_seconds":45,)"
                               R"("effective_auto_stop_seconds":45,)"));
}

TEST_F(AutoStop, WithTheGuardTheBypassRecordCarriesTheDelayThatTheGuardRead) {
  SetGuard();
  SetAutoStop(L"45");
  machine.OnCall("ReadProcessVariable", 3, [this] { SetAutoStop(L"60"); });
  EXPECT_THAT(Handle(kConnect),
              HasSubstr(R"("skipped_for_safe_mode":true,"auto_stop_seconds":45,)"));
}

TEST_F(AutoStop, WithTheGuardTheBypassRecordKeepsItsOwnDelayWhenTheGuardReadNone) {
  SetGuard();
  machine.OnCall("ReadProcessVariable", 3, [this] { SetAutoStop(L"60"); });
  EXPECT_THAT(Handle(kConnect),
              HasSubstr(R"("skipped_for_safe_mode":true,"auto_stop_seconds":60,)"));
}

TEST_F(AutoStop, ADelayOf1ThatTheGuardReadGoesBeforeThatOfTheBypass) {
  SetGuard();
  SetAutoStop(L"1");
  machine.OnCall("ReadProcessVariable", 3, [this] { SetAutoStop(L"60"); });
  const std::string reply = Handle(kConnect);
  EXPECT_THAT(reply, HasSubstr(R"("skipped_for_safe_mode":true,"auto_stop_seconds":1,)"));
  EXPECT_THAT(reply, HasSubstr(R"("auto_stop_deadline_utc":"2026-11-16T02:25:08Z"}})"));
}

TEST_F(AutoStop, WithoutADelayOrWithADelayOfZeroThereIsNoTimer) {
  for (const wchar_t* seconds : {L"", L"0"}) {
    SetAutoStop(seconds);
    Handle(kConnect);
    EXPECT_FALSE(server.auto_stop_thread.joinable());
    EXPECT_FALSE(server.auto_stop_cancel);
    EXPECT_EQ(machine.calls.Count("UtcTicks"), 0U);
  }
}

TEST_F(AutoStop, ASecondIsTenSleepsOf100Milliseconds) {
  for (const std::size_t seconds : {std::size_t{1}, std::size_t{120}}) {
    const std::size_t before = machine.clock.Sleeps().size();
    ConnectFor(std::to_wstring(seconds));
    PassSleeps(10 * seconds - 1);
    EXPECT_EQ(PhaseAndNode(), "connected fra-1");
    EXPECT_EQ(Story(), Texts{});
    PassTheLastSleeps(1);
    EXPECT_EQ(machine.clock.Sleeps(), std::vector<std::uint32_t>(before + 10 * seconds, 100));
  }
}

TEST_F(AutoStop, TheDelayIsCountedInSleepsAndNotAgainstTheClock) {
  ConnectFor(L"1");
  machine.clock.Advance(3'600'000);
  PassSleeps(8);
  EXPECT_EQ(Story(), Texts{});
  EXPECT_EQ(PhaseAndNode(), "connected fra-1");
  PassTheLastSleeps(1);
}

TEST_F(AutoStop, TheLongestDelayDoesNotOverflow) {
  ConnectFor(L"2147483647");
  PassSleeps(20);
  EXPECT_EQ(PhaseAndNode(), "connected fra-1");
}

TEST_F(AutoStop, WhenItExpiresServiceThenRoutesThenFileAreTakenAwayAndThenThePhase) {
  SetAdministrator();
  ConnectFor(L"1");
  NotePhasesAt({"Service.Delete", "DeleteForwardRow", "RemoveFile"});
  PassTheLastSecond();
  EXPECT_EQ(Story(), Steps({kStopsTunnel, kUnpins, kScrubsConf}));
  EXPECT_EQ(phases, Texts(3, "connected fra-1"));
  EXPECT_EQ(State(), "disconnected; active.conf of zeros");
}

TEST_F(AutoStop, WhenItHasExpiredTheStatusIsThatOfADisconnect) {
  ConnectFor(L"1");
  PassTheLastSecond();
  EXPECT_EQ(Handle(kStatus), Reply(kIdle, With(kBypassOff, {R"("auto_stop_seconds":1)"})));
}

TEST_F(AutoStop, ATunnelThatDoesNotStopDelaysTheTeardownByFifteenSeconds) {
  ConnectFor(L"1");
  machine.services.NeverStop();
  machine.clock.AdvanceInSteps(10, 100);
  machine.clock.WaitForSleepers(1, 1000);
  EXPECT_EQ(machine.Changes(), Texts{"Service.SendStop VeltraneVpnTunnel$Active"});
  machine.clock.AdvanceInSteps(15, 1000);
  AwaitTheTimersEnd();
  EXPECT_EQ(machine.Changes(), Steps({kStopsTunnel, kScrubsConf}));
}

TEST_F(AutoStop, TheSessionSurvivesIt) {
  Handle(kRegister);
  SetAutoStop(L"1");
  Handle(R"({"op":"connect","session_nonce":"abc","node_id":"n","client_private_key":"k"})");
  PassTheLastSecond();
  EXPECT_EQ(Handle(kConnect), kMismatch);
}

TEST_F(AutoStop, AfterItANewConnectStartsAfresh) {
  SetAdministrator();
  ConnectFor(L"1");
  PassTheLastSecond();
  ConnectFor(L"1");
  EXPECT_EQ(State(), kUpAndPinned);
  PassTheLastSecond();
  EXPECT_EQ(Story(), Steps({kStopsTunnel, kUnpins, kScrubsConf}));
}

using AutoStopDeathTest = AutoStopScenario;

TEST_F(AutoStopDeathTest, ATeardownThatCannotTellWhetherThereIsAFileEndsTheProcess) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(
      {
        ConnectFor(L"1");
        machine.Fail("TestExistence", 1, 5);
        PassTheLastSecond();
      },
      testing::KilledBySignal(SIGABRT), "filesystem error: exists: ");
}

// ---- the schedule

TEST_F(AutoStop, StoresTheScheduleInTheGuardRecord) {
  RouteGuardResult result;
  result.auto_stop_seconds = 7;
  result.effective_auto_stop_seconds = 8;
  ScheduleAutoStop(server, 30, &result);
  EXPECT_TRUE(result.auto_stop_scheduled);
  EXPECT_EQ(result.auto_stop_seconds, 30);
  EXPECT_EQ(result.effective_auto_stop_seconds, 8);
  EXPECT_EQ(result.auto_stop_deadline_utc, "2026-11-16T02:25:37Z");
}

TEST_F(AutoStop, WorksWithoutAGuardRecord) {
  ScheduleAutoStop(server, 1, nullptr);
  EXPECT_EQ(machine.calls.Count("UtcTicks"), 0U);
  machine.clock.AdvanceInSteps(10, 100);
  server.auto_stop_thread.join();
  EXPECT_EQ(machine.clock.Sleeps(), std::vector<std::uint32_t>(10, 100));
}

TEST_F(AutoStop, OfZeroOrNegativeSecondsDoesNothing) {
  for (const std::int32_t seconds : {0, -1}) {
    RouteGuardResult result;
    ScheduleAutoStop(server, seconds, &result);
    EXPECT_FALSE(result.auto_stop_scheduled);
    EXPECT_EQ(result.auto_stop_seconds, 0);
    EXPECT_EQ(result.auto_stop_deadline_utc, "");
    EXPECT_FALSE(server.auto_stop_thread.joinable());
    EXPECT_FALSE(server.auto_stop_cancel);
  }
  EXPECT_EQ(machine.calls.All(), Texts{});
}

TEST_F(AutoStop, OfZeroSecondsLeavesARunningTimer) {
  ScheduleAutoStop(server, 1, nullptr);
  ScheduleAutoStop(server, 0, nullptr);
  EXPECT_TRUE(server.auto_stop_thread.joinable());
  EXPECT_FALSE(server.auto_stop_cancel);
}

// ---- the deadline

constexpr std::int64_t kTicks = 10'000'000;  // a second

struct Schedule {
  const char* name;
  std::int64_t now;  // 100 ns since 1970
  std::int32_t seconds;
  const char* deadline;
};

class Deadline : public AutoStopScenario, public testing::WithParamInterface<Schedule> {};

TEST_P(Deadline, IsTheTimePlusTheDelay) {
  machine.clock.SetTicks(GetParam().now);
  RouteGuardResult result;
  ScheduleAutoStop(server, GetParam().seconds, &result);
  EXPECT_EQ(result.auto_stop_deadline_utc, GetParam().deadline);
}

INSTANTIATE_TEST_SUITE_P(
    AutoStop, Deadline,
    testing::Values(
        Schedule{"OnTheSameDay", 1738343107 * kTicks, 2, "2025-01-31T17:05:09Z"},
        Schedule{"JustBeforeMidnight", 1794873598 * kTicks, 1, "2026-11-16T23:59:59Z"},
        Schedule{"AtMidnightOnTheNextDay", 1794873599 * kTicks, 1, "2026-11-17T00:00:00Z"},
        Schedule{"InTheNextYear", 1798761570 * kTicks, 60, "2027-01-01T00:00:30Z"},
        Schedule{"OnALeapDay", 1835395199 * kTicks, 1, "2028-02-29T00:00:00Z"},
        Schedule{"DaysAheadInTheNextMonth", 1795991107 * kTicks, 259200, "2026-12-02T22:25:07Z"},
        Schedule{"OfTheLongestDelay", 1794795907 * kTicks, 2147483647, "2094-12-04T05:39:14Z"},
        // 2026-11-16T02:25:07.9999999Z
        Schedule{"WithPartsOfASecondCutOff", 17947959079999999, 1, "2026-11-16T02:25:08Z"}),
    NameOf<Schedule>);

}  // namespace
}  // namespace veltrane
