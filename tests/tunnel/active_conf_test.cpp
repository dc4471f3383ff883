#include "tunnel/active_conf.h"

#include "tests/support/on_machine.h"

namespace veltrane {
namespace {

using simulated::kShareDelete;
using simulated::kShareRead;
using simulated::kShareWrite;
using simulated::Units;

constexpr wchar_t kFolder[] = L"C:\\ProgramData\\Veltrane\\tunnels";
constexpr wchar_t kActive[] = L"C:\\ProgramData\\Veltrane\\tunnels\\active.conf";
constexpr wchar_t kTemporary[] = L"C:\\ProgramData\\Veltrane\\tunnels\\active.conf.tmp";

constexpr char kText[] =
    "[Interface]\n"
    "PrivateKey = cHJpdmF0ZQ==\n"
    "Address = 10.66.66.7/32\n"
    "\n"
    "[Peer]\n"
    "PublicKey = cHVibGlj\n"
    "AllowedIPs = 10.66.66.0/24\n"
    "Endpoint = 192.0.2.10:51820\n"
    "PersistentKeepalive = 25\n";

ConnectionProfile Profile() {
  ConnectionProfile profile;
  profile.client_private_key = "cHJpdmF0ZQ==";
  profile.address_cidr = "10.66.66.7/32";
  profile.server_public_key = "cHVibGlj";
  profile.allowed_ips_csv = "10.66.66.0/24";
  profile.endpoint_host = "192.0.2.10";
  return profile;
}

class TunnelsFolderPath : public OnMachine {
 protected:
  std::wstring Below(const std::wstring& program_data) {
    machine.environment.SetProcess(L"ProgramData", program_data);
    return TunnelsFolder();
  }
};

TEST_F(TunnelsFolderPath, LiesBelowProgramData) {
  EXPECT_EQ(Below(L"D:\\Data"), L"D:\\Data\\Veltrane\\tunnels");
  EXPECT_EQ(ActiveConfPath(), L"D:\\Data\\Veltrane\\tunnels\\active.conf");
}

TEST_F(TunnelsFolderPath, CopiesTheValueAsItStands) {
  EXPECT_EQ(Below(L"D:\\Data\\"), L"D:\\Data\\\\Veltrane\\tunnels");
  EXPECT_EQ(Below(Units(u" D:\\D\u00E4ta ")), Units(u" D:\\D\u00E4ta \\Veltrane\\tunnels"));
}

TEST_F(TunnelsFolderPath, LiesOnDriveCWhenTheVariableIsUnset) {
  machine.environment.UnsetProcess(L"ProgramData");
  EXPECT_EQ(TunnelsFolder(), L"C:\\ProgramData\\Veltrane\\tunnels");
  EXPECT_EQ(ActiveConfPath(), L"C:\\ProgramData\\Veltrane\\tunnels\\active.conf");
}

TEST_F(TunnelsFolderPath, LiesOnDriveCWhenTheVariableIsEmptyOrUnreadable) {
  EXPECT_EQ(Below(L""), L"C:\\ProgramData\\Veltrane\\tunnels");
  machine.FailAlways("ReadProcessVariable", 5);
  EXPECT_EQ(Below(L"D:\\Data"), L"C:\\ProgramData\\Veltrane\\tunnels");
}

TEST_F(TunnelsFolderPath, FollowsAValueOf259Characters) {
  EXPECT_EQ(Below(L"D:\\" + std::wstring(256, L'x')),
            L"D:\\" + std::wstring(256, L'x') + L"\\Veltrane\\tunnels");
}

TEST_F(TunnelsFolderPath, LiesOnDriveCWhenTheValueHas260CharactersOrMore) {
  EXPECT_EQ(Below(L"D:\\" + std::wstring(257, L'x')), L"C:\\ProgramData\\Veltrane\\tunnels");
  EXPECT_EQ(Below(L"D:\\" + std::wstring(997, L'x')), L"C:\\ProgramData\\Veltrane\\tunnels");
}

TEST_F(TunnelsFolderPath, IsReadFromTheProcessScopeAloneAndAnewEachTime) {
  machine.environment.UnsetProcess(L"ProgramData");
  machine.environment.SetMachine(L"ProgramData", L"E:\\Machine");
  machine.environment.SetUser(L"ProgramData", L"E:\\User");
  EXPECT_EQ(TunnelsFolder(), L"C:\\ProgramData\\Veltrane\\tunnels");
  EXPECT_EQ(Below(L"D:\\Data"), L"D:\\Data\\Veltrane\\tunnels");
}

// Outside the passive phase, so that the calls are those of the store alone.
class ActiveConfWrite : public OnMachine {
 protected:
  ActiveConfWrite() { MarkConnectRequested(); }

  bool Write() { return WriteActiveConf(Profile(), &error); }

