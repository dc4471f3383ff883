#include "tests/support/allocation_hook.h"

#include <cstdlib>
#include <new>
#include <utility>

namespace veltrane {
namespace {

thread_local AllocationHook* current = nullptr;

}  // namespace

AllocationHook::AllocationHook(std::size_t bytes, std::function<void()> hook)
    : bytes_(bytes), hook_(std::move(hook)) {
  current = this;
}

AllocationHook::~AllocationHook() { current = nullptr; }

void AllocationHook::Note(std::size_t bytes) {
  if (current == nullptr || bytes <= current->bytes_) return;
  AllocationHook& due = *std::exchange(current, nullptr);
  due.has_run_ = true;
  due.hook_();
}

}  // namespace veltrane

void* operator new(std::size_t bytes) {
  veltrane::AllocationHook::Note(bytes);
  if (void* memory = std::malloc(bytes == 0 ? 1 : bytes)) return memory;
  throw std::bad_alloc();
}

void operator delete(void* memory) noexcept { std::free(memory); }

void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }
