#include <limits>
#include <map>

#include <gtest/gtest.h>

#include "guard/settings.h"
#include "tests/support/on_machine.h"

namespace veltrane {
namespace {

TEST(EnvBool, IsOnForFourWordsInAnyCase) {
  for (const char* text : {"1", "true", "yes", "on", "TRUE", "Yes", "ON", "tRuE", "YES", "oN"}) {
    EXPECT_TRUE(ParseEnvBool(text)) << text;
  }
}

TEST(EnvBool, IsOffForEverythingElse) {
  for (const char* text :
       {"",   "0",       "false",    "no",      "off",          "y",       "t",   "2",     "01",
        "11", "+1",      "true ",    " true",   "1 ",           " 1",      "1\t", "yes\n", "on\r",
        " ",  "enabled", "\"true\"", "trueish", "\xEF\xBC\x91", "\xD6\xFF"}) {
    EXPECT_FALSE(ParseEnvBool(text)) << text;
  }
}

TEST(EnvPositiveInt, IsReadFromTheFrontOfTheText) {
  for (const auto& [text, value] :
       std::map<std::string, std::int32_t>{{"1", 1},
                                           {"120", 120},
                                           {"30s", 30},
                                           {" 45", 45},
                                           {"\t\n\v\f\r 45", 45},
                                           {"45 ", 45},
                                           {"+5", 5},
                                           {" +5", 5},
                                           {"0007", 7},
                                           {"1e3", 1},
                                           {"2.9", 2},
                                           {"2147483647", 2147483647},
                                           {"0000000000002147483647", 2147483647}}) {
    EXPECT_EQ(ParseEnvPositiveInt(text, 17), value) << text;
  }
}

TEST(EnvPositiveInt, IsTheDefaultWithoutDigitsBelowOneAndBeyond32Bits) {
  for (const char* text : {"", "0", "-5", "-0", "abc", " ", "+", "+-5", "- 5", "0x10", "s30",
                           "-2147483648", "2147483648", "-2147483649", "4294967297",
                           "99999999999999999999999", "-99999999999999999999999"}) {
    EXPECT_EQ(ParseEnvPositiveInt(text, 17), 17) << text;
  }
}

TEST(EnvPositiveInt, TheDefaultMayItselfBeBelowOne) {
  constexpr std::int32_t kLowest = std::numeric_limits<std::int32_t>::min();
  EXPECT_EQ(ParseEnvPositiveInt("none", kLowest), kLowest);
}

class AutoStopSetting : public OnMachine {};

TEST_F(AutoStopSetting, IsTheNumberOfTheVariableAndOtherwiseZero) {
  EXPECT_EQ(AutoStopSeconds(), 0);
  for (const auto& [text, seconds] : std::map<std::wstring, std::int32_t>{{L"120", 120},
                                                                          {L" 45", 45},
                                                                          {L"30s", 30},
                                                                          {L"0", 0},
                                                                          {L"-5", 0},
                                                                          {L"abc", 0},
                                                                          {L"2147483648", 0}}) {
    machine.environment.SetProcess(L"VELTRANE_POC_AUTO_STOP_SECONDS", text);
    EXPECT_EQ(AutoStopSeconds(), seconds) << simulated::Narrow(text);
  }
}

}  // namespace
}  // namespace veltrane
