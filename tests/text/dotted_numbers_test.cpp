#include "text/dotted_numbers.h"

#include <gtest/gtest.h>

namespace veltrane {
namespace {

using Numbers = std::array<std::uint32_t, 4>;

struct Reading {
  const char* text;
  Numbers numbers;
};

// What sscanf answers in a Windows program.
constexpr Reading kReadings[] = {
    {"1.2.3.4", {1, 2, 3, 4}},
    {"10.7.3.9/32", {10, 7, 3, 9}},
    {"1.2.3.4x", {1, 2, 3, 4}},
    {"1.2.3.4.5", {1, 2, 3, 4}},
    {"010.1.2.3", {10, 1, 2, 3}},
    {"00000000000000000000000000000000000000000000001.2.3.4", {1, 2, 3, 4}},
    {" 1. 2.\t3.\n4", {1, 2, 3, 4}},
    {"\v1.\f2.\r3.4", {1, 2, 3, 4}},
    {"+5.6.7.8", {5, 6, 7, 8}},
    {"1.+2.-3.4", {1, 2, 4294967293, 4}},
    {"-1.2.3.4", {4294967295, 2, 3, 4}},
    {"-0.1.2.3", {0, 1, 2, 3}},
    {"4294967294.4294967295.4294967296.4294967297",
     {4294967294, 4294967295, 4294967295, 4294967295}},
    {"1.2.3.4294967296", {1, 2, 3, 4294967295}},
    {"9223372036854775808.18446744073709551615.18446744073709551616.1",
     {4294967295, 4294967295, 4294967295, 1}},
    {"99999999999999999999999.1.2.3", {4294967295, 1, 2, 3}},
    {"-4294967295.-4294967296.-4294967297.1", {1, 1, 1, 1}},
    {"-2147483649.-9223372036854775808.-18446744073709551615.1", {2147483647, 1, 1, 1}}};

TEST(DottedNumbers, AreReadAsOnWindows) {
  for (const auto& [text, numbers] : kReadings) EXPECT_EQ(ReadDottedNumbers(text), numbers) << text;
}

TEST(DottedNumbers, MayBeOfAnyLength) {
  EXPECT_EQ(ReadDottedNumbers(std::string(5000, '9') + ".1.2.3"), (Numbers{4294967295, 1, 2, 3}));
}

TEST(DottedNumbers, EndWithTheirText) {
  EXPECT_EQ(ReadDottedNumbers(std::string_view("1.2.3.45").substr(0, 7)), (Numbers{1, 2, 3, 4}));
}

TEST(DottedNumbers, AreNotReadFromAnyOtherText) {
  for (const char* text : {"",
                           " ",
                           "1",
                           "1.",
                           "1.2.3",
                           "1.2.3.",
                           "1.2.3.-",
                           "1.2.3.x",
                           "1.2.3. ",
                           ".1.2.3",
                           "1..2.3.4",
                           "1 .2.3.4",
                           "1.2\n.3.4",
                           "1,2,3,4",
                           "0x10.1.2.3",
                           "- 1.2.3.4",
                           "+-1.2.3.4",
                           "-+1.2.3.4",
                           "++1.2.3.4",
                           "+.1.2.3",
                           "fd00::5/128",
                           "\xA0"
                           "1.2.3.4",
                           "\x85"
                           "1.2.3.4"}) {
    EXPECT_EQ(ReadDottedNumbers(text), std::nullopt) << text;
  }
}

}  // namespace
}  // namespace veltrane
