// What PrepareInstallation refuses, before anything is changed.

#include "platform/access_lists.h"
#include "tests/setup/on_installing_machine.h"

namespace veltrane {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class Refusal : public OnInstallingMachine {
 protected:
  // Installs and returns what the log says of the refusal.
  std::string Of(const std::function<bool()>& install) {
    const std::vector<std::string> before = machine.Changes();
    EXPECT_FALSE(install());
    EXPECT_EQ(machine.Changes(), before);
    EXPECT_EQ(Log().size(), 1U);
    return Log().empty() ? "" : Log().front();
  }
  std::string OfInstallation() {
    return Of([this] { return Install(); });
  }
};

constexpr char kTunnelIsUp[] =
    "error: Veltrane VPN: A tunnel is up, and runs from a file that would be replaced, which would "
    "need a restart of Windows. Disconnect it first (veltranectl disconnect), or add TUNNEL=stop "
    "to "
    "have it brought down. Nothing was changed.";

TEST_F(Refusal, IsMadeOfAPropertyThatCannotBeUnderstood) {
  machine.installer.Set(L"START", L"never");
  EXPECT_EQ(
      OfInstallation(),
      "error: Veltrane VPN: START: \"never\" is neither auto nor demand. Nothing was changed.");
}

TEST_F(Refusal, IsMadeOfANewerVersion) {
  machine.installer.Set(L"NEWERPRODUCT", L"{6AA21ECB-EF39-5701-984D-99266B3CA5C1}");
  EXPECT_EQ(OfInstallation(),
            "error: Veltrane VPN: A newer version is installed; uninstall it first. Nothing was "
            "changed.");
}

TEST_F(Refusal, IsMadeWhileATunnelIsUp) {
  AddTunnel();
  EXPECT_EQ(OfInstallation(), kTunnelIsUp);
}

TEST_F(Refusal, IsMadeWhileATunnelStarts) {
  AddTunnel();
  machine.services.SetState(kTunnel, simulated::kStartPending);
  EXPECT_EQ(OfInstallation(), kTunnelIsUp);
}

TEST_F(Refusal, IsMadeOfARepairWhileATunnelIsUp) {
  AddTunnel();
  EXPECT_EQ(Of([this] { return InstallAgain(); }), kTunnelIsUp);
}

TEST_F(Refusal, IsNotMadeForATunnelThatHasStopped) {
  AddTunnel();
  machine.services.SetState(kTunnel, simulated::kStopped);
  EXPECT_TRUE(Install());
}

TEST_F(Refusal, IsMadeWhereTheServicesCannotBeRead) {
  side.service_facts_error = 5;
  EXPECT_EQ(OfInstallation(),
            "error: Veltrane VPN: The registration of the service VeltraneVpnTunnel cannot be read "
            "(Windows error 5). Nothing was changed.");
}

TEST_F(Refusal, IsMadeOfSettingsOfAnotherType) {
  RegisterByHand();
  machine.registry.SetText(RegistryRoot::kLocalMachine, kServiceKeyPath, L"Environment", L"A=1");
  EXPECT_EQ(OfInstallation(),
            "error: Veltrane VPN: The registration of the service VeltraneVpnTunnel cannot be read "
            "(Windows error 1630). Nothing was changed.");
}

constexpr char kAnotherProgram[] =
    "error: Veltrane VPN: The service VeltraneVpnTunnel is registered for another program, with "
    "the command line \"C:\\Tools\\VeltraneVpnService.exe\" --run-as-service. Unregister it "
    "first, as an administrator: VeltraneVpnService.exe --uninstall. Nothing was changed.";

TEST_F(Refusal, IsMadeOfAServiceThatRunsAnotherProgram) {
  RegisterByHand(L"C:\\Tools\\VeltraneVpnService.exe");
  EXPECT_EQ(OfInstallation(), kAnotherProgram);
}

TEST_F(Refusal, IsMadeOfARepairWhenTheServiceRunsAnotherProgram) {
  RegisterByHand(L"C:\\Tools\\VeltraneVpnService.exe");
  EXPECT_EQ(Of([this] { return InstallAgain(); }), kAnotherProgram);
}

TEST_F(Refusal, IsMadeOfAnUpgradeWhenTheServiceRunsAnotherProgram) {
  machine.installer.Set(L"PREVIOUSFOLDER", L"C:\\Program Files\\Elsewhere\\");
  RegisterByHand(L"C:\\Tools\\VeltraneVpnService.exe");
  EXPECT_EQ(OfInstallation(), kAnotherProgram);
}

TEST_F(Refusal, IsNotMadeOfAServiceThatIsRegisteredHereByHand) {
  RegisterByHand();
  EXPECT_TRUE(Install());
}

TEST_F(Refusal, IsMadeOfAFolderThatOthersCanWrite) {
  machine.files.AddFolder(kFolder);
  side.SetAccessList(kFolder, AccessList{.owner = "S-1-5-18",
                                         .has_list = true,
                                         .is_protected = false,
                                         .entries = {{"S-1-5-11", true, 0x10000000}}});
  EXPECT_EQ(
      OfInstallation(),
      "error: Veltrane VPN: Local System is to run the program, so only administrators may be "
      "able to write to its folder: C:\\Program Files\\Veltrane VPN can be written by "
      "S-1-5-11; to fix it: icacls \"C:\\Program Files\\Veltrane VPN\" /inheritance:r "
      "/grant:r \"*S-1-5-18:(OI)(CI)F\" \"*S-1-5-32-544:(OI)(CI)F\" "
      "\"*S-1-5-32-545:(OI)(CI)RX\" /remove:g \"*S-1-5-11\". Nothing was changed.");
}

TEST_F(Refusal, IsMadeOfAFolderThatWouldBeMadeWhereOthersCanWrite) {
  machine.installer.Set(L"INSTALLFOLDER", L"C:\\Apps\\Veltrane\\");
  side.SetAccessList(L"C:\\", AccessList{.owner = "S-1-5-18",
                                         .has_list = true,
                                         .is_protected = true,
                                         .entries = {{"S-1-5-11", true, 0x4}}});
  EXPECT_THAT(OfInstallation(), testing::HasSubstr("C:\\ can be written by S-1-5-11; "));
}

TEST_F(Refusal, IsMadeOfALibraryThatOthersCanWrite) {
  machine.files.AddFile(kFolder + L"\\tunnel.dll", "MZ");
  side.SetAccessList(kFolder + L"\\tunnel.dll",
                     AccessList{.owner = "S-1-5-21-1-2-3-1002", .has_list = true, .entries = {}});
  EXPECT_THAT(OfInstallation(),
              testing::HasSubstr("tunnel.dll belongs to S-1-5-21-1-2-3-1002, who may give anyone "
                                 "access; "));
}

// His other programs, which run without the rights of an administrator, could write there too.
TEST_F(Refusal, IsMadeByTheFirstActionOfLocalSystemOfAFolderOfTheUserWhoInstalls) {
  machine.files.AddFolder(kFolder);
  side.SetAccessList(kFolder, AccessList{.owner = "S-1-5-21-1-2-3-1001",
                                         .has_list = true,
                                         .is_protected = true,
                                         .entries = {{"S-1-5-21-1-2-3-1001", true, 0x10000000}}});
  EXPECT_EQ(OfInstallation(),
            "error: Veltrane VPN: C:\\Program Files\\Veltrane VPN belongs to "
            "S-1-5-21-1-2-3-1001, who may give anyone access; to fix it: icacls \"C:\\Program "
            "Files\\Veltrane VPN\" /setowner \"*S-1-5-32-544\".");
}

TEST_F(Refusal, IsMadeWithoutAFolder) {
  machine.installer.Set(L"INSTALLFOLDER", L"");
  EXPECT_EQ(OfInstallation(),
            "error: Veltrane VPN: INSTALLFOLDER is not set. Nothing was changed.");
}

TEST_F(Refusal, IsMadeWhenThePlanCannotBeHandedOn) {
  machine.FailWhere("InstallerSession.SetProperty", "VeltraneRemove", 6);
  EXPECT_EQ(OfInstallation(),
            "error: Veltrane VPN: A property cannot be set. Nothing was changed.");
}

TEST_F(Refusal, IsNeverMadeOfARemoval) {
  ASSERT_TRUE(Install());
  AddTunnel();
  machine.installer.Set(L"START", L"never");
  EXPECT_TRUE(Uninstall());
}

}  // namespace
}  // namespace veltrane
