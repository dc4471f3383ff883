#pragma once

// The fixture of tests of the MSI's custom actions.

#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/service_codes.h"
#include "service/installer.h"
#include "service/ipc_server.h"
#include "setup/actions.h"
#include "tests/simulated/client_side.h"
#include "tests/support/on_machine.h"

namespace veltrane {

inline constexpr wchar_t kControl[] = L"VeltraneVpnTunnel";
inline constexpr wchar_t kTunnel[] = L"VeltraneVpnTunnel$Active";
inline constexpr wchar_t kServiceKeyPath[] =
    L"SYSTEM\\CurrentControlSet\\Services\\VeltraneVpnTunnel";

// A machine on which an administrator installs to C:\Program Files\Veltrane VPN, and what Windows
// Installer does there: it calls the actions in their order and, when one fails, the rollback
// actions of those before it, the latest first. The first action runs as the user who installs,
// the others as Local System. No service may hold the files when they come or go.
class OnInstallingMachine : public OnMachine {
 protected:
  OnInstallingMachine() {
    machine.files.AddFolder(L"C:\\Program Files");
    machine.installer.Set(L"INSTALLFOLDER", kFolder + L"\\");
  }

  ~OnInstallingMachine() override {
    if (!server.running) return;
    machine.pipes.WaitUntilServerWaits();
    server.Stop();
  }

  // Each returns whether the installation has succeeded. An upgrade does what Install does.
  bool Install() {
    return Perform(
        {{L"VeltraneStop", StopServices, L"VeltraneStartAgain", RestartControlService},
         {L"", PutFiles, L"", TakeFilesBack},
         {L"VeltraneRegister", RegisterControlService, L"VeltraneRestore", RestoreRegistration},
         {L"VeltraneStart", StartControlService, L"", nullptr}});
  }
  bool InstallAgain() {
    machine.installer.Set(L"Installed", L"1");
    return Install();
  }
  bool Uninstall() {
    machine.installer.Set(L"Installed", L"1");
    machine.installer.Set(L"REMOVE", L"ALL");
    return Perform(
        {{L"VeltraneStop", StopServices, L"VeltraneStartAgain", RestartControlService},
         {L"VeltraneRemove", RemoveServices, L"VeltraneRestoreRemoved", RestoreRegistration}});
  }

  // The last action of the next installation or removal fails.
  void FailAtTheEnd() { fails_at_the_end_ = true; }

  // Registers the service as --install does.
  void RegisterByHand(const std::wstring& program = kProgramPath,
                      std::uint32_t state = simulated::kStopped) {
    ASSERT_TRUE(InstallService(program, nullptr));
    if (state != simulated::kStopped) machine.services.SetState(kControl, state);
  }

  // Installs the product and makes its service run, with its pipe served.
  void RunInstalled() {
    ASSERT_TRUE(Install());
    machine.services.SetState(kControl, simulated::kRunning);
    server.Start();
    side.ExpectServer();
    machine.services.OnStopped([this](const std::wstring& name) {
      if (name != kControl) return;
      side.ExpectServer(false);
      server.Stop();
    });
  }

  // Adds a tunnel of this program that is up, with its configuration.
  void AddTunnel(const std::wstring& program = kProgramPath) {
    ServiceSettings settings;
    settings.name = kTunnel;
    settings.command_line = L"\"" + program + L"\" /service \"" + kConf + L"\"";
    machine.services.Add(settings, simulated::kRunning);
    machine.files.AddFile(kConf, "PrivateKey = secret");
  }

  void SetEnvironment(const std::vector<std::wstring>& entries) {
    machine.registry.SetTexts(kServiceKeyPath, L"Environment", entries);
  }

  // The entries of the service's Environment value; nullopt when there is none.
  std::optional<std::vector<std::wstring>> Environment() const {
    const auto texts = machine.registry.Read<std::vector<std::wstring>>(
        RegistryRoot::kLocalMachine, kServiceKeyPath, L"Environment");
    return texts ? std::optional(*texts) : std::nullopt;
  }

  std::uint32_t State(const wchar_t* service) const {
    const auto record = machine.services.Find(service);
    return record ? record->state : 0;
  }

  std::vector<std::string> Log() const { return machine.installer.Log(); }

  inline static const std::wstring kFolder = L"C:\\Program Files\\Veltrane VPN";
  inline static const std::wstring kProgramPath = kFolder + L"\\VeltraneVpnService.exe";
  inline static const std::wstring kConf = L"C:\\ProgramData\\Veltrane\\tunnels\\active.conf";

  simulated::ClientSide side;
  IpcServer server;

 private:
  using Action = bool (*)(InstallerSession& session);
  struct Step {
    std::wstring name;
    Action action;
    std::wstring undo_name;
    Action undo;
  };

  static bool PutFiles(InstallerSession&) {
    ExpectFreeFiles();
    simulated::Machine::Current().files.AddFile(kProgramPath, "MZ");
    return true;
  }
  static bool TakeFilesBack(InstallerSession&) {
    ExpectFreeFiles();
    return true;
  }
  static void ExpectFreeFiles() {
    const auto record = simulated::Machine::Current().services.Find(kControl);
    EXPECT_TRUE(!record || record->state == simulated::kStopped) << "the service holds its files";
  }

  bool Call(const std::wstring& name, Action action) {
    machine.installer.Set(L"CustomActionData", machine.installer.Get(name));
    machine.sessions.SetOwnUser(simulated::NtSid({18}));
    InstallerSession session(1);
    const bool succeeded = action(session);
    machine.sessions.SetOwnUser(simulated::NtSid({21, 1, 2, 3, 1001}));
    machine.installer.Set(L"CustomActionData", L"");
    return succeeded;
  }

  bool Perform(const std::vector<Step>& steps) {
    InstallerSession session(1);
    if (!PrepareInstallation(session)) return false;
    std::size_t done = 0;
    while (done < steps.size() && Call(steps[done].name, steps[done].action)) ++done;
    if (done == steps.size() && !fails_at_the_end_) return true;
    // The rollback action of a step is written into the script before the step itself.
    const std::size_t begun = done < steps.size() ? done + 1 : done;
    for (std::size_t i = begun; i > 0; --i) {
      if (steps[i - 1].undo != nullptr) Call(steps[i - 1].undo_name, steps[i - 1].undo);
    }
    return false;
  }

  bool fails_at_the_end_ = false;
};

}  // namespace veltrane
