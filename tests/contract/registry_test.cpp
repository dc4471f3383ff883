// platform/registry.h

#include "platform/registry.h"

#include <algorithm>

#include "platform/clock.h"
#include "tests/contract/stage.h"

namespace veltrane::contract {
namespace {

constexpr RegistryRoot kMachine = RegistryRoot::kLocalMachine;
constexpr wchar_t kMissingKey[] = L"Software\\VeltraneContract\\Missing";
constexpr char kNoText[] = "RegGetValueW answers 87 to these flags, whatever there is";
constexpr char kNoKeyAccess[] = "the access lists of keys are not observed";

class TextToFind : public Contract, public testing::WithParamInterface<RegistryRoot> {
 protected:
  Result<std::wstring> Find(const std::wstring& name, std::size_t capacity_bytes = 2048) {
    return FindRegistryText(GetParam(), RegistryKeyOf(GetParam()), name, capacity_bytes);
  }
};

INSTANTIATE_TEST_SUITE_P(Of, TextToFind,
                         testing::Values(RegistryRoot::kLocalMachine, RegistryRoot::kCurrentUser,
                                         RegistryRoot::kUsers),
                         [](const auto& root) {
                           if (root.param == RegistryRoot::kLocalMachine) return "TheMachine";
                           return root.param == RegistryRoot::kUsers ? "AnyUser" : "TheUser";
                         });

TEST_P(TextToFind, IsFoundWhateverTheCaseOfItsName) {
  NOT_ON_WINE(kNoText);
  stage.PutRegistryText(GetParam(), L"NAME", L"value");
  EXPECT_EQ(Take(Find(L"NAME")), L"value");
  EXPECT_EQ(Take(Find(L"name")), L"value");
}

TEST_P(TextToFind, MayBeEmpty) {
  NOT_ON_WINE(kNoText);
  stage.PutRegistryText(GetParam(), L"NAME", L"");
  EXPECT_EQ(Take(Find(L"NAME")), L"");
}

TEST_P(TextToFind, HasItsVariablesExpanded) {
  NOT_ON_WINE(kNoText);
  stage.SetVariable(L"CONTRACT_NAME", L"value");
  stage.PutExpandableText(GetParam(), L"NAME", L"<%CONTRACT_NAME%>");
  EXPECT_EQ(Take(Find(L"NAME")), L"<value>");
}

TEST_P(TextToFind, MayFillItsBytesUpToTheZero) {
  NOT_ON_WINE(kNoText);
  stage.PutRegistryText(GetParam(), L"NAME", std::wstring(15, L'x'));
  EXPECT_EQ(Take(Find(L"NAME", 32)), std::wstring(15, L'x'));
}

TEST_P(TextToFind, IsError234WhenItLeavesNoRoomForTheZero) {
  NOT_ON_WINE(kNoText);
  stage.PutRegistryText(GetParam(), L"NAME", std::wstring(15, L'x'));
  EXPECT_EQ(Find(L"NAME", 30).Error(), 234U);
}

TEST_P(TextToFind, IsError1630WhenTheValueIsANumber) {
  NOT_ON_WINE(kNoText);
  stage.PutRegistryNumber(GetParam(), L"NAME", 0x00410041);
  EXPECT_EQ(Find(L"NAME").Error(), 1630U);
}

TEST_P(TextToFind, IsError2WhenThereIsNoSuchValue) {
  NOT_ON_WINE(kNoText);
  stage.PutRegistryText(GetParam(), L"NAME", L"value");
  EXPECT_EQ(Find(L"MISSING").Error(), 2U);
}

TEST_P(TextToFind, IsError2WhenThereIsNoSuchKey) {
  NOT_ON_WINE(kNoText);
  EXPECT_EQ(FindRegistryText(GetParam(), kMissingKey, L"NAME", 2048).Error(), 2U);
}

TEST_P(TextToFind, IsWhatReadRegistryTextReads) {
  NOT_ON_WINE(kNoText);
  stage.PutRegistryText(GetParam(), L"NAME", L"value");
  EXPECT_EQ(ReadRegistryText(GetParam(), RegistryKeyOf(GetParam()), L"NAME", 2048), L"value");
}

using TextNotToBeRead = Contract;

TEST_F(TextNotToBeRead, IsError5) {
  NOT_ON_WINE(kNoText);
  stage.PutRegistryText(kMachine, L"NAME", L"value");
  stage.ForbidRegistryKey();
  EXPECT_EQ(FindRegistryText(kMachine, kRegistryKey, L"NAME", 2048).Error(), 5U);
}

using RegistryNumber = Contract;

TEST_F(RegistryNumber, IsReadWhateverTheCaseOfItsName) {
  stage.PutRegistryNumber(kMachine, L"NAME", 3389);
  EXPECT_EQ(Take(ReadRegistryNumber(kRegistryKey, L"name")), 3389U);
}

TEST_F(RegistryNumber, MayHaveAllItsBits) {
  stage.PutRegistryNumber(kMachine, L"NAME", 0xFEDCBA98);
  EXPECT_EQ(Take(ReadRegistryNumber(kRegistryKey, L"NAME")), 0xFEDCBA98U);
}

TEST_F(RegistryNumber, IsError1630WhenTheValueIsAText) {
  stage.PutRegistryText(kMachine, L"NAME", L"3389");
  EXPECT_EQ(ReadRegistryNumber(kRegistryKey, L"NAME").Error(), 1630U);
}

TEST_F(RegistryNumber, IsError2WhenThereIsNoSuchValue) {
  stage.PutRegistryNumber(kMachine, L"NAME", 3389);
  EXPECT_EQ(ReadRegistryNumber(kRegistryKey, L"MISSING").Error(), 2U);
}

TEST_F(RegistryNumber, IsError2WhenThereIsNoSuchKey) {
  EXPECT_EQ(ReadRegistryNumber(kMissingKey, L"NAME").Error(), 2U);
}

TEST_F(RegistryNumber, IsError5WhenItMustNotBeRead) {
  NOT_ON_WINE(kNoKeyAccess);
  stage.PutRegistryNumber(kMachine, L"NAME", 3389);
  stage.ForbidRegistryKey();
  EXPECT_EQ(ReadRegistryNumber(kRegistryKey, L"NAME").Error(), 5U);
}

using RegistryTexts = Contract;

TEST_F(RegistryTexts, AreReadInTheOrderInWhichTheyWereWritten) {
  stage.PutRegistryNumber(kMachine, L"OTHER", 1);
  EXPECT_EQ(WriteRegistryTexts(kRegistryKey, L"NAME", {L"B=2", L"A=\u00E9"}), 0U);
  EXPECT_EQ(Take(ReadRegistryTexts(kRegistryKey, L"name")),
            (std::vector<std::wstring>{L"B=2", L"A=\u00E9"}));
}

TEST_F(RegistryTexts, ReplaceEarlierOnesAndAValueOfAnotherType) {
  stage.PutRegistryNumber(kMachine, L"NAME", 1);
  EXPECT_EQ(WriteRegistryTexts(kRegistryKey, L"NAME", {L"A=1", L"B=2"}), 0U);
  EXPECT_EQ(WriteRegistryTexts(kRegistryKey, L"NAME", {L"C=3"}), 0U);
  EXPECT_EQ(Take(ReadRegistryTexts(kRegistryKey, L"NAME")), std::vector<std::wstring>{L"C=3"});
}

TEST_F(RegistryTexts, AreNotWrittenWhereThereIsNoKey) {
  EXPECT_EQ(WriteRegistryTexts(kMissingKey, L"NAME", {L"A=1"}), 2U);
  EXPECT_EQ(ReadRegistryTexts(kMissingKey, L"NAME").Error(), 2U);
}

TEST_F(RegistryTexts, AreError1630WhenTheValueIsAText) {
  stage.PutRegistryText(kMachine, L"NAME", L"A=1");
  EXPECT_EQ(ReadRegistryTexts(kRegistryKey, L"NAME").Error(), 1630U);
}

TEST_F(RegistryTexts, AreNotWrittenWhereThatIsForbidden) {
  NOT_ON_WINE(kNoKeyAccess);
  stage.PutRegistryNumber(kMachine, L"OTHER", 1);
  stage.ForbidRegistryKey();
  EXPECT_EQ(WriteRegistryTexts(kRegistryKey, L"NAME", {L"A=1"}), 5U);
}

using RegistryValue = Contract;

TEST_F(RegistryValue, IsRemovedAlone) {
  stage.PutRegistryNumber(kMachine, L"NAME", 1);
  stage.PutRegistryNumber(kMachine, L"OTHER", 2);
  EXPECT_EQ(RemoveRegistryValue(kRegistryKey, L"name"), 0U);
  EXPECT_EQ(ReadRegistryNumber(kRegistryKey, L"NAME").Error(), 2U);
  EXPECT_EQ(Take(ReadRegistryNumber(kRegistryKey, L"OTHER")), 2U);
}

TEST_F(RegistryValue, CannotBeRemovedWhenItIsNotThere) {
  stage.PutRegistryNumber(kMachine, L"OTHER", 2);
  EXPECT_EQ(RemoveRegistryValue(kRegistryKey, L"NAME"), 2U);
  EXPECT_EQ(RemoveRegistryValue(kMissingKey, L"NAME"), 2U);
}

using RegistryKeys = Contract;

std::vector<std::wstring> SortedKeys() {
  std::vector<std::wstring> keys = Take(ListRegistryKeys(kRegistryKey));
  std::sort(keys.begin(), keys.end());
  return keys;
}

TEST_F(RegistryKeys, AreListedInTheCaseOfTheirNamesWithoutThoseInsideThem) {
  stage.PutRegistryKey(L"RDP-Tcp\\Inner");
  stage.PutRegistryKey(L"Console");
  EXPECT_EQ(SortedKeys(), (std::vector<std::wstring>{L"Console", L"RDP-Tcp"}));
}

TEST_F(RegistryKeys, MayHaveNamesOf255Characters) {
  const std::wstring longest(255, L'x');
  stage.PutRegistryKey(longest);
  EXPECT_EQ(SortedKeys(), (std::vector<std::wstring>{longest}));
}

TEST_F(RegistryKeys, AreNoneInAKeyWithValuesAlone) {
  stage.PutRegistryNumber(kMachine, L"NAME", 1);
  EXPECT_EQ(SortedKeys(), (std::vector<std::wstring>{}));
}

TEST_F(RegistryKeys, AreError2WhenThereIsNoSuchKey) {
  EXPECT_EQ(ListRegistryKeys(kMissingKey).Error(), 2U);
}

TEST_F(RegistryKeys, AreError5WhenTheyMustNotBeListed) {
  NOT_ON_WINE(kNoKeyAccess);
  stage.PutRegistryKey(L"Inner");
  stage.ForbidRegistryKey();
  EXPECT_EQ(ListRegistryKeys(kRegistryKey).Error(), 5U);
}

class KeyWriteTime : public Contract, public testing::WithParamInterface<RegistryRoot> {};

INSTANTIATE_TEST_SUITE_P(Of, KeyWriteTime,
                         testing::Values(RegistryRoot::kLocalMachine, RegistryRoot::kCurrentUser,
                                         RegistryRoot::kUsers),
                         [](const auto& root) {
                           if (root.param == RegistryRoot::kLocalMachine) return "TheMachine";
                           return root.param == RegistryRoot::kUsers ? "AnyUser" : "TheUser";
                         });

TEST_P(KeyWriteTime, IsThatOfItsLastValue) {
  const std::int64_t before = stage.OtherClock();
  stage.PutRegistryText(GetParam(), L"NAME", L"first");
  const std::int64_t first = Take(ReadKeyWriteTime(GetParam(), RegistryKeyOf(GetParam())));
  EXPECT_GE(first, before - kTicksPerSecond);
  SleepMilliseconds(50);
  stage.PutRegistryText(GetParam(), L"NAME", L"second");
  const std::int64_t second = Take(ReadKeyWriteTime(GetParam(), RegistryKeyOf(GetParam())));
  EXPECT_GT(second, first);
  EXPECT_LE(second, stage.OtherClock() + 60 * kTicksPerSecond);
}

TEST_P(KeyWriteTime, IsError2WhenThereIsNoSuchKey) {
  EXPECT_EQ(ReadKeyWriteTime(GetParam(), kMissingKey).Error(), 2U);
}

using KeyNotToBeRead = Contract;

TEST_F(KeyNotToBeRead, HasError5ForAWriteTime) {
  NOT_ON_WINE(kNoKeyAccess);
  stage.PutRegistryText(kMachine, L"NAME", L"value");
  stage.ForbidRegistryKey();
  EXPECT_EQ(ReadKeyWriteTime(kMachine, kRegistryKey).Error(), 5U);
}

}  // namespace
}  // namespace veltrane::contract
