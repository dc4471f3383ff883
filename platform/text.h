#pragma once

// Conversion from the wide strings of the system to the narrow strings of the rooms.
// Units: UTF-16, one code unit in each wchar_t; UTF-8.
// Threads: any.
// Windows: "Code Page Identifiers".

#include <string>

namespace veltrane {

// Converts UTF-16 to UTF-8 (WideCharToMultiByte with code page 65001 and no flags). An unpaired
// surrogate becomes U+FFFD. Empty for an empty string, and on failure.
std::string WideToUtf8(const std::wstring& wide);

}  // namespace veltrane
