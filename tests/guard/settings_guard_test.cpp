#include <map>

#include "guard/report.h"
#include "guard/settings.h"
#include "tests/guard/full_record.h"
#include "tests/support/on_machine.h"
#include "tests/support/report_texts.h"

namespace veltrane {
namespace {

constexpr wchar_t kDisable[] = L"VELTRANE_POC_DISABLE_DEFAULT_ROUTE";
constexpr wchar_t kAutoStop[] = L"VELTRANE_POC_AUTO_STOP_SECONDS";

class GuardSettings : public OnMachine {
 protected:
  static RouteGuardResult Read(RouteGuardResult result = {}) {
    ReadGuardSettings(result);
    return result;
  }

  // The report of a fresh record into which the settings have been read.
  static std::string Report() { return FormatRouteGuardReport(Read()); }

  // In a Remote Desktop session, the machine's setting is on and the process has this one.
  void OverrideInARemoteSession(const wchar_t* process) {
    machine.sessions.SetRemoteSession(true);
    machine.environment.SetProcess(kDisable, process);
    machine.environment.SetMachine(kDisable, L"1");
  }
};

TEST_F(GuardSettings, WithNothingSetTheRecordStaysAsItBegan) { EXPECT_EQ(Report(), kFreshGuard); }

TEST_F(GuardSettings, EveryRawValueIsKeptAsItStands) {
  machine.environment.SetProcess(kDisable, L"Yes");
  machine.environment.SetMachine(kDisable, L" 1");
  machine.environment.SetUser(kDisable, L"maybe");
  machine.environment.SetProcess(kAutoStop, L"30s");
  machine.environment.SetMachine(kAutoStop, L"60");
  machine.environment.SetUser(kAutoStop, L"ninety");
  EXPECT_EQ(Report(),
            With(kFreshGuard, {"effective_disable_default_route", R"("auto_stop_seconds":30)",
                               R"("effective_auto_stop_seconds":30)",
                               R"("process_env_VELTRANE_POC_DISABLE_DEFAULT_ROUTE":"Yes")",
                               R"("machine_env_VELTRANE_POC_DISABLE_DEFAULT_ROUTE":" 1")",
                               R"("user_env_VELTRANE_POC_DISABLE_DEFAULT_ROUTE":"maybe")",
                               R"("process_env_VELTRANE_POC_AUTO_STOP_SECONDS":"30s")",
                               R"("machine_env_VELTRANE_POC_AUTO_STOP_SECONDS":"60")",
                               R"("user_env_VELTRANE_POC_AUTO_STOP_SECONDS":"ninety")"}));
}

TEST_F(GuardSettings, AMachineValueAloneIsEffectiveAndStaysInItsScope) {
  machine.environment.SetMachine(kDisable, L"1");
  machine.environment.SetMachine(kAutoStop, L"120");
  EXPECT_EQ(Report(),
            With(kFreshGuard, {"effective_disable_default_route", R"("auto_stop_seconds":120)",
                               R"("effective_auto_stop_seconds":120)",
                               R"("machine_env_VELTRANE_POC_DISABLE_DEFAULT_ROUTE":"1")",
                               R"("machine_env_VELTRANE_POC_AUTO_STOP_SECONDS":"120")"}));
}

TEST_F(GuardSettings, WhatWasReadBeforeIsReplacedAndWhatOtherStepsFillInIsLeft) {
  EXPECT_EQ(FormatRouteGuardReport(Read(FullRecord())),
            With(kFullReport,
                 {R"("effective_disable_default_route":false)", R"("rdp_session_active":false)",
                  R"("auto_stop_seconds":0)", R"("effective_auto_stop_seconds":0)",
                  R"("process_env_VELTRANE_POC_DISABLE_DEFAULT_ROUTE":"")",
                  R"("machine_env_VELTRANE_POC_DISABLE_DEFAULT_ROUTE":"")",
                  R"("user_env_VELTRANE_POC_DISABLE_DEFAULT_ROUTE":"")",
                  R"("process_env_VELTRANE_POC_AUTO_STOP_SECONDS":"")",
                  R"("machine_env_VELTRANE_POC_AUTO_STOP_SECONDS":"")",
                  R"("user_env_VELTRANE_POC_AUTO_STOP_SECONDS":"")"}));
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

TEST_F(GuardSettings, ARemoteSessionIsRecordedAndIsNoFailureByItself) {
  machine.sessions.SetRemoteSession(true);
  EXPECT_EQ(Report(), With(kFreshGuard, {"rdp_session_active"}));
}

TEST_F(GuardSettings, AProcessValueWithABlankOverridesTheMachineSettingLikeAnyFalseOne) {
  OverrideInARemoteSession(L"1 ");
  EXPECT_TRUE(Read().poc_env_read_failed);
}

TEST_F(GuardSettings, AnUnreadableProcessScopeLetsTheMachineSettingStand) {
  OverrideInARemoteSession(L"0");
  machine.FailAlways("ReadProcessVariable", 5);
  EXPECT_TRUE(Read().effective_disable_default_route);
  EXPECT_FALSE(Read().poc_env_read_failed);
}

TEST_F(GuardSettings, AnUnreadableMachineScopeIsNoFailureOfItsOwn) {
  OverrideInARemoteSession(L"0");
  machine.FailWhere("ReadRegistryText", "HKLM", 5);
  EXPECT_FALSE(Read().poc_env_read_failed);
  EXPECT_FALSE(Read().poc_route_guard_failed);
}

// Every combination of an empty (-), a false (0) and a true (1) value of the process, the machine
// and the user, in that order, under what it leads to.
class GuardSettingsMatrix : public GuardSettings {
 protected:
  std::map<std::string, std::string> Outcomes() {
    std::map<std::string, std::string> outcomes;
    for (const wchar_t process : {L'-', L'0', L'1'}) {
      for (const wchar_t machine_value : {L'-', L'0', L'1'}) {
        for (const wchar_t user : {L'-', L'0', L'1'}) {
          machine.environment.SetProcess(kDisable, Value(process));
          machine.environment.SetMachine(kDisable, Value(machine_value));
          machine.environment.SetUser(kDisable, Value(user));
          outcomes[Outcome(Read())] += simulated::Narrow({L' ', process, machine_value, user});
        }
      }
    }
    return outcomes;
  }

 private:
  static std::wstring Value(wchar_t letter) {
    return letter == L'-' ? std::wstring() : std::wstring(1, letter);
  }

  // The guard, the two failures, the reason and the message.
  static std::string Outcome(const RouteGuardResult& result) {
    return std::string(result.effective_disable_default_route ? "on" : "off") +
           (result.poc_env_read_failed ? "/environment" : "/") +
           (result.poc_route_guard_failed ? "/guard/" : "//") + result.failure_reason + "/" +
           result.message;
  }
};

constexpr char kFailed[] =
    "off/environment/guard/poc_env_read_failed/"
    "Machine VELTRANE_POC_DISABLE_DEFAULT_ROUTE unreadable or invalid";

TEST_F(GuardSettingsMatrix, InALocalSessionTheFirstScopeWithAValueDecides) {
  EXPECT_EQ(Outcomes(), (std::map<std::string, std::string>{
                            {"off////", " --- --0 -0- -00 -01 0-- 0-0 0-1 00- 000 001 01- 010 011"},
                            {"on////", " --1 -1- -10 -11 1-- 1-0 1-1 10- 100 101 11- 110 111"}}));
}

TEST_F(GuardSettingsMatrix, InARemoteSessionAFalseProcessValueOverATrueMachineValueFails) {
  machine.sessions.SetRemoteSession(true);
  EXPECT_EQ(Outcomes(), (std::map<std::string, std::string>{
                            {"off////", " --- --0 -0- -00 -01 0-- 0-0 0-1 00- 000 001"},
                            {kFailed, " 01- 010 011"},
                            {"on////", " --1 -1- -10 -11 1-- 1-0 1-1 10- 100 101 11- 110 111"}}));
}

}  // namespace
}  // namespace veltrane
