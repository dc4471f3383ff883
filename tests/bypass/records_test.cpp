#include "bypass/records.h"

#include <gtest/gtest.h>

#include "tests/bypass/record_texts.h"

namespace veltrane {
namespace {

TEST(BypassIpEntry, FreshRecordIsEmptyAndOptional) {
  EXPECT_EQ(Text(BypassIpEntry()), "  optional");
}

// The process-wide objects as a new process has them; the style makes the child a new process.
TEST(BypassRecordsDeathTest, NewProcessHasAFreshStateNoAddressNoRouteAndNoGateway) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(
      {
        const bool fresh = Text(CurrentAdminBypassState()) == Text(AdminBypassState()) &&
                           SelectedBypassIps().empty() && RequiredBypassIps().empty() &&
                           CurrentPhysicalRoute().gateway == 0 &&
                           CurrentPhysicalRoute().interface_index == 0 && AddedRouteList().empty();
        std::_Exit(fresh ? 0 : 1);
      },
      testing::ExitedWithCode(0), "");
}

}  // namespace
}  // namespace veltrane
