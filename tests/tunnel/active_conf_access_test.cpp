#include "tests/support/name_of.h"
#include "tests/tunnel/on_store.h"

namespace veltrane {
namespace {

using simulated::AccessTexts;

// Local System, then the Administrators: both as groups, GENERIC_ALL, object and container inherit.
const Texts kLockedDown = {"group S-1-5-18 0x10000000 inherit 3",
                           "group S-1-5-32-544 0x10000000 inherit 3"};
const Texts kNeverSet = {"never set"};

class TunnelsAccess : public OnStore {
 protected:
  Texts AccessOf(const std::wstring& path) {
    const auto access = machine.files.Access(path);
    return access ? AccessTexts(*access) : kNeverSet;
  }
};

TEST_F(TunnelsAccess, IsForSystemAndAdministratorsInThisOrderAndReplacesTheEarlierList) {
  machine.files.AddFile(L"C:\\x", "");
  SetProtectedAccess(L"C:\\x", {{simulated::NtSid({21, 1, 2, 3, 1001}), TrusteeType::kUser, 1, 0}});
  EXPECT_TRUE(ApplyTunnelsAcl(L"C:\\x"));
  EXPECT_EQ(AccessOf(L"C:\\x"), kLockedDown);
}

TEST_F(TunnelsAccess, FailsWhenNothingIsThereOrTheListCannotBeSet) {
  EXPECT_FALSE(ApplyTunnelsAcl(L"C:\\x"));
  machine.files.AddFile(L"C:\\x", "");
  Fail("SetProtectedAccess");
  EXPECT_FALSE(ApplyTunnelsAcl(L"C:\\x"));
  EXPECT_EQ(AccessOf(L"C:\\x"), kNeverSet);
}

TEST_F(TunnelsAccess, FailsWithoutEitherSidAndSetsNothing) {
  machine.files.AddFile(L"C:\\x", "");
  for (const char* sid : {"S-1-5-18", "S-1-5-32-544"}) {
    machine.calls.Heal("MakeNtSid");
    machine.FailWhere("MakeNtSid", sid, 1337);
    EXPECT_FALSE(ApplyTunnelsAcl(L"C:\\x")) << sid;
  }
  EXPECT_EQ(machine.Changes(), Texts{});
}

TEST_F(TunnelsAccess, IsSetOnFolderTemporaryFileAndActiveFile) {
  EXPECT_TRUE(Write(&error));
  std::vector<std::wstring> paths;
  for (const simulated::AccessSet& set : machine.files.AccessSets()) {
    paths.push_back(set.path);
    EXPECT_EQ(AccessTexts(set.entries), kLockedDown);
  }
  EXPECT_EQ(paths, (std::vector<std::wstring>{kFolder, kTemporary, kActive}));
}

struct Refusal {
  const char* name;
  std::size_t nth;  // the list that cannot be set; 0: none can
  Texts folder;
  Texts active;
};

class RefusedAccess : public TunnelsAccess, public testing::WithParamInterface<Refusal> {};

TEST_P(RefusedAccess, IsIgnoredByTheWrite) {
  if (GetParam().nth == 0) machine.FailAlways("SetProtectedAccess", 5);
  if (GetParam().nth != 0) machine.Fail("SetProtectedAccess", GetParam().nth, 5);
  EXPECT_TRUE(Write(&error));
  EXPECT_EQ(error, "untouched");
  EXPECT_EQ(machine.Changes(), kWriteSteps);
  EXPECT_EQ(AccessOf(kFolder), GetParam().folder);
  EXPECT_EQ(AccessOf(kActive), GetParam().active);
}

// The list of the temporary file moves with it.
const Refusal kRefusals[] = {{"Folder", 1, kNeverSet, kLockedDown},
                             {"TemporaryFile", 2, kLockedDown, kLockedDown},
                             {"ActiveFile", 3, kLockedDown, kLockedDown},
                             {"Everything", 0, kNeverSet, kNeverSet}};

INSTANTIATE_TEST_SUITE_P(Of, RefusedAccess, testing::ValuesIn(kRefusals), NameOf<Refusal>);

TEST_F(TunnelsAccess, WithoutSidsIsIgnoredByTheWrite) {
  machine.FailAlways("MakeNtSid", 1337);
  EXPECT_TRUE(Write(&error));
  EXPECT_EQ(error, "untouched");
  EXPECT_EQ(machine.calls.Count("SetProtectedAccess"), 0u);
  EXPECT_EQ(machine.files.Bytes(kActive), kText);
}

}  // namespace
}  // namespace veltrane
