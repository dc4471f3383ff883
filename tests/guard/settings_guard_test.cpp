#include "guard/report.h"
#include "guard/settings.h"
#include "tests/support/on_machine.h"

namespace veltrane {
namespace {

constexpr wchar_t kDisable[] = L"VELTRANE_POC_DISABLE_DEFAULT_ROUTE";
constexpr wchar_t kAutoStop[] = L"VELTRANE_POC_AUTO_STOP_SECONDS";

class GuardSettings : public OnMachine {
 protected:
  static RouteGuardResult Read() {
    RouteGuardResult result;
    ReadGuardSettings(result);
    return result;
  }
};

TEST_F(GuardSettings, WithNothingSetTheRecordStaysAsItBegan) {
  EXPECT_EQ(FormatRouteGuardReport(Read()),
            R"("poc_route_guard":{"effective_disable_default_route":false,)"
            R"("poc_route_guard_failed":false,"poc_default_route_detected":false,)"
            R"("poc_env_read_failed":false,"rdp_session_active":false,)"
            R"("auto_stop_scheduled":false,"auto_stop_seconds":0,)"
            R"("effective_auto_stop_seconds":0,)"
            R"("process_env_VELTRANE_POC_DISABLE_DEFAULT_ROUTE":"",)"
            R"("machine_env_VELTRANE_POC_DISABLE_DEFAULT_ROUTE":"",)"
            R"("user_env_VELTRANE_POC_DISABLE_DEFAULT_ROUTE":"",)"
            R"("process_env_VELTRANE_POC_AUTO_STOP_SECONDS":"",)"
            R"("machine_env_VELTRANE_POC_AUTO_STOP_SECONDS":"",)"
            R"("user_env_VELTRANE_POC_AUTO_STOP_SECONDS":""})");
}

TEST_F(GuardSettings, EveryRawValueIsKeptAsItStands) {
  machine.environment.SetProcess(kDisable, L"Yes");
  machine.environment.SetMachine(kDisable, L" 1");
  machine.environment.SetUser(kDisable, L"maybe");
  machine.environment.SetProcess(kAutoStop, L"30s");
  machine.environment.SetMachine(kAutoStop, L"60");
  machine.environment.SetUser(kAutoStop, L"ninety");
  EXPECT_EQ(FormatRouteGuardReport(Read()),
            R"("poc_route_guard":{"effective_disable_default_route":true,)"
            R"("poc_route_guard_failed":false,"poc_default_route_detected":false,)"
            R"("poc_env_read_failed":false,"rdp_session_active":false,)"
            R"("auto_stop_scheduled":false,"auto_stop_seconds":30,)"
            R"("effective_auto_stop_seconds":30,)"
            R"("process_env_VELTRANE_POC_DISABLE_DEFAULT_ROUTE":"Yes",)"
            R"("machine_env_VELTRANE_POC_DISABLE_DEFAULT_ROUTE":" 1",)"
            R"("user_env_VELTRANE_POC_DISABLE_DEFAULT_ROUTE":"maybe",)"
            R"("process_env_VELTRANE_POC_AUTO_STOP_SECONDS":"30s",)"
            R"("machine_env_VELTRANE_POC_AUTO_STOP_SECONDS":"60",)"
            R"("user_env_VELTRANE_POC_AUTO_STOP_SECONDS":"ninety"})");
}

TEST_F(GuardSettings, TheSessionIsAskedFirstThenBothVariablesInAllScopes) {
  Read();
  EXPECT_EQ(machine.calls.All(),
            (std::vector<std::string>{"IsRemoteSession",
                                      "ReadProcessVariable VELTRANE_POC_DISABLE_DEFAULT_ROUTE",
                                      "ReadRegistryText HKLM VELTRANE_POC_DISABLE_DEFAULT_ROUTE",
                                      "ReadRegistryText HKCU VELTRANE_POC_DISABLE_DEFAULT_ROUTE",
                                      "ReadProcessVariable VELTRANE_POC_AUTO_STOP_SECONDS",
                                      "ReadRegistryText HKLM VELTRANE_POC_AUTO_STOP_SECONDS",
                                      "ReadRegistryText HKCU VELTRANE_POC_AUTO_STOP_SECONDS"}));
}

TEST_F(GuardSettings, ARemoteSessionIsRecorded) {
  machine.sessions.SetRemoteSession(true);
  EXPECT_TRUE(Read().rdp_session_active);
}

TEST_F(GuardSettings, ARemoteSessionWithoutAnySettingIsNoFailureHere) {
  machine.sessions.SetRemoteSession(true);
  const RouteGuardResult result = Read();
  EXPECT_FALSE(result.poc_route_guard_failed);
  EXPECT_FALSE(result.poc_env_read_failed);
  EXPECT_EQ(result.failure_reason, "");
  EXPECT_EQ(result.message, "");
}

TEST_F(GuardSettings, TheUserScopeAloneSwitchesTheGuardOn) {
  machine.environment.SetUser(kDisable, L"on");
  EXPECT_TRUE(Read().effective_disable_default_route);
}

TEST_F(GuardSettings, BothSecondCountsHoldTheParsedAutoStopValue) {
  machine.environment.SetMachine(kAutoStop, L"120");
  const RouteGuardResult result = Read();
  EXPECT_EQ(result.auto_stop_seconds, 120);
  EXPECT_EQ(result.effective_auto_stop_seconds, 120);
}

TEST_F(GuardSettings, AnAutoStopValueThatDoesNotParseGivesZeroInBothCounts) {
  machine.environment.SetProcess(kAutoStop, L"soon");
  machine.environment.SetMachine(kAutoStop, L"120");
  const RouteGuardResult result = Read();
  EXPECT_EQ(result.auto_stop_seconds, 0);
  EXPECT_EQ(result.effective_auto_stop_seconds, 0);
}

TEST_F(GuardSettings, AnOverriddenMachineSettingFailsInARemoteSession) {
  machine.sessions.SetRemoteSession(true);
  machine.environment.SetProcess(kDisable, L"0");
  machine.environment.SetMachine(kDisable, L"1");
  machine.environment.SetMachine(kAutoStop, L"60");
  EXPECT_EQ(FormatRouteGuardReport(Read()),
            R"("poc_route_guard":{"effective_disable_default_route":false,)"
            R"("poc_route_guard_failed":true,"poc_default_route_detected":false,)"
            R"("poc_env_read_failed":true,"rdp_session_active":true,)"
            R"("auto_stop_scheduled":false,"auto_stop_seconds":60,)"
            R"("effective_auto_stop_seconds":60,)"
            R"("process_env_VELTRANE_POC_DISABLE_DEFAULT_ROUTE":"0",)"
            R"("machine_env_VELTRANE_POC_DISABLE_DEFAULT_ROUTE":"1",)"
            R"("user_env_VELTRANE_POC_DISABLE_DEFAULT_ROUTE":"",)"
            R"("process_env_VELTRANE_POC_AUTO_STOP_SECONDS":"",)"
            R"("machine_env_VELTRANE_POC_AUTO_STOP_SECONDS":"60",)"
            R"("user_env_VELTRANE_POC_AUTO_STOP_SECONDS":"",)"
            R"("failure_reason":"poc_env_read_failed",)"
            R"("message":"Machine VELTRANE_POC_DISABLE_DEFAULT_ROUTE unreadable or invalid"})");
}

TEST_F(GuardSettings, AnOverriddenMachineSettingIsSimplyOffOutsideARemoteSession) {
  machine.environment.SetProcess(kDisable, L"0");
  machine.environment.SetMachine(kDisable, L"1");
  const RouteGuardResult result = Read();
  EXPECT_FALSE(result.effective_disable_default_route);
  EXPECT_FALSE(result.poc_env_read_failed);
  EXPECT_FALSE(result.poc_route_guard_failed);
  EXPECT_EQ(result.failure_reason, "");
  EXPECT_EQ(result.message, "");
}

TEST_F(GuardSettings, AProcessValueWithABlankOverridesTheMachineSettingLikeAnyFalseOne) {
  machine.sessions.SetRemoteSession(true);
  machine.environment.SetProcess(kDisable, L"1 ");
  machine.environment.SetMachine(kDisable, L"1");
  EXPECT_TRUE(Read().poc_env_read_failed);
}

TEST_F(GuardSettings, AnUnreadableProcessScopeLetsTheMachineSettingStand) {
  machine.sessions.SetRemoteSession(true);
  machine.environment.SetProcess(kDisable, L"0");
  machine.environment.SetMachine(kDisable, L"1");
  machine.FailAlways("ReadProcessVariable", 5);
  const RouteGuardResult result = Read();
  EXPECT_TRUE(result.effective_disable_default_route);
  EXPECT_FALSE(result.poc_env_read_failed);
}

TEST_F(GuardSettings, AnUnreadableMachineScopeIsNoFailureOfItsOwn) {
  machine.sessions.SetRemoteSession(true);
  machine.environment.SetProcess(kDisable, L"0");
  machine.environment.SetMachine(kDisable, L"1");
  machine.FailWhere("ReadRegistryText", "HKLM", 5);
  const RouteGuardResult result = Read();
  EXPECT_FALSE(result.poc_env_read_failed);
  EXPECT_FALSE(result.poc_route_guard_failed);
}

TEST_F(GuardSettings, WhatWasReadBeforeIsReplaced) {
  RouteGuardResult result;
  result.effective_disable_default_route = true;
  result.rdp_session_active = true;
  result.auto_stop_seconds = 60;
  result.effective_auto_stop_seconds = 60;
  result.process_env_VELTRANE_POC_DISABLE_DEFAULT_ROUTE = "1";
  result.machine_env_VELTRANE_POC_DISABLE_DEFAULT_ROUTE = "1";
  result.user_env_VELTRANE_POC_DISABLE_DEFAULT_ROUTE = "1";
  result.process_env_VELTRANE_POC_AUTO_STOP_SECONDS = "60";
  result.machine_env_VELTRANE_POC_AUTO_STOP_SECONDS = "60";
  result.user_env_VELTRANE_POC_AUTO_STOP_SECONDS = "60";
  ReadGuardSettings(result);
  EXPECT_EQ(FormatRouteGuardReport(result),
            R"("poc_route_guard":{"effective_disable_default_route":false,)"
            R"("poc_route_guard_failed":false,"poc_default_route_detected":false,)"
            R"("poc_env_read_failed":false,"rdp_session_active":false,)"
            R"("auto_stop_scheduled":false,"auto_stop_seconds":0,)"
            R"("effective_auto_stop_seconds":0,)"
            R"("process_env_VELTRANE_POC_DISABLE_DEFAULT_ROUTE":"",)"
            R"("machine_env_VELTRANE_POC_DISABLE_DEFAULT_ROUTE":"",)"
            R"("user_env_VELTRANE_POC_DISABLE_DEFAULT_ROUTE":"",)"
            R"("process_env_VELTRANE_POC_AUTO_STOP_SECONDS":"",)"
            R"("machine_env_VELTRANE_POC_AUTO_STOP_SECONDS":"",)"
            R"("user_env_VELTRANE_POC_AUTO_STOP_SECONDS":""})");
}

TEST_F(GuardSettings, WhatOtherStepsFillInIsLeftAsItIs) {
  RouteGuardResult result;
  result.default_routes_before_tunnel = "none";
  result.auto_stop_scheduled = true;
  result.auto_stop_deadline_utc = "2026-11-16T02:25:07Z";
  ReadGuardSettings(result);
  EXPECT_EQ(result.default_routes_before_tunnel, "none");
  EXPECT_TRUE(result.auto_stop_scheduled);
  EXPECT_EQ(result.auto_stop_deadline_utc, "2026-11-16T02:25:07Z");
}

// Every combination of a local or a remote session with an absent, a false and a true value in each
// scope, as "remote process=0 machine=1 user=-".
class GuardSettingsMatrix : public OnMachine {
 protected:
  template <typename Keep>
  std::vector<std::string> CombinationsWhere(Keep keep) {
    std::vector<std::string> kept;
    for (const char* session : {"local", "remote"}) {
      for (const char process : {'-', '0', '1'}) {
        for (const char machine_value : {'-', '0', '1'}) {
          for (const char user : {'-', '0', '1'}) {
            machine.sessions.SetRemoteSession(session == std::string("remote"));
            process == '-' ? machine.environment.UnsetProcess(kDisable)
                           : machine.environment.SetProcess(kDisable, Text(process));
            machine_value == '-' ? machine.environment.UnsetMachine(kDisable)
                                 : machine.environment.SetMachine(kDisable, Text(machine_value));
            user == '-' ? machine.environment.UnsetUser(kDisable)
                        : machine.environment.SetUser(kDisable, Text(user));
            RouteGuardResult result;
            ReadGuardSettings(result);
            ++combinations;
            if (!keep(result)) continue;
            kept.push_back(std::string(session) + " process=" + process +
                           " machine=" + machine_value + " user=" + user);
          }
        }
      }
    }
    return kept;
  }

