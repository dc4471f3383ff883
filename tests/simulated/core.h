#pragma once

// What the parts of the simulated machine share: its one lock, the signal that something changed,
// and the way it gives up.

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>
#include <optional>
#include <string>

namespace veltrane::simulated {

// How long a test waits for another thread before the process is ended with a message. Far longer
// than any single step takes, also on a busy machine, so that only a real deadlock reaches it;
// short enough to be waited for, because some death tests that fail wait for it to the end.
inline constexpr std::chrono::seconds kPatience{20};

// Prints "simulated machine: " and the message to the real standard error and aborts. Used for
// mistakes of a test, never for anything the program under test may do.
[[noreturn]] void Die(const std::string& message);

// Who decides, where there is one, which thread goes on, what fails and when time passes.
class Conductor {
 public:
  Conductor() = default;
  Conductor(const Conductor&) = delete;
  Conductor& operator=(const Conductor&) = delete;
  virtual ~Conductor() = default;

  // At every boundary call, before it has any effect, with no lock held: the status when it is to
  // fail.
  virtual std::optional<std::uint32_t> AtCall(const std::string& name, const std::string& text) = 0;

  // In place of a wait: returns when `ready`, which is asked with the lock held, and lets go of the
  // lock meanwhile.
  virtual void Wait(std::unique_lock<std::mutex>& lock, const std::function<bool()>& ready) = 0;

  // In place of a sleep, with no lock held.
  virtual void Sleep(std::uint32_t milliseconds) = 0;
};

struct Core {
  std::mutex mutex;                 // guards the whole machine
  std::condition_variable changed;  // signalled after every change another thread may wait for
  int blocked_threads = 0;          // threads of the program that wait inside a boundary call
  Conductor* conductor = nullptr;

  // Waits inside a boundary call, without a bound, as Windows does.
  template <typename Ready>
  void Block(std::unique_lock<std::mutex>& lock, Ready ready) {
    if (conductor != nullptr) return conductor->Wait(lock, ready);
    ++blocked_threads;
    changed.wait(lock, ready);
    --blocked_threads;
  }

  // Waits on behalf of a test; ends the process when `what` does not come about in kPatience.
  template <typename Ready>
  void Await(std::unique_lock<std::mutex>& lock, const std::string& what, Ready ready) {
    if (conductor != nullptr) return conductor->Wait(lock, ready);
    if (!changed.wait_for(lock, kPatience, ready)) Die("gave up waiting for " + what);
  }
};

}  // namespace veltrane::simulated
