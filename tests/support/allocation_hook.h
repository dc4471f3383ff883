#pragma once

// A moment inside the program at which a test may act where no call of the boundary is near.
// The executable that uses it links tests/support/allocation_hook.cpp, which replaces the global
// operator new and operator delete.

#include <cstddef>
#include <functional>

namespace veltrane {

// While it exists, runs `hook` once: at this thread's first allocation of more than `bytes` bytes.
class AllocationHook {
 public:
  AllocationHook(std::size_t bytes, std::function<void()> hook);
  AllocationHook(const AllocationHook&) = delete;
  AllocationHook& operator=(const AllocationHook&) = delete;
  ~AllocationHook();

  bool HasRun() const { return has_run_; }

  // For operator new.
  static void Note(std::size_t bytes);

 private:
  std::size_t bytes_;
  std::function<void()> hook_;
  bool has_run_ = false;
};

}  // namespace veltrane
