#include "tests/client/doctor/on_examined_machine.h"

namespace veltrane {
namespace {

const AccessListEntry kSystemFull{"S-1-5-18", true, 0x1F01FF};
const AccessListEntry kUsersRead{"S-1-5-32-545", true, 0x1200A9};

struct AccessCase {
  const char* name;
  AccessList list;
  const char* line;
};

class DoctorOnProgramFolder : public OnExaminedMachine,
                              public testing::WithParamInterface<AccessCase> {};

TEST_P(DoctorOnProgramFolder, SaysWhoCouldReplaceIt) {
  side.SetAccessList(L"C:\\Program Files\\Veltrane", GetParam().list);
  SetAdministrator();
  const bool fine = std::string(GetParam().line).substr(2, 2) == "ok";
  EXPECT_EQ(ExamineService(), fine ? 0 : 10);
  EXPECT_EQ(Group("program").find(GetParam().line), 0U) << Group("program");
}

INSTANTIATE_TEST_SUITE_P(
    Folders, DoctorOnProgramFolder,
    testing::Values(
        AccessCase{"AsUnderProgramFiles",
                   {.owner = "S-1-5-32-544",
                    .has_list = true,
                    .is_protected = false,
                    .entries = {kSystemFull, kUsersRead, {"S-1-3-0", true, 0x10000000, true}}},
                   "  ok    folder      C:\\Program Files\\Veltrane can be written by LocalSystem "
                   "and Administrators alone\n"},
        AccessCase{
            "OfAUser",
            {.owner = "S-1-5-21-1-2-3-1001",
             .has_list = true,
             .is_protected = false,
             .entries = {kSystemFull}},
            "  warn  folder      C:\\Program Files\\Veltrane belongs to S-1-5-21-1-2-3-1001, "
            "who may give anyone access\n"
            "                    fix: icacls \"C:\\Program Files\\Veltrane\" /setowner "
            "\"*S-1-5-32-544\"\n"},
        AccessCase{
            "WritableByUsers",
            {.owner = "S-1-5-18",
             .has_list = true,
             .is_protected = false,
             .entries = {{"S-1-5-32-545", true, 0x1301BF}, {"S-1-1-0", true, 0x2}}},
            "  warn  folder      C:\\Program Files\\Veltrane can be written by S-1-5-32-545, "
            "S-1-1-0\n"
            "                    fix: icacls \"C:\\Program Files\\Veltrane\" /inheritance:r "
            "/grant:r \"*S-1-5-18:(OI)(CI)F\" \"*S-1-5-32-544:(OI)(CI)F\" "
            "\"*S-1-5-32-545:(OI)(CI)RX\" /remove:g \"*S-1-1-0\"\n"},
        AccessCase{"WithoutAList",
                   {.owner = "S-1-5-18", .has_list = false, .is_protected = false, .entries = {}},
                   "  warn  folder      C:\\Program Files\\Veltrane can be written by everyone\n"}),
    [](const auto& folder) { return folder.param.name; });

using DoctorOnProgram = OnExaminedMachine;

TEST_F(DoctorOnProgram, LibrariesThatAnybodyCanWrite) {
  machine.files.AddFile(L"C:\\Program Files\\Veltrane\\wireguard.dll", "MZ");
  const AccessList open{.owner = "S-1-5-18",
                        .has_list = true,
                        .is_protected = false,
                        .entries = {{"S-1-1-0", true, 0x2}}};
  side.SetAccessList(kProgram, open);
  side.SetAccessList(kLibrary, open);
  side.SetAccessList(L"C:\\Program Files\\Veltrane\\wireguard.dll", open);
  SetAdministrator();
  EXPECT_EQ(ExamineService(), 10);
  const auto line = [](const std::string& check, const std::string& name) {
    const std::string path = "C:\\Program Files\\Veltrane\\" + name;
    return "  warn  " + check + path + " can be written by S-1-1-0\n" + std::string(23, ' ') +
           "fix: icacls \"" + path +
           "\" /inheritance:r /grant:r \"*S-1-5-18:F\" \"*S-1-5-32-544:F\" \"*S-1-5-32-545:RX\" "
           "/remove:g \"*S-1-1-0\"\n";
  };
  EXPECT_EQ(Group("program"),
            "  ok    folder         C:\\Program Files\\Veltrane can be written by LocalSystem and "
            "Administrators alone\n" +
                line("executable     ", "VeltraneVpnService.exe") +
                line("tunnel.dll     ", "tunnel.dll") + line("wireguard.dll  ", "wireguard.dll"));
}

TEST_F(DoctorOnProgram, AProgramThatIsNotRegisteredIsExpectedBesideThisOne) {
  machine.libraries.SetExecutablePath(L"C:\\Program Files\\Veltrane\\veltranectl.exe");
  machine.files.AddFile(kProgram, "MZ");
  EXPECT_EQ(ExamineConsoleMode(), 0);
  EXPECT_NE(Group("program").find("  ok    executable  C:\\Program "
                                  "Files\\Veltrane\\VeltraneVpnService.exe can be written by "
                                  "LocalSystem and Administrators alone\n"),
            std::string::npos);
}

TEST_F(DoctorOnProgram, AFolderThatIsALink) {
  side.MakeReparsePoint(L"C:\\Program Files\\Veltrane");
  SetAdministrator();
  EXPECT_EQ(ExamineService(), 10);
  EXPECT_EQ(
      Group("program").find(
          "  warn  folder      C:\\Program Files\\Veltrane is a reparse point, which may lead "
          "elsewhere\n"
          "                    fix: fsutil reparsepoint query \"C:\\Program "
          "Files\\Veltrane\"\n"),
      0U)
      << Group("program");
}

TEST_F(DoctorOnProgram, WhatThisUserMayNotLookAtIsListed) {
  side.SetAccessList(kTunnels, Result<AccessList>::Failure(5));
  machine.files.AddFolder(kTunnels);
  machine.FailWhere("TestExistence", "active.conf", 5);
  SetAdministrator();
  EXPECT_EQ(ExamineService(), 0);
  EXPECT_EQ(
      Group("leftovers"),
      "  ok    tunnel service        none\n"
      "  note  active.conf           C:\\ProgramData\\Veltrane\\tunnels\\active.conf cannot be "
      "looked at by this user\n"
      "  ok    tunnel default route  none\n");
  EXPECT_EQ(Group("configuration"),
            "  note  folder        C:\\ProgramData\\Veltrane\\tunnels cannot be looked at by this "
            "user\n"
            "  ok    folder above  C:\\ProgramData\\Veltrane can be written by LocalSystem and "
            "Administrators alone\n");
  EXPECT_EQ(Group("rights"),
            "  note  not looked at  C:\\ProgramData\\Veltrane\\tunnels\\active.conf, "
            "C:\\ProgramData\\Veltrane\\tunnels: run veltranectl doctor in an elevated prompt\n");
}

TEST_F(DoctorOnProgram, AConfigurationFolderOfAUser) {
  machine.files.AddFolder(kTunnels);
  side.SetAccessList(kTunnels, AccessList{.owner = "S-1-5-21-1-2-3-1001",
                                          .has_list = true,
                                          .is_protected = true,
                                          .entries = {kSystemFull}});
  SetAdministrator();
  EXPECT_EQ(ExamineService(), 10);
  EXPECT_NE(Group("configuration")
                .find("  warn  owner         C:\\ProgramData\\Veltrane\\tunnels belongs to "
                      "S-1-5-21-1-2-3-1001, who may give anyone access\n"),
            std::string::npos)
      << Group("configuration");
}

}  // namespace
}  // namespace veltrane
