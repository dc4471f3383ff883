#pragma once

// Splitting and trimming text. Pure functions.

#include <string_view>
#include <vector>

namespace veltrane {

// The parts between the separators, empty ones included.
std::vector<std::string_view> Split(std::string_view text, char separator);

// The text without leading and trailing white space; line feeds are kept.
std::string_view Trimmed(std::string_view text);

}  // namespace veltrane
