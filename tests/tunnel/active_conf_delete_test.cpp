#include <filesystem>

#include "tests/support/on_machine.h"
#include "tunnel/active_conf.h"

namespace veltrane {
namespace {

using simulated::kShareDelete;
using simulated::kShareRead;
using simulated::kShareWrite;

constexpr wchar_t kActive[] = L"C:\\ProgramData\\Veltrane\\tunnels\\active.conf";
constexpr wchar_t kTemporary[] = L"C:\\ProgramData\\Veltrane\\tunnels\\active.conf.tmp";
constexpr char kKey[] = "[Interface]\nPrivateKey = cHJpdmF0ZQ==\n";

class ActiveConfDelete : public OnMachine {
 protected:
  bool Delete() { return DeleteActiveConf(&error); }

  std::string error = "untouched";
};

TEST_F(ActiveConfDelete, WithoutAFileReturnsTrueAndTouchesNothing) {
  EXPECT_TRUE(Delete());
  EXPECT_EQ(
      machine.calls.All(),
      (std::vector<std::string>{"ReadProcessVariable ProgramData",
                                "TestExistence C:\\ProgramData\\Veltrane\\tunnels\\active.conf"}));
  EXPECT_FALSE(machine.files.Exists(L"C:\\ProgramData\\Veltrane"));
  EXPECT_EQ(error, "untouched");
}

TEST_F(ActiveConfDelete, LeavesAStaleTemporaryFileAlone) {
  machine.files.AddFile(kTemporary, kKey);
  EXPECT_TRUE(Delete());
  EXPECT_EQ(machine.files.Bytes(kTemporary), kKey);
}

TEST_F(ActiveConfDelete, DeletesWhileTheScrubIsOpenAndClosesItAfterwards) {
  machine.files.AddFile(kActive, kKey);
  EXPECT_FALSE(Delete());
  EXPECT_EQ(machine.calls.All(),
            (std::vector<std::string>{
                "ReadProcessVariable ProgramData",
                "TestExistence C:\\ProgramData\\Veltrane\\tunnels\\active.conf",
                "OutputFile.Open C:\\ProgramData\\Veltrane\\tunnels\\active.conf",
                "OutputFile.Write C:\\ProgramData\\Veltrane\\tunnels\\active.conf 4096 bytes",
                "RemoveFile C:\\ProgramData\\Veltrane\\tunnels\\active.conf",
                "OutputFile.Close C:\\ProgramData\\Veltrane\\tunnels\\active.conf"}));
}

TEST_F(ActiveConfDelete, FailsOnTheScrubsOwnSharingAndLeaves4096ZeroBytes) {
  machine.files.AddFile(kActive, kKey);
  EXPECT_FALSE(Delete());
  EXPECT_EQ(error, "delete active.conf failed");
  EXPECT_EQ(machine.files.Bytes(kActive), std::string(4096, '\0'));
  EXPECT_EQ(machine.files.OpenStreams(), 0);
}

TEST_F(ActiveConfDelete, LeavesNoMoreThan4096ZeroBytesOfALongerFile) {
  machine.files.AddFile(kActive, std::string(10000, 'k'));
  EXPECT_FALSE(Delete());
  EXPECT_EQ(machine.files.Bytes(kActive), std::string(4096, '\0'));
}

TEST_F(ActiveConfDelete, FillsAnEmptyFileWith4096ZeroBytes) {
  machine.files.AddFile(kActive, "");
  EXPECT_FALSE(Delete());
  EXPECT_EQ(machine.files.Bytes(kActive), std::string(4096, '\0'));
}

TEST_F(ActiveConfDelete, OverwritesTheFileBeforeTheDeletionIsTried) {
  machine.files.AddFile(kActive, kKey);
  std::optional<std::string> bytes;
  int streams = 0;
  machine.OnCall("RemoveFile", 1, [&] {
    bytes = machine.files.Bytes(kActive);
    streams = machine.files.OpenStreams();
  });
  EXPECT_FALSE(Delete());
  EXPECT_EQ(bytes, std::string(4096, '\0'));
  EXPECT_EQ(streams, 1);
}

TEST_F(ActiveConfDelete, TwiceFailsTwiceInTheSameWay) {
  machine.files.AddFile(kActive, kKey);
  EXPECT_FALSE(Delete());
  error = "untouched";
  EXPECT_FALSE(Delete());
  EXPECT_EQ(error, "delete active.conf failed");
  EXPECT_EQ(machine.files.Bytes(kActive), std::string(4096, '\0'));
}

TEST_F(ActiveConfDelete, DeletesDirectlyWhenTheScrubCannotOpen) {
  machine.files.AddFile(kActive, kKey);
  machine.files.DenyOpen(kActive);
  EXPECT_TRUE(Delete());
  EXPECT_EQ(
      machine.Changes(),
      (std::vector<std::string>{"OutputFile.Open C:\\ProgramData\\Veltrane\\tunnels\\active.conf",
                                "RemoveFile C:\\ProgramData\\Veltrane\\tunnels\\active.conf"}));
  EXPECT_FALSE(machine.files.Exists(kActive));
  EXPECT_EQ(error, "untouched");
}

TEST_F(ActiveConfDelete, LeavesTheKeyWhenNeitherScrubNorDeletionWorks) {
  machine.files.AddFile(kActive, kKey);
  machine.files.DenyOpen(kActive);
  machine.Fail("RemoveFile", 1, 5);
  EXPECT_FALSE(Delete());
  EXPECT_EQ(error, "delete active.conf failed");
  EXPECT_EQ(machine.files.Bytes(kActive), kKey);
}

TEST_F(ActiveConfDelete, LeavesTheKeyWhenAnotherProgramHoldsTheFileAlone) {
  machine.files.AddFile(kActive, kKey);
  machine.files.HoldOpen(kActive, 0);
  EXPECT_FALSE(Delete());
  EXPECT_EQ(error, "delete active.conf failed");
  EXPECT_EQ(machine.files.Bytes(kActive), kKey);
}

TEST_F(ActiveConfDelete, SucceedsWhenAnotherProgramSharesDeletionButNotWriting) {
  machine.files.AddFile(kActive, kKey);
  machine.files.HoldOpen(kActive, kShareRead | kShareDelete);
  EXPECT_TRUE(Delete());
  EXPECT_FALSE(machine.files.Exists(kActive));
  EXPECT_EQ(error, "untouched");
}

TEST_F(ActiveConfDelete, ScrubsAFileThatAnotherProgramSharesForWriting) {
  machine.files.AddFile(kActive, kKey);
  machine.files.HoldOpen(kActive, kShareRead | kShareWrite);
  EXPECT_FALSE(Delete());
  EXPECT_EQ(machine.files.Bytes(kActive), std::string(4096, '\0'));
}

TEST_F(ActiveConfDelete, StillTruncatesTheFileWhenTheZerosCannotBeWritten) {
  machine.files.AddFile(kActive, kKey);
  machine.Fail("OutputFile.Write", 1, 112);
  EXPECT_FALSE(Delete());
  EXPECT_EQ(error, "delete active.conf failed");
  EXPECT_EQ(machine.files.Bytes(kActive), "");
}

TEST_F(ActiveConfDelete, LeavesTheZerosWhenTheScrubCannotBeClosed) {
  machine.files.AddFile(kActive, kKey);
  machine.Fail("OutputFile.Close", 1, 112);
  EXPECT_FALSE(Delete());
  EXPECT_EQ(error, "delete active.conf failed");
  EXPECT_EQ(machine.files.Bytes(kActive), std::string(4096, '\0'));
}

TEST_F(ActiveConfDelete, FailsOnAFolderOfThatName) {
  machine.files.AddFolder(kActive);
  EXPECT_FALSE(Delete());
  EXPECT_EQ(error, "delete active.conf failed");
  EXPECT_TRUE(machine.files.IsFolder(kActive));
}

TEST_F(ActiveConfDelete, FailsWithoutAnErrorTextToFill) {
  machine.files.AddFile(kActive, kKey);
  EXPECT_FALSE(DeleteActiveConf(nullptr));
}

TEST_F(ActiveConfDelete, UsesTheFolderOfProgramData) {
  machine.environment.SetProcess(L"ProgramData", L"C:\\Data");
  machine.files.AddFile(L"C:\\Data\\Veltrane\\tunnels\\active.conf", kKey);
  machine.files.AddFile(kActive, kKey);
  EXPECT_FALSE(Delete());
  EXPECT_EQ(machine.files.Bytes(L"C:\\Data\\Veltrane\\tunnels\\active.conf"),
            std::string(4096, '\0'));
  EXPECT_EQ(machine.files.Bytes(kActive), kKey);
}

TEST_F(ActiveConfDelete, ThrowsWhenItCannotBeToldWhetherTheFileIsThere) {
  machine.files.AddFile(kActive, kKey);
  machine.Fail("TestExistence", 1, 5);
  try {
    Delete();
    FAIL() << "nothing was thrown";
  } catch (const std::filesystem::filesystem_error& thrown) {
    EXPECT_EQ(thrown.code(), std::error_code(5, std::system_category()));
    EXPECT_EQ(thrown.path1().wstring(), kActive);
    EXPECT_NE(std::string(thrown.what()).find("exists"), std::string::npos);
  }
  EXPECT_EQ(error, "untouched");
  EXPECT_EQ(machine.Changes(), std::vector<std::string>{});
  EXPECT_EQ(machine.files.Bytes(kActive), kKey);
}

TEST_F(ActiveConfDelete, AfterAFailureTheNextWriteReplacesTheZeros) {
  MarkConnectRequested();
  machine.files.AddFile(kActive, kKey);
  EXPECT_FALSE(Delete());
  EXPECT_TRUE(WriteActiveConf({}, &error));
  EXPECT_EQ(machine.files.Bytes(kActive),
            "[Interface]\n"
            "PrivateKey = \n"
            "Address = \n"
            "\n"
            "[Peer]\n"
            "PublicKey = \n"
            "AllowedIPs = \n"
            "Endpoint = :51820\n"
            "PersistentKeepalive = 25\n");
}

}  // namespace
}  // namespace veltrane
