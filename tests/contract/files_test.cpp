// platform/files.h

#include "platform/files.h"

#include <utility>

#include "tests/contract/stage.h"

namespace veltrane::contract {
namespace {

using Folders = Contract;
using Existence = Contract;
using OutputStream = Contract;
using Moving = Contract;
using Removing = Contract;

std::size_t Size(const Stage& stage, const std::wstring& path) {
  return stage.Bytes(path).value_or("").size();
}

TEST_F(Folders, AreCreatedWithAllMissingParents) {
  EXPECT_TRUE(CreateFolders(stage.Path(L"a\\b\\c")));
  EXPECT_TRUE(IsThere(stage.Path(L"a")));
  EXPECT_TRUE(IsThere(stage.Path(L"a\\b\\c")));
}

TEST_F(Folders, MayEndInASeparator) {
  EXPECT_TRUE(CreateFolders(stage.Path(L"a\\b\\")));
  EXPECT_TRUE(IsThere(stage.Path(L"a\\b")));
}

TEST_F(Folders, MayBeThereAlready) {
  EXPECT_TRUE(CreateFolders(stage.Path(L"a")));
  EXPECT_TRUE(CreateFolders(stage.Path(L"a")));
}

TEST_F(Folders, CannotBeCreatedBelowAFile) {
  stage.PutFile(stage.Path(L"file"), "");
  EXPECT_FALSE(CreateFolders(stage.Path(L"file\\a")));
  EXPECT_FALSE(IsThere(stage.Path(L"file\\a")));
}

TEST_F(Folders, CannotReplaceAFile) {
  stage.PutFile(stage.Path(L"file"), "text");
  EXPECT_FALSE(CreateFolders(stage.Path(L"file")));
  EXPECT_EQ(stage.Bytes(stage.Path(L"file")), "text");
}

TEST_F(Folders, CannotBeCreatedOnAMissingDrive) { EXPECT_FALSE(CreateFolders(L"Q:\\a")); }

TEST_F(Existence, IsToldOfAFileAndOfAFolder) {
  stage.PutFile(stage.Path(L"file"), "");
  CreateFolders(stage.Path(L"folder"));
  EXPECT_TRUE(Take(TestExistence(stage.Path(L"file"))));
  EXPECT_TRUE(Take(TestExistence(stage.Path(L"folder"))));
}

TEST_F(Existence, DoesNotDependOnCase) {
  stage.PutFile(stage.Path(L"file"), "");
  EXPECT_TRUE(Take(TestExistence(stage.Path(L"FILE"))));
}

TEST_F(Existence, IsDeniedOfWhatIsNotThere) {
  stage.PutFile(stage.Path(L"file"), "");
  EXPECT_FALSE(Take(TestExistence(stage.Path(L"missing"))));
  EXPECT_FALSE(Take(TestExistence(stage.Path(L"missing\\file"))));
  EXPECT_FALSE(Take(TestExistence(stage.Path(L"file\\below"))));
  EXPECT_FALSE(Take(TestExistence(L"Q:\\file")));
}

TEST_F(Existence, IsDeniedOfANameThatNoFileCanHave) {
  EXPECT_FALSE(Take(TestExistence(stage.Path(L"a?b"))));
  EXPECT_FALSE(Take(TestExistence(L"")));
}

TEST_F(Existence, IsToldOfAFileThatAnotherProgramHoldsForItself) {
  const std::wstring path = stage.Path(L"file");
  stage.PutFile(path, "");
  stage.Hold(path, 0);
  EXPECT_TRUE(Take(TestExistence(path)));
}

TEST_F(Existence, CannotBeToldWhereAccessIsDenied) {
  NOT_ON_WINE("file access lists are mapped to Unix permission bits");
  CreateFolders(stage.Path(L"folder"));
  stage.PutFile(stage.Path(L"folder\\file"), "");
  stage.Forbid(stage.Path(L"folder"), L"file");
  const Result<bool> exists = TestExistence(stage.Path(L"folder\\file"));
  EXPECT_FALSE(exists);
  EXPECT_EQ(exists.Error(), 5U);
}

TEST_F(OutputStream, CreatesAFileAndWritesItsBytesInOrder) {
  OutputFile file = OutputFile::Open(stage.Path(L"file")).value();
  file.Write("first ");
  file.Write("second");
  EXPECT_TRUE(file.Close());
  EXPECT_EQ(stage.Bytes(stage.Path(L"file")), "first second");
}

TEST_F(OutputStream, IsBinary) {
  const std::string bytes("a\nb\r\n\x1A\0c", 8);
  OutputFile file = OutputFile::Open(stage.Path(L"file")).value();
  file.Write(bytes);
  EXPECT_TRUE(file.Close());
  EXPECT_EQ(stage.Bytes(stage.Path(L"file")), bytes);
}

TEST_F(OutputStream, TruncatesTheFileAtOnce) {
  stage.PutFile(stage.Path(L"file"), "earlier");
  const OutputFile file = OutputFile::Open(stage.Path(L"file")).value();
  EXPECT_EQ(stage.Bytes(stage.Path(L"file")), "");
}

TEST_F(OutputStream, Keeps4096BytesBackUntilClose) {
  OutputFile file = OutputFile::Open(stage.Path(L"file")).value();
  file.Write(std::string(4096, 'x'));
  EXPECT_EQ(Size(stage, stage.Path(L"file")), 0U);
  file.Close();
  EXPECT_EQ(Size(stage, stage.Path(L"file")), 4096U);
}

TEST_F(OutputStream, PassesOnAllThatItKeptWhenThatComesToMoreThan8192Bytes) {
  OutputFile file = OutputFile::Open(stage.Path(L"file")).value();
  for (int i = 0; i < 8; ++i) file.Write(std::string(1024, 'x'));
  EXPECT_EQ(Size(stage, stage.Path(L"file")), 0U);
  file.Write("y");
  EXPECT_EQ(stage.Bytes(stage.Path(L"file")) == std::string(8192, 'x') + "y", true);
}

TEST_F(OutputStream, PassesALongWriteOnBehindWhatItKept) {
  OutputFile file = OutputFile::Open(stage.Path(L"file")).value();
  file.Write("kept");
  file.Write(std::string(8192, 'x'));
  EXPECT_EQ(stage.Bytes(stage.Path(L"file")) == "kept" + std::string(8192, 'x'), true);
}

TEST_F(OutputStream, IsWrittenAndClosedWithTheObject) {
  const std::wstring path = stage.Path(L"file");
  {
    OutputFile file = OutputFile::Open(path).value();
    file.Write("text");
  }
  EXPECT_EQ(stage.Bytes(path), "text");
  EXPECT_TRUE(RemoveFile(path));
}

TEST_F(OutputStream, IsClosedOnceWhenItWasMoved) {
  const std::size_t handles = stage.OpenHandles();
  {
    OutputFile first = OutputFile::Open(stage.Path(L"file")).value();
    OutputFile second = std::move(first);
    second.Write("text");
    EXPECT_EQ(stage.OpenHandles(), handles + 1);
  }
  EXPECT_EQ(stage.OpenHandles(), handles);
  EXPECT_EQ(stage.Bytes(stage.Path(L"file")), "text");
}

TEST_F(OutputStream, LetsGoOfTheFileWithClose) {
  const std::wstring path = stage.Path(L"file");
  OutputFile file = OutputFile::Open(path).value();
  EXPECT_TRUE(file.Close());
  EXPECT_TRUE(RemoveFile(path));
}

TEST_F(OutputStream, CannotBeOpenedWithoutItsFolder) {
  EXPECT_FALSE(OutputFile::Open(stage.Path(L"missing\\file")));
}

TEST_F(OutputStream, CannotBeOpenedOnAFolder) {
  CreateFolders(stage.Path(L"folder"));
  EXPECT_FALSE(OutputFile::Open(stage.Path(L"folder")));
}

TEST_F(OutputStream, CannotBeOpenedWhileAnotherProgramKeepsWritersOut) {
  const std::wstring path = stage.Path(L"file");
  stage.PutFile(path, "text");
  stage.Hold(path, kShareRead | kShareDelete);
  EXPECT_FALSE(OutputFile::Open(path));
  EXPECT_EQ(stage.Bytes(path), "text");
}

TEST_F(OutputStream, CanBeOpenedWhileAnotherProgramLetsWritersIn) {
  const std::wstring path = stage.Path(L"file");
  stage.PutFile(path, "text");
  stage.Hold(path, kShareRead | kShareWrite);
  EXPECT_TRUE(OutputFile::Open(path));
}

TEST_F(OutputStream, LetsOthersReadAndWriteMeanwhile) {
  const OutputFile file = OutputFile::Open(stage.Path(L"file")).value();
  EXPECT_TRUE(stage.Bytes(stage.Path(L"file")));
  EXPECT_TRUE(OutputFile::Open(stage.Path(L"file")));
}

TEST_F(OutputStream, KeepsItsFileFromBeingDeletedMovedAndReplaced) {
  const std::wstring path = stage.Path(L"file");
  stage.PutFile(stage.Path(L"other"), "other");
  const OutputFile file = OutputFile::Open(path).value();
  EXPECT_FALSE(RemoveFile(path));
  EXPECT_FALSE(MoveFileWithFlags(path, stage.Path(L"new"), 0));
  EXPECT_FALSE(MoveFileWithFlags(stage.Path(L"other"), path, kMoveReplaceExisting));
  EXPECT_TRUE(IsThere(path));
  EXPECT_EQ(stage.Bytes(stage.Path(L"other")), "other");
}

TEST_F(OutputStream, FailsToCloseWhenALongWriteFailed) {
  OutputFile file = OutputFile::Open(stage.PathOnSmallDisk()).value();
  stage.FillDisk();
  file.Write(std::string(10000, 'x'));
  EXPECT_FALSE(file.Close());
}

TEST_F(OutputStream, FailsToCloseWhenWhatItKeptCannotBeWritten) {
  OutputFile file = OutputFile::Open(stage.PathOnSmallDisk()).value();
  stage.FillDisk();
  file.Write("text");
  EXPECT_FALSE(file.Close());
}

TEST_F(Moving, RenamesAFile) {
  stage.PutFile(stage.Path(L"from"), "text");
  EXPECT_TRUE(MoveFileWithFlags(stage.Path(L"from"), stage.Path(L"to"), kMoveWriteThrough));
  EXPECT_FALSE(IsThere(stage.Path(L"from")));
  EXPECT_EQ(stage.Bytes(stage.Path(L"to")), "text");
}

TEST_F(Moving, ReplacesAFileWithTheFlagForIt) {
  stage.PutFile(stage.Path(L"from"), "new");
  stage.PutFile(stage.Path(L"to"), "old");
  EXPECT_TRUE(MoveFileWithFlags(stage.Path(L"from"), stage.Path(L"to"),
                                kMoveReplaceExisting | kMoveWriteThrough));
  EXPECT_FALSE(IsThere(stage.Path(L"from")));
  EXPECT_EQ(stage.Bytes(stage.Path(L"to")), "new");
}

TEST_F(Moving, DoesNotReplaceAFileWithoutTheFlagForIt) {
  stage.PutFile(stage.Path(L"from"), "new");
  stage.PutFile(stage.Path(L"to"), "old");
  EXPECT_FALSE(MoveFileWithFlags(stage.Path(L"from"), stage.Path(L"to"), kMoveWriteThrough));
  EXPECT_EQ(stage.Bytes(stage.Path(L"from")), "new");
  EXPECT_EQ(stage.Bytes(stage.Path(L"to")), "old");
}

TEST_F(Moving, NeedsAFileAndAFolderToMoveItTo) {
  stage.PutFile(stage.Path(L"from"), "text");
  EXPECT_FALSE(MoveFileWithFlags(stage.Path(L"missing"), stage.Path(L"to"), 0));
  EXPECT_FALSE(MoveFileWithFlags(stage.Path(L"from"), stage.Path(L"missing\\to"), 0));
  EXPECT_EQ(stage.Bytes(stage.Path(L"from")), "text");
}

TEST_F(Moving, DoesNotReplaceAFolder) {
  stage.PutFile(stage.Path(L"from"), "text");
  CreateFolders(stage.Path(L"to"));
  EXPECT_FALSE(MoveFileWithFlags(stage.Path(L"from"), stage.Path(L"to"), kMoveReplaceExisting));
  EXPECT_EQ(stage.Bytes(stage.Path(L"from")), "text");
}

TEST_F(Moving, NeedsDeleteSharingOfWhoHoldsTheFile) {
  stage.PutFile(stage.Path(L"from"), "text");
  stage.Hold(stage.Path(L"from"), kShareRead | kShareWrite);
  EXPECT_FALSE(MoveFileWithFlags(stage.Path(L"from"), stage.Path(L"to"), 0));
  stage.LetGo(stage.Path(L"from"));
  stage.Hold(stage.Path(L"from"), kShareRead | kShareDelete);
  EXPECT_TRUE(MoveFileWithFlags(stage.Path(L"from"), stage.Path(L"to"), 0));
}

TEST_F(Moving, DoesNotReplaceAFileThatIsHeldWithoutDeleteSharing) {
  stage.PutFile(stage.Path(L"from"), "new");
  stage.PutFile(stage.Path(L"to"), "old");
  stage.Hold(stage.Path(L"to"), kShareRead | kShareWrite);
  EXPECT_FALSE(MoveFileWithFlags(stage.Path(L"from"), stage.Path(L"to"), kMoveReplaceExisting));
  EXPECT_EQ(stage.Bytes(stage.Path(L"to")), "old");
}

TEST_F(Removing, DeletesAFile) {
  stage.PutFile(stage.Path(L"file"), "text");
  EXPECT_TRUE(RemoveFile(stage.Path(L"file")));
  EXPECT_FALSE(IsThere(stage.Path(L"file")));
}

TEST_F(Removing, FailsOnAFolderAndOnWhatIsNotThere) {
  CreateFolders(stage.Path(L"folder"));
  EXPECT_FALSE(RemoveFile(stage.Path(L"folder")));
  EXPECT_TRUE(IsThere(stage.Path(L"folder")));
  EXPECT_FALSE(RemoveFile(stage.Path(L"missing")));
}

TEST_F(Removing, DeletesAnEmptyFolder) {
  CreateFolders(stage.Path(L"folder"));
  EXPECT_TRUE(RemoveFolder(stage.Path(L"folder")));
  EXPECT_FALSE(IsThere(stage.Path(L"folder")));
}

TEST_F(Removing, FailsOnAFolderInWhichAnythingIs) {
  stage.PutFile(stage.Path(L"file"), "text");
  CreateFolders(stage.Path(L"outer\\inner"));
  EXPECT_FALSE(RemoveFolder(stage.Path(L"outer")));
  EXPECT_TRUE(IsThere(stage.Path(L"outer\\inner")));
  EXPECT_FALSE(RemoveFolder(stage.Path(L"file")));
  EXPECT_FALSE(RemoveFolder(stage.Path(L"missing")));
}

TEST_F(Removing, FailsWhileTheFileIsHeldWithoutDeleteSharing) {
  const std::wstring path = stage.Path(L"file");
  stage.PutFile(path, "text");
  stage.Hold(path, kShareRead | kShareWrite);
  EXPECT_FALSE(RemoveFile(path));
  stage.LetGo(path);
  EXPECT_EQ(stage.Bytes(path), "text");
}

TEST_F(Removing, SucceedsWhileTheFileIsHeldWithDeleteSharing) {
  const std::wstring path = stage.Path(L"file");
  stage.PutFile(path, "text");
  stage.Hold(path, kShareRead | kShareDelete);
  EXPECT_TRUE(RemoveFile(path));
  stage.LetGo(path);
  EXPECT_FALSE(IsThere(path));
}

}  // namespace
}  // namespace veltrane::contract
