// The clock of the simulated machine and the threads that sleep on it.

#include <atomic>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/clock.h"
#include "tests/simulated/machine.h"

namespace veltrane::simulated {
namespace {

using testing::ElementsAre;

TEST(SimulatedClock, StartsAtAFixedTimeAndCanBeSet) {
  Machine machine;
  EXPECT_EQ(UtcTicks(), 17947959070000000);
  machine.clock.SetTime(1);
  EXPECT_EQ(UtcTicks(), 10000000);
  machine.clock.SetTicks(17);
  EXPECT_EQ(UtcTicks(), 17);
}

TEST(SimulatedClock, FreeSleepMovesTheClockAtOnce) {
  Machine machine;
  machine.clock.SetTicks(0);
  SleepMilliseconds(1000);
  SleepMilliseconds(100);
  EXPECT_EQ(UtcTicks(), 11000000);
  EXPECT_THAT(machine.clock.Sleeps(), ElementsAre(1000, 100));
}

TEST(SimulatedClock, SteppedSleepLastsUntilTheClockReachesItsDeadline) {
  Machine machine;
  machine.clock.RunInSteps();
  std::atomic<bool> awake{false};
  std::thread sleeper([&awake] {
    SleepMilliseconds(100);
    awake = true;
  });
  machine.clock.WaitForSleepers(1);
  machine.clock.Advance(99);
  EXPECT_EQ(machine.clock.Sleepers(), 1U);
  EXPECT_FALSE(awake);
  machine.clock.Advance(1);
  sleeper.join();
  EXPECT_TRUE(awake);
  EXPECT_EQ(machine.clock.Sleepers(), 0U);
}

TEST(SimulatedClock, SleepersCanBeToldApartByTheirLength) {
  Machine machine;
  machine.clock.RunInSteps();
  std::thread first([] { SleepMilliseconds(100); });
  std::thread second([] { SleepMilliseconds(500); });
  machine.clock.WaitForSleepers(1, 500);
  machine.clock.WaitForSleepers(2);
  machine.clock.Advance(100);
  first.join();
  EXPECT_EQ(machine.clock.Sleepers(), 1U);
  machine.clock.RunFreely();
  second.join();
}

TEST(SimulatedClockDeathTest, MachineMustNotEndWhileAThreadSleeps) {
  testing::FLAGS_gtest_death_test_style = "threadsafe";
  EXPECT_DEATH(
      {
        Machine machine;
        machine.clock.RunInSteps();
        std::thread([] { SleepMilliseconds(1); }).detach();
        machine.clock.WaitForSleepers(1);
      },
      "the machine is destroyed while a thread waits");
}

}  // namespace
}  // namespace veltrane::simulated
