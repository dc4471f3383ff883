#pragma once

// The size-then-fetch calls of IP Helper.

#include <windows.h>

#include <cstddef>
#include <optional>
#include <vector>

namespace veltrane {

// Calls `fetch(buffer, &size)` with no buffer and a size of 0, then with a zero-filled buffer of
// exactly the size asked for. nullopt unless the first call answers `too_small`, success included,
// and the second 0: a table that grew in between counts as unreadable.
template <typename Fetch>
std::optional<std::vector<std::byte>> FetchSized(ULONG too_small, Fetch fetch) {
  ULONG size = 0;
  if (fetch(nullptr, &size) != too_small) return std::nullopt;
  std::vector<std::byte> buffer(size);
  if (fetch(buffer.data(), &size) != NO_ERROR) return std::nullopt;
  return buffer;
}

}  // namespace veltrane
