// A text that may begin with a number: both readers of numbers against the naive one.

#include <limits>

#include "guard/settings.h"
#include "tests/fuzz/input.h"
#include "tests/fuzz/naive_codec.h"
#include "tests/fuzz/require.h"
#include "text/decimal.h"

namespace veltrane {
namespace {

void CompareDecimal(const std::string& text, const naive::Number& expected) {
  const Decimal number = ReadDecimal(text);
  const DecimalError error = expected.fits         ? DecimalError::kNone
                             : expected.has_digits ? DecimalError::kOutOfRange
                                                   : DecimalError::kNoDigits;
  Require(number.error == error, "the readers agree on the error");
  Require(number.value == expected.value, "the readers agree on the number");
}

void CompareSetting(const std::string& text, const naive::Number& expected) {
  for (const std::int32_t fallback : {0, -1, 7, std::numeric_limits<std::int32_t>::min()}) {
    const std::int32_t value = ParseEnvPositiveInt(text, fallback);
    Require(expected.value >= 1 ? value == expected.value : value == fallback,
            "a setting is a number from 1, or else its default");
  }
}

// Only these words are true, in any case and with nothing around them.
void CompareFlag(const std::string& text) {
  std::string lowered;
  for (const char c : text) lowered += c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c;
  Require(ParseEnvBool(text) ==
              (lowered == "1" || lowered == "true" || lowered == "yes" || lowered == "on"),
          "a flag is one of four words");
}

}  // namespace
}  // namespace veltrane

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace veltrane;
  const std::string text = Input(data, size).Text();
  const naive::Number expected = naive::LeadingNumber(text);
  CompareDecimal(text, expected);
  CompareSetting(text, expected);
  CompareFlag(text);
  return 0;
}
