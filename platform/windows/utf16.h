#pragma once

#include <windows.h>

#include <string>
#include <string_view>

namespace veltrane {

// Converts UTF-8 to UTF-16 (MultiByteToWideChar); what is ill-formed becomes U+FFFD.
inline std::wstring ToUtf16(std::string_view utf8) {
  const int bytes = static_cast<int>(utf8.size());
  const int length = MultiByteToWideChar(CP_UTF8, 0, utf8.data(), bytes, nullptr, 0);
  std::wstring wide(static_cast<std::size_t>(length > 0 ? length : 0), L'\0');
  if (length > 0) MultiByteToWideChar(CP_UTF8, 0, utf8.data(), bytes, wide.data(), length);
  return wide;
}

}  // namespace veltrane
