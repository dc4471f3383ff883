#pragma once

// String functions that do not need the operating system.

#include <string>
#include <string_view>

namespace veltrane {

// Returns the letters A to Z in lower case, and every other character unchanged.
constexpr wchar_t AsciiToLower(wchar_t c) {
  return c >= L'A' && c <= L'Z' ? static_cast<wchar_t>(c - L'A' + L'a') : c;
}

// Returns the string with the letters A to Z in lower case, and every other byte unchanged.
inline std::string AsciiToLower(std::string text) {
  for (char& c : text) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  }
  return text;
}

// Returns true when the strings are equal, ignoring the case of the letters A to Z.
constexpr bool EqualsIgnoreCase(std::wstring_view left, std::wstring_view right) {
  if (left.size() != right.size()) return false;
  for (std::size_t i = 0; i < left.size(); ++i) {
    if (AsciiToLower(left[i]) != AsciiToLower(right[i])) return false;
  }
  return true;
}

// Widens a narrow string byte by byte for a log line: each byte is sign-extended to a 16-bit unit,
// so the byte 0xC3 becomes 0xFFC3. Does not decode UTF-8.
inline std::wstring WidenBytes(std::string_view narrow) {
  std::wstring wide;
  wide.reserve(narrow.size());
  for (const char byte : narrow) {
    wide.push_back(static_cast<wchar_t>(static_cast<char16_t>(static_cast<signed char>(byte))));
  }
  return wide;
}

}  // namespace veltrane
