#include "tests/support/on_machine.h"
#include "tunnel/active_conf.h"

namespace veltrane {
namespace {

using simulated::AccessTexts;

constexpr wchar_t kFolder[] = L"C:\\ProgramData\\Veltrane\\tunnels";
constexpr wchar_t kActive[] = L"C:\\ProgramData\\Veltrane\\tunnels\\active.conf";
constexpr wchar_t kTemporary[] = L"C:\\ProgramData\\Veltrane\\tunnels\\active.conf.tmp";

// Local System, then the Administrators: both as groups, GENERIC_ALL, object and container inherit.
const std::vector<std::string> kLockedDown = {"group S-1-5-18 0x10000000 inherit 3",
                                              "group S-1-5-32-544 0x10000000 inherit 3"};

class TunnelsAccess : public OnMachine {
 protected:
  TunnelsAccess() { MarkConnectRequested(); }

  std::vector<std::string> AccessOf(const std::wstring& path) {
    const auto access = machine.files.Access(path);
    return access ? AccessTexts(*access) : std::vector<std::string>{"never set"};
  }

  std::string error = "untouched";
};

TEST_F(TunnelsAccess, IsSetOnAFileForSystemAndAdministratorsInThisOrder) {
  machine.files.AddFile(L"C:\\x", "");
  EXPECT_TRUE(ApplyTunnelsAcl(L"C:\\x"));
  EXPECT_EQ(AccessOf(L"C:\\x"), kLockedDown);
}

TEST_F(TunnelsAccess, IsTheSameOnAFolder) {
  machine.files.AddFolder(L"C:\\x");
  EXPECT_TRUE(ApplyTunnelsAcl(L"C:\\x"));
  EXPECT_EQ(AccessOf(L"C:\\x"), kLockedDown);
}

TEST_F(TunnelsAccess, ReplacesTheListThatWasThere) {
  machine.files.AddFile(L"C:\\x", "");
  SetProtectedAccess(L"C:\\x", {{simulated::NtSid({21, 1, 2, 3, 1001}), TrusteeType::kUser, 1, 0}});
  EXPECT_TRUE(ApplyTunnelsAcl(L"C:\\x"));
  EXPECT_EQ(AccessOf(L"C:\\x"), kLockedDown);
}

TEST_F(TunnelsAccess, FailsWhenNothingIsThere) { EXPECT_FALSE(ApplyTunnelsAcl(L"C:\\x")); }

TEST_F(TunnelsAccess, FailsWhenTheListCannotBeSet) {
  machine.files.AddFile(L"C:\\x", "");
  machine.Fail("SetProtectedAccess", 1, 5);
  EXPECT_FALSE(ApplyTunnelsAcl(L"C:\\x"));
  EXPECT_EQ(AccessOf(L"C:\\x"), (std::vector<std::string>{"never set"}));
}

TEST_F(TunnelsAccess, FailsWithoutTheFirstSidAndSetsNothing) {
  machine.files.AddFile(L"C:\\x", "");
  machine.FailWhere("MakeNtSid", "S-1-5-18", 1337);
  EXPECT_FALSE(ApplyTunnelsAcl(L"C:\\x"));
  EXPECT_EQ(machine.Changes(), std::vector<std::string>{});
}

TEST_F(TunnelsAccess, FailsWithoutTheSecondSidAndSetsNothing) {
  machine.files.AddFile(L"C:\\x", "");
  machine.FailWhere("MakeNtSid", "S-1-5-32-544", 1337);
  EXPECT_FALSE(ApplyTunnelsAcl(L"C:\\x"));
  EXPECT_EQ(machine.Changes(), std::vector<std::string>{});
}

TEST_F(TunnelsAccess, IsSetOnFolderTemporaryFileAndActiveFile) {
  EXPECT_TRUE(WriteActiveConf({}, &error));
  const std::vector<simulated::AccessSet> sets = machine.files.AccessSets();
  ASSERT_EQ(sets.size(), 3u);
  EXPECT_EQ(sets[0].path, kFolder);
  EXPECT_EQ(AccessTexts(sets[0].entries), kLockedDown);
  EXPECT_EQ(sets[1].path, kTemporary);
  EXPECT_EQ(AccessTexts(sets[1].entries), kLockedDown);
  EXPECT_EQ(sets[2].path, kActive);
  EXPECT_EQ(AccessTexts(sets[2].entries), kLockedDown);
}

TEST_F(TunnelsAccess, LocksTheTemporaryFileDownBeforeItIsMoved) {
  std::vector<std::string> access;
  machine.OnCall("MoveFileWithFlags", 1, [&] { access = AccessOf(kTemporary); });
  EXPECT_TRUE(WriteActiveConf({}, &error));
  EXPECT_EQ(access, kLockedDown);
}

TEST_F(TunnelsAccess, LocksTheFolderDownBeforeTheKeyIsWritten) {
  std::vector<std::string> access;
  machine.OnCall("OutputFile.Open", 1, [&] { access = AccessOf(kFolder); });
  EXPECT_TRUE(WriteActiveConf({}, &error));
  EXPECT_EQ(access, kLockedDown);
}

// The calls of a successful write, whatever became of the access lists.
const std::vector<std::string> kEveryStep = {
    "CreateFolders C:\\ProgramData\\Veltrane\\tunnels",
    "SetProtectedAccess C:\\ProgramData\\Veltrane\\tunnels",
    "OutputFile.Open C:\\ProgramData\\Veltrane\\tunnels\\active.conf.tmp",
    "OutputFile.Write C:\\ProgramData\\Veltrane\\tunnels\\active.conf.tmp 115 bytes",
    "OutputFile.Close C:\\ProgramData\\Veltrane\\tunnels\\active.conf.tmp",
    "SetProtectedAccess C:\\ProgramData\\Veltrane\\tunnels\\active.conf.tmp",
    "MoveFileWithFlags C:\\ProgramData\\Veltrane\\tunnels\\active.conf.tmp to "
    "C:\\ProgramData\\Veltrane\\tunnels\\active.conf flags 9",
    "SetProtectedAccess C:\\ProgramData\\Veltrane\\tunnels\\active.conf"};

TEST_F(TunnelsAccess, ThatCannotBeSetOnTheFolderIsIgnored) {
  machine.Fail("SetProtectedAccess", 1, 5);
  EXPECT_TRUE(WriteActiveConf({}, &error));
  EXPECT_EQ(machine.Changes(), kEveryStep);
  EXPECT_EQ(AccessOf(kFolder), (std::vector<std::string>{"never set"}));
  EXPECT_EQ(AccessOf(kActive), kLockedDown);
  EXPECT_EQ(error, "untouched");
}

TEST_F(TunnelsAccess, ThatCannotBeSetOnTheTemporaryFileIsIgnored) {
  machine.Fail("SetProtectedAccess", 2, 5);
  EXPECT_TRUE(WriteActiveConf({}, &error));
  EXPECT_EQ(machine.Changes(), kEveryStep);
  EXPECT_EQ(AccessOf(kFolder), kLockedDown);
  EXPECT_EQ(AccessOf(kActive), kLockedDown);
  EXPECT_EQ(error, "untouched");
}

TEST_F(TunnelsAccess, ThatCannotBeSetOnTheActiveFileIsIgnored) {
  machine.Fail("SetProtectedAccess", 3, 5);
  EXPECT_TRUE(WriteActiveConf({}, &error));
  EXPECT_EQ(machine.Changes(), kEveryStep);
  EXPECT_EQ(AccessOf(kActive), kLockedDown);  // the list of the temporary file moved with it
  EXPECT_EQ(machine.files.AccessSets().size(), 2u);
  EXPECT_EQ(error, "untouched");
}

TEST_F(TunnelsAccess, ThatCannotBeSetAnywhereIsIgnored) {
  machine.FailAlways("SetProtectedAccess", 5);
  EXPECT_TRUE(WriteActiveConf({}, &error));
  EXPECT_EQ(machine.Changes(), kEveryStep);
  EXPECT_EQ(AccessOf(kActive), (std::vector<std::string>{"never set"}));
  EXPECT_TRUE(machine.files.Exists(kActive));
  EXPECT_EQ(error, "untouched");
}

TEST_F(TunnelsAccess, WithoutSidsIsIgnored) {
  machine.FailAlways("MakeNtSid", 1337);
  EXPECT_TRUE(WriteActiveConf({}, &error));
  EXPECT_EQ(machine.calls.Count("SetProtectedAccess"), 0u);
  EXPECT_TRUE(machine.files.Exists(kActive));
  EXPECT_EQ(error, "untouched");
}

TEST_F(TunnelsAccess, IsNotTouchedByTheDeletion) {
  machine.files.AddFile(kActive, "key");
  EXPECT_FALSE(DeleteActiveConf(&error));
  EXPECT_EQ(machine.calls.Count("SetProtectedAccess"), 0u);
}

}  // namespace
}  // namespace veltrane
