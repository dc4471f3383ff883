#pragma once

// Conversion between the wide texts of the system (UTF-16 units, one in each wchar_t) and the
// narrow UTF-8 texts of the rooms. May be called on any thread.

#include <string>

namespace veltrane {

// Converts UTF-16 to UTF-8 (code page 65001). An empty or unconvertible text gives an empty one; an
// unpaired surrogate is converted to U+FFFD, as WideCharToMultiByte does without flags.
std::string WideToUtf8(const std::wstring& wide);

}  // namespace veltrane
