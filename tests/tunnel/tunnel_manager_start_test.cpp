#include "tests/support/on_machine.h"
#include "tunnel/tunnel_manager.h"

namespace veltrane {
namespace {

using simulated::kRunning;
using simulated::kStopped;
using simulated::kStopPending;
using simulated::ServiceRecord;

constexpr wchar_t kName[] = L"VeltraneVpnTunnel$Active";
constexpr wchar_t kConf[] = L"C:\\ProgramData\\Veltrane\\tunnels\\active.conf";
constexpr wchar_t kCommandLine[] =
    L"\"C:\\Program Files\\Veltrane\\VeltraneVpnService.exe\" /service "
    L"\"C:\\ProgramData\\Veltrane\\tunnels\\active.conf\"";

// Outside the passive phase, so that the calls are those of the service manager alone.
class TunnelStart : public OnMachine {
 protected:
  TunnelStart() { MarkConnectRequested(); }

  bool Start() { return TunnelManager::Start(kConf, &error); }

  // An earlier tunnel service that still runs, with settings of its own.
  void InstallEarlier(std::uint32_t state) {
    machine.services.Add({.name = kName,
                          .display_name = L"Earlier",
                          .access = 0,
                          .type = 0x20,
                          .start_type = 2,
                          .error_control = 0,
                          .command_line = L"earlier.exe",
                          .dependencies = {L"Earlier"}},
                         state);
  }

  ServiceRecord Installed() { return machine.services.Find(kName).value(); }

