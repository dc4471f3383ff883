// What is called known of the registered service is what the service itself reads, whatever has
// been written since it and Windows were started.

#include "bypass/candidates.h"
#include "client/survey/service_settings.h"
#include "guard/settings.h"
#include "platform/environment.h"
#include "platform/text.h"
#include "tests/client/on_client_machine.h"

namespace veltrane {
namespace {

using Wide = std::optional<std::wstring>;  // nullopt: there is no such value

constexpr std::int64_t kSecond = 10'000'000;
const std::wstring kOwnKey = L"SYSTEM\\CurrentControlSet\\Services\\VeltraneVpnTunnel";
const std::wstring kSystemKey = L"S-1-5-18\\Environment";

// A value at the time that counts for the service's process, and now.
struct History {
  Wide then;
  Wide now;
};

struct Truth {
  History own;
  History machine;
  History account;
  bool account_is_merged = false;  // into the process's environment
  bool running = true;
  bool account_is_readable = true;  // by the client

  // What the service's process has. One that has stopped reads its own value at the next start.
  Wide Process() const {
    const Wide& overriding = running ? own.then : own.now;
    if (overriding) return overriding;
    return account_is_merged && account.then ? account.then : machine.then;
  }
};

std::vector<History> Histories(const std::vector<Wide>& values) {
  std::vector<History> histories;
  for (const Wide& then : values) {
    for (const Wide& now : values) histories.push_back({then, now});
  }
  return histories;
}

template <typename Visit>
void VisitTruths(Visit visit) {
  for (const History& own : Histories({std::nullopt, L"", L"own"})) {
    for (const History& machine : Histories({std::nullopt, L"machine"})) {
      for (const History& account : Histories({std::nullopt, L"", L"account", L"machine"})) {
        for (unsigned flags = 0; flags < 8; ++flags) {
          visit(Truth{own, machine, account, (flags & 1) != 0, (flags & 2) != 0, (flags & 4) != 0});
        }
      }
    }
  }
}

// Windows was started 1000 seconds ago, the service 600 seconds ago. Whatever differs from then was
// written 300 seconds ago.
class SettingsThatAreKnown : public OnClientMachine,
                             public testing::WithParamInterface<const wchar_t*> {
 protected:
  SettingsThatAreKnown() {
    machine.clock.SetUptime(1'000'000);
    side.process_starts[4711] = SecondsAgo(600);
    InstallService(simulated::kRunning);
  }

  std::int64_t SecondsAgo(std::int64_t seconds) const {
    return machine.clock.Ticks() - seconds * kSecond;
  }

  std::size_t Index() const { return GetParam() == std::wstring(L"ADMIN_BYPASS_IP") ? 2 : 1; }

  void SetOrUnset(RegistryRoot root, const std::wstring& key, const Wide& value) {
    machine.registry.Unset(root, key, GetParam());
    if (value) machine.registry.SetText(root, key, GetParam(), *value);
  }

  void NoteWriting(RegistryRoot root, const std::wstring& key, const History& history) {
    machine.registry.SetWriteTime(root, key, SecondsAgo(history.then == history.now ? 5000 : 300));
  }

  void Arrange(const Truth& truth) {
    machine.calls.Clear();
    machine.calls.Heal("FindRegistryText");
    machine.services.SetState(L"VeltraneVpnTunnel",
                              truth.running ? simulated::kRunning : simulated::kStopped);
    std::vector<std::wstring> entries;
    if (truth.own.now) entries.push_back(std::wstring(GetParam()) + L"=" + *truth.own.now);
    machine.registry.SetTexts(kOwnKey, L"Environment", entries);
    SetOrUnset(RegistryRoot::kLocalMachine, kMachineEnvironmentKey, truth.machine.now);
    SetOrUnset(RegistryRoot::kUsers, kSystemKey, truth.account.now);
    NoteWriting(RegistryRoot::kLocalMachine, kOwnKey, truth.own);
    NoteWriting(RegistryRoot::kLocalMachine, kMachineEnvironmentKey, truth.machine);
    NoteWriting(RegistryRoot::kUsers, kSystemKey, truth.account);
    if (!truth.account_is_readable) machine.FailWhere("FindRegistryText", "HKU", 5);
  }

  // What the service reads.
  std::string ReadAsTheService(const Truth& truth) {
    machine.environment.UnsetProcess(GetParam());
    if (truth.Process()) machine.environment.SetProcess(GetParam(), *truth.Process());
    SetOrUnset(RegistryRoot::kCurrentUser, kUserEnvironmentKey, truth.account.now);
    const std::string value = Index() == 2
                                  ? ReadEnvSetting(GetParam())
                                  : WideToUtf8(ReadProcessVariable(GetParam(), kSwitchCapacity));
    // The client's own are others.
    machine.environment.SetProcess(GetParam(), L"client");
    SetOrUnset(RegistryRoot::kCurrentUser, kUserEnvironmentKey, L"client");
    return value;
  }
};

INSTANTIATE_TEST_SUITE_P(Of, SettingsThatAreKnown,
                         testing::Values(L"VELTRANE_POC_ADMIN_BYPASS", L"ADMIN_BYPASS_IP"),
                         [](const auto& name) { return name.index == 0 ? "TheSwitch" : "AList"; });

TEST_P(SettingsThatAreKnown, AreThoseThatTheServiceReads) {
  std::size_t known_truths = 0;
  VisitTruths([&](const Truth& truth) {
    Arrange(truth);
    const std::string read = ReadAsTheService(truth);
    const KnownValue known = ReadRegisteredSettings().values[Index()];
    if (!known) return;
    ++known_truths;
    ASSERT_EQ(*known, read);
  });
  EXPECT_GT(known_truths, 500u);
}

}  // namespace
}  // namespace veltrane
