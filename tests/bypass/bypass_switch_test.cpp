// Whether the bypass is switched on.

#include <gtest/gtest.h>

#include "bypass/candidates.h"
#include "tests/support/on_machine.h"

namespace veltrane {
namespace {

struct Word {
  const char* name;
  const wchar_t* value;
};

std::string WordName(const testing::TestParamInfo<Word>& info) { return info.param.name; }

class BypassSwitch : public OnMachine, public testing::WithParamInterface<Word> {
 protected:
  BypassSwitch() { machine.environment.SetProcess(L"VELTRANE_POC_ADMIN_BYPASS", GetParam().value); }
};

class SwitchingOn : public BypassSwitch {};

TEST_P(SwitchingOn, NeedsNoAdminVariable) { EXPECT_TRUE(IsAdminBypassEnabled()); }

INSTANTIATE_TEST_SUITE_P(Words, SwitchingOn,
                         testing::Values(Word{"One", L"1"}, Word{"True", L"true"},
                                         Word{"TrueInCapitals", L"TRUE"},
                                         Word{"TrueInMixedCase", L"tRuE"}, Word{"Yes", L"yes"},
                                         Word{"YesInCapitals", L"YES"}),
                         WordName);

class SwitchingOff : public BypassSwitch {};

TEST_P(SwitchingOff, PrevailsOverTheAdminVariables) {
  machine.environment.SetProcess(L"ADMIN_BYPASS_IP", L"203.0.113.5");
  machine.environment.SetProcess(L"ADMIN_BYPASS_IPS", L"203.0.113.5");
  EXPECT_FALSE(IsAdminBypassEnabled());
}

INSTANTIATE_TEST_SUITE_P(Words, SwitchingOff,
                         testing::Values(Word{"Zero", L"0"}, Word{"False", L"false"},
                                         Word{"FalseInCapitals", L"FALSE"},
                                         Word{"FalseInMixedCase", L"FaLsE"}, Word{"No", L"no"},
                                         Word{"NoInCapitals", L"NO"}),
                         WordName);

class UnknownSwitch : public BypassSwitch {};

TEST_P(UnknownSwitch, IsOffWithoutAdminVariable) { EXPECT_FALSE(IsAdminBypassEnabled()); }

TEST_P(UnknownSwitch, IsOnWithAnAdminVariable) {
  machine.environment.SetProcess(L"ADMIN_BYPASS_IPS", L"203.0.113.5");
  EXPECT_TRUE(IsAdminBypassEnabled());
}

INSTANTIATE_TEST_SUITE_P(
    Words, UnknownSwitch,
    testing::Values(Word{"Empty", L""}, Word{"On", L"on"}, Word{"Off", L"off"}, Word{"Y", L"y"},
                    Word{"N", L"n"}, Word{"Two", L"2"}, Word{"Enabled", L"enabled"},
                    Word{"TrueWithABlankAfter", L"true "}, Word{"TrueWithABlankBefore", L" true"},
                    Word{"FalseWithABlankAfter", L"false "}, Word{"ZeroZero", L"00"},
                    Word{"FifteenCharacters", L"falsefalsefalse"},
                    Word{"SixteenCharacters", L"0000000000000000"},
                    Word{"BeginningOfAWord", L"tru"}, Word{"AccentedWord", L"fals\u00e9"}),
    WordName);

class BypassSwitchUnset : public OnMachine {};

TEST_F(BypassSwitchUnset, IsOffWhenNothingIsConfigured) { EXPECT_FALSE(IsAdminBypassEnabled()); }

TEST_F(BypassSwitchUnset, IsOffWhenOnlyRemoteDesktopClientsAreThere) {
  machine.connections.AddEstablished(3389, "203.0.113.5");
  machine.sessions.AddActive(2, "198.51.100.7");
  EXPECT_FALSE(IsAdminBypassEnabled());
}

TEST_F(BypassSwitchUnset, IsOnWithEitherAdminVariable) {
  machine.environment.SetProcess(L"ADMIN_BYPASS_IP", L"203.0.113.5");
  EXPECT_TRUE(IsAdminBypassEnabled());
  machine.environment.UnsetProcess(L"ADMIN_BYPASS_IP");
  machine.environment.SetProcess(L"ADMIN_BYPASS_IPS", L"203.0.113.5");
  EXPECT_TRUE(IsAdminBypassEnabled());
}

TEST_F(BypassSwitchUnset, IsOnWithAnAdminVariableOfTheMachineOrTheUser) {
  machine.environment.SetMachine(L"ADMIN_BYPASS_IP", L"203.0.113.5");
  EXPECT_TRUE(IsAdminBypassEnabled());
  machine.environment.UnsetMachine(L"ADMIN_BYPASS_IP");
  machine.environment.SetUser(L"ADMIN_BYPASS_IPS", L"203.0.113.5");
  EXPECT_TRUE(IsAdminBypassEnabled());
}

TEST_F(BypassSwitchUnset, IsOnWithAPrivateAddress) {
  machine.environment.SetProcess(L"ADMIN_BYPASS_IP", L"192.168.1.10");
  EXPECT_TRUE(IsAdminBypassEnabled());
}

TEST_F(BypassSwitchUnset, IsOnWithAVariableThatHoldsNoToken) {
  machine.environment.SetProcess(L"ADMIN_BYPASS_IP", L" ");
  EXPECT_TRUE(IsAdminBypassEnabled());
}

TEST_F(BypassSwitchUnset, SwitchOfTheMachineAndTheUserScopeIsNotRead) {
  machine.environment.SetMachine(L"VELTRANE_POC_ADMIN_BYPASS", L"1");
  machine.environment.SetUser(L"VELTRANE_POC_ADMIN_BYPASS", L"1");
  EXPECT_FALSE(IsAdminBypassEnabled());
  machine.environment.SetMachine(L"VELTRANE_POC_ADMIN_BYPASS", L"0");
  machine.environment.SetUser(L"VELTRANE_POC_ADMIN_BYPASS", L"0");
  machine.environment.SetProcess(L"ADMIN_BYPASS_IP", L"203.0.113.5");
  EXPECT_TRUE(IsAdminBypassEnabled());
}

TEST_F(BypassSwitchUnset, UnreadableSwitchCountsAsUnset) {
  machine.environment.SetProcess(L"VELTRANE_POC_ADMIN_BYPASS", L"0");
  machine.environment.SetProcess(L"ADMIN_BYPASS_IP", L"203.0.113.5");
  machine.FailWhere("ReadProcessVariable", "VELTRANE_POC_ADMIN_BYPASS", 5);
  EXPECT_TRUE(IsAdminBypassEnabled());
}

TEST_F(BypassSwitchUnset, AdminVariableThatCannotBeReadInAnyScopeCountsAsUnset) {
  machine.environment.SetProcess(L"ADMIN_BYPASS_IP", L"203.0.113.5");
  machine.environment.SetMachine(L"ADMIN_BYPASS_IP", L"203.0.113.5");
  machine.FailAlways("ReadProcessVariable", 5);
  machine.FailAlways("ReadRegistryText", 5);
  EXPECT_FALSE(IsAdminBypassEnabled());
}

}  // namespace
}  // namespace veltrane
