#pragma once

// Parts of paths.

#include <string>

namespace veltrane {

// Returns what is in front of the last separator; empty without one. Pure function.
inline std::wstring FolderOf(const std::wstring& path) {
  const std::size_t separator = path.find_last_of(L'\\');
  return separator == std::wstring::npos ? L"" : path.substr(0, separator);
}

}  // namespace veltrane
