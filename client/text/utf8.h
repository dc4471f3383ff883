#pragma once

// UTF-8 (RFC 3629). Pure functions.

#include <string>
#include <string_view>

namespace veltrane {

// Encodes a code point up to U+10FFFF.
std::string EncodeUtf8(char32_t point);

// True for well-formed text without control characters (below U+0020, and U+007F).
bool IsPrintableUtf8(std::string_view text);

// The text with every ill-formed byte replaced by U+FFFD.
std::string RepairUtf8(std::string_view text);

// The text, made safe for a terminal: control characters and ill-formed bytes become U+FFFD.
std::string Printable(std::string_view text);

}  // namespace veltrane
