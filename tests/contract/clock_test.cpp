// platform/clock.h

#include "platform/clock.h"

#include "tests/contract/stage.h"

namespace veltrane::contract {
namespace {

using Clock = Contract;

constexpr std::int64_t kMinute = 60 * kTicksPerSecond;

TEST_F(Clock, CountsTicksOf100NanosecondsSince1970) {
  const std::int64_t before = stage.OtherClock();
  const std::int64_t ticks = UtcTicks();
  EXPECT_GE(ticks, before - kMinute);
  EXPECT_LE(ticks, stage.OtherClock() + kMinute);
}

// The bounds are those of the unit: a sleep of 200 seconds or of 200 microseconds is far outside.
TEST_F(Clock, IsSleptOnInMilliseconds) {
  const std::int64_t before = UtcTicks();
  SleepMilliseconds(200);
  const std::int64_t slept = UtcTicks() - before;
  EXPECT_GE(slept, kTicksPerSecond / 10);
  EXPECT_LE(slept, kMinute);
}

TEST_F(Clock, CountsTheMillisecondsSinceWindowsWasStarted) {
  const std::uint64_t before = UptimeMilliseconds();
  SleepMilliseconds(200);
  const std::uint64_t passed = UptimeMilliseconds() - before;
  EXPECT_GE(passed, 100U);
  EXPECT_LE(passed, 60'000U);
}

TEST_F(Clock, CountsNoLessThanTheTimeThatTheSystemWasAwake) {
  EXPECT_GE(UptimeMilliseconds() + 1000, stage.MillisecondsAwake());
}

TEST_F(Clock, CountsFromBeforeAnyProcessWasStarted) {
  const std::int64_t own_start = stage.OwnStart();
  const auto uptime = static_cast<std::int64_t>(UptimeMilliseconds()) * (kTicksPerSecond / 1000);
  EXPECT_LE(UtcTicks() - uptime, own_start + kMinute);
}

}  // namespace
}  // namespace veltrane::contract
