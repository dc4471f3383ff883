#include "setup/plan.h"

#include <gtest/gtest.h>

#include "tests/support/on_machine.h"

namespace veltrane {
namespace {

using PackedPlan = OnMachine;

Plan SomePlan() {
  return {.program = L"D:\\Värme\\VeltraneVpnService.exe",
          .conf = L"C:\\ProgramData\\Veltrane\\tunnels\\active.conf",
          .has_service = true,
          .ends_tunnel = true,
          .makes_folder = true,
          .before = {.exists = true,
                     .command_line = L"\"D:\\old.exe\" --run-as-service",
                     .start_type = 3,
                     .runs = true,
                     .environment = {L"A=1", L"B="}},
          .after = {.exists = true,
                    .command_line = L"\"D:\\new.exe\" --run-as-service",
                    .start_type = 2,
                    .runs = false,
                    .environment = {}}};
}

TEST_F(PackedPlan, IsReadAsItWas) {
  EXPECT_EQ(UnpackPlan(PackPlan(SomePlan())), SomePlan());
  EXPECT_EQ(UnpackPlan(PackPlan(Plan())), Plan());
}

TEST_F(PackedPlan, IsNotReadWhenAPartIsMissing) {
  const std::wstring text = PackPlan(SomePlan());
  for (std::size_t size = 0; size < text.size(); ++size) {
    EXPECT_EQ(UnpackPlan(text.substr(0, size)), std::nullopt) << size;
  }
}

TEST_F(PackedPlan, IsNotReadWhenThereIsMore) {
  EXPECT_EQ(UnpackPlan(PackPlan(SomePlan()) + L"x"), std::nullopt);
}

TEST_F(PackedPlan, HasNoZeros) { EXPECT_EQ(PackPlan(SomePlan()).find(L'\0'), std::wstring::npos); }

}  // namespace
}  // namespace veltrane
