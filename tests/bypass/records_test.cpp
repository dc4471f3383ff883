#include "bypass/records.h"

#include <gtest/gtest.h>

#include "tests/bypass/record_texts.h"

namespace veltrane {
namespace {

constexpr char kFreshState[] =
    "enabled=false\n"
    "attempted=false\n"
    "applied=false\n"
    "routes_ready_before_tunnel=false\n"
    "route_readded_after_tunnel=false\n"
    "required_enforced=false\n"
    "skipped_for_safe_mode=false\n"
    "auto_stop_seconds=0\n"
    "client_ip=\n"
    "gateway=\n"
    "message=\n"
    "failure_reason=\n"
    "rdp_tcp_remote_addresses=\n"
    "admin_env_ips=\n"
    "selected_admin_bypass_ips=\n"
    "selected_bypass_ip_entries=\n"
    "physical_default_gateway_before_tunnel=\n"
    "physical_interface_index_before_tunnel=\n"
    "route_add_results=\n"
    "route_add_results_detail=\n"
    "route_verify_before_tunnel=\n"
    "route_verify_after_tunnel=\n";

TEST(AdminBypassState, FreshRecordHasEveryFlagFalseEveryTextEmptyAndNoAutoStop) {
  EXPECT_EQ(Text(AdminBypassState()), kFreshState);
}

TEST(HostRouteResult, FreshRecordHasEveryFlagFalseEveryTextEmptyAndStatusZero) {
  EXPECT_EQ(Text(HostRouteResult()),
            "ip=\n"
            "source=\n"
            "required=false\n"
            "add_attempted=false\n"
            "already_exists=false\n"
            "add_success=false\n"
            "win32_error_code=0\n"
            "error_message=\n"
            "gateway=\n"
            "interface_index=\n"
            "existing_route_gateway=\n"
            "existing_route_interface_index=\n"
            "route_verify_success=false\n"
            "failure_reason=\n");
}

TEST(BypassIpEntry, FreshRecordIsEmptyAndOptional) {
  EXPECT_EQ(Text(BypassIpEntry()), "  optional");
}

// The process-wide objects as a new process has them; the style makes the child a new process.
TEST(BypassRecordsDeathTest, NewProcessHasAFreshStateNoAddressNoRouteAndNoGateway) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(
      {
        const bool fresh = Text(CurrentAdminBypassState()) == kFreshState &&
                           SelectedBypassIps().empty() && RequiredBypassIps().empty() &&
                           CurrentPhysicalRoute().gateway == 0 &&
                           CurrentPhysicalRoute().interface_index == 0 && AddedRouteList().empty();
        std::_Exit(fresh ? 0 : 1);
      },
      testing::ExitedWithCode(0), "");
}

}  // namespace
}  // namespace veltrane