  std::string error = "untouched";
};

TEST_F(ActiveConfWrite, InstallsTheRenderedTextWithBareLineFeeds) {
  EXPECT_TRUE(Write());
  EXPECT_EQ(machine.files.Bytes(kActive), kText);
  EXPECT_EQ(error, "untouched");
}

TEST_F(ActiveConfWrite, CreatesTheFolderAndLeavesNoTemporaryFile) {
  EXPECT_TRUE(Write());
  EXPECT_TRUE(machine.files.IsFolder(kFolder));
  EXPECT_EQ(machine.files.AllFiles(),
            (std::vector<std::wstring>{L"C:\\ProgramData\\Veltrane\\tunnels\\active.conf"}));
  EXPECT_EQ(machine.files.OpenStreams(), 0);
}

TEST_F(ActiveConfWrite, GoesThroughATemporaryFileInThisOrder) {
  EXPECT_TRUE(Write());
  EXPECT_EQ(machine.calls.All(),
            (std::vector<std::string>{
                "ReadProcessVariable ProgramData",
                "CreateFolders C:\\ProgramData\\Veltrane\\tunnels", "MakeNtSid S-1-5-18",
                "MakeNtSid S-1-5-32-544", "SetProtectedAccess C:\\ProgramData\\Veltrane\\tunnels",
                "OutputFile.Open C:\\ProgramData\\Veltrane\\tunnels\\active.conf.tmp",
                "OutputFile.Write C:\\ProgramData\\Veltrane\\tunnels\\active.conf.tmp 171 bytes",
                "OutputFile.Close C:\\ProgramData\\Veltrane\\tunnels\\active.conf.tmp",
                "MakeNtSid S-1-5-18", "MakeNtSid S-1-5-32-544",
                "SetProtectedAccess C:\\ProgramData\\Veltrane\\tunnels\\active.conf.tmp",
                "MoveFileWithFlags C:\\ProgramData\\Veltrane\\tunnels\\active.conf.tmp to "
                "C:\\ProgramData\\Veltrane\\tunnels\\active.conf flags 9",
                "MakeNtSid S-1-5-18", "MakeNtSid S-1-5-32-544",
                "SetProtectedAccess C:\\ProgramData\\Veltrane\\tunnels\\active.conf"}));
}

TEST_F(ActiveConfWrite, UsesTheFolderOfProgramData) {
  machine.files.AddFolder(L"C:\\Data");
  machine.environment.SetProcess(L"ProgramData", L"C:\\Data");
  EXPECT_TRUE(Write());
  EXPECT_EQ(machine.files.AllFiles(),
            (std::vector<std::wstring>{L"C:\\Data\\Veltrane\\tunnels\\active.conf"}));
}

TEST_F(ActiveConfWrite, CreatesEveryMissingParent) {
  machine.environment.SetProcess(L"ProgramData", L"C:\\a\\b\\c");
  EXPECT_TRUE(Write());
  EXPECT_EQ(machine.files.Bytes(L"C:\\a\\b\\c\\Veltrane\\tunnels\\active.conf"), kText);
}

TEST_F(ActiveConfWrite, TwiceReplacesTheFile) {
  ConnectionProfile longer = Profile();
  longer.dns_csv = std::string(1000, '1');
  EXPECT_TRUE(WriteActiveConf(longer, &error));
  EXPECT_TRUE(Write());
  EXPECT_EQ(machine.files.Bytes(kActive), kText);
  EXPECT_EQ(machine.files.AllFiles().size(), 1u);
}

TEST_F(ActiveConfWrite, ReplacesAStaleTemporaryFile) {
  machine.files.AddFile(kTemporary, std::string(5000, 's'));
  EXPECT_TRUE(Write());
  EXPECT_EQ(machine.files.Bytes(kActive), kText);
  EXPECT_FALSE(machine.files.Exists(kTemporary));
}

TEST_F(ActiveConfWrite, FailsWhenTheFolderCannotBeCreated) {
  machine.Fail("CreateFolders", 1, 5);
  EXPECT_FALSE(Write());
  EXPECT_EQ(error, "create_directories failed");
  EXPECT_EQ(machine.Changes(),
            (std::vector<std::string>{"CreateFolders C:\\ProgramData\\Veltrane\\tunnels"}));
  EXPECT_FALSE(machine.files.Exists(L"C:\\ProgramData\\Veltrane"));
}

TEST_F(ActiveConfWrite, FailsWhenAFileStandsWhereTheFolderShouldBe) {
  machine.files.AddFile(L"C:\\ProgramData\\Veltrane", "mine");
  EXPECT_FALSE(Write());
  EXPECT_EQ(error, "create_directories failed");
  EXPECT_EQ(machine.files.Bytes(L"C:\\ProgramData\\Veltrane"), "mine");
}

TEST_F(ActiveConfWrite, FailsWhenTheTemporaryFileCannotBeOpened) {
  machine.files.AddFile(kActive, "before");
  machine.Fail("OutputFile.Open", 1, 5);
  EXPECT_FALSE(Write());
  EXPECT_EQ(error, "open tmp failed");
  EXPECT_EQ(machine.Changes(),
            (std::vector<std::string>{
                "CreateFolders C:\\ProgramData\\Veltrane\\tunnels",
                "SetProtectedAccess C:\\ProgramData\\Veltrane\\tunnels",
                "OutputFile.Open C:\\ProgramData\\Veltrane\\tunnels\\active.conf.tmp"}));
  EXPECT_EQ(machine.files.Bytes(kActive), "before");
  EXPECT_FALSE(machine.files.Exists(kTemporary));
}

TEST_F(ActiveConfWrite, FailsWhenAFolderStandsWhereTheTemporaryFileShouldBe) {
  machine.files.AddFolder(kTemporary);
  EXPECT_FALSE(Write());
  EXPECT_EQ(error, "open tmp failed");
  EXPECT_TRUE(machine.files.IsFolder(kTemporary));
  EXPECT_FALSE(machine.files.Exists(kActive));
}

TEST_F(ActiveConfWrite, ThatFailsToWriteLeavesTheTemporaryFileAndTheOldActiveOne) {
  machine.files.AddFile(kActive, "before");
  machine.Fail("OutputFile.Write", 1, 112);
  EXPECT_FALSE(Write());
  EXPECT_EQ(error, "write tmp failed");
  EXPECT_EQ(machine.files.Bytes(kTemporary), "");
  EXPECT_EQ(machine.files.Bytes(kActive), "before");
  EXPECT_EQ(machine.files.OpenStreams(), 0);
}

TEST_F(ActiveConfWrite, ThatFailsToCloseLeavesTheTemporaryFileAndTheOldActiveOne) {
  machine.files.AddFile(kActive, "before");
  machine.Fail("OutputFile.Close", 1, 112);
  EXPECT_FALSE(Write());
  EXPECT_EQ(error, "write tmp failed");
  EXPECT_EQ(machine.Changes(),
            (std::vector<std::string>{
                "CreateFolders C:\\ProgramData\\Veltrane\\tunnels",
                "SetProtectedAccess C:\\ProgramData\\Veltrane\\tunnels",
                "OutputFile.Open C:\\ProgramData\\Veltrane\\tunnels\\active.conf.tmp",
                "OutputFile.Write C:\\ProgramData\\Veltrane\\tunnels\\active.conf.tmp 171 bytes",
                "OutputFile.Close C:\\ProgramData\\Veltrane\\tunnels\\active.conf.tmp"}));
  EXPECT_EQ(machine.files.Bytes(kTemporary), "");
  EXPECT_EQ(machine.files.Bytes(kActive), "before");
}

TEST_F(ActiveConfWrite, ThatFailsToRenameLeavesTheWholeTemporaryFileAndTheOldActiveOne) {
  machine.files.AddFile(kActive, "before");
  machine.Fail("MoveFileWithFlags", 1, 32);
  EXPECT_FALSE(Write());
  EXPECT_EQ(error, "rename active.conf failed");
  EXPECT_EQ(machine.files.Bytes(kTemporary), kText);
  EXPECT_EQ(machine.files.Bytes(kActive), "before");
  EXPECT_EQ(machine.files.Access(kActive), std::nullopt);
}

TEST_F(ActiveConfWrite, FailsToReplaceAFileThatAnotherProgramHasOpen) {
  machine.files.AddFile(kActive, "before");
  machine.files.HoldOpen(kActive, kShareRead | kShareWrite);
  EXPECT_FALSE(Write());
  EXPECT_EQ(error, "rename active.conf failed");
  EXPECT_EQ(machine.files.Bytes(kTemporary), kText);
  EXPECT_EQ(machine.files.Bytes(kActive), "before");
}

TEST_F(ActiveConfWrite, ReplacesAFileThatIsOpenWithDeleteSharing) {
  machine.files.AddFile(kActive, "before");
  machine.files.HoldOpen(kActive, kShareRead | kShareDelete);
  EXPECT_TRUE(Write());
  EXPECT_EQ(machine.files.Bytes(kActive), kText);
}

TEST_F(ActiveConfWrite, FailsWhenAFolderStandsWhereTheActiveFileShouldBe) {
  machine.files.AddFolder(kActive);
  EXPECT_FALSE(Write());
  EXPECT_EQ(error, "rename active.conf failed");
  EXPECT_TRUE(machine.files.IsFolder(kActive));
  EXPECT_EQ(machine.files.Bytes(kTemporary), kText);
}

TEST_F(ActiveConfWrite, AfterAFailureSucceedsOverWhatThatLeft) {
  machine.Fail("MoveFileWithFlags", 1, 32);
  EXPECT_FALSE(Write());
  EXPECT_TRUE(Write());
  EXPECT_EQ(machine.files.Bytes(kActive), kText);
  EXPECT_FALSE(machine.files.Exists(kTemporary));
}

class ActiveConfFailure : public ActiveConfWrite,
                          public testing::WithParamInterface<const char*> {};

TEST_P(ActiveConfFailure, IsReportedWithoutATextToFill) {
  machine.Fail(GetParam(), 1, 5);
  EXPECT_FALSE(WriteActiveConf(Profile(), nullptr));
}

INSTANTIATE_TEST_SUITE_P(Steps, ActiveConfFailure,
                         testing::Values("CreateFolders", "OutputFile.Open", "OutputFile.Write",
                                         "OutputFile.Close", "MoveFileWithFlags"));

}  // namespace
}  // namespace veltrane
