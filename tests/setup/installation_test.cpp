// Installing, repairing and upgrading, by the actions in their order.

#include "platform/access_lists.h"
#include "tests/setup/on_installing_machine.h"

namespace veltrane {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Optional;

using Installation = OnInstallingMachine;

constexpr char kStarted[] = "Veltrane VPN: The service has been started.";

TEST_F(Installation, RegistersTheServiceAndStartsNothing) {
  EXPECT_TRUE(Install());
  const auto record = machine.services.Find(kControl);
  ASSERT_TRUE(record);
  EXPECT_EQ(record->settings.command_line,
            L"\"C:\\Program Files\\Veltrane VPN\\VeltraneVpnService.exe\" --run-as-service");
  EXPECT_EQ(record->settings.start_type, 3U);
  EXPECT_THAT(record->settings.dependencies, ElementsAre(L"Nsi", L"TcpIp"));
  EXPECT_EQ(record->sid_type, 1U);
  EXPECT_EQ(record->state, simulated::kStopped);
  EXPECT_EQ(Environment(), std::nullopt);
  EXPECT_THAT(Log(), IsEmpty());
}

TEST_F(Installation, WithoutPropertiesDoesWhatInstallDoesOnceTheConfigurationFolderIsClosed) {
  EXPECT_TRUE(Install());
  EXPECT_THAT(machine.Changes(), ElementsAre("CreateClosedFolder C:\\ProgramData\\Veltrane",
                                             "ServiceManager.Create VeltraneVpnTunnel",
                                             "Service.SetSidType VeltraneVpnTunnel 1"));
}

TEST_F(Installation, TurnsPropertiesIntoSettings) {
  machine.installer.Set(L"ADMIN_BYPASS_IPS", L"203.0.113.5 198.51.100.7");
  machine.installer.Set(L"DISABLE_DEFAULT_ROUTE", L"1");
  machine.installer.Set(L"AUTO_STOP_SECONDS", L"600");
  EXPECT_TRUE(Install());
  EXPECT_THAT(Environment(), Optional(ElementsAre(L"ADMIN_BYPASS_IPS=203.0.113.5,198.51.100.7",
                                                  L"VELTRANE_POC_DISABLE_DEFAULT_ROUTE=1",
                                                  L"VELTRANE_POC_AUTO_STOP_SECONDS=600")));
}

TEST_F(Installation, WithStartAutoStartsTheService) {
  machine.installer.Set(L"START", L"auto");
  EXPECT_TRUE(Install());
  const auto record = machine.services.Find(kControl);
  EXPECT_EQ(record->settings.start_type, 2U);
  EXPECT_THAT(record->settings.dependencies, ElementsAre(L"Nsi", L"TcpIp"));
  EXPECT_EQ(record->state, simulated::kRunning);
  EXPECT_THAT(Log(), ElementsAre(kStarted));
}

TEST_F(Installation, WaitsForTheServiceToRun) {
  machine.installer.Set(L"START", L"auto");
  machine.services.RunAfterPolls(20);
  EXPECT_TRUE(Install());
  EXPECT_THAT(Log(), ElementsAre(kStarted));
}

TEST_F(Installation, SucceedsWhenTheServiceCannotBeStarted) {
  machine.installer.Set(L"START", L"auto");
  machine.Fail("Service.Start", 1, 1053);
  EXPECT_TRUE(Install());
  EXPECT_THAT(
      Log(), ElementsAre("Veltrane VPN: The service could not be started (Windows error 1053); the "
                         "installation goes on. Start it: sc.exe start VeltraneVpnTunnel"));
}

TEST_F(Installation, SucceedsWhenTheServiceStopsAgainAtOnce) {
  machine.installer.Set(L"START", L"auto");
  machine.services.StopRightAfterStart();
  EXPECT_TRUE(Install());
  EXPECT_THAT(Log(), ElementsAre(testing::HasSubstr("could not be started (Windows error 1062)")));
}

TEST_F(Installation, KeepsTheSettingsOfAServiceRegisteredByHand) {
  RegisterByHand(kProgramPath, simulated::kRunning);
  SetEnvironment({L"ProgramData=D:\\Data", L"ADMIN_BYPASS_IPS=192.0.2.1"});
  machine.installer.Set(L"ADMIN_BYPASS_IPS", L"203.0.113.5");
  EXPECT_TRUE(Install());
  EXPECT_THAT(Environment(),
              Optional(ElementsAre(L"ProgramData=D:\\Data", L"ADMIN_BYPASS_IPS=203.0.113.5")));
  EXPECT_EQ(State(kControl), simulated::kRunning);
}

TEST_F(Installation, WaitsForAnEarlierServiceThatIsMarkedForDeletion) {
  RegisterByHand();
  machine.FailWhere("ServiceManager.Create", "VeltraneVpnTunnel", 1072);
  machine.clock.OnSleep([this](std::uint32_t) { machine.calls.Heal("ServiceManager.Create"); });
  EXPECT_TRUE(Install());
}

TEST_F(Installation, FailsWhenTheServiceCannotBeRegistered) {
  machine.FailAlways("ServiceManager.Create", 5);
  EXPECT_FALSE(Install());
  EXPECT_THAT(Log(), ElementsAre("error: Veltrane VPN: The service cannot be registered: "
                                 "CreateService failed."));
}

TEST_F(Installation, FailsWhenTheSettingsCannotBeWritten) {
  machine.installer.Set(L"AUTO_STOP_SECONDS", L"600");
  machine.FailAlways("WriteRegistryTexts", 5);
  EXPECT_FALSE(Install());
  EXPECT_THAT(Log(), ElementsAre("error: Veltrane VPN: The settings of the service cannot be "
                                 "written (Windows error 5)."));
  EXPECT_EQ(machine.services.Find(kControl), std::nullopt);
}

TEST_F(Installation, FailsWhenAnotherTurnsOutToOwnTheProgram) {
  // The file does not exist before, so that nobody can be found who may write to it.
  side.SetAccessList(kProgramPath,
                     AccessList{.owner = "S-1-5-21-1", .has_list = true, .entries = {}});
  EXPECT_FALSE(Install());
  EXPECT_THAT(Log(),
              ElementsAre("error: Veltrane VPN: C:\\Program Files\\Veltrane VPN\\"
                          "VeltraneVpnService.exe belongs to S-1-5-21-1, who may give anyone "
                          "access; to fix it: icacls \"C:\\Program Files\\Veltrane VPN\\"
                          "VeltraneVpnService.exe\" /setowner \"*S-1-5-32-544\"."));
  EXPECT_EQ(machine.services.Find(kControl), std::nullopt);
}

using Repair = OnInstallingMachine;

TEST_F(Repair, ChangesNoSetting) {
  machine.installer.Set(L"AUTO_STOP_SECONDS", L"600");
  machine.installer.Set(L"START", L"auto");
  ASSERT_TRUE(Install());
  machine.installer.Set(L"AUTO_STOP_SECONDS", L"");
  machine.installer.Set(L"START", L"");
  EXPECT_TRUE(InstallAgain());
  EXPECT_THAT(Environment(), Optional(ElementsAre(L"VELTRANE_POC_AUTO_STOP_SECONDS=600")));
  EXPECT_EQ(machine.services.Find(kControl)->settings.start_type, 2U);
  EXPECT_EQ(State(kControl), simulated::kRunning);
}

TEST_F(Repair, LeavesAServiceStoppedThatWasStopped) {
  machine.installer.Set(L"START", L"auto");
  ASSERT_TRUE(Install());
  machine.installer.Set(L"START", L"");
  machine.services.SetState(kControl, simulated::kStopped);
  EXPECT_TRUE(InstallAgain());
  EXPECT_EQ(State(kControl), simulated::kStopped);
}

TEST_F(Repair, TakesTheLastSettingAwayWithItsValue) {
  machine.installer.Set(L"AUTO_STOP_SECONDS", L"600");
  ASSERT_TRUE(Install());
  machine.installer.Set(L"AUTO_STOP_SECONDS", L"none");
  EXPECT_TRUE(InstallAgain());
  EXPECT_EQ(Environment(), std::nullopt);
}

TEST_F(Repair, PutsAChangedCommandLineRight) {
  ServiceSettings settings;
  settings.name = kControl;
  settings.command_line =
      L"C:\\Program Files\\Veltrane VPN\\VeltraneVpnService.exe --run-as-service";
  settings.start_type = 3;
  machine.services.Add(settings);
  EXPECT_TRUE(InstallAgain());
  EXPECT_EQ(machine.services.Find(kControl)->settings.command_line,
            L"\"C:\\Program Files\\Veltrane VPN\\VeltraneVpnService.exe\" --run-as-service");
}

TEST_F(Repair, BringsBackAServiceThatIsGone) {
  machine.installer.Set(L"START", L"auto");
  EXPECT_TRUE(InstallAgain());
  EXPECT_EQ(State(kControl), simulated::kRunning);
}

using AnUpgrade = OnInstallingMachine;

TEST_F(AnUpgrade, KeepsSettingsStartTypeAndARunningService) {
  machine.installer.Set(L"AUTO_STOP_SECONDS", L"600");
  machine.installer.Set(L"START", L"auto");
  ASSERT_TRUE(Install());
  machine.installer.Set(L"AUTO_STOP_SECONDS", L"");
  machine.installer.Set(L"START", L"");
  EXPECT_TRUE(Install());
  EXPECT_THAT(Environment(), Optional(ElementsAre(L"VELTRANE_POC_AUTO_STOP_SECONDS=600")));
  EXPECT_EQ(machine.services.Find(kControl)->settings.start_type, 2U);
  EXPECT_EQ(State(kControl), simulated::kRunning);
}

TEST_F(AnUpgrade, KeepsThemAlsoWhenTheOlderVersionHasUnregisteredTheService) {
  machine.installer.Set(L"AUTO_STOP_SECONDS", L"600");
  machine.installer.Set(L"START", L"auto");
  ASSERT_TRUE(Install());
  machine.services.OnStopped([this](const std::wstring&) {
    UninstallService(nullptr);
    machine.registry.RemoveKey(RegistryRoot::kLocalMachine, kServiceKeyPath);
  });
  EXPECT_TRUE(Install());
  EXPECT_THAT(Environment(), Optional(ElementsAre(L"VELTRANE_POC_AUTO_STOP_SECONDS=600")));
  EXPECT_EQ(machine.services.Find(kControl)->settings.start_type, 2U);
  EXPECT_EQ(State(kControl), simulated::kRunning);
}

TEST_F(AnUpgrade, MayMoveToAnotherFolder) {
  ASSERT_TRUE(Install());
  machine.installer.Set(L"PREVIOUSFOLDER", kFolder + L"\\");
  machine.installer.Set(L"INSTALLFOLDER", L"C:\\Program Files\\Elsewhere\\");
  EXPECT_TRUE(Install());
  EXPECT_EQ(machine.services.Find(kControl)->settings.command_line,
            L"\"C:\\Program Files\\Elsewhere\\VeltraneVpnService.exe\" --run-as-service");
}

TEST_F(AnUpgrade, FailsWhenTheServiceDoesNotStop) {
  RunInstalled();
  machine.services.OnStopped({});
  machine.services.NeverStop();
  EXPECT_FALSE(Install());
  EXPECT_THAT(Log(), testing::Contains(
                         "error: Veltrane VPN: The service VeltraneVpnTunnel does not stop."));
  side.ExpectServer(false);
}

TEST_F(AnUpgrade, FailsWhenATunnelComesUpMeanwhile) {
  ASSERT_TRUE(Install());
  machine.OnCall("InstallerSession.SetProperty", 1, [this] { AddTunnel(); });
  EXPECT_FALSE(Install());
  EXPECT_THAT(Log(), ElementsAre("error: Veltrane VPN: A tunnel has come up meanwhile; disconnect "
                                 "it and try again."));
  EXPECT_EQ(State(kTunnel), simulated::kRunning);
}

TEST_F(AnUpgrade, FailsWhenATunnelComesUpWhileTheServiceStops) {
  RunInstalled();
  machine.services.OnStopped([this](const std::wstring&) {
    side.ExpectServer(false);
    server.Stop();
    AddTunnel();
  });
  EXPECT_FALSE(Install());
  EXPECT_THAT(Log(), ElementsAre("error: Veltrane VPN: A tunnel has come up meanwhile; disconnect "
                                 "it and try again."));
  EXPECT_EQ(State(kTunnel), simulated::kRunning);
  EXPECT_EQ(State(kControl), simulated::kRunning);
}

}  // namespace
}  // namespace veltrane
