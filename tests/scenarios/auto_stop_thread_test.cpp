// A timer whose thread cannot be created, which is known only once the connection is up.

#include <csignal>
#include <future>
#include <optional>
#include <system_error>

#include <gtest/gtest.h>

#include "ipc/auto_stop.h"
#include "tests/scenarios/auto_stop_scenario.h"
#include "tests/simulated/pipe_client.h"
#include "tests/support/no_more_threads.h"

namespace veltrane {
namespace {

class AutoStopWithoutThreads : public AutoStopScenario {
 protected:
  // No thread can be created any more once a connect reckons the deadline of its timer.
  void RunOutOfThreadsAtTheDeadline() {
    machine.OnCall("UtcTicks", 1, [this] { no_more_threads.emplace(); });
  }

  std::optional<NoMoreThreads> no_more_threads;
};

TEST_F(AutoStopWithoutThreads, ScheduleThrowsAfterItHasEndedTheOldTimerAndWrittenTheRecord) {
  ConnectFor(L"60");
  machine.clock.RunFreely();
  RouteGuardResult result;
  RunOutOfThreadsAtTheDeadline();
  std::error_code thrown;
  try {
    ScheduleAutoStop(server, 30, &result);
  } catch (const std::system_error& error) {
    thrown = error.code();
  }
  no_more_threads.reset();
  EXPECT_EQ(thrown, std::errc::resource_unavailable_try_again);
  EXPECT_TRUE(result.auto_stop_scheduled);
  EXPECT_EQ(result.auto_stop_seconds, 30);
  EXPECT_NE(result.auto_stop_deadline_utc, "");
  EXPECT_FALSE(server.auto_stop_thread.joinable());
  EXPECT_FALSE(server.auto_stop_cancel);
}

TEST_F(AutoStopWithoutThreads, AConnectThrowsAndLeavesTheConnectionThatIsUp) {
  SetAdministrator();
  SetAutoStop(L"60");
  RunOutOfThreadsAtTheDeadline();
  EXPECT_THROW(Handle(kConnect), std::system_error);
  no_more_threads.reset();
  EXPECT_EQ(State(), kUpAndPinned);
}

using AutoStopWithoutThreadsDeathTest = AutoStopWithoutThreads;

TEST_F(AutoStopWithoutThreadsDeathTest, AConnectOverThePipeEndsTheProcess) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  SetAutoStop(L"60");
  EXPECT_EXIT(
      {
        server.Start();
        RunOutOfThreadsAtTheDeadline();
        simulated::Exchange(kConnect);  // the pipe is closed before the process has ended
        std::promise<void>().get_future().wait_for(simulated::kPatience);
      },
      testing::KilledBySignal(SIGABRT), "terminate called after throwing .*system_error");
}

}  // namespace
}  // namespace veltrane
