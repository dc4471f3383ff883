// Whether the bypass is switched on.

#include <gtest/gtest.h>

#include "bypass/candidates.h"
#include "tests/bypass/on_bypass_machine.h"

namespace veltrane {
namespace {

constexpr wchar_t kSwitch[] = L"VELTRANE_POC_ADMIN_BYPASS";

class BypassSwitch : public OnBypassMachine {};

TEST_F(BypassSwitch, WordsThatSwitchOnNeedNoAdminVariable) {
  for (const wchar_t* word : {L"1", L"true", L"TRUE", L"tRuE", L"yes", L"YES"}) {
    SetVariable(kSwitch, word);
    EXPECT_TRUE(IsAdminBypassEnabled()) << simulated::Narrow(word);
  }
}

TEST_F(BypassSwitch, WordsThatSwitchOffPrevailOverTheAdminVariables) {
  SetVariable(L"ADMIN_BYPASS_IP", L"203.0.113.5");
  SetVariable(L"ADMIN_BYPASS_IPS", L"203.0.113.5");
  for (const wchar_t* word : {L"0", L"false", L"FALSE", L"FaLsE", L"no", L"NO"}) {
    SetVariable(kSwitch, word);
    EXPECT_FALSE(IsAdminBypassEnabled()) << simulated::Narrow(word);
  }
}

TEST_F(BypassSwitch, OtherWordsLeaveItToTheAdminVariables) {
  for (const wchar_t* word :
       {L"", L"on", L"off", L"y", L"n", L"2", L"enabled", L"true ", L" true", L"false ", L"00",
        L"falsefalsefalse", L"0000000000000000", L"tru", L"fals\u00e9"}) {
    SetVariable(kSwitch, word);
    SetVariable(L"ADMIN_BYPASS_IPS", L"");
    EXPECT_FALSE(IsAdminBypassEnabled()) << simulated::Narrow(word);
    SetVariable(L"ADMIN_BYPASS_IPS", L"203.0.113.5");
    EXPECT_TRUE(IsAdminBypassEnabled()) << simulated::Narrow(word);
  }
}

TEST_F(BypassSwitch, UnsetIsOffWhenOnlyRemoteDesktopClientsAreThere) {
  machine.connections.AddEstablished(3389, "203.0.113.5");
  machine.sessions.AddActive(2, "198.51.100.7");
  EXPECT_FALSE(IsAdminBypassEnabled());
}

// A private address and a text without any token count, too.
TEST_F(BypassSwitch, UnsetIsOnWithEitherAdminVariableWhateverItHolds) {
  for (const wchar_t* name : {L"ADMIN_BYPASS_IP", L"ADMIN_BYPASS_IPS"}) {
    for (const wchar_t* value : {L"203.0.113.5", L"192.168.1.10", L" "}) {
      SetVariable(name, value);
      EXPECT_TRUE(IsAdminBypassEnabled()) << simulated::Narrow(value);
      SetVariable(name, L"");
      EXPECT_FALSE(IsAdminBypassEnabled());
    }
  }
}

TEST_F(BypassSwitch, UnsetIsOnWithAnAdminVariableOfTheMachineOrTheUser) {
  machine.environment.SetMachine(L"ADMIN_BYPASS_IP", L"203.0.113.5");
  EXPECT_TRUE(IsAdminBypassEnabled());
  machine.environment.UnsetMachine(L"ADMIN_BYPASS_IP");
  machine.environment.SetUser(L"ADMIN_BYPASS_IPS", L"203.0.113.5");
  EXPECT_TRUE(IsAdminBypassEnabled());
}

TEST_F(BypassSwitch, IsNotReadInTheMachineAndUserScopes) {
  machine.environment.SetMachine(kSwitch, L"1");
  machine.environment.SetUser(kSwitch, L"1");
  EXPECT_FALSE(IsAdminBypassEnabled());
  machine.environment.SetMachine(kSwitch, L"0");
  machine.environment.SetUser(kSwitch, L"0");
  SetVariable(L"ADMIN_BYPASS_IP", L"203.0.113.5");
  EXPECT_TRUE(IsAdminBypassEnabled());
}

TEST_F(BypassSwitch, UnreadableCountsAsUnset) {
  SetVariable(kSwitch, L"0");
  SetVariable(L"ADMIN_BYPASS_IP", L"203.0.113.5");
  machine.environment.SetMachine(L"ADMIN_BYPASS_IP", L"203.0.113.5");
  machine.FailWhere("ReadProcessVariable", "VELTRANE_POC_ADMIN_BYPASS", 5);
  EXPECT_TRUE(IsAdminBypassEnabled());
  machine.FailAlways("ReadProcessVariable", 5);
  machine.FailAlways("ReadRegistryText", 5);
  EXPECT_FALSE(IsAdminBypassEnabled());
}

}  // namespace
}  // namespace veltrane
