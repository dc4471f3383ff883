// Uninstalling, by the actions in their order.

#include "tests/setup/on_installing_machine.h"

namespace veltrane {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

class Removal : public OnInstallingMachine {
 protected:
  std::vector<std::wstring> FilesIn(const std::wstring& folder) const {
    std::vector<std::wstring> inside;
    for (const std::wstring& file : machine.files.AllFiles()) {
      if (file.starts_with(folder)) inside.push_back(file);
    }
    return inside;
  }
};

TEST_F(Removal, StopsAndDeletesTheService) {
  machine.installer.Set(L"START", L"auto");
  ASSERT_TRUE(Install());
  EXPECT_TRUE(Uninstall());
  EXPECT_THAT(machine.services.Names(), IsEmpty());
}

TEST_F(Removal, OfAProductWithoutServiceSucceeds) {
  EXPECT_TRUE(Uninstall());
  EXPECT_THAT(Log(), IsEmpty());
}

TEST_F(Removal, ScrubsAndDeletesTheConfigurationAndItsFolders) {
  ASSERT_TRUE(Install());
  machine.files.AddFile(kConf, "PrivateKey = secret");
  machine.files.AddFile(kConf + L".tmp", "PrivateKey = secret");
  EXPECT_TRUE(Uninstall());
  EXPECT_THAT(machine.calls.Of("OutputFile.Write"),
              ElementsAre("OutputFile.Write C:\\ProgramData\\Veltrane\\tunnels\\active.conf 4096 "
                          "bytes",
                          "OutputFile.Write C:\\ProgramData\\Veltrane\\tunnels\\active.conf.tmp "
                          "4096 bytes"));
  EXPECT_FALSE(machine.files.Exists(L"C:\\ProgramData\\Veltrane"));
}

TEST_F(Removal, LeavesFilesOfOthersAndTheirFolders) {
  ASSERT_TRUE(Install());
  machine.files.AddFile(kConf, "zeros");
  machine.files.AddFile(L"C:\\ProgramData\\Veltrane\\tunnels\\other.conf", "other");
  EXPECT_TRUE(Uninstall());
  EXPECT_THAT(FilesIn(L"C:\\ProgramData"),
              ElementsAre(L"C:\\ProgramData\\Veltrane\\tunnels\\other.conf"));
  EXPECT_THAT(Log(), ElementsAre("Veltrane VPN: C:\\ProgramData\\Veltrane\\tunnels stays, because "
                                 "something else is in it."));
}

TEST_F(Removal, LeavesTheFolderAboveWhenSomethingElseIsInIt) {
  ASSERT_TRUE(Install());
  machine.files.AddFile(kConf, "zeros");
  machine.files.AddFile(L"C:\\ProgramData\\Veltrane\\notes.txt", "other");
  EXPECT_TRUE(Uninstall());
  EXPECT_FALSE(machine.files.Exists(L"C:\\ProgramData\\Veltrane\\tunnels"));
  EXPECT_TRUE(machine.files.Exists(L"C:\\ProgramData\\Veltrane\\notes.txt"));
}

TEST_F(Removal, FollowsNoReparsePoint) {
  ASSERT_TRUE(Install());
  machine.files.AddFile(kConf, "of another");
  side.MakeReparsePoint(L"C:\\ProgramData\\Veltrane\\tunnels");
  EXPECT_TRUE(Uninstall());
  EXPECT_EQ(machine.files.Bytes(kConf), "of another");
  EXPECT_THAT(Log(), ElementsAre("Veltrane VPN: C:\\ProgramData\\Veltrane\\tunnels is a reparse "
                                 "point; what is in it stays."));
}

TEST_F(Removal, FindsTheConfigurationWhereTheServiceKeepsIt) {
  ASSERT_TRUE(Install());
  SetEnvironment({L"programdata=D:\\Data"});
  EXPECT_TRUE(Uninstall());
  EXPECT_THAT(machine.calls.Of("TestExistence"),
              Contains("TestExistence D:\\Data\\Veltrane\\tunnels\\active.conf"));
}

TEST_F(Removal, LeavesAServiceThatRunsAnotherProgram) {
  RegisterByHand(L"C:\\Tools\\VeltraneVpnService.exe", simulated::kRunning);
  AddTunnel(L"C:\\Tools\\VeltraneVpnService.exe");
  EXPECT_TRUE(Uninstall());
  EXPECT_EQ(State(kControl), simulated::kRunning);
  EXPECT_EQ(State(kTunnel), simulated::kRunning);
  EXPECT_TRUE(machine.files.Exists(kConf));
  EXPECT_THAT(Log(),
              ElementsAre("Veltrane VPN: The service VeltraneVpnTunnel runs another program, "
                          "and stays."));
}

TEST_F(Removal, DeletesATunnelServiceThatHasStopped) {
  ASSERT_TRUE(Install());
  AddTunnel();
  machine.services.SetState(kTunnel, simulated::kStopped);
  EXPECT_TRUE(Uninstall());
  EXPECT_THAT(machine.services.Names(), IsEmpty());
}

TEST_F(Removal, FailsWhenTheServiceCannotBeDeleted) {
  ASSERT_TRUE(Install());
  machine.FailAlways("Service.Delete", 5);
  EXPECT_FALSE(Uninstall());
  EXPECT_THAT(Log(), ElementsAre("error: Veltrane VPN: The service VeltraneVpnTunnel cannot be "
                                 "deleted."));
}

TEST_F(Removal, DoesNotWaitForeverForAServiceThatOthersHoldOpen) {
  ASSERT_TRUE(Install());
  machine.services.HoldHandle(kControl);
  EXPECT_TRUE(Uninstall());
  EXPECT_TRUE(machine.services.Find(kControl)->marked_for_delete);
}

using Rollback = OnInstallingMachine;

TEST_F(Rollback, OfAnInstallationLeavesNoService) {
  machine.installer.Set(L"START", L"auto");
  FailAtTheEnd();
  EXPECT_FALSE(Install());
  EXPECT_THAT(machine.services.Names(), IsEmpty());
}

TEST_F(Rollback, OfARepairBringsBackStartTypeSettingsAndState) {
  RegisterByHand(kProgramPath, simulated::kRunning);
  SetEnvironment({L"A=1", L"VELTRANE_POC_AUTO_STOP_SECONDS=600"});
  machine.installer.Set(L"AUTO_STOP_SECONDS", L"none");
  machine.installer.Set(L"START", L"auto");
  FailAtTheEnd();
  EXPECT_FALSE(InstallAgain());
  EXPECT_EQ(Environment(),
            (std::vector<std::wstring>{L"A=1", L"VELTRANE_POC_AUTO_STOP_SECONDS=600"}));
  EXPECT_EQ(machine.services.Find(kControl)->settings.start_type, 3U);
  EXPECT_EQ(State(kControl), simulated::kRunning);
}

TEST_F(Rollback, OfASettingThatWasNotThereTakesItAway) {
  RegisterByHand();
  machine.installer.Set(L"AUTO_STOP_SECONDS", L"600");
  FailAtTheEnd();
  EXPECT_FALSE(InstallAgain());
  EXPECT_EQ(Environment(), std::nullopt);
}

TEST_F(Rollback, OfAnUpgradeToAnotherFolderBringsBackTheOlderCommandLine) {
  machine.installer.Set(L"PREVIOUSFOLDER", L"C:\\Tools\\");
  RegisterByHand(L"C:\\Tools\\VeltraneVpnService.exe");
  FailAtTheEnd();
  EXPECT_FALSE(Install());
  EXPECT_EQ(machine.services.Find(kControl)->settings.command_line,
            L"\"C:\\Tools\\VeltraneVpnService.exe\" --run-as-service");
}

TEST_F(Rollback, OfARemovalRegistersTheServiceAgain) {
  machine.installer.Set(L"AUTO_STOP_SECONDS", L"600");
  machine.installer.Set(L"START", L"auto");
  ASSERT_TRUE(Install());
  FailAtTheEnd();
  EXPECT_FALSE(Uninstall());
  EXPECT_EQ(Environment(), (std::vector<std::wstring>{L"VELTRANE_POC_AUTO_STOP_SECONDS=600"}));
  const auto record = machine.services.Find(kControl);
  ASSERT_TRUE(record);
  EXPECT_EQ(record->settings.start_type, 2U);
  EXPECT_EQ(record->state, simulated::kRunning);
}

TEST_F(Rollback, OfAServiceThatWasStoppedDoesNotStartIt) {
  ASSERT_TRUE(Install());
  FailAtTheEnd();
  EXPECT_FALSE(InstallAgain());
  EXPECT_EQ(State(kControl), simulated::kStopped);
}

TEST_F(Rollback, WithoutAPlanDoesNothing) {
  InstallerSession session(1);
  EXPECT_TRUE(RestoreRegistration(session));
  EXPECT_TRUE(RestartControlService(session));
  EXPECT_THAT(machine.Changes(), IsEmpty());
}

TEST_F(Rollback, IsWhatAnActionWithoutAPlanLeadsTo) {
  InstallerSession session(1);
  EXPECT_FALSE(StopServices(session));
  EXPECT_FALSE(RegisterControlService(session));
  EXPECT_FALSE(RemoveServices(session));
  EXPECT_THAT(machine.Changes(), IsEmpty());
  EXPECT_EQ(Log().front(), "error: Veltrane VPN: The plan of the installation cannot be read.");
}

}  // namespace
}  // namespace veltrane
