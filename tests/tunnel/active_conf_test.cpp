#include "tunnel/active_conf.h"

#include "tests/support/name_of.h"
#include "tests/tunnel/on_store.h"

namespace veltrane {
namespace {

using simulated::kShareDelete;
using simulated::kShareRead;
using simulated::kShareWrite;
using simulated::Units;

struct ProgramData {
  const char* name;
  std::optional<std::wstring> value;
  std::wstring folder;
};

// On a machine whose stored environments have values of their own.
class TunnelsFolderPath : public OnMachine, public testing::WithParamInterface<ProgramData> {};

TEST_P(TunnelsFolderPath, LiesBelowTheProcessValueAsItStandsOrOnDriveC) {
  machine.environment.SetMachine(L"ProgramData", L"E:\\Machine");
  machine.environment.SetUser(L"ProgramData", L"E:\\User");
  machine.environment.UnsetProcess(L"ProgramData");
  if (GetParam().value) machine.environment.SetProcess(L"ProgramData", *GetParam().value);
  EXPECT_EQ(TunnelsFolder(), GetParam().folder);
  EXPECT_EQ(ActiveConfPath(), GetParam().folder + L"\\active.conf");
}

const ProgramData kProgramData[] = {
    {"Usual", L"D:\\Data", L"D:\\Data\\Veltrane\\tunnels"},
    {"WithBackslash", L"D:\\Data\\", L"D:\\Data\\\\Veltrane\\tunnels"},
    {"WithBlanks", Units(u" D:\\D\u00E4ta "), Units(u" D:\\D\u00E4ta \\Veltrane\\tunnels")},
    {"Unset", std::nullopt, kFolder},
    {"Empty", L"", kFolder},
    {"Of259Characters", L"D:\\" + std::wstring(256, L'x'),
     L"D:\\" + std::wstring(256, L'x') + L"\\Veltrane\\tunnels"},
    {"Of260Characters", L"D:\\" + std::wstring(257, L'x'), kFolder},
    {"Of1000Characters", L"D:\\" + std::wstring(997, L'x'), kFolder}};

INSTANTIATE_TEST_SUITE_P(Value, TunnelsFolderPath, testing::ValuesIn(kProgramData),
                         NameOf<ProgramData>);

using ActiveConfWrite = OnStore;

TEST_F(ActiveConfWrite, InstallsTheRenderedTextThroughATemporaryFileInThisOrder) {
  EXPECT_TRUE(Write(&error));
  EXPECT_EQ(error, "untouched");
  EXPECT_EQ(machine.Changes(), kWriteSteps);
  EXPECT_EQ(machine.files.Bytes(kActive), kText);
  EXPECT_EQ(machine.files.AllFiles(), std::vector<std::wstring>{kActive});
}

TEST_F(ActiveConfWrite, CreatesEveryMissingParentOfTheFolderOfProgramData) {
  machine.environment.SetProcess(L"ProgramData", L"C:\\a\\b\\c");
  EXPECT_TRUE(Write(&error));
  EXPECT_EQ(machine.files.AllFiles(),
            std::vector<std::wstring>{L"C:\\a\\b\\c\\Veltrane\\tunnels\\active.conf"});
}

struct Earlier {
  const char* name;
  void (*leave)();
};

class EarlierFile : public OnStore, public testing::WithParamInterface<Earlier> {};

TEST_P(EarlierFile, IsReplaced) {
  GetParam().leave();
  EXPECT_TRUE(Write(&error));
  EXPECT_EQ(machine.files.Bytes(kActive), kText);
  EXPECT_EQ(machine.files.AllFiles(), std::vector<std::wstring>{kActive});
}

const Earlier kEarlier[] = {
    {"ThatIsLonger", [] { Files().AddFile(kActive, std::string(5000, 's')); }},
    {"ThatWasScrubbed", [] { Files().AddFile(kActive, std::string(4096, '\0')); }},
    {"ThatIsTemporary", [] { Files().AddFile(kTemporary, std::string(5000, 's')); }},
    {"ThatIsOpenWithDeleteSharing", [] {
       Files().AddFile(kActive, "before");
       Files().HoldOpen(kActive, kShareRead | kShareDelete);
     }}};

INSTANTIATE_TEST_SUITE_P(An, EarlierFile, testing::ValuesIn(kEarlier), NameOf<Earlier>);

struct Obstacle {
  const char* name;
  void (*put)();
  const char* error;
  std::size_t steps;                     // how many of the write's changes are tried
  std::optional<std::string> temporary;  // what is left of it; nullopt: no file
};

class ActiveConfFailure : public OnStore, public testing::WithParamInterface<Obstacle> {
 protected:
  ActiveConfFailure() {
    machine.files.AddFile(kActive, "before");
    GetParam().put();
  }
};

TEST_P(ActiveConfFailure, IsReportedAndLeavesTheOldFile) {
  EXPECT_FALSE(Write(&error));
  EXPECT_EQ(error, GetParam().error);
  EXPECT_EQ(machine.Changes(),
            Texts(kWriteSteps.begin(),
                  std::next(kWriteSteps.begin(), static_cast<std::ptrdiff_t>(GetParam().steps))));
  EXPECT_EQ(machine.files.Bytes(kTemporary), GetParam().temporary);
  EXPECT_EQ(machine.files.Bytes(kActive), "before");
  EXPECT_EQ(machine.files.Access(kActive), std::nullopt);
}

TEST_P(ActiveConfFailure, IsReportedWithoutATextToFill) { EXPECT_FALSE(Write(nullptr)); }

constexpr char kNotRenamed[] = "rename active.conf failed";

const Obstacle kObstacles[] = {
    {"CreatingTheFolder", [] { Fail("CreateFolders"); }, "create_directories failed", 1,
     std::nullopt},
    {"Opening", [] { Fail("OutputFile.Open"); }, "open tmp failed", 3, std::nullopt},
    {"OpeningOverAFolder", [] { Files().AddFolder(kTemporary); }, "open tmp failed", 3,
     std::nullopt},
    {"Writing", [] { Fail("OutputFile.Write"); }, "write tmp failed", 5, ""},
    {"Closing", [] { Fail("OutputFile.Close"); }, "write tmp failed", 5, ""},
    {"Renaming", [] { Fail("MoveFileWithFlags"); }, kNotRenamed, 7, kText},
    {"RenamingOverAnOpenFile", [] { Files().HoldOpen(kActive, kShareRead | kShareWrite); },
     kNotRenamed, 7, kText}};

INSTANTIATE_TEST_SUITE_P(Of, ActiveConfFailure, testing::ValuesIn(kObstacles), NameOf<Obstacle>);

TEST_F(ActiveConfWrite, FailsWhenAFolderStandsWhereTheActiveFileShouldBe) {
  machine.files.AddFolder(kActive);
  EXPECT_FALSE(Write(&error));
  EXPECT_EQ(error, "rename active.conf failed");
  EXPECT_TRUE(machine.files.IsFolder(kActive));
  EXPECT_EQ(machine.files.Bytes(kTemporary), kText);
}

}  // namespace
}  // namespace veltrane
