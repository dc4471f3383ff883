#include "service/installer.h"

#include <string>
#include <vector>

#include "platform/services.h"
#include "tests/support/on_machine.h"

namespace veltrane {
namespace {

using simulated::ServiceRecord;
using Texts = std::vector<std::string>;

constexpr wchar_t kName[] = L"VeltraneVpnTunnel";
constexpr wchar_t kExePath[] = L"D:\\Veltrane VPN\\Service.exe";

class Installer : public OnMachine {
 protected:
  bool Install() { return InstallService(kExePath, &error); }
  bool Uninstall() { return UninstallService(&error); }

  ServiceRecord Installed() { return machine.services.Find(kName).value(); }

  std::wstring error = L"untouched";
};

TEST_F(Installer, RegistersTheServiceWithItsSettings) {
  EXPECT_TRUE(Install());
  const ServiceSettings settings = Installed().settings;
  EXPECT_EQ(settings.name, L"VeltraneVpnTunnel");
  EXPECT_EQ(settings.display_name, L"VeltraneVpnTunnel");
  EXPECT_EQ(settings.access, 0xF01FFu);
  EXPECT_EQ(settings.type, 16u);
  EXPECT_EQ(settings.start_type, 3u);
  EXPECT_EQ(settings.error_control, 1u);
  EXPECT_EQ(settings.command_line, L"\"D:\\Veltrane VPN\\Service.exe\" --run-as-service");
  EXPECT_EQ(settings.dependencies, (std::vector<std::wstring>{L"Nsi", L"TcpIp"}));
  EXPECT_EQ(Installed().sid_type, 1u);
}

TEST_F(Installer, CreatesTheServiceThenSetsItsSidTypeAndDoesNotStartIt) {
  EXPECT_TRUE(Install());
  EXPECT_EQ(machine.calls.All(),
            (Texts{"ServiceManager.Open 0xf003f", "ServiceManager.Create VeltraneVpnTunnel",
                   "Service.SetSidType VeltraneVpnTunnel 1"}));
  EXPECT_EQ(Installed().state, simulated::kStopped);
  EXPECT_EQ(machine.services.OpenHandles(), 0);
  EXPECT_EQ(machine.services.Names(), std::vector<std::wstring>{kName});
}

TEST_F(Installer, LeavesTheErrorTextAloneOnSuccess) {
  EXPECT_TRUE(Install());
  EXPECT_TRUE(Uninstall());
  EXPECT_EQ(error, L"untouched");
}

TEST_F(Installer, QuotesThePathAsItIs) {
  EXPECT_TRUE(InstallService(L"a \"b\"\\", &error));
  EXPECT_EQ(Installed().settings.command_line, L"\"a \"b\"\\\" --run-as-service");
}

TEST_F(Installer, AFailureToSetTheSidTypeIsIgnored) {
  machine.FailAlways("Service.SetSidType", 5);
  EXPECT_TRUE(Install());
  EXPECT_EQ(error, L"untouched");
  EXPECT_EQ(Installed().sid_type, std::nullopt);
  EXPECT_EQ(machine.services.OpenHandles(), 0);
}

TEST_F(Installer, InstallingTwiceSucceedsAndChangesNothingEvenWhenTheProgramHasMoved) {
  EXPECT_TRUE(Install());
  machine.calls.Clear();
  EXPECT_TRUE(InstallService(L"E:\\Moved.exe", &error));
  EXPECT_EQ(machine.calls.All(),
            (Texts{"ServiceManager.Open 0xf003f", "ServiceManager.Create VeltraneVpnTunnel"}));
  EXPECT_EQ(Installed().settings.command_line,
            L"\"D:\\Veltrane VPN\\Service.exe\" --run-as-service");
  EXPECT_EQ(error, L"untouched");
  EXPECT_EQ(machine.services.OpenHandles(), 0);
}

TEST_F(Installer, AServiceThatExistsKeepsEverythingItsSidTypeIncluded) {
  machine.services.Add({.name = kName,
                        .display_name = L"Another",
                        .type = 0x20,
                        .start_type = 2,
                        .error_control = 0,
                        .command_line = L"C:\\old.exe",
                        .dependencies = {L"Dhcp"}},
                       simulated::kRunning);
  EXPECT_TRUE(Install());
  const ServiceRecord record = Installed();
  EXPECT_EQ(record.settings.display_name, L"Another");
  EXPECT_EQ(record.settings.type, 0x20u);
  EXPECT_EQ(record.settings.start_type, 2u);
  EXPECT_EQ(record.settings.error_control, 0u);
  EXPECT_EQ(record.settings.command_line, L"C:\\old.exe");
  EXPECT_EQ(record.settings.dependencies, std::vector<std::wstring>{L"Dhcp"});
  EXPECT_EQ(record.sid_type, std::nullopt);
  EXPECT_EQ(record.state, simulated::kRunning);
}

TEST_F(Installer, FailsWhenTheManagerCannotBeOpened) {
  machine.FailAlways("ServiceManager.Open", 5);
  EXPECT_FALSE(Install());
  EXPECT_EQ(error, L"OpenSCManager failed");
  EXPECT_EQ(machine.calls.All(), Texts{"ServiceManager.Open 0xf003f"});
}

TEST_F(Installer, FailsWithoutTheRightToCreate) {
  machine.services.DenyManagerAccess(2);
  EXPECT_FALSE(Install());
  EXPECT_EQ(error, L"OpenSCManager failed");
}

class CreationError : public Installer, public testing::WithParamInterface<std::uint32_t> {};

TEST_P(CreationError, FailsAndClosesTheManager) {
  machine.FailAlways("ServiceManager.Create", GetParam());
  EXPECT_FALSE(Install());
  EXPECT_EQ(error, L"CreateService failed");
  EXPECT_EQ(machine.calls.All(),
            (Texts{"ServiceManager.Open 0xf003f", "ServiceManager.Create VeltraneVpnTunnel"}));
  EXPECT_EQ(machine.services.OpenHandles(), 0);
  EXPECT_EQ(machine.services.Names(), std::vector<std::wstring>{});
}

// Access denied, invalid account, marked for deletion, duplicate name, and the neighbour of 1073.
INSTANTIATE_TEST_SUITE_P(Installer, CreationError, testing::Values(5, 1057, 1072, 1074, 1078),
                         [](const testing::TestParamInfo<std::uint32_t>& test) {
                           return "Error" + std::to_string(test.param);
                         });

TEST_F(Installer, AServiceMarkedForDeletionCannotBeInstalledAgain) {
  machine.services.Add(kName, simulated::kRunning);
  machine.services.NeverStop();
  EXPECT_TRUE(Uninstall());
  EXPECT_FALSE(Install());
  EXPECT_EQ(error, L"CreateService failed");
}

TEST_F(Installer, TheErrorTextMayBeAbsent) {
  machine.FailAlways("ServiceManager.Create", 5);
  EXPECT_FALSE(InstallService(kExePath, nullptr));
  machine.FailAlways("ServiceManager.Open", 5);
  EXPECT_FALSE(InstallService(kExePath, nullptr));
  EXPECT_FALSE(UninstallService(nullptr));
}

TEST_F(Installer, UninstallStopsTheServiceThenDeletesIt) {
  machine.services.Add(kName, simulated::kRunning);
  EXPECT_TRUE(Uninstall());
  EXPECT_EQ(
      machine.calls.All(),
      (Texts{"ServiceManager.Open 0xf003f", "ServiceManager.OpenExisting VeltraneVpnTunnel 0x24",
             "Service.SendStop VeltraneVpnTunnel", "ServiceManager.Open 0xf003f",
             "ServiceManager.OpenExisting VeltraneVpnTunnel 0x10024",
             "Service.Delete VeltraneVpnTunnel"}));
  EXPECT_EQ(machine.services.Names(), std::vector<std::wstring>{});
  EXPECT_EQ(machine.services.OpenHandles(), 0);
}

TEST_F(Installer, UninstallClosesTheHandlesOfTheStopBeforeTheDeletion) {
  machine.services.Add(kName, simulated::kRunning);
  int open_handles = -1;
  machine.OnCall("ServiceManager.Open", 2, [&] { open_handles = machine.services.OpenHandles(); });
  EXPECT_TRUE(Uninstall());
  EXPECT_EQ(open_handles, 0);
}

TEST_F(Installer, UninstallMarksARunningServiceWithoutWaitingForItToStop) {
  machine.services.Add(kName, simulated::kRunning);
  machine.services.NeverStop();
  EXPECT_TRUE(Uninstall());
  EXPECT_TRUE(Installed().marked_for_delete);
  EXPECT_EQ(Installed().state, simulated::kStopPending);
  EXPECT_EQ(machine.calls.Count("Service.QueryState"), 0u);
  EXPECT_EQ(machine.calls.Count("Sleep"), 0u);
  machine.services.SetState(kName, simulated::kStopped);
  EXPECT_EQ(machine.services.Find(kName), std::nullopt);
}

TEST_F(Installer, UninstallOfAServiceThatIsNotInstalledReturnsTrue) {
  EXPECT_TRUE(Uninstall());
  EXPECT_EQ(error, L"untouched");
  EXPECT_EQ(machine.calls.All(), (Texts{"ServiceManager.Open 0xf003f",
                                        "ServiceManager.OpenExisting VeltraneVpnTunnel 0x24",
                                        "ServiceManager.Open 0xf003f",
                                        "ServiceManager.OpenExisting VeltraneVpnTunnel 0x10024"}));
  EXPECT_EQ(machine.services.OpenHandles(), 0);
}

TEST_F(Installer, UninstallLeavesTheTunnelServiceAlone) {
  machine.services.Add(kName);
  machine.services.Add(L"VeltraneVpnTunnel$Active", simulated::kRunning);
  EXPECT_TRUE(Uninstall());
  EXPECT_EQ(machine.services.Names(), std::vector<std::wstring>{L"VeltraneVpnTunnel$Active"});
  EXPECT_EQ(machine.services.Find(L"VeltraneVpnTunnel$Active")->state, simulated::kRunning);
}

TEST_F(Installer, UninstallDeletesAlthoughTheManagerCouldNotBeOpenedForTheStop) {
  machine.services.Add(kName, simulated::kRunning);
  machine.Fail("ServiceManager.Open", 1, 5);
  EXPECT_TRUE(Uninstall());
  EXPECT_EQ(machine.Changes(), Texts{"Service.Delete VeltraneVpnTunnel"});
  EXPECT_TRUE(Installed().marked_for_delete);
  EXPECT_EQ(Installed().state, simulated::kRunning);
}

TEST_F(Installer, UninstallDeletesAlthoughTheServiceCouldNotBeOpenedForTheStop) {
  machine.services.Add(kName, simulated::kRunning);
  machine.Fail("ServiceManager.OpenExisting", 1, 5);
  EXPECT_TRUE(Uninstall());
  EXPECT_EQ(machine.Changes(), Texts{"Service.Delete VeltraneVpnTunnel"});
  EXPECT_EQ(machine.services.OpenHandles(), 0);
}

TEST_F(Installer, UninstallDeletesAlthoughTheStopFailed) {
  machine.services.Add(kName, simulated::kRunning);
  machine.FailAlways("Service.SendStop", 1061);
  EXPECT_TRUE(Uninstall());
  EXPECT_TRUE(Installed().marked_for_delete);
  EXPECT_EQ(error, L"untouched");
}

TEST_F(Installer, UninstallFailsWhenTheManagerCannotBeOpenedForTheDeletion) {
  machine.services.Add(kName, simulated::kRunning);
  machine.Fail("ServiceManager.Open", 2, 5);
  EXPECT_FALSE(Uninstall());
  EXPECT_EQ(error, L"OpenSCManager failed");
  EXPECT_EQ(Installed().state, simulated::kStopped);
  EXPECT_FALSE(Installed().marked_for_delete);
  EXPECT_EQ(machine.services.OpenHandles(), 0);
}

TEST_F(Installer, UninstallSucceedsWhenTheServiceCannotBeOpenedForTheDeletion) {
  machine.services.Add(kName);
  machine.Fail("ServiceManager.OpenExisting", 2, 5);
  EXPECT_TRUE(Uninstall());
  EXPECT_EQ(error, L"untouched");
  EXPECT_FALSE(Installed().marked_for_delete);
  EXPECT_EQ(machine.services.OpenHandles(), 0);
}

TEST_F(Installer, UninstallSucceedsWhenTheDeletionFails) {
  machine.services.Add(kName);
  machine.FailAlways("Service.Delete", 1072);
  EXPECT_TRUE(Uninstall());
  EXPECT_EQ(error, L"untouched");
  EXPECT_FALSE(Installed().marked_for_delete);
  EXPECT_EQ(machine.services.OpenHandles(), 0);
}

}  // namespace
}  // namespace veltrane
