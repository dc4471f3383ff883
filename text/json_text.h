#pragma once

// Writing JSON by concatenation: fixed member order, no blanks.

#include <string>
#include <string_view>

namespace veltrane {

// Puts a backslash before each double quote and each backslash; every other byte, control
// characters included, is copied unchanged.
std::string EscapeJson(std::string_view text);

// "key":true or "key":false
std::string JsonBool(std::string_view key, bool value);

// "key":"text", the text escaped
std::string JsonText(std::string_view key, std::string_view text);

// "key":value, the value copied verbatim
std::string JsonRaw(std::string_view key, std::string_view value);

// A comma and the member, or nothing when the value is empty.
std::string OptionalJsonText(std::string_view key, std::string_view text);
std::string OptionalJsonRaw(std::string_view key, std::string_view value);

}  // namespace veltrane
