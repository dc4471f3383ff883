// platform/file_input.h

#include "platform/file_input.h"

#include "platform/files.h"
#include "platform/text.h"
#include "tests/contract/stage.h"

namespace veltrane::contract {
namespace {

struct Reading {
  std::uint32_t status = 0;
  std::string bytes;
};

Reading Read(const std::wstring& path, std::size_t limit) {
  Reading reading;
  reading.status = ReadFileBytes(WideToUtf8(path), limit,
                                 [&](std::string_view piece) { reading.bytes += piece; });
  return reading;
}

Reading ReadInput(std::size_t limit) {
  Reading reading;
  reading.status =
      ReadStandardInput(limit, [&](std::string_view piece) { reading.bytes += piece; });
  return reading;
}

std::string LongText() {
  std::string text;
  while (text.size() < 50'000) text += std::to_string(text.size()) + "\r\n";
  return text;
}

using FileInput = Contract;
using StandardInput = Contract;

TEST_F(FileInput, GivesEveryByteInOrder) {
  stage.PutFile(stage.Path(L"file"), LongText());
  const Reading reading = Read(stage.Path(L"file"), 100'000);
  EXPECT_EQ(reading.status, 0U);
  EXPECT_TRUE(reading.bytes == LongText());
}

TEST_F(FileInput, OfAnEmptyFileIsEmpty) {
  stage.PutFile(stage.Path(L"file"), "");
  const Reading reading = Read(stage.Path(L"file"), 0);
  EXPECT_EQ(reading.status, 0U);
  EXPECT_EQ(reading.bytes, "");
}

TEST_F(FileInput, TakesItsPathAsUtf8) {
  stage.PutFile(stage.Path(L"\u00E9\u20AC"), "text");
  EXPECT_EQ(Read(stage.Path(L"\u00E9\u20AC"), 100).bytes, "text");
}

TEST_F(FileInput, MayHoldExactlyTheLimit) {
  stage.PutFile(stage.Path(L"file"), "1234");
  EXPECT_EQ(Read(stage.Path(L"file"), 4).status, 0U);
  EXPECT_EQ(Read(stage.Path(L"file"), 4).bytes, "1234");
}

TEST_F(FileInput, Answers223WhenTheFileHoldsMoreThanTheLimit) {
  stage.PutFile(stage.Path(L"file"), "12345");
  EXPECT_EQ(Read(stage.Path(L"file"), 4).status, 223U);
}

TEST_F(FileInput, Answers2WhenTheFileIsNotThere) {
  EXPECT_EQ(Read(stage.Path(L"missing"), 100).status, 2U);
}

TEST_F(FileInput, Answers3WhenTheFolderIsNotThere) {
  EXPECT_EQ(Read(stage.Path(L"missing\\file"), 100).status, 3U);
}

TEST_F(FileInput, Answers5ForAFolder) {
  CreateFolders(stage.Path(L"folder"));
  EXPECT_EQ(Read(stage.Path(L"folder"), 100).status, 5U);
}

TEST_F(FileInput, Answers32WhileAnotherProgramKeepsReadersOut) {
  stage.PutFile(stage.Path(L"file"), "text");
  stage.Hold(stage.Path(L"file"), kShareDelete);
  EXPECT_EQ(Read(stage.Path(L"file"), 100).status, 32U);
}

TEST_F(FileInput, LetsOthersReadAndWriteButNotDeleteMeanwhile) {
  const std::wstring path = stage.Path(L"file");
  stage.PutFile(path, "text");
  bool written = false, read = false, removed = true;
  ReadFileBytes(WideToUtf8(path), 100, [&](std::string_view) {
    removed = RemoveFile(path);
    read = stage.Bytes(path).has_value();
    written = OutputFile::Open(path).has_value();
  });
  EXPECT_TRUE(read);
  EXPECT_TRUE(written);
  EXPECT_FALSE(removed);
  EXPECT_TRUE(RemoveFile(path));
}

TEST_F(FileInput, LeavesNoHandleBehind) {
  stage.PutFile(stage.Path(L"file"), "text");
  const std::size_t handles = stage.OpenHandles();
  Read(stage.Path(L"file"), 100);
  Read(stage.Path(L"file"), 1);
  EXPECT_EQ(stage.OpenHandles(), handles);
}

TEST_F(StandardInput, IsReadToTheEndOfAFile) {
  stage.SetInputFile(LongText());
  const Reading reading = ReadInput(100'000);
  EXPECT_EQ(reading.status, 0U);
  EXPECT_TRUE(reading.bytes == LongText());
}

TEST_F(StandardInput, IsReadToTheEndOfAPipe) {
  stage.SetInputPipe("text");
  const Reading reading = ReadInput(4);
  EXPECT_EQ(reading.status, 0U);
  EXPECT_EQ(reading.bytes, "text");
}

TEST_F(StandardInput, Answers223WhenItHoldsMoreThanTheLimit) {
  stage.SetInputFile("12345");
  EXPECT_EQ(ReadInput(4).status, 223U);
}

}  // namespace
}  // namespace veltrane::contract
