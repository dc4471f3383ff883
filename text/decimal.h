#pragma once

// Parses a decimal number at the beginning of a string, with the 32-bit range on every target.

#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <string>

namespace veltrane {

enum class DecimalError { kNone, kNoDigits, kOutOfRange };

struct Decimal {
  std::int32_t value = 0;  // 0 unless error is kNone
  DecimalError error = DecimalError::kNone;
};

// Parses a base-10 number as C's strtol does: skips leading white space, accepts one sign, and
// stops at the first character that is not a digit. The range is that of a signed 32-bit number,
// even where `long` is wider.
inline Decimal ReadDecimal(const std::string& text) {
  char* end = nullptr;
  errno = 0;
  const long long value = std::strtoll(text.c_str(), &end, 10);
  if (end == text.c_str()) return {0, DecimalError::kNoDigits};
  if (errno == ERANGE || value < std::numeric_limits<std::int32_t>::min() ||
      value > std::numeric_limits<std::int32_t>::max()) {
    return {0, DecimalError::kOutOfRange};
  }
  return {static_cast<std::int32_t>(value), DecimalError::kNone};
}

}  // namespace veltrane
