#include "client/survey/service_settings.h"
#include "tests/client/on_client_machine.h"

namespace veltrane {
namespace {

using Values = std::array<KnownValue, 4>;

class OwnSettings : public OnClientMachine {};

TEST_F(OwnSettings, AreKnownToBeEmptyWhenNothingIsSet) {
  const KnownSettings settings = ReadOwnSettings();
  EXPECT_EQ(settings.values, (Values{"", "", "", ""}));
  EXPECT_FALSE(settings.in_remote_session);
  EXPECT_FALSE(settings.machine_guard);
}

TEST_F(OwnSettings, ComeFromTheProcessThenTheMachineThenTheUser) {
  machine.environment.SetProcess(L"VELTRANE_POC_DISABLE_DEFAULT_ROUTE", L"0");
  machine.environment.SetMachine(L"VELTRANE_POC_DISABLE_DEFAULT_ROUTE", L"1");
  machine.environment.SetMachine(L"ADMIN_BYPASS_IP", L"203.0.113.5");
  machine.environment.SetUser(L"ADMIN_BYPASS_IP", L"203.0.113.6");
  machine.environment.SetUser(L"ADMIN_BYPASS_IPS", L"203.0.113.7");
  EXPECT_EQ(ReadOwnSettings().values, (Values{"0", "", "203.0.113.5", "203.0.113.7"}));
}

TEST_F(OwnSettings, TakeTheSwitchFromTheProcessAlone) {
  machine.environment.SetMachine(L"VELTRANE_POC_ADMIN_BYPASS", L"1");
  machine.environment.SetUser(L"VELTRANE_POC_ADMIN_BYPASS", L"1");
  EXPECT_EQ(ReadOwnSettings().values[1], "");
  machine.environment.SetProcess(L"VELTRANE_POC_ADMIN_BYPASS", L"no");
  EXPECT_EQ(ReadOwnSettings().values[1], "no");
}

TEST_F(OwnSettings, TakeASwitchOf16CharactersForAbsent) {
  machine.environment.SetProcess(L"VELTRANE_POC_ADMIN_BYPASS", std::wstring(15, L'x'));
  EXPECT_EQ(ReadOwnSettings().values[1], "xxxxxxxxxxxxxxx");
  machine.environment.SetProcess(L"VELTRANE_POC_ADMIN_BYPASS", std::wstring(16, L'x'));
  EXPECT_EQ(ReadOwnSettings().values[1], "");
}

TEST_F(OwnSettings, TakeAProcessValueOf512CharactersForAbsent) {
  machine.environment.SetMachine(L"ADMIN_BYPASS_IP", L"203.0.113.5");
  machine.environment.SetProcess(L"ADMIN_BYPASS_IP", std::wstring(512, L'x'));
  EXPECT_EQ(ReadOwnSettings().values[2], "203.0.113.5");
}

TEST_F(OwnSettings, TellWhetherTheMachineScopeTurnsTheGuardOn) {
  machine.environment.SetMachine(L"VELTRANE_POC_DISABLE_DEFAULT_ROUTE", L"On");
  machine.environment.SetProcess(L"VELTRANE_POC_DISABLE_DEFAULT_ROUTE", L"0");
  EXPECT_TRUE(ReadOwnSettings().machine_guard);
}

TEST_F(OwnSettings, DoNotTakeTheProcessesGuardForTheMachines) {
  machine.environment.SetProcess(L"VELTRANE_POC_DISABLE_DEFAULT_ROUTE", L"1");
  EXPECT_FALSE(ReadOwnSettings().machine_guard);
}

TEST_F(OwnSettings, TellThatTheProcessRunsInARemoteSession) {
  machine.sessions.SetRemoteSession(true);
  EXPECT_TRUE(ReadOwnSettings().in_remote_session);
}

}  // namespace
}  // namespace veltrane
