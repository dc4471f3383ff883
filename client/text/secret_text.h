#pragma once

// Text that leaves nothing behind: its memory is overwritten before it is given back.

#include <algorithm>
#include <cstddef>
#include <memory>
#include <string_view>
#include <vector>

#include "platform/secret_memory.h"

namespace veltrane {

// Wipes every block before it returns it. For vectors: a std::string keeps short texts inside
// itself, where no allocator sees them.
template <typename T>
struct WipingAllocator {
  using value_type = T;  // NOLINT(readability-identifier-naming): as the standard names it

  WipingAllocator() = default;
  template <typename U>
  explicit WipingAllocator(const WipingAllocator<U>&) {}

  // NOLINTNEXTLINE(readability-identifier-naming)
  T* allocate(std::size_t count) { return std::allocator<T>().allocate(count); }
  // NOLINTNEXTLINE(readability-identifier-naming)
  void deallocate(T* memory, std::size_t count) {
    WipeMemory(memory, count * sizeof(T));
    std::allocator<T>().deallocate(memory, count);
  }

  bool operator==(const WipingAllocator&) const = default;
};

// A text of bytes, wiped with the object and whenever it grows.
class SecretText {
 public:
  SecretText() = default;
  explicit SecretText(std::string_view text) : bytes_(text.begin(), text.end()) {}

  // What is looked at here lives no longer than the object, and moves when it grows.
  std::string_view View() const { return {bytes_.data(), bytes_.size()}; }
  bool IsEmpty() const { return bytes_.empty(); }

  void Append(std::string_view text) { bytes_.insert(bytes_.end(), text.begin(), text.end()); }

 private:
  std::vector<char, WipingAllocator<char>> bytes_;
};

}  // namespace veltrane
