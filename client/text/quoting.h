#pragma once

// Texts of others as a message or a screen may quote them. Pure functions.

#include <string>
#include <string_view>

namespace veltrane {

// The text with control characters and ill-formed bytes replaced by U+FFFD. A text that holds 40 or
// more base64 digits in a row, as a key that strayed into the wrong place does, comes back hidden.
std::string Shown(std::string_view text);

// The same in double quotes.
std::string Quoted(std::string_view text);

// "(hidden, 44 characters)" for a text that must not be shown.
std::string Hidden(std::string_view text);

}  // namespace veltrane
