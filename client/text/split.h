#pragma once

// Taking texts apart. Pure functions.

#include <string_view>
#include <vector>

namespace veltrane {

// The parts between the separators: one more than there are separators.
std::vector<std::string_view> Split(std::string_view text, char separator);

// The text without blanks, tabs and other white space at its ends; line feeds count as text.
std::string_view Trimmed(std::string_view text);

}  // namespace veltrane
