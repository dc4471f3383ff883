#pragma once

// Text whose memory is overwritten before it is freed.

#include <algorithm>
#include <cstddef>
#include <memory>
#include <span>
#include <string_view>
#include <vector>

#include "platform/secret_memory.h"

namespace veltrane {

// Wipes every block before freeing it. For vectors only: a std::string keeps short texts inside
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
    WipeMemory(std::as_writable_bytes(std::span(memory, count)));
    std::allocator<T>().deallocate(memory, count);
  }

  bool operator==(const WipingAllocator&) const = default;
};

// A text that is wiped when it is destroyed and whenever it moves in memory.
class SecretText {
 public:
  SecretText() = default;
  explicit SecretText(std::string_view text) : bytes_(text.begin(), text.end()) {}

  // Valid until the text is appended to or destroyed.
  std::string_view View() const { return {bytes_.data(), bytes_.size()}; }
  bool IsEmpty() const { return bytes_.empty(); }

  void Append(std::string_view text) { bytes_.insert(bytes_.end(), text.begin(), text.end()); }

 private:
  std::vector<char, WipingAllocator<char>> bytes_;
};

}  // namespace veltrane
