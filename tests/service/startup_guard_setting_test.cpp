// The switch that makes the startup guard end the process, and the time that the guard records.

#include "service/startup_guard.h"
#include "tests/support/name_of.h"
#include "tests/support/on_machine.h"

namespace veltrane {
namespace {

constexpr wchar_t kGuardVariable[] = L"VELTRANE_POC_DISABLE_ALL_NETWORK_MUTATION_ON_STARTUP";

using GuardSetting = OnMachine;

TEST_F(GuardSetting, IsReadAnewOnEveryCall) {
  EXPECT_FALSE(IsStartupMutationGuardEnabled());
  machine.environment.SetMachine(kGuardVariable, L"true");
  EXPECT_TRUE(IsStartupMutationGuardEnabled());
  machine.environment.UnsetMachine(kGuardVariable);
  EXPECT_FALSE(IsStartupMutationGuardEnabled());
}

struct Values {
  const char* name;
  bool enabled;
  const wchar_t* machine;
  const wchar_t* process = nullptr;  // null: there is no such variable
  const wchar_t* user = nullptr;
};

class GuardValues : public OnMachine, public testing::WithParamInterface<Values> {};

TEST_P(GuardValues, AreParsedFromTheFirstScopeThatIsNotEmpty) {
  const Values& values = GetParam();
  if (values.process != nullptr) machine.environment.SetProcess(kGuardVariable, values.process);
  if (values.machine != nullptr) machine.environment.SetMachine(kGuardVariable, values.machine);
  if (values.user != nullptr) machine.environment.SetUser(kGuardVariable, values.user);
  EXPECT_EQ(IsStartupMutationGuardEnabled(), values.enabled);
}

const Values kValues[] = {{"OfTheProcess", true, nullptr, L"1"},
                          {"OfTheUser", true, nullptr, nullptr, L"1"},
                          {"FalseOfTheProcessBeforeOthers", false, L"1", L"0", L"1"},
                          {"UnknownOfTheMachineBeforeTheUsers", false, L"enabled", nullptr, L"1"},
                          {"EmptyOfTheProcess", true, L"yes", L""},
                          {"One", true, L"1"},
                          {"True", true, L"true"},
                          {"TrueInCapitals", true, L"TRUE"},
                          {"Yes", true, L"yes"},
                          {"YesMixed", true, L"Yes"},
                          {"On", true, L"on"},
                          {"OnMixed", true, L"oN"},
                          {"Empty", false, L""},
                          {"Zero", false, L"0"},
                          {"Two", false, L"2"},
                          {"False", false, L"false"},
                          {"No", false, L"no"},
                          {"Off", false, L"off"},
                          {"BlankBefore", false, L" 1"},
                          {"BlankBehind", false, L"1 "},
                          {"LeadingZero", false, L"01"}};

INSTANTIATE_TEST_SUITE_P(Value, GuardValues, testing::ValuesIn(kValues), NameOf<Values>);

using UtcTimestamp = OnMachine;

TEST_F(UtcTimestamp, IsTheTimeOfTheMachineCutToWholeSeconds) {
  EXPECT_EQ(UtcTimestampNow(), "2026-11-16T02:25:07Z");
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
