#pragma once

// Waiting for a state of another process.

#include <windows.h>

namespace veltrane::windows_tests {

// Tries `condition` until it holds. Returns false when it still does not after a minute.
template <typename Condition>
bool WaitUntil(Condition condition) {
  constexpr int kAttempts = 3000;
  constexpr DWORD kAttemptMilliseconds = 20;
  for (int attempt = 0; attempt < kAttempts; ++attempt) {
    if (condition()) return true;
    Sleep(kAttemptMilliseconds);
  }
  return false;
}

}  // namespace veltrane::windows_tests
