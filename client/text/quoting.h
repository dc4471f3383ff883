#pragma once

#include <string>
#include <string_view>

namespace veltrane {

// A text as a message or a screen may quote it: control characters and ill-formed bytes become
// U+FFFD, and a text that holds 40 or more base64 digits in a row, as a key that strayed into the
// wrong place does, is replaced by "(hidden, <n> characters)". Pure function.
std::string Shown(std::string_view text);

}  // namespace veltrane
