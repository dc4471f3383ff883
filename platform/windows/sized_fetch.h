#pragma once

// The IP Helper calls that are made for the size and then for the data.

#include <windows.h>

#include <cstddef>
#include <optional>
#include <vector>

namespace veltrane {

// Calls `fetch(buffer, &size)` with no buffer and a size of 0, then with a zero-filled buffer of
// exactly the size that the first call returned. nullopt unless the first call returns `too_small`
// and the second 0: a first call that succeeds is a failure, as is a table that has grown since.
template <typename Fetch>
std::optional<std::vector<std::byte>> FetchSized(ULONG too_small, Fetch fetch) {
  ULONG size = 0;
  if (fetch(nullptr, &size) != too_small) return std::nullopt;
  std::vector<std::byte> buffer(size);
  if (fetch(buffer.data(), &size) != NO_ERROR) return std::nullopt;
  return buffer;
}

// Calls `fetch(buffer, &size)` with the size that it asked for last until that is enough, beginning
// with no buffer and a size of 0. nullopt when it returns anything but `too_small` and 0, when a
// call without a buffer succeeds, and when the table outgrows its size again and again.
template <typename Fetch>
std::optional<std::vector<std::byte>> FetchGrowing(ULONG too_small, Fetch fetch) {
  constexpr int kAttempts = 8;
  std::vector<std::byte> buffer;
  for (int attempt = 0; attempt < kAttempts; ++attempt) {
    ULONG size = static_cast<ULONG>(buffer.size());
    const ULONG status = fetch(buffer.empty() ? nullptr : buffer.data(), &size);
    if (status == NO_ERROR && !buffer.empty()) return buffer;
    if (status != too_small) return std::nullopt;
    buffer.assign(size, std::byte{0});
  }
  return std::nullopt;
}

}  // namespace veltrane
