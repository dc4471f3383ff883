#include "tests/allocations/live_memory.h"

#include <atomic>
#include <cstdlib>
#include <new>

namespace veltrane {
namespace {

// In front of every allocation stands its size, in as many bytes as keep the alignment.
constexpr std::size_t kHeadBytes = __STDCPP_DEFAULT_NEW_ALIGNMENT__;

std::atomic<std::size_t> live_allocations = 0;
std::atomic<std::size_t> live_bytes = 0;

void* Allocate(std::size_t bytes) {
  void* const head = std::malloc(kHeadBytes + bytes);
  if (head == nullptr) throw std::bad_alloc();
  *static_cast<std::size_t*>(head) = bytes;
  ++live_allocations;
  live_bytes += bytes;
  return static_cast<char*>(head) + kHeadBytes;
}

void Free(void* memory) noexcept {
  if (memory == nullptr) return;
  void* const head = static_cast<char*>(memory) - kHeadBytes;
  --live_allocations;
  live_bytes -= *static_cast<std::size_t*>(head);
  std::free(head);
}

}  // namespace

std::ostream& operator<<(std::ostream& stream, const LiveMemory& memory) {
  return stream << memory.allocations << " allocations, " << memory.bytes << " bytes";
}

LiveMemory CountLiveMemory() { return {.allocations = live_allocations, .bytes = live_bytes}; }

}  // namespace veltrane

void* operator new(std::size_t bytes) { return veltrane::Allocate(bytes); }

void operator delete(void* memory) noexcept { veltrane::Free(memory); }

void operator delete(void* memory, std::size_t) noexcept { veltrane::Free(memory); }
