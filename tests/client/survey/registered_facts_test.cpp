#include "client/survey/registered_facts.h"

#include "tests/client/on_client_machine.h"

namespace veltrane {
namespace {

constexpr std::int64_t kSecond = 10'000'000;
const std::wstring kMachineKey =
    L"SYSTEM\\CurrentControlSet\\Control\\Session Manager\\Environment";
const std::wstring kSystemKey = L"S-1-5-18\\Environment";
const std::wstring kOwnKey = L"SYSTEM\\CurrentControlSet\\Services\\VeltraneVpnTunnel";

// Windows was started 1000 seconds ago and the service, as process 4711, 600 seconds ago; no key
// has been written for years.
class RegisteredFactsOf : public OnClientMachine {
 protected:
  RegisteredFactsOf() {
    machine.clock.SetUptime(1'000'000);
    side.process_starts[4711] = SecondsAgo(600);
    InstallService(simulated::kRunning);
  }

  std::int64_t SecondsAgo(std::int64_t seconds) const {
    return machine.clock.Ticks() - seconds * kSecond;
  }

  void WriteOwnKey(std::int64_t time) {
    machine.registry.SetWriteTime(RegistryRoot::kLocalMachine, kOwnKey, time);
  }
  void WriteMachineKey(std::int64_t time) {
    machine.registry.SetWriteTime(RegistryRoot::kLocalMachine, kMachineKey, time);
  }
  void WriteSystemKey(std::int64_t time) {
    machine.registry.SetWriteTime(RegistryRoot::kUsers, kSystemKey, time);
  }
};

using OwnValue = RegisteredFactsOf;

TEST_F(OwnValue, IsProvedWhenItsKeyIsOlderThanTheProcess) {
  machine.registry.SetTexts(kOwnKey, L"Environment", {L"ADMIN_BYPASS_IP=203.0.113.5"});
  WriteOwnKey(SecondsAgo(600) - 1);
  const RegisteredFacts facts = ReadRegisteredFacts();
  EXPECT_TRUE(facts.own_is_proved);
  EXPECT_EQ(facts.own.ValueOf("ADMIN_BYPASS_IP"), "203.0.113.5");
}

TEST_F(OwnValue, IsNotProvedWhenItsKeyWasWrittenAsTheProcessWasStarted) {
  WriteOwnKey(SecondsAgo(600));
  EXPECT_FALSE(ReadRegisteredFacts().own_is_proved);
}

TEST_F(OwnValue, IsNotProvedWhenItsKeyHasBeenWrittenSince) {
  WriteOwnKey(SecondsAgo(10));
  EXPECT_FALSE(ReadRegisteredFacts().own_is_proved);
}

TEST_F(OwnValue, IsNotProvedWhenItIsWrittenWhileItIsRead) {
  machine.registry.SetTexts(kOwnKey, L"Environment", {L"ADMIN_BYPASS_IP=203.0.113.5"});
  machine.OnCall("FindRegistryText", 1, [this] { WriteOwnKey(SecondsAgo(0)); });
  EXPECT_FALSE(ReadRegisteredFacts().own_is_proved);
}

TEST_F(OwnValue, IsNotProvedWhenTheTimeOfItsKeyCannotBeRead) {
  machine.FailWhere("ReadKeyWriteTime", "VeltraneVpnTunnel", 5);
  EXPECT_FALSE(ReadRegisteredFacts().own_is_proved);
}

TEST_F(OwnValue, IsNotProvedWhenItCannotBeRead) {
  machine.FailAlways("ReadRegistryTexts", 5);
  EXPECT_FALSE(ReadRegisteredFacts().own_is_proved);
}

TEST_F(OwnValue, IsNotProvedWhenItIsNotAListOfTexts) {
  machine.registry.SetText(RegistryRoot::kLocalMachine, kOwnKey, L"Environment",
                           L"ADMIN_BYPASS_IP=203.0.113.5");
  EXPECT_FALSE(ReadRegisteredFacts().own_is_proved);
}

TEST_F(OwnValue, IsNotProvedWhenTheStartOfTheProcessCannotBeRead) {
  machine.FailAlways("ReadProcessStart", 5);
  EXPECT_FALSE(ReadRegisteredFacts().own_is_proved);
}

TEST_F(OwnValue, IsProvedByAProcessThatWasStartedAsWindowsWas) {
  side.process_starts[4711] = SecondsAgo(1000);
  EXPECT_TRUE(ReadRegisteredFacts().own_is_proved);
}

TEST_F(OwnValue, IsNotProvedByAProcessThatSeemsOlderThanWindows) {
  side.process_starts[4711] = SecondsAgo(1000) - 1;
  EXPECT_FALSE(ReadRegisteredFacts().own_is_proved);
}

TEST_F(OwnValue, IsNotProvedByAProcessThatSeemsToHaveBeenStartedInTheFuture) {
  side.process_starts[4711] = SecondsAgo(0) + 1;
  EXPECT_FALSE(ReadRegisteredFacts().own_is_proved);
}

TEST_F(OwnValue, OfAServiceThatHasStoppedIsReadAtTheNextStart) {
  machine.services.SetState(L"VeltraneVpnTunnel", simulated::kStopped);
  WriteOwnKey(SecondsAgo(0));
  EXPECT_TRUE(ReadRegisteredFacts().own_is_proved);
}

TEST_F(OwnValue, OfAServiceThatHasStoppedIsNotProvedWhenItCannotBeRead) {
  machine.services.SetState(L"VeltraneVpnTunnel", simulated::kStopped);
  machine.FailAlways("ReadRegistryTexts", 5);
  EXPECT_FALSE(ReadRegisteredFacts().own_is_proved);
}

TEST_F(OwnValue, OfAServiceThatIsBeingStartedIsThatOfItsProcess) {
  machine.services.SetState(L"VeltraneVpnTunnel", simulated::kStartPending);
  EXPECT_TRUE(ReadRegisteredFacts().own_is_proved);
  WriteOwnKey(SecondsAgo(10));
  EXPECT_FALSE(ReadRegisteredFacts().own_is_proved);
}

TEST_F(OwnValue, OfAServiceThatIsBeingStartedIsNotProvedBeforeItHasAProcess) {
  machine.services.SetState(L"VeltraneVpnTunnel", simulated::kStartPending);
  side.service_process = 0;
  EXPECT_FALSE(ReadRegisteredFacts().own_is_proved);
}

TEST_F(OwnValue, IsNotProvedWhenTheServiceCannotBeAskedAbout) {
  side.service_facts_error = 5;
  EXPECT_FALSE(ReadRegisteredFacts().own_is_proved);
}

class WithoutAService : public OnClientMachine {};

TEST_F(WithoutAService, TheOwnValueIsKnownNotToExist) {
  const RegisteredFacts facts = ReadRegisteredFacts();
  EXPECT_TRUE(facts.own_is_proved);
  EXPECT_EQ(facts.own.entries, std::vector<std::string>());
}

TEST_F(WithoutAService, TheAccountIsTheOneThatTheInstallerChooses) {
  machine.registry.SetText(RegistryRoot::kUsers, kSystemKey, L"ADMIN_BYPASS_IP", L"203.0.113.5");
  const RegisteredFacts facts = ReadRegisteredFacts();
  EXPECT_TRUE(facts.stored_is_proved);
  EXPECT_EQ(facts.account[2].text, "203.0.113.5");
}

using StoredEnvironments = RegisteredFactsOf;

TEST_F(StoredEnvironments, AreProvedWhenBothKeysAreOlderThanWindows) {
  WriteMachineKey(SecondsAgo(1000) - 1);
  WriteSystemKey(SecondsAgo(1000) - 1);
  EXPECT_TRUE(ReadRegisteredFacts().stored_is_proved);
}

TEST_F(StoredEnvironments, AreNotProvedWhenTheMachinesWasWrittenAsWindowsWasStarted) {
  WriteMachineKey(SecondsAgo(1000));
  EXPECT_FALSE(ReadRegisteredFacts().stored_is_proved);
}

TEST_F(StoredEnvironments, AreNotProvedWhenTheAccountsWasWrittenAsWindowsWasStarted) {
  WriteSystemKey(SecondsAgo(1000));
  EXPECT_FALSE(ReadRegisteredFacts().stored_is_proved);
}

TEST_F(StoredEnvironments, AreNotProvedWhenTheMachinesIsWrittenWhileItIsRead) {
  machine.OnCall("FindRegistryText", 8, [this] { WriteMachineKey(SecondsAgo(0)); });
  EXPECT_FALSE(ReadRegisteredFacts().stored_is_proved);
}

TEST_F(StoredEnvironments, AreNotProvedWhenTheTimeOfTheMachinesCannotBeRead) {
  machine.FailWhere("ReadKeyWriteTime", "Session Manager", 5);
  EXPECT_FALSE(ReadRegisteredFacts().stored_is_proved);
}

TEST_F(StoredEnvironments, AreNotProvedWhenTheTimeOfTheAccountsCannotBeRead) {
  machine.FailWhere("ReadKeyWriteTime", "S-1-5-18", 5);
  EXPECT_FALSE(ReadRegisteredFacts().stored_is_proved);
}

TEST_F(StoredEnvironments, AreNotProvedWhenTheAccountHasNone) {
  machine.registry.RemoveKey(RegistryRoot::kUsers, kSystemKey);
  EXPECT_FALSE(ReadRegisteredFacts().stored_is_proved);
}

TEST_F(StoredEnvironments, OfLocalSystemAreReadWhateverTheCaseOfItsName) {
  side.account = L"localSYSTEM";
  machine.registry.SetText(RegistryRoot::kUsers, kSystemKey, L"ADMIN_BYPASS_IP", L"203.0.113.5");
  const RegisteredFacts facts = ReadRegisteredFacts();
  EXPECT_TRUE(facts.stored_is_proved);
  EXPECT_EQ(facts.account[2].error, 0u);
  EXPECT_EQ(facts.account[2].text, "203.0.113.5");
}

TEST_F(StoredEnvironments, OfAnotherAccountAreNotKnown) {
  side.account = L".\\operator";
  machine.registry.SetText(RegistryRoot::kUsers, kSystemKey, L"ADMIN_BYPASS_IP", L"203.0.113.5");
  const RegisteredFacts facts = ReadRegisteredFacts();
  EXPECT_FALSE(facts.stored_is_proved);
  for (const StoredValue& value : facts.account) EXPECT_EQ(value.error, 5u);
}

TEST_F(StoredEnvironments, AreReadForEachSetting) {
  machine.environment.SetMachine(L"VELTRANE_POC_DISABLE_DEFAULT_ROUTE", L"1");
  machine.environment.SetMachine(L"VELTRANE_POC_ADMIN_BYPASS", L"yes");
  machine.environment.SetMachine(L"ADMIN_BYPASS_IP", L"203.0.113.5");
  const RegisteredFacts facts = ReadRegisteredFacts();
  EXPECT_EQ(facts.machine[0].text, "1");
  EXPECT_EQ(facts.machine[1].text, "yes");
  EXPECT_EQ(facts.machine[2].text, "203.0.113.5");
  EXPECT_EQ(facts.machine[3].error, 2u);
  EXPECT_FALSE(facts.machine[3].expandable);
}

TEST_F(StoredEnvironments, MayHaveTextsThatDependOnTheReader) {
  machine.registry.SetExpandableText(RegistryRoot::kLocalMachine, kMachineKey, L"ADMIN_BYPASS_IP",
                                     L"203.0.113.5");
  const RegisteredFacts facts = ReadRegisteredFacts();
  EXPECT_TRUE(facts.machine[2].expandable);
  EXPECT_FALSE(facts.machine[3].expandable);
}

TEST_F(StoredEnvironments, HaveATextThatMayDependOnTheReaderWhenItsTypeCannotBeRead) {
  machine.environment.SetMachine(L"ADMIN_BYPASS_IP", L"203.0.113.5");
  EXPECT_FALSE(ReadRegisteredFacts().machine[2].expandable);
  machine.FailAlways("TestExpandableText", 5);
  EXPECT_TRUE(ReadRegisteredFacts().machine[2].expandable);
}

TEST_F(StoredEnvironments, HaveATooLongTextThatMayBeShorterForTheService) {
  machine.registry.SetExpandableText(RegistryRoot::kLocalMachine, kMachineKey, L"ADMIN_BYPASS_IP",
                                     std::wstring(1024, L'x'));
  const RegisteredFacts facts = ReadRegisteredFacts();
  EXPECT_EQ(facts.machine[2].error, 234u);
  EXPECT_TRUE(facts.machine[2].expandable);
}

TEST_F(StoredEnvironments, FailAsTheirReadsDo) {
  machine.FailWhere("FindRegistryText", "HKLM", 87);
  machine.FailWhere("FindRegistryText", "HKU", 5);
  const RegisteredFacts facts = ReadRegisteredFacts();
  EXPECT_EQ(facts.machine[2].error, 87u);
  EXPECT_EQ(facts.account[2].error, 5u);
}

}  // namespace
}  // namespace veltrane
