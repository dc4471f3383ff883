#pragma once

#include <chrono>
#include <future>
#include <string>
#include <utility>

#include <gtest/gtest.h>

#include "tests/scenarios/scenario.h"

namespace veltrane {

// Scenarios with a timer, on a clock that moves only when a test says so.
class AutoStopScenario : public Scenario {
 protected:
  AutoStopScenario() { machine.clock.RunInSteps(); }

  // Connects with a timer of this many seconds, which then is in its first sleep.
  void ConnectFor(const std::wstring& seconds) {
    SetAutoStop(seconds);
    Handle(kConnect);
    machine.clock.WaitForSleepers(1, 100);
    StartStory();
  }

  // Lets the timer wake from this many sleeps; it is asleep again when this returns.
  void PassSleeps(std::size_t sleeps) {
    machine.clock.AdvanceInSteps(sleeps, 100);
    machine.clock.WaitForSleepers(1, 100);
  }

  // Lets the timer's last sleeps pass, and waits until it has done everything: the phase is the
  // last thing that an expired timer sets.
  void PassTheLastSleeps(std::size_t sleeps) {
    machine.clock.AdvanceInSteps(sleeps, 100);
    AwaitTheTimersEnd();
  }
  void PassTheLastSecond() { PassTheLastSleeps(10); }
  void AwaitTheTimersEnd() {
    Await("the timer to disconnect", [this] { return PhaseAndNode() == "disconnected"; });
  }

  // Handles a request that is not to wait for the timer. One that cancels it fails the test.
  std::string HandleBesideTheTimer(const std::string& request) {
    auto reply = std::async(std::launch::async, [&] { return Handle(request); });
    Await("the reply", [&] {
      return server.auto_stop_cancel.load() ||
             reply.wait_for(std::chrono::seconds(0)) == std::future_status::ready;
    });
    if (server.auto_stop_cancel) {
      ADD_FAILURE() << "the timer was cancelled";
      machine.clock.RunFreely();
    }
    return reply.get();
  }

  // Runs something that cancels the timer and therefore waits for it, on a thread of its own, up to
  // the moment when the timer has been told.
  template <typename Cancelling>
  auto UntilTheTimerIsTold(Cancelling cancel) {
    auto cancelled = std::async(std::launch::async, std::move(cancel));
    Await("the timer to be cancelled", [this] { return server.auto_stop_cancel.load(); });
    return cancelled;
  }
};

}  // namespace veltrane
