#include "text/dotted_numbers.h"

#include <algorithm>
#include <limits>

namespace veltrane {
namespace {

constexpr std::string_view kWhiteSpace = " \t\n\v\f\r";

bool TakeOne(std::string_view& text, char c) {
  if (!text.starts_with(c)) return false;
  text.remove_prefix(1);
  return true;
}

std::optional<std::uint32_t> TakeNumber(std::string_view& text) {
  text.remove_prefix(std::min(text.find_first_not_of(kWhiteSpace), text.size()));
  const bool negative = TakeOne(text, '-');
  if (!negative) TakeOne(text, '+');
  const std::size_t digits = std::min(text.find_first_not_of("0123456789"), text.size());
  if (digits == 0) return std::nullopt;
  std::uint64_t number = 0;
  for (const char digit : text.substr(0, digits)) {
    number = std::min<std::uint64_t>(number * 10 + static_cast<std::uint64_t>(digit - '0'),
                                     std::numeric_limits<std::uint32_t>::max());
  }
  text.remove_prefix(digits);
  return static_cast<std::uint32_t>(negative ? 0 - number : number);
}

}  // namespace

std::optional<std::array<std::uint32_t, 4>> ReadDottedNumbers(std::string_view text) {
  std::array<std::uint32_t, 4> numbers{};
  for (std::size_t i = 0; i < numbers.size(); ++i) {
    if (i > 0 && !TakeOne(text, '.')) return std::nullopt;
    const std::optional<std::uint32_t> number = TakeNumber(text);
    if (!number) return std::nullopt;
    numbers[i] = *number;
  }
  return numbers;
}

}  // namespace veltrane
