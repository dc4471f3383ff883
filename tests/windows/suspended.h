#pragma once

#include <windows.h>

#include <vector>

namespace veltrane::windows_tests {

// While it exists, no thread of the process with this id runs, but what others do to its handles
// happens.
class Suspended {
 public:
  explicit Suspended(DWORD process);
  Suspended(const Suspended&) = delete;
  Suspended& operator=(const Suspended&) = delete;
  ~Suspended();

 private:
  std::vector<HANDLE> threads_;
};

}  // namespace veltrane::windows_tests
