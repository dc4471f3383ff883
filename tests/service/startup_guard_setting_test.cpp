// The switch that makes the startup guard end the process.

#include <string>
#include <vector>

#include "service/startup_guard.h"
#include "tests/support/on_machine.h"

namespace veltrane {
namespace {

constexpr wchar_t kGuardVariable[] = L"VELTRANE_POC_DISABLE_ALL_NETWORK_MUTATION_ON_STARTUP";

using GuardSetting = OnMachine;

TEST_F(GuardSetting, IsOffWithoutTheVariable) { EXPECT_FALSE(IsStartupMutationGuardEnabled()); }

TEST_F(GuardSetting, IsReadFromEachScope) {
  machine.environment.SetProcess(kGuardVariable, L"1");
  EXPECT_TRUE(IsStartupMutationGuardEnabled());
  machine.environment.UnsetProcess(kGuardVariable);
  machine.environment.SetMachine(kGuardVariable, L"1");
  EXPECT_TRUE(IsStartupMutationGuardEnabled());
  machine.environment.UnsetMachine(kGuardVariable);
  machine.environment.SetUser(kGuardVariable, L"1");
  EXPECT_TRUE(IsStartupMutationGuardEnabled());
}

TEST_F(GuardSetting, AProcessValueThatIsFalseHidesTheOtherScopes) {
  machine.environment.SetProcess(kGuardVariable, L"0");
  machine.environment.SetMachine(kGuardVariable, L"1");
  machine.environment.SetUser(kGuardVariable, L"1");
  EXPECT_FALSE(IsStartupMutationGuardEnabled());
}

TEST_F(GuardSetting, AMachineValueThatDoesNotParseHidesTheUserScope) {
  machine.environment.SetMachine(kGuardVariable, L"enabled");
  machine.environment.SetUser(kGuardVariable, L"1");
  EXPECT_FALSE(IsStartupMutationGuardEnabled());
}

TEST_F(GuardSetting, AnEmptyProcessValueHidesNothing) {
  machine.environment.SetProcess(kGuardVariable, L"");
  machine.environment.SetMachine(kGuardVariable, L"yes");
  EXPECT_TRUE(IsStartupMutationGuardEnabled());
}

TEST_F(GuardSetting, IsReadAnewOnEveryCall) {
  EXPECT_FALSE(IsStartupMutationGuardEnabled());
  machine.environment.SetMachine(kGuardVariable, L"true");
  EXPECT_TRUE(IsStartupMutationGuardEnabled());
  machine.environment.UnsetMachine(kGuardVariable);
  EXPECT_FALSE(IsStartupMutationGuardEnabled());
}

struct Value {
  const char* name;
  const wchar_t* text;
  bool enabled;
};

class GuardValue : public OnMachine, public testing::WithParamInterface<Value> {};

TEST_P(GuardValue, IsParsed) {
  machine.environment.SetMachine(kGuardVariable, GetParam().text);
  EXPECT_EQ(IsStartupMutationGuardEnabled(), GetParam().enabled);
}

INSTANTIATE_TEST_SUITE_P(
    GuardSetting, GuardValue,
    testing::Values(Value{"One", L"1", true}, Value{"True", L"true", true},
                    Value{"TrueInCapitals", L"TRUE", true}, Value{"Yes", L"yes", true},
                    Value{"YesMixed", L"Yes", true}, Value{"On", L"on", true},
                    Value{"OnMixed", L"oN", true}, Value{"Empty", L"", false},
                    Value{"Zero", L"0", false}, Value{"Two", L"2", false},
                    Value{"False", L"false", false}, Value{"No", L"no", false},
                    Value{"Off", L"off", false}, Value{"BlankBefore", L" 1", false},
                    Value{"BlankBehind", L"1 ", false}, Value{"LeadingZero", L"01", false}),
    [](const testing::TestParamInfo<Value>& test) { return test.param.name; });

using UtcTimestamp = OnMachine;

TEST_F(UtcTimestamp, IsTheTimeOfTheMachine) {
  EXPECT_EQ(UtcTimestampNow(), "2026-11-16T02:25:07Z");
}

TEST_F(UtcTimestamp, CutsFractionsOfASecondOff) {
  machine.clock.SetTicks(17947959079999999);
  EXPECT_EQ(UtcTimestampNow(), "2026-11-16T02:25:07Z");
  machine.clock.SetTicks(17947959080000000);
  EXPECT_EQ(UtcTimestampNow(), "2026-11-16T02:25:08Z");
}

TEST_F(UtcTimestamp, FormatsTheEdgesOfTheCalendar) {
  EXPECT_EQ(FormatUtcTimestamp(0), "1970-01-01T00:00:00Z");
  EXPECT_EQ(FormatUtcTimestamp(1709251199), "2024-02-29T23:59:59Z");
  EXPECT_EQ(FormatUtcTimestamp(1709251200), "2024-03-01T00:00:00Z");
  EXPECT_EQ(FormatUtcTimestamp(1738343109), "2025-01-31T17:05:09Z");
  EXPECT_EQ(FormatUtcTimestamp(1798761599), "2026-12-31T23:59:59Z");
  EXPECT_EQ(FormatUtcTimestamp(1798761600), "2027-01-01T00:00:00Z");
  EXPECT_EQ(FormatUtcTimestamp(3942279554), "2094-12-04T05:39:14Z");
}

}  // namespace
}  // namespace veltrane
