#pragma once

// Text helpers that need no operating system.

#include <string>
#include <string_view>

namespace veltrane {

// Lower-cases the letters A to Z; every other character comes back as it is.
constexpr wchar_t AsciiToLower(wchar_t c) {
  return c >= L'A' && c <= L'Z' ? static_cast<wchar_t>(c - L'A' + L'a') : c;
}

// The text with the letters A to Z lower-cased; every other byte comes back as it is.
inline std::string AsciiToLower(std::string text) {
  for (char& c : text) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  }
  return text;
}

// True when both texts are equal but for the case of the letters A to Z.
constexpr bool EqualsIgnoreCase(std::wstring_view left, std::wstring_view right) {
  if (left.size() != right.size()) return false;
  for (std::size_t i = 0; i < left.size(); ++i) {
    if (AsciiToLower(left[i]) != AsciiToLower(right[i])) return false;
  }
  return true;
}

// Widens a narrow text byte by byte for a log line: each byte is sign-extended to one 16-bit unit,
// so that the byte 0xC3 becomes the unit 0xFFC3. UTF-8 sequences are not decoded.
inline std::wstring WidenBytes(std::string_view narrow) {
  std::wstring wide;
  wide.reserve(narrow.size());
  for (const char byte : narrow) {
    wide.push_back(static_cast<wchar_t>(static_cast<char16_t>(static_cast<signed char>(byte))));
  }
  return wide;
}

}  // namespace veltrane
