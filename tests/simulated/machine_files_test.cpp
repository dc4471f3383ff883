// The file system of the simulated machine.

#include <optional>
#include <string>
#include <utility>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/files.h"
#include "platform/security.h"
#include "tests/simulated/machine.h"

namespace veltrane::simulated {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr wchar_t kFolder[] = L"C:\\ProgramData\\Veltrane\\tunnels";
constexpr wchar_t kFile[] = L"C:\\ProgramData\\Veltrane\\tunnels\\active.conf";
constexpr wchar_t kTemporary[] = L"C:\\ProgramData\\Veltrane\\tunnels\\active.conf.tmp";

TEST(SimulatedFiles, FoldersAreCreatedWithTheirParents) {
  Machine machine;
  EXPECT_TRUE(CreateFolders(kFolder));
  EXPECT_TRUE(machine.files.IsFolder(L"C:\\ProgramData\\Veltrane"));
  EXPECT_TRUE(machine.files.IsFolder(L"c:\\programdata\\VELTRANE\\tunnels\\"));
  EXPECT_TRUE(CreateFolders(kFolder));
}

TEST(SimulatedFiles, FileInTheWayOfAFolderIsAnError) {
  Machine machine;
  machine.files.AddFile(L"C:\\ProgramData\\Veltrane", "");
  EXPECT_FALSE(CreateFolders(kFolder));
  EXPECT_FALSE(machine.files.Exists(kFolder));
}

TEST(SimulatedFiles, FolderOnAMissingDriveIsAnError) {
  const Machine machine;
  EXPECT_FALSE(CreateFolders(L"X:\\tunnels"));
}

TEST(SimulatedFiles, FailedCallsGiveTheStatus) {
  Machine machine;
  machine.Fail("CreateFolders", 1, 5);
  machine.Fail("TestExistence", 1, 21);
  EXPECT_FALSE(CreateFolders(kFolder));
  EXPECT_EQ(TestExistence(L"C:").Error(), 21U);
}

TEST(SimulatedFiles, ExistenceKnowsFilesAndFolders) {
  Machine machine;
  machine.files.AddFile(kFile, "text");
  EXPECT_TRUE(*TestExistence(kFile));
  EXPECT_TRUE(*TestExistence(kFolder));
  EXPECT_FALSE(*TestExistence(kTemporary));
}

TEST(SimulatedFiles, WrittenBytesReachTheFileWhenItIsClosed) {
  Machine machine;
  machine.files.AddFile(kFile, "earlier");
  std::optional<OutputFile> file = OutputFile::Open(kFile);
  ASSERT_TRUE(file);
  EXPECT_EQ(machine.files.Bytes(kFile), "");
  file->Write("new ");
  file->Write("text");
  EXPECT_EQ(machine.files.Bytes(kFile), "");
  EXPECT_TRUE(file->Close());
  EXPECT_EQ(machine.files.Bytes(kFile), "new text");
  EXPECT_EQ(machine.files.OpenStreams(), 0);
}

TEST(SimulatedFiles, UnclosedStreamIsFlushedAtItsEnd) {
  Machine machine;
  machine.files.AddFolder(kFolder);
  {
    OutputFile file = OutputFile::Open(kFile).value();
    file.Write("text");
  }
  EXPECT_EQ(machine.files.Bytes(kFile), "text");
  EXPECT_THAT(
      machine.Changes(),
      ElementsAre("OutputFile.Open C:\\ProgramData\\Veltrane\\tunnels\\active.conf",
                  "OutputFile.Write C:\\ProgramData\\Veltrane\\tunnels\\active.conf 4 bytes",
                  "OutputFile.Close C:\\ProgramData\\Veltrane\\tunnels\\active.conf"));
}

TEST(SimulatedFiles, ClosedStreamIsNotClosedAgainAtItsEnd) {
  Machine machine;
  machine.files.AddFolder(kFolder);
  {
    OutputFile file = OutputFile::Open(kFile).value();
    EXPECT_TRUE(file.Close());
  }
  EXPECT_EQ(machine.calls.Count("OutputFile.Close"), 1U);
}

TEST(SimulatedFiles, OpeningNeedsTheFolderAndNoFolderInItsPlace) {
  Machine machine;
  EXPECT_FALSE(OutputFile::Open(kFile));
  machine.files.AddFolder(kFile);
  EXPECT_FALSE(OutputFile::Open(kFile));
}

TEST(SimulatedFiles, DeniedFileCannotBeOpenedButDeleted) {
  Machine machine;
  machine.files.AddFile(kFile, "text");
  machine.files.DenyOpen(kFile);
  EXPECT_FALSE(OutputFile::Open(kFile));
  EXPECT_EQ(machine.files.Bytes(kFile), "text");
  machine.files.AllowOpen(kFile);
  EXPECT_TRUE(OutputFile::Open(kFile));
  machine.files.DenyOpen(kFile);
  EXPECT_TRUE(RemoveFile(kFile));
}

TEST(SimulatedFiles, OpenFileCannotBeDeleted) {
  Machine machine;
  machine.files.AddFile(kFile, "secret");
  {
    OutputFile file = OutputFile::Open(kFile).value();
    file.Write(std::string(4096, '\0'));
    EXPECT_FALSE(RemoveFile(kFile));
  }
  EXPECT_EQ(machine.files.Bytes(kFile), std::string(4096, '\0'));
  EXPECT_TRUE(RemoveFile(kFile));
  EXPECT_THAT(machine.files.AllFiles(), IsEmpty());
}

TEST(SimulatedFiles, DeletingAMissingFileOrAFolderFails) {
  Machine machine;
  machine.files.AddFolder(kFolder);
  EXPECT_FALSE(RemoveFile(kFile));
  EXPECT_FALSE(RemoveFile(kFolder));
}

TEST(SimulatedFiles, FailedWriteLosesItsBytesAndMakesCloseFail) {
  Machine machine;
  machine.files.AddFolder(kFolder);
  machine.Fail("OutputFile.Write", 2, 112);
  OutputFile file = OutputFile::Open(kFile).value();
  file.Write("kept");
  file.Write("lost");
  file.Write("ignored");
  EXPECT_FALSE(file.Close());
  EXPECT_EQ(machine.files.Bytes(kFile), "kept");
}

TEST(SimulatedFiles, FailedCloseLosesEverything) {
  Machine machine;
  machine.files.AddFolder(kFolder);
  machine.Fail("OutputFile.Close", 1, 112);
  OutputFile file = OutputFile::Open(kFile).value();
  file.Write("lost");
  EXPECT_FALSE(file.Close());
  EXPECT_EQ(machine.files.Bytes(kFile), "");
}

TEST(SimulatedFiles, MoveReplacesOnlyWithTheFlagForIt) {
  Machine machine;
  machine.files.AddFile(kTemporary, "new");
  machine.files.AddFile(kFile, "old");
  EXPECT_FALSE(MoveFileWithFlags(kTemporary, kFile, 8));
  EXPECT_EQ(machine.files.Bytes(kFile), "old");
  EXPECT_TRUE(MoveFileWithFlags(kTemporary, kFile, 9));
  EXPECT_EQ(machine.files.Bytes(kFile), "new");
  EXPECT_THAT(machine.files.AllFiles(), ElementsAre(kFile));
}

TEST(SimulatedFiles, MoveFailsWhileSourceOrTargetIsOpen) {
  Machine machine;
  machine.files.AddFile(kTemporary, "new");
  machine.files.AddFile(kFile, "old");
  {
    const OutputFile source = OutputFile::Open(kTemporary).value();
    EXPECT_FALSE(MoveFileWithFlags(kTemporary, kFile, 9));
  }
  {
    const OutputFile target = OutputFile::Open(kFile).value();
    EXPECT_FALSE(MoveFileWithFlags(kTemporary, kFile, 9));
  }
  EXPECT_TRUE(MoveFileWithFlags(kTemporary, kFile, 9));
}

TEST(SimulatedFiles, MoveNeedsSourceAndTargetFolder) {
  Machine machine;
  machine.files.AddFile(kTemporary, "new");
  EXPECT_FALSE(MoveFileWithFlags(kFile, kTemporary, 9));
  EXPECT_FALSE(MoveFileWithFlags(kTemporary, L"C:\\Missing\\active.conf", 9));
  EXPECT_FALSE(MoveFileWithFlags(kTemporary, kFolder, 9));
  EXPECT_EQ(machine.files.Bytes(kTemporary), "new");
}

TEST(SimulatedFiles, AnotherProgramsShareModeIsKept) {
  Machine machine;
  machine.files.AddFile(kFile, "text");
  machine.files.HoldOpen(kFile, kShareRead);
  EXPECT_FALSE(OutputFile::Open(kFile));
  EXPECT_FALSE(RemoveFile(kFile));
  machine.files.HoldOpen(kFile, kShareRead | kShareWrite);
  EXPECT_TRUE(OutputFile::Open(kFile));
  EXPECT_FALSE(RemoveFile(kFile));
  machine.files.Release(kFile);
  EXPECT_TRUE(RemoveFile(kFile));
}

TEST(SimulatedFiles, AccessListIsKeptAndMovesWithTheFile) {
  Machine machine;
  machine.files.AddFile(kTemporary, "text");
  EXPECT_FALSE(machine.files.Access(kTemporary));
  const AccessEntry entry{NtSid({18}), TrusteeType::kGroup, 0x10000000, 3};
  EXPECT_TRUE(SetProtectedAccess(kTemporary, {entry}));
  EXPECT_TRUE(MoveFileWithFlags(kTemporary, kFile, 9));
  EXPECT_THAT(AccessTexts(machine.files.Access(kFile).value()),
              ElementsAre("group S-1-5-18 0x10000000 inherit 3"));
  EXPECT_EQ(machine.files.AccessSets().at(0).path, kTemporary);
}

TEST(SimulatedFiles, AccessListOfNothingCannotBeSet) {
  Machine machine;
  EXPECT_FALSE(SetProtectedAccess(kFile, {}));
  EXPECT_THAT(machine.files.AccessSets(), IsEmpty());
}

}  // namespace
}  // namespace veltrane::simulated
