#include "tests/client/doctor/on_examined_machine.h"

namespace veltrane {
namespace {

struct FolderState {
  const char* name;
  Result<AccessList> reading;
  int exit_code;
  const char* lines;
};

class DoctorOnFolder : public OnExaminedMachine, public testing::WithParamInterface<FolderState> {};

TEST_P(DoctorOnFolder, SaysWhoMayOpenIt) {
  side.SetAccessList(kTunnels, GetParam().reading);
  EXPECT_EQ(ExamineService(), GetParam().exit_code);
  EXPECT_EQ(Group("configuration"), GetParam().lines);
}

INSTANTIATE_TEST_SUITE_P(
    Folders, DoctorOnFolder,
    testing::Values(
        FolderState{"Closed", Result<AccessList>::Failure(5), 0,
                    "  note  folder  C:\\ProgramData\\Veltrane\\tunnels cannot be looked at by "
                    "this user\n"},
        FolderState{
            "AsTheServiceMakesIt",
            AccessList{.owner = "S-1-5-18",
                       .has_list = true,
                       .is_protected = true,
                       .entries = {{"S-1-5-18", true, 0x1F01FF}, {"S-1-5-32-544", true, 0x1F01FF}}},
            0,
            "  ok    folder  C:\\ProgramData\\Veltrane\\tunnels is open only to "
            "LocalSystem and Administrators\n"},
        FolderState{"DenyingSomeoneElse",
                    AccessList{.owner = "S-1-5-18",
                               .has_list = true,
                               .is_protected = true,
                               .entries = {{"S-1-5-32-545", false, 0x1F01FF}}},
                    0,
                    "  ok    folder  C:\\ProgramData\\Veltrane\\tunnels is open only to "
                    "LocalSystem and Administrators\n"},
        FolderState{
            "OpenToUsers",
            AccessList{.owner = "S-1-5-18",
                       .has_list = true,
                       .is_protected = true,
                       .entries = {{"S-1-5-32-545", true, 0x1200A9},
                                   {"S-1-1-0", true, 0x1200A9},
                                   {"S-1-1-0", true, 0x2}}},
            10,
            "  warn  folder  C:\\ProgramData\\Veltrane\\tunnels is open to S-1-5-32-545, S-1-1-0\n"
            "                fix: icacls \"C:\\ProgramData\\Veltrane\\tunnels\" /inheritance:r "
            "/grant:r \"*S-1-5-18:(OI)(CI)F\" \"*S-1-5-32-544:(OI)(CI)F\" /remove:g "
            "\"*S-1-5-32-545\" \"*S-1-1-0\"\n"},
        FolderState{
            "WithoutAList",
            AccessList{.owner = "S-1-5-18", .has_list = false, .is_protected = true, .entries = {}},
            10,
            "  warn  folder  C:\\ProgramData\\Veltrane\\tunnels is open to everyone\n"
            "                fix: icacls \"C:\\ProgramData\\Veltrane\\tunnels\" /inheritance:r "
            "/grant:r \"*S-1-5-18:(OI)(CI)F\" \"*S-1-5-32-544:(OI)(CI)F\"\n"},
        FolderState{
            "Inheriting",
            AccessList{.owner = "S-1-5-18", .has_list = true, .is_protected = false, .entries = {}},
            10,
            "  warn  folder  C:\\ProgramData\\Veltrane\\tunnels inherits access rights from its "
            "parent folder\n"
            "                fix: icacls \"C:\\ProgramData\\Veltrane\\tunnels\" /inheritance:r "
            "/grant:r \"*S-1-5-18:(OI)(CI)F\" \"*S-1-5-32-544:(OI)(CI)F\"\n"},
        FolderState{"Unreadable", Result<AccessList>::Failure(87), 10,
                    "  warn  folder  C:\\ProgramData\\Veltrane\\tunnels cannot be examined "
                    "(Windows error 87)\n"
                    "                fix: icacls \"C:\\ProgramData\\Veltrane\\tunnels\"\n"}),
    [](const auto& state) { return state.param.name; });

}  // namespace
}  // namespace veltrane
