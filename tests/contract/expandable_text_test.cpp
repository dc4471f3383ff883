// platform/registry.h, TestExpandableText

#include "platform/registry.h"
#include "tests/contract/stage.h"

namespace veltrane::contract {
namespace {

using ExpandableText = Contract;

constexpr RegistryRoot kRoot = RegistryRoot::kLocalMachine;

TEST_F(ExpandableText, IsToldFromOtherValues) {
  stage.PutExpandableText(kRoot, L"EXPANDABLE", L"<%CONTRACT_NAME%>");
  stage.PutRegistryText(kRoot, L"TEXT", L"value");
  stage.PutRegistryNumber(kRoot, L"NUMBER", 1);
  const Result<bool> expandable = TestExpandableText(kRoot, kRegistryKey, L"EXPANDABLE");
  const Result<bool> text = TestExpandableText(kRoot, kRegistryKey, L"TEXT");
  const Result<bool> number = TestExpandableText(kRoot, kRegistryKey, L"NUMBER");
  ASSERT_TRUE(expandable && text && number);
  EXPECT_TRUE(*expandable);
  EXPECT_FALSE(*text);
  EXPECT_FALSE(*number);
}

TEST_F(ExpandableText, IsToldWhateverTheCaseOfTheName) {
  stage.PutExpandableText(kRoot, L"EXPANDABLE", L"<%CONTRACT_NAME%>");
  const Result<bool> expandable = TestExpandableText(kRoot, kRegistryKey, L"expandable");
  ASSERT_TRUE(expandable);
  EXPECT_TRUE(*expandable);
}

TEST_F(ExpandableText, FailsWith2WithoutAValue) {
  EXPECT_EQ(TestExpandableText(kRoot, kRegistryKey, L"MISSING").Error(), 2u);
}

}  // namespace
}  // namespace veltrane::contract
