// platform/library.h

#include "platform/library.h"

#include <algorithm>
#include <utility>

#include "platform/text.h"
#include "tests/contract/stage.h"

namespace veltrane::contract {
namespace {

using Libraries = Contract;
using OwnExecutable = Contract;

TEST_F(Libraries, AreLoadedWhateverTheCaseOfTheirName) {
  const SpareLibrary spare = stage.PutLibrary();
  std::wstring name = spare.name;
  std::transform(name.begin(), name.end(), name.begin(),
                 [](wchar_t c) { return c >= L'a' && c <= L'z' ? wchar_t(c - L'a' + L'A') : c; });
  EXPECT_TRUE(Library::Load(name));
}

TEST_F(Libraries, AreFreedWithTheObject) {
  const SpareLibrary spare = stage.PutLibrary();
  {
    const std::optional<Library> library = Library::Load(spare.name);
    EXPECT_TRUE(stage.IsLoaded(spare.name));
  }
  EXPECT_FALSE(stage.IsLoaded(spare.name));
}

TEST_F(Libraries, AreFreedOnceWhenTheyWereMoved) {
  const SpareLibrary spare = stage.PutLibrary();
  const Library kept = Library::Load(spare.name).value();
  {
    Library first = Library::Load(spare.name).value();
    const Library second = std::move(first);
    EXPECT_NE(second.Find(spare.exported), nullptr);
  }
  EXPECT_TRUE(stage.IsLoaded(spare.name));
}

TEST_F(Libraries, FindTheirExportsByTheExactName) {
  const SpareLibrary spare = stage.PutLibrary();
  const Library library = Library::Load(spare.name).value();
  EXPECT_NE(library.Find(spare.exported), nullptr);
  EXPECT_EQ(library.Find("no such export"), nullptr);
  std::string lower = spare.exported;
  std::transform(lower.begin(), lower.end(), lower.begin(),
                 [](char c) { return c >= 'A' && c <= 'Z' ? char(c - 'A' + 'a') : c; });
  EXPECT_EQ(library.Find(lower), nullptr);
}

TEST_F(Libraries, CannotBeLoadedWhenTheyAreNotThere) {
  EXPECT_FALSE(Library::Load(L"no_such_library.dll"));
}

TEST_F(OwnExecutable, IsNamedWithItsFolder) {
  const std::wstring path = ExecutablePath();
  EXPECT_EQ(path.substr(1, 2), L":\\");
  EXPECT_EQ(path.substr(path.rfind(L'\\') + 1), stage.ExecutableFile());
}

GUEST(TellExecutablePath) { Tell(WideToUtf8(ExecutablePath())); }

TEST_F(OwnExecutable, IsNamedUpTo259Characters) {
  NOT_ON_WINE("no program starts from a path of more than 260 characters");
  const GuestRun run = stage.RunFromLongPath(TellExecutablePath);
  ASSERT_EQ(run.told.size(), 1U);
  EXPECT_GT(run.executable_path.size(), 259U);
  EXPECT_EQ(run.told[0], WideToUtf8(run.executable_path.substr(0, 259)));
}

}  // namespace
}  // namespace veltrane::contract
