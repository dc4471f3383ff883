#include "text/decimal.h"

#include <cerrno>

#include <gtest/gtest.h>

namespace veltrane {
namespace {

struct Reading {
  const char* name;
  const char* text;
  std::int32_t value;
};

std::string ReadingName(const testing::TestParamInfo<Reading>& info) { return info.param.name; }

class ReadDecimalNumber : public testing::TestWithParam<Reading> {};

TEST_P(ReadDecimalNumber, IsRead) {
  const Decimal number = ReadDecimal(GetParam().text);
  EXPECT_EQ(number.error, DecimalError::kNone);
  EXPECT_EQ(number.value, GetParam().value);
}

INSTANTIATE_TEST_SUITE_P(
    Texts, ReadDecimalNumber,
    testing::Values(Reading{"Zero", "0", 0}, Reading{"One", "1", 1},
                    Reading{"Port", "51820", 51820}, Reading{"Negative", "-5", -5},
                    Reading{"NegativeZero", "-0", 0}, Reading{"PlusSign", "+120", 120},
                    Reading{"LeadingBlank", " 45", 45},
                    Reading{"EveryWhiteSpace", " \t\n\v\f\r45", 45},
                    Reading{"WhiteSpaceAndSign", "\t -45", -45},
                    Reading{"LeadingZeros", "00000000000000000000000045", 45},
                    Reading{"ZeroIsNoOctalPrefix", "010", 10},
                    Reading{"HexadecimalPrefixEndsAfterZero", "0x10", 0},
                    Reading{"TrailingLetters", "30s", 30}, Reading{"TrailingBlank", "30 ", 30},
                    Reading{"Fraction", "30.9", 30}, Reading{"Exponent", "3e5", 3},
                    Reading{"SecondSign", "5-3", 5}, Reading{"DigitGroup", "1,000", 1},
                    Reading{"Largest", "2147483647", 2147483647},
                    Reading{"LargestWithTail", "2147483647x", 2147483647},
                    Reading{"Smallest", "-2147483648", -2147483647 - 1}),
    ReadingName);

struct Failure {
  const char* name;
  const char* text;
};

std::string FailureName(const testing::TestParamInfo<Failure>& info) { return info.param.name; }

class ReadDecimalWithoutDigits : public testing::TestWithParam<Failure> {};

TEST_P(ReadDecimalWithoutDigits, IsReported) {
  const Decimal number = ReadDecimal(GetParam().text);
  EXPECT_EQ(number.error, DecimalError::kNoDigits);
  EXPECT_EQ(number.value, 0);
}

INSTANTIATE_TEST_SUITE_P(Texts, ReadDecimalWithoutDigits,
                         testing::Values(Failure{"Empty", ""}, Failure{"Blank", " "},
                                         Failure{"Word", "abc"}, Failure{"LetterFirst", "s30"},
                                         Failure{"PlusAlone", "+"}, Failure{"MinusAlone", "-"},
                                         Failure{"TwoSigns", "+-5"}, Failure{"TwoMinuses", "--5"},
                                         Failure{"BlankAfterTheSign", "- 5"},
                                         Failure{"FractionAlone", ".5"}, Failure{"Quote", "\"5\""},
                                         Failure{"NoBreakSpace",
                                                 "\xC2\xA0"
                                                 "5"},
                                         Failure{"ByteA0",
                                                 "\xA0"
                                                 "5"}),
                         FailureName);

class ReadDecimalOutOfRange : public testing::TestWithParam<Failure> {};

TEST_P(ReadDecimalOutOfRange, IsReported) {
  const Decimal number = ReadDecimal(GetParam().text);
  EXPECT_EQ(number.error, DecimalError::kOutOfRange);
  EXPECT_EQ(number.value, 0);
}

INSTANTIATE_TEST_SUITE_P(
    Texts, ReadDecimalOutOfRange,
    testing::Values(Failure{"OneAboveTheLargest", "2147483648"},
                    Failure{"OneBelowTheSmallest", "-2147483649"},
                    Failure{"UnsignedLargest", "4294967295"},
                    Failure{"OneAbove32Bits", "4294967297"}, Failure{"WithTail", "2147483648s"},
                    Failure{"WithBlankBefore", " 2147483648"},
                    Failure{"Largest64Bits", "9223372036854775807"},
                    Failure{"OneAbove64Bits", "9223372036854775808"},
                    Failure{"Smallest64Bits", "-9223372036854775808"},
                    Failure{"OneBelow64Bits", "-9223372036854775809"},
                    Failure{"HundredDigits",
                            "1000000000000000000000000000000000000000000000000000000000000000000000"
                            "000000000000000000000000000000"}),
    FailureName);

TEST(ReadDecimal, ErrorOfAnEarlierCallDoesNotCount) {
  errno = ERANGE;
  const Decimal number = ReadDecimal("5");
  EXPECT_EQ(number.error, DecimalError::kNone);
  EXPECT_EQ(number.value, 5);
}

TEST(ReadDecimal, ReadingStopsAtAZeroByte) {
  EXPECT_EQ(ReadDecimal(std::string("12\0"
                                    "34",
                                    5))
                .value,
            12);
}

}  // namespace
}  // namespace veltrane