  int combinations = 0;

 private:
  static std::wstring Text(char value) {
    return std::wstring(1, static_cast<wchar_t>(static_cast<unsigned char>(value)));
  }
};

TEST_F(GuardSettingsMatrix, OnlyAFalseProcessValueOverATrueMachineValueInARemoteSessionFails) {
  EXPECT_EQ(CombinationsWhere([](const RouteGuardResult& result) {
              return result.poc_env_read_failed && result.poc_route_guard_failed &&
                     result.failure_reason == "poc_env_read_failed" &&
                     result.message ==
                         "Machine VELTRANE_POC_DISABLE_DEFAULT_ROUTE unreadable or invalid";
            }),
            (std::vector<std::string>{"remote process=0 machine=1 user=-",
                                      "remote process=0 machine=1 user=0",
                                      "remote process=0 machine=1 user=1"}));
  EXPECT_EQ(combinations, 54);
}

TEST_F(GuardSettingsMatrix, EveryOtherCombinationLeavesAllFourFailureMembersAlone) {
  const std::vector<std::string> clean = CombinationsWhere([](const RouteGuardResult& result) {
    return !result.poc_env_read_failed && !result.poc_route_guard_failed &&
           result.failure_reason.empty() && result.message.empty();
  });
  EXPECT_EQ(clean.size(), 51u);
}

TEST_F(GuardSettingsMatrix, TheFirstScopeWithAValueDecides) {
  EXPECT_EQ(CombinationsWhere(
                [](const RouteGuardResult& r) { return r.effective_disable_default_route; }),
            (std::vector<std::string>{
                "local process=- machine=- user=1",  "local process=- machine=1 user=-",
                "local process=- machine=1 user=0",  "local process=- machine=1 user=1",
                "local process=1 machine=- user=-",  "local process=1 machine=- user=0",
                "local process=1 machine=- user=1",  "local process=1 machine=0 user=-",
                "local process=1 machine=0 user=0",  "local process=1 machine=0 user=1",
                "local process=1 machine=1 user=-",  "local process=1 machine=1 user=0",
                "local process=1 machine=1 user=1",  "remote process=- machine=- user=1",
                "remote process=- machine=1 user=-", "remote process=- machine=1 user=0",
                "remote process=- machine=1 user=1", "remote process=1 machine=- user=-",
                "remote process=1 machine=- user=0", "remote process=1 machine=- user=1",
                "remote process=1 machine=0 user=-", "remote process=1 machine=0 user=0",
                "remote process=1 machine=0 user=1", "remote process=1 machine=1 user=-",
                "remote process=1 machine=1 user=0", "remote process=1 machine=1 user=1"}));
}

}  // namespace
}  // namespace veltrane
