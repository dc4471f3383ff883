// The record that a schedule leaves, and the text of its deadline.

#include <cstdint>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "ipc/auto_stop.h"
#include "tests/scenarios/auto_stop_scenario.h"

namespace veltrane {
namespace {

class AutoStopSchedule : public AutoStopScenario {
 protected:
  // The deadline of a timer of this many seconds that is scheduled at this time.
  std::string Deadline(std::int64_t now, std::int32_t seconds) {
    machine.clock.SetTime(now);
    RouteGuardResult result;
    ScheduleAutoStop(server, seconds, &result);
    return result.auto_stop_deadline_utc;
  }
};

TEST_F(AutoStopSchedule, StoresTheScheduleInTheGuardRecord) {
  RouteGuardResult result;
  result.auto_stop_seconds = 7;
  result.effective_auto_stop_seconds = 8;
  ScheduleAutoStop(server, 30, &result);
  EXPECT_TRUE(result.auto_stop_scheduled);
  EXPECT_EQ(result.auto_stop_seconds, 30);
  EXPECT_EQ(result.effective_auto_stop_seconds, 8);
  EXPECT_EQ(result.auto_stop_deadline_utc, "2026-11-16T02:25:37Z");
}

TEST_F(AutoStopSchedule, WorksWithoutAGuardRecord) {
  ScheduleAutoStop(server, 1, nullptr);
  EXPECT_EQ(machine.calls.Count("UtcTicks"), 0U);
  machine.clock.AdvanceInSteps(10, 100);
  server.auto_stop_thread.join();
  EXPECT_EQ(machine.clock.Sleeps(), std::vector<std::uint32_t>(10, 100));
}

TEST_F(AutoStopSchedule, OfZeroSecondsDoesNothing) {
  RouteGuardResult result;
  ScheduleAutoStop(server, 0, &result);
  EXPECT_FALSE(result.auto_stop_scheduled);
  EXPECT_EQ(result.auto_stop_seconds, 0);
  EXPECT_EQ(result.auto_stop_deadline_utc, "");
  EXPECT_FALSE(server.auto_stop_thread.joinable());
  EXPECT_FALSE(server.auto_stop_cancel);
  EXPECT_EQ(machine.calls.All(), std::vector<std::string>{});
}

TEST_F(AutoStopSchedule, OfNegativeSecondsDoesNothing) {
  RouteGuardResult result;
  ScheduleAutoStop(server, -1, &result);
  EXPECT_FALSE(result.auto_stop_scheduled);
  EXPECT_EQ(result.auto_stop_seconds, 0);
  EXPECT_FALSE(server.auto_stop_thread.joinable());
}

TEST_F(AutoStopSchedule, OfZeroSecondsLeavesARunningTimer) {
  ScheduleAutoStop(server, 1, nullptr);
  ScheduleAutoStop(server, 0, nullptr);
  EXPECT_TRUE(server.auto_stop_thread.joinable());
  EXPECT_FALSE(server.auto_stop_cancel);
}

TEST_F(AutoStopSchedule, TheDeadlineIsTheTimePlusTheDelay) {
  EXPECT_EQ(Deadline(1738343107, 2), "2025-01-31T17:05:09Z");
}

TEST_F(AutoStopSchedule, ADeadlineBeyondMidnightCarriesTheNextDay) {
  EXPECT_EQ(Deadline(1794873599, 1), "2026-11-17T00:00:00Z");  // 2026-11-16T23:59:59Z
}

TEST_F(AutoStopSchedule, ADeadlineJustBeforeMidnightCarriesTheSameDay) {
  EXPECT_EQ(Deadline(1794873598, 1), "2026-11-16T23:59:59Z");
}

TEST_F(AutoStopSchedule, ADeadlineBeyondTheYearsEndCarriesTheNextYear) {
  EXPECT_EQ(Deadline(1798761570, 60), "2027-01-01T00:00:30Z");  // 2026-12-31T23:59:30Z
}

TEST_F(AutoStopSchedule, ADeadlineMayFallOnALeapDay) {
  EXPECT_EQ(Deadline(1835395199, 1), "2028-02-29T00:00:00Z");  // 2028-02-28T23:59:59Z
}

TEST_F(AutoStopSchedule, ADeadlineDaysAheadCarriesTheMonth) {
  EXPECT_EQ(Deadline(1795991107, 259200), "2026-12-02T22:25:07Z");
}

TEST_F(AutoStopSchedule, TheLongestDelayHasADeadlineToo) {
  EXPECT_EQ(Deadline(1794795907, 2147483647), "2094-12-04T05:39:14Z");
}

TEST_F(AutoStopSchedule, PartsOfASecondAreCutOff) {
  machine.clock.SetTicks(17947959079999999);  // 2026-11-16T02:25:07.9999999Z
  RouteGuardResult result;
  ScheduleAutoStop(server, 1, &result);
  EXPECT_EQ(result.auto_stop_deadline_utc, "2026-11-16T02:25:08Z");
}

}  // namespace
}  // namespace veltrane
