#pragma once

// The tables of IP Helper that begin with the number of their rows.

#include <windows.h>

#include <cstddef>
#include <optional>
#include <span>
#include <type_traits>
#include <vector>

namespace veltrane {

// Returns the rows of the table in the buffer, which must outlive them. nullopt when the buffer
// ends before the number of rows, or before as many rows.
template <typename Table>
auto RowsOf(const std::vector<std::byte>& buffer) {
  using Row = std::remove_extent_t<decltype(Table::table)>;
  constexpr std::size_t kBegin = offsetof(Table, table);
  std::optional<std::span<const Row>> rows;
  if (buffer.size() < kBegin) return rows;
  const DWORD count = reinterpret_cast<const Table*>(buffer.data())->dwNumEntries;
  if (count > (buffer.size() - kBegin) / sizeof(Row)) return rows;
  rows.emplace(reinterpret_cast<const Row*>(buffer.data() + kBegin), count);
  return rows;
}

}  // namespace veltrane
