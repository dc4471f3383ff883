#include <filesystem>

#include "tests/support/name_of.h"
#include "tests/tunnel/on_store.h"

namespace veltrane {
namespace {

using simulated::kShareDelete;
using simulated::kShareRead;
using simulated::kShareWrite;

constexpr char kKey[] = "[Interface]\nPrivateKey = cHJpdmF0ZQ==\n";

const std::string kZeros(4096, '\0');

class ActiveConfDelete : public OnStore {
 protected:
  bool Delete() { return DeleteActiveConf(&error); }
};

TEST_F(ActiveConfDelete, WithoutAFileReturnsTrueAndTouchesNothing) {
  EXPECT_TRUE(Delete());
  EXPECT_EQ(machine.calls.All(),
            (Texts{"ReadProcessVariable ProgramData",
                   "TestExistence C:\\ProgramData\\Veltrane\\tunnels\\active.conf"}));
  EXPECT_EQ(error, "untouched");
}

TEST_F(ActiveConfDelete, DeletesWhileTheScrubIsOpenAndClosesItAfterwards) {
  machine.files.AddFile(kActive, kKey);
  std::optional<std::string> bytes_at_deletion;
  machine.OnCall("RemoveFile", 1, [&] { bytes_at_deletion = machine.files.Bytes(kActive); });
  EXPECT_FALSE(Delete());
  EXPECT_EQ(machine.calls.All(),
            (Texts{"ReadProcessVariable ProgramData",
                   "TestExistence C:\\ProgramData\\Veltrane\\tunnels\\active.conf",
                   "OutputFile.Open C:\\ProgramData\\Veltrane\\tunnels\\active.conf",
                   "OutputFile.Write C:\\ProgramData\\Veltrane\\tunnels\\active.conf 4096 bytes",
                   "RemoveFile C:\\ProgramData\\Veltrane\\tunnels\\active.conf",
                   "OutputFile.Close C:\\ProgramData\\Veltrane\\tunnels\\active.conf"}));
  EXPECT_EQ(bytes_at_deletion, "");
  EXPECT_EQ(machine.files.Bytes(kActive), kZeros);
}

struct Circumstance {
  const char* name;
  void (*prepare)();                // the file holds kKey
  std::optional<std::string> left;  // nullopt: the file is gone
};

class DeletionOfAFile : public ActiveConfDelete, public testing::WithParamInterface<Circumstance> {
 protected:
  DeletionOfAFile() {
    machine.files.AddFile(kActive, kKey);
    GetParam().prepare();
  }
};

TEST_P(DeletionOfAFile, LeavesItInThisStateAndSucceedsWhenItIsGone) {
  EXPECT_EQ(Delete(), !GetParam().left);
  EXPECT_EQ(error, GetParam().left ? "delete active.conf failed" : "untouched");
  EXPECT_EQ(machine.files.Bytes(kActive), GetParam().left);
}

TEST_P(DeletionOfAFile, MayComeWithoutATextToFill) {
  EXPECT_EQ(DeleteActiveConf(nullptr), !GetParam().left);
}

// Windows does not delete a file that the scrub itself holds open.
const Circumstance kCircumstances[] = {
    {"ThatHoldsAKey", [] {}, kZeros},
    {"ThatIsLong", [] { Files().AddFile(kActive, std::string(10000, 'k')); }, kZeros},
    {"ThatIsEmpty", [] { Files().AddFile(kActive, ""); }, kZeros},
    {"ThatWasScrubbed", [] { Files().AddFile(kActive, kZeros); }, kZeros},
    {"SharedForWriting", [] { Files().HoldOpen(kActive, kShareRead | kShareWrite); }, kZeros},
    {"WhoseZerosAreLost", [] { Fail("OutputFile.Write"); }, ""},
    {"WhoseScrubCannotBeClosed", [] { Fail("OutputFile.Close"); }, ""},
    {"HeldAlone", [] { Files().HoldOpen(kActive, 0); }, kKey},
    {"ThatCannotBeScrubbed", [] { Files().DenyOpen(kActive); }, std::nullopt},
    {"SharedForDeletion", [] { Files().HoldOpen(kActive, kShareRead | kShareDelete); },
     std::nullopt},
    {"ThatCanNeitherBeScrubbedNorDeleted",
     [] {
       Files().DenyOpen(kActive);
       Fail("RemoveFile");
     },
     kKey}};

INSTANTIATE_TEST_SUITE_P(The, DeletionOfAFile, testing::ValuesIn(kCircumstances),
                         NameOf<Circumstance>);

TEST_F(ActiveConfDelete, FailsOnAFolderOfThatName) {
  machine.files.AddFolder(kActive);
  EXPECT_FALSE(Delete());
  EXPECT_EQ(error, "delete active.conf failed");
  EXPECT_TRUE(machine.files.IsFolder(kActive));
}

TEST_F(ActiveConfDelete, TouchesNeitherTheTemporaryFileNorAnAccessListNorAnotherFolder) {
  machine.environment.SetProcess(L"ProgramData", L"C:\\Data");
  machine.files.AddFile(L"C:\\Data\\Veltrane\\tunnels\\active.conf", kKey);
  machine.files.AddFile(L"C:\\Data\\Veltrane\\tunnels\\active.conf.tmp", kKey);
  machine.files.AddFile(kActive, kKey);
  EXPECT_FALSE(Delete());
  EXPECT_EQ(machine.Changes(),
            (Texts{"OutputFile.Open C:\\Data\\Veltrane\\tunnels\\active.conf",
                   "OutputFile.Write C:\\Data\\Veltrane\\tunnels\\active.conf 4096 bytes",
                   "RemoveFile C:\\Data\\Veltrane\\tunnels\\active.conf",
                   "OutputFile.Close C:\\Data\\Veltrane\\tunnels\\active.conf"}));
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
  EXPECT_EQ(machine.Changes(), Texts{});
}

}  // namespace
}  // namespace veltrane
