#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string_view>

namespace veltrane {

// Reads four numbers with a dot right behind each of the first three, as the scan format
// "%u.%u.%u.%u" reads them on Windows, on every target: each number may follow white space and one
// sign, and nothing of what follows the fourth matters. A number above 4294967295 is 4294967295,
// and a minus sign then turns a number n other than 0 into 4294967296 - n. nullopt for any other
// text.
std::optional<std::array<std::uint32_t, 4>> ReadDottedNumbers(std::string_view text);

}  // namespace veltrane
