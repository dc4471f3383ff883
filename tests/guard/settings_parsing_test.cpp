#include <limits>

#include <gtest/gtest.h>

#include "guard/settings.h"
#include "tests/support/on_machine.h"

namespace veltrane {
namespace {

struct BoolText {
  const char* name;
  const char* text;
};

void PrintTo(const BoolText& value, std::ostream* out) { *out << '"' << value.text << '"'; }

template <typename Text>
std::string NameOf(const testing::TestParamInfo<Text>& info) {
  return info.param.name;
}

class TrueText : public testing::TestWithParam<BoolText> {};
class FalseText : public testing::TestWithParam<BoolText> {};

TEST_P(TrueText, SwitchesOn) { EXPECT_TRUE(ParseEnvBool(GetParam().text)); }
TEST_P(FalseText, SwitchesOff) { EXPECT_FALSE(ParseEnvBool(GetParam().text)); }

INSTANTIATE_TEST_SUITE_P(
    EnvBool, TrueText,
    testing::Values(BoolText{"One", "1"}, BoolText{"True", "true"}, BoolText{"Yes", "yes"},
                    BoolText{"On", "on"}, BoolText{"TrueInCapitals", "TRUE"},
                    BoolText{"YesCapitalised", "Yes"}, BoolText{"OnInCapitals", "ON"},
                    BoolText{"TrueInMixedCase", "tRuE"}, BoolText{"YesInCapitals", "YES"},
                    BoolText{"OnInMixedCase", "oN"}),
    NameOf<BoolText>);

INSTANTIATE_TEST_SUITE_P(
    EnvBool, FalseText,
    testing::Values(BoolText{"Empty", ""}, BoolText{"Zero", "0"}, BoolText{"False", "false"},
                    BoolText{"No", "no"}, BoolText{"Off", "off"}, BoolText{"LetterY", "y"},
                    BoolText{"LetterT", "t"}, BoolText{"Two", "2"}, BoolText{"LeadingZero", "01"},
                    BoolText{"TwoOnes", "11"}, BoolText{"SignedOne", "+1"},
                    BoolText{"TrueAndBlank", "true "}, BoolText{"BlankAndTrue", " true"},
                    BoolText{"OneAndBlank", "1 "}, BoolText{"BlankAndOne", " 1"},
                    BoolText{"OneAndTab", "1\t"}, BoolText{"YesAndLineFeed", "yes\n"},
                    BoolText{"OnAndCarriageReturn", "on\r"}, BoolText{"BlankAlone", " "},
                    BoolText{"Enabled", "enabled"}, BoolText{"TrueQuoted", "\"true\""},
                    BoolText{"TrueWithSuffix", "trueish"}, BoolText{"FullWidthOne", "\xEF\xBC\x91"},
                    BoolText{"BytesAbove127", "\xD6\xFF"}),
    NameOf<BoolText>);

struct IntText {
  const char* name;
  const char* text;
  std::int32_t expected;  // with the default 0
};

void PrintTo(const IntText& value, std::ostream* out) { *out << '"' << value.text << '"'; }

class EnvPositiveInt : public testing::TestWithParam<IntText> {};

TEST_P(EnvPositiveInt, Gives) {
  EXPECT_EQ(ParseEnvPositiveInt(GetParam().text, 0), GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(
    Texts, EnvPositiveInt,
    testing::Values(
        IntText{"OneFor1", "1", 1}, IntText{"HundredTwentyFor120", "120", 120},
        IntText{"ThirtyFor30s", "30s", 30}, IntText{"FortyFiveAfterABlank", " 45", 45},
        IntText{"FortyFiveAfterEveryKindOfWhiteSpace", "\t\n\v\f\r 45", 45},
        IntText{"FortyFiveBeforeABlank", "45 ", 45}, IntText{"FiveForPlusFive", "+5", 5},
        IntText{"FiveForBlankPlusFive", " +5", 5}, IntText{"SevenForLeadingZeros", "0007", 7},
        IntText{"OneForAnExponent", "1e3", 1}, IntText{"TwoForADecimalPoint", "2.9", 2},
        IntText{"TheLargestNumber", "2147483647", 2147483647},
        IntText{"TheLargestNumberWithLeadingZeros", "0000000000002147483647", 2147483647},
        IntText{"DefaultForEmpty", "", 0}, IntText{"DefaultForZero", "0", 0},
        IntText{"DefaultForMinusFive", "-5", 0}, IntText{"DefaultForMinusZero", "-0", 0},
        IntText{"DefaultForLetters", "abc", 0}, IntText{"DefaultForABlank", " ", 0},
        IntText{"DefaultForASignAlone", "+", 0}, IntText{"DefaultForTwoSigns", "+-5", 0},
        IntText{"DefaultForASignAndABlank", "- 5", 0}, IntText{"DefaultForHexadecimal", "0x10", 0},
        IntText{"DefaultForLettersBeforeDigits", "s30", 0},
        IntText{"DefaultForOneMoreThan32Bits", "2147483648", 0},
        IntText{"DefaultForOneLessThan32Bits", "-2147483649", 0},
        IntText{"DefaultFor2To32AndOne", "4294967297", 0},
        IntText{"DefaultForMoreThan64Bits", "99999999999999999999999", 0},
        IntText{"DefaultForLessThan64Bits", "-99999999999999999999999", 0}),
    NameOf<IntText>);

TEST(EnvPositiveIntDefault, IsGivenForAnEmptyText) { EXPECT_EQ(ParseEnvPositiveInt("", 17), 17); }

TEST(EnvPositiveIntDefault, IsGivenForATextWithoutDigits) {
  EXPECT_EQ(ParseEnvPositiveInt("abc", 17), 17);
}

TEST(EnvPositiveIntDefault, IsGivenForANumberBelowOne) {
  EXPECT_EQ(ParseEnvPositiveInt("0", 17), 17);
  EXPECT_EQ(ParseEnvPositiveInt("-1", 17), 17);
  EXPECT_EQ(ParseEnvPositiveInt("-2147483648", 17), 17);
}

TEST(EnvPositiveIntDefault, IsGivenForANumberBeyond32Bits) {
  EXPECT_EQ(ParseEnvPositiveInt("2147483648", 17), 17);
  EXPECT_EQ(ParseEnvPositiveInt("-2147483649", 17), 17);
}

TEST(EnvPositiveIntDefault, MayItselfBeBelowOne) {
  constexpr std::int32_t kLowest = std::numeric_limits<std::int32_t>::min();
  EXPECT_EQ(ParseEnvPositiveInt("none", kLowest), kLowest);
}

TEST(EnvPositiveIntDefault, IsNotGivenForAGoodNumber) {
  EXPECT_EQ(ParseEnvPositiveInt("3", 17), 3);
}

class AutoStopSetting : public OnMachine {
 protected:
  std::int32_t Of(const std::wstring& value) {
    machine.environment.SetProcess(L"VELTRANE_POC_AUTO_STOP_SECONDS", value);
    return AutoStopSeconds();
  }
};

TEST_F(AutoStopSetting, IsZeroWhenTheVariableIsNowhere) { EXPECT_EQ(AutoStopSeconds(), 0); }

TEST_F(AutoStopSetting, IsTheNumberOfTheVariable) {
  EXPECT_EQ(Of(L"120"), 120);
  EXPECT_EQ(Of(L" 45"), 45);
  EXPECT_EQ(Of(L"30s"), 30);
}

TEST_F(AutoStopSetting, IsZeroForWhatIsNoPositiveNumberOf32Bits) {
  EXPECT_EQ(Of(L"0"), 0);
  EXPECT_EQ(Of(L"-5"), 0);
  EXPECT_EQ(Of(L"abc"), 0);
  EXPECT_EQ(Of(L"2147483648"), 0);
}

}  // namespace
}  // namespace veltrane
