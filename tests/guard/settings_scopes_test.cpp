#include "guard/settings.h"
#include "tests/support/on_machine.h"

namespace veltrane {
namespace {

using simulated::Units;

constexpr wchar_t kName[] = L"VELTRANE_POC_AUTO_STOP_SECONDS";

class EnvScopes : public OnMachine {};

TEST_F(EnvScopes, AVariableThatIsNowhereIsEmptyInEveryScope) {
  const EnvValue value = ReadEnvAllScopes(kName);
  EXPECT_EQ(value.process, "");
  EXPECT_EQ(value.machine, "");
  EXPECT_EQ(value.user, "");
  EXPECT_EQ(value.effective, "");
}

TEST_F(EnvScopes, TheProcessValueComesFirst) {
  machine.environment.SetProcess(kName, L"1");
  machine.environment.SetMachine(kName, L"2");
  machine.environment.SetUser(kName, L"3");
  const EnvValue value = ReadEnvAllScopes(kName);
  EXPECT_EQ(value.process, "1");
  EXPECT_EQ(value.machine, "2");
  EXPECT_EQ(value.user, "3");
  EXPECT_EQ(value.effective, "1");
}

TEST_F(EnvScopes, TheMachineValueComesSecond) {
  machine.environment.SetMachine(kName, L"2");
  machine.environment.SetUser(kName, L"3");
  const EnvValue value = ReadEnvAllScopes(kName);
  EXPECT_EQ(value.process, "");
  EXPECT_EQ(value.machine, "2");
  EXPECT_EQ(value.user, "3");
  EXPECT_EQ(value.effective, "2");
}

TEST_F(EnvScopes, TheUserValueComesLast) {
  machine.environment.SetUser(kName, L"3");
  const EnvValue value = ReadEnvAllScopes(kName);
  EXPECT_EQ(value.process, "");
  EXPECT_EQ(value.machine, "");
  EXPECT_EQ(value.user, "3");
  EXPECT_EQ(value.effective, "3");
}

TEST_F(EnvScopes, AnEmptyValueCountsAsAbsent) {
  machine.environment.SetProcess(kName, L"");
  machine.environment.SetMachine(kName, L"");
  machine.environment.SetUser(kName, L"3");
  EXPECT_EQ(ReadEnvAllScopes(kName).effective, "3");
}

TEST_F(EnvScopes, AValueThatParsesAsNothingIsStillTheEffectiveOne) {
  machine.environment.SetProcess(kName, L"soon");
  machine.environment.SetMachine(kName, L"120");
  EXPECT_EQ(ReadEnvSetting(kName), "soon");
  EXPECT_EQ(AutoStopSeconds(), 0);
}

TEST_F(EnvScopes, EveryScopeIsReadInOrderEvenWhenTheFirstHasAValue) {
  machine.environment.SetProcess(kName, L"1");
  ReadEnvAllScopes(kName);
  EXPECT_EQ(machine.calls.All(),
            (std::vector<std::string>{"ReadProcessVariable VELTRANE_POC_AUTO_STOP_SECONDS",
                                      "ReadRegistryText HKLM VELTRANE_POC_AUTO_STOP_SECONDS",
                                      "ReadRegistryText HKCU VELTRANE_POC_AUTO_STOP_SECONDS"}));
}

TEST_F(EnvScopes, AVariableOfTheMachineRegistryIsHonouredWithoutAProcessVariable) {
  machine.environment.SetRegistry(RegistryRoot::kLocalMachine,
                                  L"SYSTEM\\CurrentControlSet\\Control\\Session Manager"
                                  L"\\Environment",
                                  L"VELTRANE_POC_AUTO_STOP_SECONDS", L"120");
  EXPECT_EQ(ReadEnvSetting(kName), "120");
  EXPECT_EQ(AutoStopSeconds(), 120);
}

TEST_F(EnvScopes, TheUserScopeIsTheUsersEnvironmentKey) {
  machine.environment.SetRegistry(RegistryRoot::kCurrentUser, L"Environment",
                                  L"VELTRANE_POC_AUTO_STOP_SECONDS", L"90");
  EXPECT_EQ(ReadEnvAllScopes(kName).user, "90");
  EXPECT_EQ(AutoStopSeconds(), 90);
}

TEST_F(EnvScopes, ValuesElsewhereInTheRegistryAreNotRead) {
  machine.environment.SetRegistry(RegistryRoot::kLocalMachine, L"Environment", kName, L"1");
  machine.environment.SetRegistry(RegistryRoot::kCurrentUser,
                                  L"SYSTEM\\CurrentControlSet\\Control\\Session Manager"
                                  L"\\Environment",
                                  kName, L"1");
  EXPECT_EQ(ReadEnvSetting(kName), "");
}

TEST_F(EnvScopes, AnotherVariableOfTheSameScopeIsNotRead) {
  machine.environment.SetProcess(L"VELTRANE_POC_AUTO_STOP", L"1");
  EXPECT_EQ(ReadEnvSetting(kName), "");
}

TEST_F(EnvScopes, NothingIsCached) {
  machine.environment.SetMachine(kName, L"10");
  EXPECT_EQ(AutoStopSeconds(), 10);
  machine.environment.SetMachine(kName, L"20");
  EXPECT_EQ(AutoStopSeconds(), 20);
  machine.environment.UnsetMachine(kName);
  EXPECT_EQ(AutoStopSeconds(), 0);
}

TEST_F(EnvScopes, AProcessValueOf511CharactersIsRead) {
  machine.environment.SetProcess(kName, std::wstring(511, L'7'));
  machine.environment.SetMachine(kName, L"2");
  const EnvValue value = ReadEnvAllScopes(kName);
  EXPECT_EQ(value.process, std::string(511, '7'));
  EXPECT_EQ(value.effective, std::string(511, '7'));
}

TEST_F(EnvScopes, AProcessValueOf512CharactersIsUnsetAndTheMachineValueTakesEffect) {
  machine.environment.SetProcess(kName, std::wstring(512, L'7'));
  machine.environment.SetMachine(kName, L"2");
  const EnvValue value = ReadEnvAllScopes(kName);
  EXPECT_EQ(value.process, "");
  EXPECT_EQ(value.effective, "2");
}

TEST_F(EnvScopes, AProcessValueOf600CharactersIsUnsetAndTheUserValueTakesEffect) {
  machine.environment.SetProcess(kName, std::wstring(600, L'7'));
  machine.environment.SetUser(kName, L"3");
  const EnvValue value = ReadEnvAllScopes(kName);
  EXPECT_EQ(value.process, "");
  EXPECT_EQ(value.effective, "3");
}

TEST_F(EnvScopes, TheProcessLimitCountsWideCharactersNotBytes) {
  machine.environment.SetProcess(kName, std::wstring(511, L'\u20AC'));
  EXPECT_EQ(ReadEnvAllScopes(kName).process.size(), 1533u);
  machine.environment.SetProcess(kName, std::wstring(512, L'\u20AC'));
  EXPECT_EQ(ReadEnvAllScopes(kName).process, "");
}

// 2048 bytes are 1024 wide characters, one of which ends the text.
TEST_F(EnvScopes, ARegistryValueOf1023CharactersIsRead) {
  machine.environment.SetMachine(kName, std::wstring(1023, L'm'));
  machine.environment.SetUser(kName, std::wstring(1023, L'u'));
  const EnvValue value = ReadEnvAllScopes(kName);
  EXPECT_EQ(value.machine, std::string(1023, 'm'));
  EXPECT_EQ(value.user, std::string(1023, 'u'));
  EXPECT_EQ(value.effective, std::string(1023, 'm'));
}

TEST_F(EnvScopes, AMachineValueOf1024CharactersIsEmptyAndTheUserValueTakesEffect) {
  machine.environment.SetMachine(kName, std::wstring(1024, L'm'));
  machine.environment.SetUser(kName, L"3");
  const EnvValue value = ReadEnvAllScopes(kName);
  EXPECT_EQ(value.machine, "");
  EXPECT_EQ(value.effective, "3");
}

TEST_F(EnvScopes, AUserValueOf1024CharactersIsEmpty) {
  machine.environment.SetUser(kName, std::wstring(1024, L'u'));
  const EnvValue value = ReadEnvAllScopes(kName);
  EXPECT_EQ(value.user, "");
  EXPECT_EQ(value.effective, "");
}

TEST_F(EnvScopes, AnUnreadableProcessScopeIsEmpty) {
  machine.environment.SetProcess(kName, L"1");
  machine.environment.SetMachine(kName, L"2");
  machine.FailAlways("ReadProcessVariable", 5);
  const EnvValue value = ReadEnvAllScopes(kName);
  EXPECT_EQ(value.process, "");
  EXPECT_EQ(value.effective, "2");
}

TEST_F(EnvScopes, AnUnreadableMachineScopeIsEmpty) {
  machine.environment.SetMachine(kName, L"2");
  machine.environment.SetUser(kName, L"3");
  machine.FailWhere("ReadRegistryText", "HKLM", 5);
  const EnvValue value = ReadEnvAllScopes(kName);
  EXPECT_EQ(value.machine, "");
  EXPECT_EQ(value.user, "3");
  EXPECT_EQ(value.effective, "3");
}

TEST_F(EnvScopes, AnUnreadableUserScopeIsEmpty) {
  machine.environment.SetMachine(kName, L"2");
  machine.environment.SetUser(kName, L"3");
  machine.FailWhere("ReadRegistryText", "HKCU", 5);
  const EnvValue value = ReadEnvAllScopes(kName);
  EXPECT_EQ(value.machine, "2");
  EXPECT_EQ(value.user, "");
  EXPECT_EQ(value.effective, "2");
}

TEST_F(EnvScopes, WithEveryScopeUnreadableTheEffectiveValueIsEmpty) {
  machine.environment.SetProcess(kName, L"1");
  machine.environment.SetMachine(kName, L"2");
  machine.environment.SetUser(kName, L"3");
  machine.FailAlways("ReadProcessVariable", 5);
  machine.FailAlways("ReadRegistryText", 5);
  EXPECT_EQ(ReadEnvSetting(kName), "");
}

TEST_F(EnvScopes, EveryScopeIsConvertedToUtf8) {
  machine.environment.SetProcess(kName, Units(u"Z\u00FCrich"));
  machine.environment.SetMachine(kName, Units(u"5 \u20AC"));
  machine.environment.SetUser(kName, Units(u"\U0001F600"));
  const EnvValue value = ReadEnvAllScopes(kName);
  EXPECT_EQ(value.process, "Z\xC3\xBCrich");
  EXPECT_EQ(value.machine, "5 \xE2\x82\xAC");
  EXPECT_EQ(value.user, "\xF0\x9F\x98\x80");
}

TEST_F(EnvScopes, AnUnpairedSurrogateBecomesTheReplacementCharacter) {
  machine.environment.SetMachine(kName, std::wstring(1, static_cast<wchar_t>(0xD83D)) + L"1");
  EXPECT_EQ(ReadEnvAllScopes(kName).machine,
            "\xEF\xBF\xBD"
            "1");
}

TEST_F(EnvScopes, AValueThatCannotBeConvertedIsEmptyAndTheNextScopeTakesEffect) {
  machine.environment.SetProcess(kName, L"1");
  machine.environment.SetMachine(kName, L"2");
  machine.Fail("WideToUtf8", 1, 87);
  const EnvValue value = ReadEnvAllScopes(kName);
  EXPECT_EQ(value.process, "");
  EXPECT_EQ(value.machine, "2");
  EXPECT_EQ(value.effective, "2");
}

TEST_F(EnvScopes, BlanksAroundAValueAreKept) {
  machine.environment.SetProcess(kName, L" true ");
  EXPECT_EQ(ReadEnvSetting(kName), " true ");
}

}  // namespace
}  // namespace veltrane
