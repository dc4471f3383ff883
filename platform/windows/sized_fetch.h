#pragma once

// The IP Helper calls that are made twice: for the size, then for the data.

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

}  // namespace veltrane
