// platform/security.h and platform/access_lists.h

#include "platform/security.h"

#include <algorithm>
#include <utility>

#include "platform/access_lists.h"
#include "platform/files.h"
#include "tests/contract/stage.h"

namespace veltrane::contract {
namespace {

using SecurityIdentifier = Contract;
using PipeSecurity = Contract;
using ProtectedAccess = Contract;
using ClosedFolder = Contract;
using AccessLists = Contract;

constexpr std::uint32_t kAllFileRights = 0x001F01FF;  // FILE_ALL_ACCESS
constexpr std::uint32_t kReadFile = 0x00120089;       // FILE_GENERIC_READ

constexpr char kRoughly[] = "file access lists are mapped to Unix permission bits";

AccessEntry Entry(const Sid& sid, std::uint32_t access_mask,
                  std::uint32_t inheritance = kNoInheritance) {
  return {sid, TrusteeType::kGroup, access_mask, inheritance};
}

TEST_F(SecurityIdentifier, HasTheBytesOfTheWindowsStructure) {
  EXPECT_EQ(MakeNtSid({32, 544}).value().bytes,
            (std::vector<unsigned char>{1, 2, 0, 0, 0, 0, 0, 5, 32, 0, 0, 0, 0x20, 2, 0, 0}));
}

TEST_F(SecurityIdentifier, MayHaveEightSubAuthoritiesButNotNine) {
  EXPECT_EQ(MakeNtSid({1, 2, 3, 4, 5, 6, 7, 8}).value().bytes.size(), 40U);
  EXPECT_EQ(MakeNtSid({1, 2, 3, 4, 5, 6, 7, 8, 9}), std::nullopt);
}

TEST_F(SecurityIdentifier, OfThisProcessIsThatOfItsUser) {
  const std::optional<SessionUser> user = stage.UserToLookUp();
  if (!user) GTEST_SKIP() << "not here: there is no session whose user may be looked up";
  EXPECT_EQ(ReadOwnUserSid(), user->sid);
}

TEST_F(PipeSecurity, CarriesTheEntriesInTheirOrderBeyondItsOwnEnd) {
  SecurityAttributesOwner attributes =
      MakeSecurityAttributes({Entry(MakeAdministratorsSid().value(), kReadFile),
                              Entry(MakeSystemSid().value(), kAllFileRights)});
  const auto pipe = ServerPipe::Create({stage.PipeName(), 3, 6, 1, 512, 512, 0}, attributes.get());
  ASSERT_TRUE(pipe);
  attributes.reset();
  EXPECT_EQ(stage.ServedPipe().access,
            (std::vector<AccessListEntry>{{"S-1-5-32-544", true, kReadFile},
                                          {"S-1-5-18", true, kAllFileRights}}));
}

TEST_F(PipeSecurity, MakesHandlesThatNobodyInherits) {
  NOT_SIMULATED("no process starts another");
  const SecurityAttributesOwner attributes =
      MakeSecurityAttributes({Entry(MakeSystemSid().value(), kAllFileRights)});
  const auto pipe = ServerPipe::Create({stage.PipeName(), 3, 6, 1, 512, 512, 0}, attributes.get());
  ASSERT_TRUE(pipe);
  EXPECT_FALSE(stage.ServedPipe().inheritable);
}

// With no entries Windows gives no list, which would admit everybody.
TEST_F(PipeSecurity, CannotBeMadeOfNoEntries) { EXPECT_EQ(MakeSecurityAttributes({}), nullptr); }

TEST_F(PipeSecurity, CannotBeMadeOfAnInvalidSid) {
  EXPECT_EQ(MakeSecurityAttributes({Entry(Sid{}, kReadFile)}), nullptr);
}

TEST_F(ProtectedAccess, ReplacesTheListOfAFileAndCutsOffInheritance) {
  NOT_ON_WINE(kRoughly);
  const std::wstring path = stage.Path(L"file");
  stage.PutFile(path, "");
  EXPECT_TRUE(SetProtectedAccess(path, {Entry(MakeSystemSid().value(), kReadFile)}));
  EXPECT_TRUE(SetProtectedAccess(path, {Entry(MakeAdministratorsSid().value(), kAllFileRights)}));
  const AccessList list = Take(ReadAccessList(path));
  EXPECT_TRUE(list.has_list);
  EXPECT_TRUE(list.is_protected);
  EXPECT_EQ(list.entries, (std::vector<AccessListEntry>{{"S-1-5-32-544", true, kAllFileRights}}));
}

TEST_F(ProtectedAccess, CanBeSetOnAFileAndOnAFolder) {
  stage.PutFile(stage.Path(L"file"), "");
  CreateFolders(stage.Path(L"folder"));
  const std::vector<AccessEntry> entries = {
      Entry(MakeSystemSid().value(), kGenericAll, kObjectAndContainerInherit),
      Entry(MakeAdministratorsSid().value(), kGenericAll, kObjectAndContainerInherit)};
  EXPECT_TRUE(SetProtectedAccess(stage.Path(L"file"), entries));
  EXPECT_TRUE(SetProtectedAccess(stage.Path(L"folder"), entries));
}

TEST_F(ProtectedAccess, CannotBeSetOnWhatIsNotThere) {
  EXPECT_FALSE(
      SetProtectedAccess(stage.Path(L"missing"), {Entry(MakeSystemSid().value(), kAllFileRights)}));
}

TEST_F(ProtectedAccess, CannotBeMadeOfNoEntries) {
  stage.PutFile(stage.Path(L"file"), "");
  EXPECT_FALSE(SetProtectedAccess(stage.Path(L"file"), {}));
}

TEST_F(ProtectedAccess, CannotBeMadeOfAnInvalidSid) {
  stage.PutFile(stage.Path(L"file"), "");
  EXPECT_FALSE(SetProtectedAccess(stage.Path(L"file"), {Entry(Sid{}, kReadFile)}));
}

TEST_F(ProtectedAccess, MovesWithTheFile) {
  NOT_ON_WINE(kRoughly);
  stage.PutFile(stage.Path(L"from"), "");
  EXPECT_TRUE(
      SetProtectedAccess(stage.Path(L"from"), {Entry(MakeSystemSid().value(), kAllFileRights)}));
  EXPECT_TRUE(MoveFileWithFlags(stage.Path(L"from"), stage.Path(L"to"), 0));
  EXPECT_EQ(Take(ReadAccessList(stage.Path(L"to"))).entries,
            (std::vector<AccessListEntry>{{"S-1-5-18", true, kAllFileRights}}));
}

TEST_F(ClosedFolder, IsMadeWhereNothingIs) {
  EXPECT_EQ(CreateClosedFolder(stage.Path(L"folder")), 0u);
  EXPECT_TRUE(IsThere(stage.Path(L"folder")));
}

TEST_F(ClosedFolder, AdmitsSystemAndAdministratorsAloneAndInheritsNothing) {
  NOT_ON_WINE(kRoughly);
  ASSERT_EQ(CreateClosedFolder(stage.Path(L"folder")), 0u);
  const AccessList list = Take(ReadAccessList(stage.Path(L"folder")));
  EXPECT_TRUE(list.has_list);
  EXPECT_TRUE(list.is_protected);
  EXPECT_EQ(list.entries, (std::vector<AccessListEntry>{{"S-1-5-18", true, kAllFileRights},
                                                        {"S-1-5-32-544", true, kAllFileRights}}));
}

TEST_F(ClosedFolder, CannotBeMadeWhereAFileOrAFolderIs) {
  stage.PutFile(stage.Path(L"file"), "text");
  CreateFolders(stage.Path(L"folder"));
  EXPECT_EQ(CreateClosedFolder(stage.Path(L"file")), 183u);
  EXPECT_EQ(CreateClosedFolder(stage.Path(L"folder")), 183u);
}

TEST_F(ClosedFolder, CannotBeMadeInOneThatIsNotThere) {
  EXPECT_EQ(CreateClosedFolder(stage.Path(L"missing\\folder")), 3u);
  EXPECT_FALSE(IsThere(stage.Path(L"missing")));
}

TEST_F(AccessLists, AreReadOfAFileAndOfAFolder) {
  stage.PutFile(stage.Path(L"file"), "");
  EXPECT_TRUE(
      SetProtectedAccess(stage.Path(L"file"), {Entry(MakeSystemSid().value(), kAllFileRights)}));
  const AccessList of_file = Take(ReadAccessList(stage.Path(L"file")));
  EXPECT_TRUE(of_file.has_list);
  EXPECT_TRUE(std::any_of(of_file.entries.begin(), of_file.entries.end(), [](const auto& entry) {
    return entry == AccessListEntry{"S-1-5-18", true, kAllFileRights};
  }));
  CreateFolders(stage.Path(L"folder"));
  EXPECT_TRUE(Take(ReadAccessList(stage.Path(L"folder"))).has_list);
}

TEST_F(AccessLists, OfAnUnprotectedFileAreNotProtected) {
  stage.PutFile(stage.Path(L"file"), "");
  EXPECT_FALSE(Take(ReadAccessList(stage.Path(L"file"))).is_protected);
}

TEST_F(AccessLists, KeepDenyingAndAllowingEntriesApart) {
  NOT_ON_WINE(kRoughly);
  const AccessList list = {
      .owner = {},
      .has_list = true,
      .is_protected = true,
      .entries = {{"S-1-5-32-546", false, kReadFile}, {"S-1-5-18", true, kAllFileRights}}};
  stage.PutFile(stage.Path(L"file"), "");
  stage.PutAccessList(stage.Path(L"file"), list);
  EXPECT_EQ(Take(ReadAccessList(stage.Path(L"file"))).entries, list.entries);
}

TEST_F(AccessLists, NameTheOwner) {
  stage.PutFile(stage.Path(L"file"), "");
  EXPECT_TRUE(ReadAccessList(stage.Path(L"file"))->owner.starts_with("S-1-5-"));
}

TEST_F(AccessLists, MayBeMissing) {
  NOT_ON_WINE(kRoughly);
  stage.PutFile(stage.Path(L"file"), "");
  stage.PutAccessList(stage.Path(L"file"), {});
  EXPECT_FALSE(Take(ReadAccessList(stage.Path(L"file"))).has_list);
}

TEST_F(AccessLists, OfWhatIsNotThereAnswer2OrWithoutItsFolder3) {
  EXPECT_EQ(ReadAccessList(stage.Path(L"missing")).Error(), 2U);
  EXPECT_EQ(ReadAccessList(stage.Path(L"missing\\file")).Error(), 3U);
}

TEST_F(AccessLists, BelongToPathsThatAreNotReparsePoints) {
  stage.PutFile(stage.Path(L"file"), "");
  CreateFolders(stage.Path(L"folder"));
  EXPECT_FALSE(*TestReparsePoint(stage.Path(L"file")));
  EXPECT_FALSE(*TestReparsePoint(stage.Path(L"folder")));
  EXPECT_EQ(TestReparsePoint(stage.Path(L"missing")).Error(), 2U);
  EXPECT_EQ(TestReparsePoint(stage.Path(L"missing\\file")).Error(), 3U);
}

}  // namespace
}  // namespace veltrane::contract
