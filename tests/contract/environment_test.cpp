// platform/environment.h

#include "platform/environment.h"

#include "tests/contract/stage.h"

namespace veltrane::contract {
namespace {

using ProcessVariable = Contract;

TEST_F(ProcessVariable, IsReadWhateverTheCaseOfItsName) {
  stage.SetVariable(L"CONTRACT_NAME", L"value");
  EXPECT_EQ(ReadProcessVariable(L"CONTRACT_NAME", 512), L"value");
  EXPECT_EQ(ReadProcessVariable(L"Contract_Name", 512), L"value");
}

TEST_F(ProcessVariable, MayFillItsBufferUpToTheZero) {
  stage.SetVariable(L"CONTRACT_NAME", std::wstring(15, L'x'));
  EXPECT_EQ(ReadProcessVariable(L"CONTRACT_NAME", 16), std::wstring(15, L'x'));
}

TEST_F(ProcessVariable, IsEmptyWhenItsValueLeavesNoRoomForTheZero) {
  stage.SetVariable(L"CONTRACT_NAME", std::wstring(15, L'x'));
  EXPECT_EQ(ReadProcessVariable(L"CONTRACT_NAME", 15), L"");
  EXPECT_EQ(ReadProcessVariable(L"CONTRACT_NAME", 0), L"");
}

TEST_F(ProcessVariable, IsEmptyWhenItIsAbsentOrEmpty) {
  stage.SetVariable(L"CONTRACT_NAME", L"");
  EXPECT_EQ(ReadProcessVariable(L"CONTRACT_NAME", 512), L"");
  stage.UnsetVariable(L"CONTRACT_NAME");
  EXPECT_EQ(ReadProcessVariable(L"CONTRACT_NAME", 512), L"");
}

class RegistryText : public Contract, public testing::WithParamInterface<RegistryRoot> {
 protected:
  std::wstring Read(const std::wstring& name, std::size_t capacity_bytes) {
    return ReadRegistryText(GetParam(), kRegistryKey, name, capacity_bytes);
  }
};

constexpr char kNoText[] = "RegGetValueW answers 87 to these flags, so every value reads as empty";

INSTANTIATE_TEST_SUITE_P(Of, RegistryText,
                         testing::Values(RegistryRoot::kLocalMachine, RegistryRoot::kCurrentUser),
                         [](const auto& root) {
                           return root.param == RegistryRoot::kLocalMachine ? "TheMachine"
                                                                            : "TheUser";
                         });

TEST_P(RegistryText, IsReadWhateverTheCaseOfItsName) {
  NOT_ON_WINE(kNoText);
  stage.PutRegistryText(GetParam(), L"NAME", L"value");
  EXPECT_EQ(Read(L"NAME", 2048), L"value");
  EXPECT_EQ(Read(L"name", 2048), L"value");
}

TEST_P(RegistryText, IsLookedForUnderItsRootAlone) {
  NOT_ON_WINE(kNoText);
  stage.PutRegistryText(GetParam(), L"NAME", L"value");
  const RegistryRoot other = GetParam() == RegistryRoot::kLocalMachine
                                 ? RegistryRoot::kCurrentUser
                                 : RegistryRoot::kLocalMachine;
  EXPECT_EQ(ReadRegistryText(other, kRegistryKey, L"NAME", 2048), L"");
}

TEST_P(RegistryText, MayHaveVariablesInItThatAreExpanded) {
  NOT_ON_WINE(kNoText);
  stage.SetVariable(L"CONTRACT_NAME", L"value");
  stage.PutExpandableText(GetParam(), L"NAME", L"<%CONTRACT_NAME%>");
  EXPECT_EQ(Read(L"NAME", 2048), L"<value>");
}

TEST_P(RegistryText, MayFillItsBytesUpToTheZero) {
  NOT_ON_WINE(kNoText);
  stage.PutRegistryText(GetParam(), L"NAME", std::wstring(15, L'x'));
  EXPECT_EQ(Read(L"NAME", 32), std::wstring(15, L'x'));
}

TEST_P(RegistryText, IsEmptyWhenItLeavesNoRoomForTheZero) {
  NOT_ON_WINE(kNoText);
  stage.PutRegistryText(GetParam(), L"NAME", std::wstring(15, L'x'));
  EXPECT_EQ(Read(L"NAME", 30), L"");
}

TEST_P(RegistryText, IsEmptyWhenTheValueIsAbsentOrANumber) {
  NOT_ON_WINE(kNoText);
  stage.PutRegistryNumber(GetParam(), L"NAME", 0x00410041);
  EXPECT_EQ(Read(L"NAME", 2048), L"");
  EXPECT_EQ(Read(L"MISSING", 2048), L"");
}

}  // namespace
}  // namespace veltrane::contract
