#pragma once

// How much memory the program holds. The executable that uses it links
// tests/allocations/live_memory.cpp, which replaces the global operator new and operator delete.

#include <cstddef>
#include <ostream>

namespace veltrane {

struct LiveMemory {
  std::size_t allocations = 0;
  std::size_t bytes = 0;  // as asked for

  bool operator==(const LiveMemory&) const = default;
};
std::ostream& operator<<(std::ostream& stream, const LiveMemory& memory);

// What operator new has given and operator delete has not got back, on all threads. Threads that
// allocate meanwhile may or may not be counted.
LiveMemory CountLiveMemory();

}  // namespace veltrane
