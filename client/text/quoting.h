#pragma once

// Quoting untrusted text in messages and on screens. Pure functions.

#include <string>
#include <string_view>

namespace veltrane {

// The text with control characters and ill-formed bytes replaced by U+FFFD. A text with 40 or more
// base64 digits in a row may be a key in the wrong place and is hidden.
std::string Shown(std::string_view text);

// Shown, in double quotes.
std::string Quoted(std::string_view text);

// "(hidden, 44 characters)", to stand for a secret text.
std::string Hidden(std::string_view text);

}  // namespace veltrane
