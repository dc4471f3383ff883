#include "tests/simulated/clock.h"

#include <algorithm>
#include <chrono>
#include <thread>
#include <utility>

#include "platform/clock.h"
#include "tests/simulated/machine.h"

namespace veltrane {
namespace simulated {
namespace {

constexpr std::int64_t kTicksPerMillisecond = 10'000;

}  // namespace

void Clock::SetTime(std::int64_t unix_seconds) { SetTicks(unix_seconds * kTicksPerSecond); }

void Clock::SetTicks(std::int64_t utc_ticks) {
  const std::lock_guard<std::mutex> lock(core_.mutex);
  ticks_ = utc_ticks;
  core_.changed.notify_all();
}

std::int64_t Clock::Ticks() const {
  const std::lock_guard<std::mutex> lock(core_.mutex);
  return ticks_;
}

void Clock::SetUptime(std::uint64_t milliseconds) {
  const std::lock_guard<std::mutex> lock(core_.mutex);
  uptime_ticks_ = static_cast<std::int64_t>(milliseconds) * kTicksPerMillisecond;
}

std::uint64_t Clock::Uptime() const {
  const std::lock_guard<std::mutex> lock(core_.mutex);
  return static_cast<std::uint64_t>(uptime_ticks_ / kTicksPerMillisecond);
}

void Clock::MoveOn(std::int64_t ticks) {
  ticks_ += ticks;
  uptime_ticks_ += ticks;
  core_.changed.notify_all();
}

void Clock::RunInSteps() {
  const std::lock_guard<std::mutex> lock(core_.mutex);
  stepped_ = true;
}

void Clock::RunFreely() {
  const std::lock_guard<std::mutex> lock(core_.mutex);
  stepped_ = false;
  core_.changed.notify_all();
}

void Clock::Advance(std::uint32_t milliseconds) {
  const std::lock_guard<std::mutex> lock(core_.mutex);
  MoveOn(milliseconds * kTicksPerMillisecond);
}

void Clock::AdvanceInSteps(std::size_t steps, std::uint32_t milliseconds, std::size_t sleepers) {
  for (std::size_t step = 0; step < steps; ++step) {
    WaitForSleepers(sleepers);
    Advance(milliseconds);
  }
}

std::size_t Clock::CountSleepers(std::optional<std::uint32_t> milliseconds) const {
  return static_cast<std::size_t>(
      std::count_if(sleepers_.begin(), sleepers_.end(), [&](const Sleeper& sleeper) {
        return sleeper.deadline > ticks_ &&
               sleeper.milliseconds == milliseconds.value_or(sleeper.milliseconds);
      }));
}

void Clock::WaitForSleepers(std::size_t count, std::optional<std::uint32_t> milliseconds) {
  std::unique_lock<std::mutex> lock(core_.mutex);
  core_.Await(lock, "a thread to sleep", [&] { return CountSleepers(milliseconds) >= count; });
}

std::size_t Clock::Sleepers() const {
  const std::lock_guard<std::mutex> lock(core_.mutex);
  return CountSleepers(std::nullopt);
}

std::vector<std::uint32_t> Clock::Sleeps() const {
  const std::lock_guard<std::mutex> lock(core_.mutex);
  return sleeps_;
}

void Clock::OnSleep(std::function<void(std::uint32_t milliseconds)> hook) {
  const std::lock_guard<std::mutex> lock(core_.mutex);
  hook_ = std::move(hook);
}

void Clock::At(std::uint32_t milliseconds, std::function<void()> hook) {
  const std::uint64_t time = Uptime() + milliseconds;
  const std::lock_guard<std::mutex> lock(core_.mutex);
  hooks_at_.emplace(time, std::move(hook));
}

std::function<void()> Clock::TakeDueHook() {
  const std::uint64_t now = Uptime();
  const std::lock_guard<std::mutex> lock(core_.mutex);
  if (hooks_at_.empty() || hooks_at_.begin()->first > now) return nullptr;
  std::function<void()> hook = std::move(hooks_at_.begin()->second);
  hooks_at_.erase(hooks_at_.begin());
  return hook;
}

bool Clock::PassUntil(const std::function<bool()>& ready, std::uint32_t milliseconds) {
  const std::uint64_t end = Uptime() + milliseconds;
  for (;;) {
    while (const std::function<void()> hook = TakeDueHook()) hook();
    if (ready()) return true;
    const std::uint64_t now = Uptime();
    if (now >= end) return false;
    std::uint64_t next = end;
    {
      const std::lock_guard<std::mutex> lock(core_.mutex);
      if (!hooks_at_.empty()) next = std::min(next, hooks_at_.begin()->first);
    }
    Advance(static_cast<std::uint32_t>(next - now));
  }
}

void Clock::Sleep(std::uint32_t milliseconds) {
  std::function<void(std::uint32_t)> hook;
  {
    const std::lock_guard<std::mutex> lock(core_.mutex);
    sleeps_.push_back(milliseconds);
    hook = hook_;
  }
  if (hook) hook(milliseconds);
  if (core_.conductor != nullptr) return core_.conductor->Sleep(milliseconds);

  std::unique_lock<std::mutex> lock(core_.mutex);
  const std::int64_t length = milliseconds * kTicksPerMillisecond;
  if (stepped_) {
    const auto sleeper = sleepers_.insert(sleepers_.end(), {ticks_ + length, milliseconds});
    core_.changed.notify_all();
    core_.Block(lock, [&] { return !stepped_ || ticks_ >= sleeper->deadline; });
    sleepers_.erase(sleeper);
    return;
  }
  MoveOn(length);
  lock.unlock();
  // A real pause keeps a loop that polls until another thread acts from filling the log meanwhile.
  std::this_thread::sleep_for(std::chrono::microseconds(50));
}

}  // namespace simulated

std::int64_t UtcTicks() {
  simulated::Machine& machine = simulated::Machine::Current();
  machine.calls.Begin("UtcTicks");
  return machine.clock.Ticks();
}

std::uint64_t UptimeMilliseconds() {
  simulated::Machine& machine = simulated::Machine::Current();
  machine.calls.Begin("UptimeMilliseconds");
  return machine.clock.Uptime();
}

void SleepMilliseconds(std::uint32_t milliseconds) {
  simulated::Machine& machine = simulated::Machine::Current();
  machine.calls.Begin("Sleep", std::to_string(milliseconds));
  machine.clock.Sleep(milliseconds);
}

}  // namespace veltrane
