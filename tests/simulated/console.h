#pragma once

// Standard output, standard error, the debugger output and console events.

#include <cstdint>
#include <string>
#include <vector>

#include "platform/console.h"
#include "tests/simulated/core.h"

namespace veltrane::simulated {

enum class Outlet { kOutput, kError, kDebugger };

// One write, whole.
struct Printed {
  Outlet outlet = Outlet::kOutput;
  std::wstring text;

  bool operator==(const Printed&) const = default;
};

// Every member may be called on any thread.
class Console {
 public:
  explicit Console(Core& core) : core_(core) {}

  // Everything written so far to the one outlet, joined; and every write to any of them, in order.
  // A narrow text printed by PrintErrorLine ends at its first zero byte and appears with each byte
  // as one unit, 0xC3 as 0x00C3.
  std::wstring Output() const;
  std::wstring Error() const;
  std::wstring Debugger() const;
  std::vector<Printed> Log() const;
  void Clear();

  // From now on standard error is also written, as UTF-8, to the real standard error: for death
  // tests, whose child can tell its parent nothing else.
  void EchoErrors();

  // Calls the installed control handler with this type (0 Ctrl+C, 1 Ctrl+Break, 2 close, 5 log-off,
  // 6 shutdown) on a thread of its own and waits for it. Its answer, or false when there is none.
  bool SendEvent(std::uint32_t control_type);
  bool HasHandler() const;

  // For the boundary functions.
  void Print(Outlet outlet, const std::wstring& text);
  void Install(bool (*handler)(std::uint32_t));  // null: the program's process has ended

 private:
  std::wstring Joined(Outlet outlet) const;

  Core& core_;
  std::vector<Printed> log_;
  bool echo_errors_ = false;
  bool (*handler_)(std::uint32_t) = nullptr;
};

}  // namespace veltrane::simulated
