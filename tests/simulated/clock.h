#pragma once

// The machine's clock and the threads that sleep on it.

#include <cstddef>
#include <cstdint>
#include <functional>
#include <list>
#include <optional>
#include <vector>

#include "tests/simulated/core.h"

namespace veltrane::simulated {

// The clock runs in one of two modes.
//
// Running freely (the start): a sleep moves the clock on by its length at once and lets other
// threads run for a moment. Fifteen polls of a second take no time; but a thread that waits for a
// deadline gets there as fast as it can, and two sleepers move the same clock.
//
// Stepped: a sleeping thread stays asleep until the test has moved the clock to its deadline. Use
// it for everything that must still be asleep while something else happens. End it with RunFreely
// before joining the threads that sleep.
//
// Every member may be called on any thread.
class Clock {
 public:
  explicit Clock(Core& core) : core_(core) {}

  // The time is 2026-11-16T02:25:07Z when the machine starts.
  void SetTime(std::int64_t unix_seconds);
  void SetTicks(std::int64_t utc_ticks);  // 100 ns since 1970
  std::int64_t Ticks() const;

  // Windows was started a day before. Sleeping and Advance let the uptime grow; setting the time
  // does not change it.
  void SetUptime(std::uint64_t milliseconds);
  std::uint64_t Uptime() const;

  void RunInSteps();
  void RunFreely();  // wakes every sleeper

  // Moves the clock on in one jump and wakes the threads whose deadline has come. A thread that
  // then sleeps again starts from the new time.
  void Advance(std::uint32_t milliseconds);

  // Advances `steps` times by `milliseconds`, each time once `sleepers` threads are asleep: drives
  // a polling loop through its rounds. On return they may not yet have gone to sleep again.
  void AdvanceInSteps(std::size_t steps, std::uint32_t milliseconds, std::size_t sleepers = 1);

  // Stepped mode: waits until that many threads are asleep (see kPatience), each for exactly this
  // many milliseconds when given. A thread whose deadline has come does not count any more, even
  // when it has not been scheduled yet.
  void WaitForSleepers(std::size_t count, std::optional<std::uint32_t> milliseconds = {});
  std::size_t Sleepers() const;

  // The length of every sleep begun so far, in order.
  std::vector<std::uint32_t> Sleeps() const;

  // Runs at the beginning of every sleep, on the sleeping thread with no lock held, with the length
  // of the sleep in milliseconds. Replaces an earlier hook; null removes it.
  void OnSleep(std::function<void(std::uint32_t milliseconds)> hook);

  // For the boundary function.
  void Sleep(std::uint32_t milliseconds);

 private:
  struct Sleeper {
    std::int64_t deadline;
    std::uint32_t milliseconds;
  };

  void MoveOn(std::int64_t ticks);
  std::size_t CountSleepers(std::optional<std::uint32_t> milliseconds) const;

  Core& core_;
  std::int64_t ticks_ = 17947959070000000;
  std::int64_t uptime_ticks_ = 86'400 * 10'000'000LL;
  bool stepped_ = false;
  std::list<Sleeper> sleepers_;
  std::vector<std::uint32_t> sleeps_;
  std::function<void(std::uint32_t)> hook_;
};

}  // namespace veltrane::simulated
