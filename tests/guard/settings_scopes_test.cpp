#include <optional>

#include "guard/settings.h"
#include "tests/support/on_machine.h"

namespace veltrane {
namespace {

using simulated::Units;

constexpr wchar_t kName[] = L"VELTRANE_POC_AUTO_STOP_SECONDS";
constexpr wchar_t kMachineKey[] =
    L"SYSTEM\\CurrentControlSet\\Control\\Session Manager\\Environment";

class EnvScopes : public OnMachine {
 protected:
  using Value = std::optional<std::wstring>;  // absent in its scope without one

  void Set(const Value& process, const Value& machine_value, const Value& user) {
    machine.environment.UnsetProcess(kName);
    machine.environment.UnsetMachine(kName);
    machine.environment.UnsetUser(kName);
    if (process) machine.environment.SetProcess(kName, *process);
    if (machine_value) machine.environment.SetMachine(kName, *machine_value);
    if (user) machine.environment.SetUser(kName, *user);
  }

  // The values as "process|machine|user -> effective".
  static std::string Read() {
    const EnvValue value = ReadEnvAllScopes(kName);
    return value.process + "|" + value.machine + "|" + value.user + " -> " + value.effective;
  }
};

TEST_F(EnvScopes, GiveTheFirstValueThatIsNotEmptyWhetherOrNotItParses) {
  Set({}, {}, {});
  EXPECT_EQ(Read(), "|| -> ");
  Set(L"1", L"2", L"3");
  EXPECT_EQ(Read(), "1|2|3 -> 1");
  Set({}, L"2", L"3");
  EXPECT_EQ(Read(), "|2|3 -> 2");
  Set({}, {}, L"3");
  EXPECT_EQ(Read(), "||3 -> 3");
  Set(L"", L"", L"3");
  EXPECT_EQ(Read(), "||3 -> 3");
  Set(L"soon", L"120", {});
  EXPECT_EQ(Read(), "soon|120| -> soon");
  EXPECT_EQ(ReadEnvSetting(kName), "soon");
  Set(L" true ", L"1", {});
  EXPECT_EQ(Read(), " true |1| ->  true ");
}

TEST_F(EnvScopes, AreConvertedToUtf8WithTheReplacementCharacterForAnUnpairedSurrogate) {
  Set(L"Z\u00FCrich", L"5 \u20AC", Units(u"\U0001F600"));
  EXPECT_EQ(Read(), "Z\xC3\xBCrich|5 \xE2\x82\xAC|\xF0\x9F\x98\x80 -> Z\xC3\xBCrich");
  Set({}, std::wstring(1, 0xD83D) + L"-", {});
  EXPECT_EQ(Read(), "|\xEF\xBF\xBD-| -> \xEF\xBF\xBD-");
}

TEST_F(EnvScopes, LeaveOutAProcessValueOf512CharactersWhateverItsBytes) {
  const std::string longest(511, '7');
  Set(std::wstring(511, L'7'), L"2", {});
  EXPECT_EQ(Read(), longest + "|2| -> " + longest);
  Set(std::wstring(512, L'7'), L"2", {});
  EXPECT_EQ(Read(), "|2| -> 2");
  Set(std::wstring(600, L'7'), {}, L"3");
  EXPECT_EQ(Read(), "||3 -> 3");
  Set(std::wstring(511, L'\u20AC'), {}, {});
  EXPECT_EQ(ReadEnvAllScopes(kName).process.size(), 1533u);
  Set(std::wstring(512, L'\u20AC'), {}, {});
  EXPECT_EQ(Read(), "|| -> ");
}

// 2048 bytes are 1024 wide characters, one of which ends the text.
TEST_F(EnvScopes, LeaveOutARegistryValueOf1024Characters) {
  const std::string longest(1023, 'm');
  Set({}, std::wstring(1023, L'm'), std::wstring(1023, L'm'));
  EXPECT_EQ(Read(), "|" + longest + "|" + longest + " -> " + longest);
  Set({}, std::wstring(1024, L'm'), L"3");
  EXPECT_EQ(Read(), "||3 -> 3");
  Set({}, {}, std::wstring(1024, L'u'));
  EXPECT_EQ(Read(), "|| -> ");
}

TEST_F(EnvScopes, AreAllReadInOrderEvenWhenTheFirstHasAValue) {
  Set(L"1", L"2", L"3");
  ReadEnvAllScopes(kName);
  EXPECT_EQ(machine.calls.All(),
            (std::vector<std::string>{"ReadProcessVariable VELTRANE_POC_AUTO_STOP_SECONDS",
                                      "ReadRegistryText HKLM VELTRANE_POC_AUTO_STOP_SECONDS",
                                      "ReadRegistryText HKCU VELTRANE_POC_AUTO_STOP_SECONDS"}));
}

TEST_F(EnvScopes, OfTheMachineAndTheUserAreTheirKeysInTheRegistry) {
  machine.registry.SetText(RegistryRoot::kLocalMachine, kMachineKey, kName, L"120");
  machine.registry.SetText(RegistryRoot::kCurrentUser, L"Environment", kName, L"90");
  EXPECT_EQ(Read(), "|120|90 -> 120");
  EXPECT_EQ(AutoStopSeconds(), 120);
}

TEST_F(EnvScopes, AreNotReadFromOtherKeysOrOtherVariables) {
  machine.registry.SetText(RegistryRoot::kLocalMachine, L"Environment", kName, L"1");
  machine.registry.SetText(RegistryRoot::kCurrentUser, kMachineKey, kName, L"1");
  machine.environment.SetProcess(L"VELTRANE_POC_AUTO_STOP", L"1");
  EXPECT_EQ(Read(), "|| -> ");
}

TEST_F(EnvScopes, AreReadAnewEachTime) {
  machine.environment.SetMachine(kName, L"10");
  EXPECT_EQ(AutoStopSeconds(), 10);
  machine.environment.SetMachine(kName, L"20");
  EXPECT_EQ(AutoStopSeconds(), 20);
  machine.environment.UnsetMachine(kName);
  EXPECT_EQ(AutoStopSeconds(), 0);
}

TEST_F(EnvScopes, ThatCannotBeReadAreEmpty) {
  Set(L"1", L"2", L"3");
  machine.FailWhere("ReadRegistryText", "HKCU", 5);
  EXPECT_EQ(Read(), "1|2| -> 1");
  machine.FailWhere("ReadRegistryText", "HKLM", 5);
  EXPECT_EQ(Read(), "1|| -> 1");
  machine.FailAlways("ReadProcessVariable", 5);
  EXPECT_EQ(Read(), "|| -> ");
  machine.calls.Heal("ReadRegistryText");
  EXPECT_EQ(Read(), "|2|3 -> 2");
  machine.FailWhere("ReadRegistryText", "HKLM", 5);
  EXPECT_EQ(Read(), "||3 -> 3");
}

TEST_F(EnvScopes, WhoseValueCannotBeConvertedAreEmpty) {
  Set(L"1", L"2", L"3");
  machine.Fail("WideToUtf8", 1, 87);
  EXPECT_EQ(Read(), "|2|3 -> 2");
}

}  // namespace
}  // namespace veltrane