  std::string error = "untouched";
};

TEST_F(TunnelStart, CreatesTheServiceWithItsSettings) {
  EXPECT_TRUE(Start());
  const ServiceSettings settings = Installed().settings;
  EXPECT_EQ(settings.name, L"VeltraneVpnTunnel$Active");
  EXPECT_EQ(settings.display_name, L"VeltraneVpnTunnel$Active");
  EXPECT_EQ(settings.access, 0xF01FFu);   // SERVICE_ALL_ACCESS
  EXPECT_EQ(settings.type, 0x10u);        // SERVICE_WIN32_OWN_PROCESS
  EXPECT_EQ(settings.start_type, 3u);     // SERVICE_DEMAND_START
  EXPECT_EQ(settings.error_control, 1u);  // SERVICE_ERROR_NORMAL
  EXPECT_EQ(settings.command_line, kCommandLine);
  EXPECT_EQ(settings.dependencies, (std::vector<std::wstring>{L"Nsi", L"TcpIp"}));
}

TEST_F(TunnelStart, SetsTheUnrestrictedSidType) {
  EXPECT_TRUE(Start());
  EXPECT_EQ(Installed().sid_type, std::optional<std::uint32_t>(1));
}

TEST_F(TunnelStart, LeavesTheServiceRunningAndNoHandleOpen) {
  EXPECT_TRUE(Start());
  EXPECT_EQ(machine.services.Names(), (std::vector<std::wstring>{L"VeltraneVpnTunnel$Active"}));
  EXPECT_EQ(Installed().state, kRunning);
  EXPECT_FALSE(Installed().marked_for_delete);
  EXPECT_EQ(machine.services.OpenHandles(), 0);
}

TEST_F(TunnelStart, LooksForAnEarlierServiceThenCreatesConfiguresAndStarts) {
  EXPECT_TRUE(Start());
  EXPECT_EQ(machine.calls.All(), (std::vector<std::string>{
                                     "ServiceManager.Open 0xf003f",
                                     "ServiceManager.OpenExisting VeltraneVpnTunnel$Active 0x10024",
                                     "ServiceManager.Open 0xf003f", "ExecutablePath",
                                     "ServiceManager.OpenExisting VeltraneVpnTunnel$Active 0xf01ff",
                                     "ServiceManager.Create VeltraneVpnTunnel$Active",
                                     "Service.SetSidType VeltraneVpnTunnel$Active 1",
                                     "Service.Start VeltraneVpnTunnel$Active"}));
}

TEST_F(TunnelStart, LeavesTheErrorTextAloneOnSuccess) {
  EXPECT_TRUE(Start());
  EXPECT_EQ(error, "untouched");
}

TEST_F(TunnelStart, DoesNotWaitForTheRunningState) {
  machine.services.RunAfterPolls(5);
  EXPECT_TRUE(Start());
  EXPECT_EQ(Installed().state, simulated::kStartPending);
  EXPECT_EQ(machine.calls.Count("Service.QueryState"), 0u);
  EXPECT_EQ(machine.clock.Sleeps(), std::vector<std::uint32_t>{});
}

TEST_F(TunnelStart, SucceedsWhenTheServiceEndsRightAfterItsStart) {
  machine.services.StopRightAfterStart();
  EXPECT_TRUE(Start());
  EXPECT_EQ(Installed().state, kStopped);
}

TEST_F(TunnelStart, QuotesThePathsAsTheyAre) {
  machine.libraries.SetExecutablePath(L"D:\\V\u00FC \"x\"\\s.exe");
  EXPECT_TRUE(TunnelManager::Start(L"E:\\a b\\c.conf", nullptr));
  EXPECT_EQ(Installed().settings.command_line,
            L"\"D:\\V\u00FC \"x\"\\s.exe\" /service \"E:\\a b\\c.conf\"");
}

TEST_F(TunnelStart, CutsAnExecutablePathOfMoreThan259Characters) {
  machine.libraries.SetExecutablePath(std::wstring(300, L'x'));
  EXPECT_TRUE(Start());
  EXPECT_EQ(Installed().settings.command_line,
            L"\"" + std::wstring(259, L'x') +
                L"\" /service \"C:\\ProgramData\\Veltrane\\tunnels\\active.conf\"");
}

TEST_F(TunnelStart, StopsAndDeletesAnEarlierServiceFirst) {
  InstallEarlier(kRunning);
  EXPECT_TRUE(Start());
  EXPECT_EQ(machine.Changes(),
            (std::vector<std::string>{"Service.SendStop VeltraneVpnTunnel$Active",
                                      "Service.Delete VeltraneVpnTunnel$Active",
                                      "ServiceManager.Create VeltraneVpnTunnel$Active",
                                      "Service.SetSidType VeltraneVpnTunnel$Active 1",
                                      "Service.Start VeltraneVpnTunnel$Active"}));
  EXPECT_EQ(Installed().settings.display_name, L"VeltraneVpnTunnel$Active");
  EXPECT_EQ(Installed().settings.command_line, kCommandLine);
  EXPECT_EQ(Installed().state, kRunning);
}

TEST_F(TunnelStart, WaitsForAnEarlierServiceToStop) {
  InstallEarlier(kRunning);
  machine.services.StopAfterPolls(3);
  EXPECT_TRUE(Start());
  EXPECT_EQ(machine.clock.Sleeps(), (std::vector<std::uint32_t>{1000, 1000, 1000}));
  EXPECT_EQ(Installed().settings.command_line, kCommandLine);
}

TEST_F(TunnelStart, ReconfiguresAServiceWhoseDeletionIsPending) {
  InstallEarlier(kStopped);
  machine.services.HoldHandle(kName);
  machine.services.LetMarkedServicesWork();
  EXPECT_TRUE(TunnelManager::Stop());
  machine.calls.Clear();
  EXPECT_TRUE(Start());
  EXPECT_EQ(machine.Changes(),
            (std::vector<std::string>{"Service.SendStop VeltraneVpnTunnel$Active",
                                      "Service.Delete VeltraneVpnTunnel$Active",
                                      "Service.ChangeCommandLine VeltraneVpnTunnel$Active",
                                      "Service.Start VeltraneVpnTunnel$Active"}));
  EXPECT_EQ(Installed().settings.command_line, kCommandLine);
  EXPECT_TRUE(Installed().marked_for_delete);
  EXPECT_EQ(Installed().state, kRunning);
}

TEST_F(TunnelStart, ReconfiguresNothingButTheCommandLine) {
  InstallEarlier(kStopped);
  machine.Fail("Service.Delete", 1, 5);
  EXPECT_TRUE(Start());
  const ServiceRecord record = Installed();
  EXPECT_EQ(record.settings.command_line, kCommandLine);
  EXPECT_EQ(record.settings.display_name, L"Earlier");
  EXPECT_EQ(record.settings.type, 0x20u);
  EXPECT_EQ(record.settings.start_type, 2u);
  EXPECT_EQ(record.settings.error_control, 0u);
  EXPECT_EQ(record.settings.dependencies, (std::vector<std::wstring>{L"Earlier"}));
}

TEST_F(TunnelStart, KeepsTheSidTypeOfAReconfiguredService) {
  InstallEarlier(kStopped);
  machine.Fail("Service.Delete", 1, 5);
  EXPECT_TRUE(Start());
  EXPECT_EQ(Installed().sid_type, std::nullopt);
  EXPECT_EQ(machine.calls.Count("Service.SetSidType"), 0u);
}

TEST_F(TunnelStart, IgnoresAFailedReconfiguration) {
  InstallEarlier(kStopped);
  machine.Fail("Service.Delete", 1, 5);
  machine.Fail("Service.ChangeCommandLine", 1, 1072);
  EXPECT_TRUE(Start());
  EXPECT_EQ(Installed().settings.command_line, L"earlier.exe");
  EXPECT_EQ(Installed().state, kRunning);
}

TEST_F(TunnelStart, IgnoresAFailedSidType) {
  machine.Fail("Service.SetSidType", 1, 5);
  EXPECT_TRUE(Start());
  EXPECT_EQ(Installed().sid_type, std::nullopt);
  EXPECT_EQ(Installed().state, kRunning);
  EXPECT_EQ(error, "untouched");
}

TEST_F(TunnelStart, TakesAServiceThatRunsAlreadyForASuccess) {
  machine.Fail("Service.Start", 1, 1056);
  EXPECT_TRUE(Start());
  EXPECT_EQ(error, "untouched");
}

TEST_F(TunnelStart, ReconfiguresAnEarlierServiceThatDoesNotStop) {
  InstallEarlier(kRunning);
  machine.services.NeverStop();
  machine.Fail("Service.Delete", 1, 5);
  EXPECT_TRUE(Start());
  EXPECT_EQ(Installed().state, kStopPending);
  EXPECT_EQ(Installed().settings.command_line, kCommandLine);
  EXPECT_EQ(machine.clock.Sleeps(), std::vector<std::uint32_t>(15, 1000));
}

TEST_F(TunnelStart, FailsWithoutRightsToTheManager) {
  machine.services.DenyManagerAccess(2);
  EXPECT_FALSE(Start());
  EXPECT_EQ(error, "OpenSCManager failed");
  EXPECT_EQ(machine.calls.All(), (std::vector<std::string>{"ServiceManager.Open 0xf003f",
                                                           "ServiceManager.Open 0xf003f"}));
  EXPECT_EQ(machine.services.Names(), std::vector<std::wstring>{});
}

TEST_F(TunnelStart, ThatFailsToOpenTheManagerHasRemovedTheEarlierService) {
  InstallEarlier(kRunning);
  machine.Fail("ServiceManager.Open", 2, 5);
  EXPECT_FALSE(Start());
  EXPECT_EQ(error, "OpenSCManager failed");
  EXPECT_EQ(machine.services.Names(), std::vector<std::wstring>{});
  EXPECT_EQ(machine.services.OpenHandles(), 0);
}

TEST_F(TunnelStart, GoesOnWithTheEarlierServiceWhenItsRemovalFoundNoManager) {
  InstallEarlier(kRunning);
  machine.Fail("ServiceManager.Open", 1, 5);
  EXPECT_TRUE(Start());  // the earlier service runs already
  EXPECT_EQ(machine.Changes(),
            (std::vector<std::string>{"Service.ChangeCommandLine VeltraneVpnTunnel$Active",
                                      "Service.Start VeltraneVpnTunnel$Active"}));
  EXPECT_EQ(Installed().settings.command_line, kCommandLine);
}

TEST_F(TunnelStart, FailsWhenTheServiceCannotBeCreated) {
  machine.Fail("ServiceManager.Create", 1, 5);
  EXPECT_FALSE(Start());
  EXPECT_EQ(error, "CreateService tunnel failed");
  EXPECT_EQ(machine.Changes(),
            (std::vector<std::string>{"ServiceManager.Create VeltraneVpnTunnel$Active"}));
  EXPECT_EQ(machine.services.Names(), std::vector<std::wstring>{});
  EXPECT_EQ(machine.services.OpenHandles(), 0);
}

TEST_F(TunnelStart, FailsWhenTheServiceExistsButCannotBeOpened) {
  InstallEarlier(kStopped);
  machine.FailAlways("ServiceManager.OpenExisting", 5);
  EXPECT_FALSE(Start());
  EXPECT_EQ(error, "CreateService tunnel failed");
  EXPECT_EQ(Installed().settings.command_line, L"earlier.exe");
  EXPECT_EQ(machine.services.OpenHandles(), 0);
}

class TunnelStartError : public TunnelStart, public testing::WithParamInterface<std::uint32_t> {};

TEST_P(TunnelStartError, FailsAndLeavesTheServiceInstalled) {
  machine.Fail("Service.Start", 1, GetParam());
  EXPECT_FALSE(Start());
  EXPECT_EQ(error, "StartService tunnel failed");
  EXPECT_EQ(Installed().state, kStopped);
  EXPECT_FALSE(Installed().marked_for_delete);
  EXPECT_EQ(Installed().settings.command_line, kCommandLine);
  EXPECT_EQ(machine.services.OpenHandles(), 0);
  EXPECT_EQ(machine.Changes(),
            (std::vector<std::string>{"ServiceManager.Create VeltraneVpnTunnel$Active",
                                      "Service.SetSidType VeltraneVpnTunnel$Active 1",
                                      "Service.Start VeltraneVpnTunnel$Active"}));
}

INSTANTIATE_TEST_SUITE_P(Errors, TunnelStartError,
                         testing::Values(2u, 5u, 1053u, 1055u, 1057u, 1058u, 1069u, 1072u));

TEST_F(TunnelStart, FailsOnAServiceWhoseDeletionIsPendingAndThatCannotBeStarted) {
  InstallEarlier(kStopped);
  machine.services.HoldHandle(kName);
  EXPECT_FALSE(Start());
  EXPECT_EQ(error, "StartService tunnel failed");
  EXPECT_EQ(Installed().settings.command_line, L"earlier.exe");
  machine.services.ReleaseHandle(kName);
  EXPECT_EQ(machine.services.Names(), std::vector<std::wstring>{});
}

TEST_F(TunnelStart, FailsWithoutAnErrorTextToFill) {
  machine.Fail("Service.Start", 1, 2);
  EXPECT_FALSE(TunnelManager::Start(kConf, nullptr));
  machine.Fail("ServiceManager.Create", 1, 5);
  EXPECT_FALSE(TunnelManager::Start(kConf, nullptr));
  machine.FailAlways("ServiceManager.Open", 5);
  EXPECT_FALSE(TunnelManager::Start(kConf, nullptr));
}

TEST_F(TunnelStart, TwiceReplacesTheService) {
  EXPECT_TRUE(Start());
  machine.calls.Clear();
  EXPECT_TRUE(TunnelManager::Start(L"E:\\second.conf", &error));
  EXPECT_EQ(machine.Changes(),
            (std::vector<std::string>{"Service.SendStop VeltraneVpnTunnel$Active",
                                      "Service.Delete VeltraneVpnTunnel$Active",
                                      "ServiceManager.Create VeltraneVpnTunnel$Active",
                                      "Service.SetSidType VeltraneVpnTunnel$Active 1",
                                      "Service.Start VeltraneVpnTunnel$Active"}));
  EXPECT_EQ(Installed().settings.command_line,
            L"\"C:\\Program Files\\Veltrane\\VeltraneVpnService.exe\" /service "
            L"\"E:\\second.conf\"");
}

}  // namespace
}  // namespace veltrane
