#include "client/screens/advice.h"

namespace veltrane {
namespace {

struct Case {
  const char* error;
  const char* bypass_reason;
  const char* guard_reason;
  const char* advice;
};

class Advice : public testing::TestWithParam<Case> {};

TEST_P(Advice, SaysWhatToDoAboutTheError) {
  Reply reply;
  reply.error = GetParam().error;
  reply.bypass.emplace().state.failure_reason = GetParam().bypass_reason;
  reply.guard.emplace().failure_reason = GetParam().guard_reason;
  EXPECT_EQ(AdviceFor(reply), GetParam().advice);
}

INSTANTIATE_TEST_SUITE_P(
    Errors, Advice,
    testing::Values(
        Case{"forbidden_path", "", "", "rename the value that mentions a configuration path"},
        Case{"session_mismatch", "", "", "pass the registered nonce with --session"},
        Case{"unknown_op", "", "", "the service and veltranectl have different versions"},
        Case{"invalid_profile", "", "", "give the profile a node_id and a client_private_key"},
        Case{"poc_env_read_failed", "", "poc_env_read_failed",
             "remove VELTRANE_POC_DISABLE_DEFAULT_ROUTE from the process and user environments"},
        Case{"admin_bypass_failed", "no_admin_bypass_ips", "",
             "run veltranectl doctor for the command that sets ADMIN_BYPASS_IP"},
        Case{"admin_bypass_failed", "physical_gateway_missing", "",
             "route print -4: the machine needs a default route with a gateway"},
        Case{"admin_bypass_failed", "route_add_failed", "",
             "run veltranectl doctor to check the interface metric"},
        Case{"admin_bypass_failed", "route_verify_before_tunnel_failed", "",
             "run veltranectl doctor to check the interface metric"},
        Case{"admin_bypass_failed", "route_verify_after_tunnel_failed", "",
             "run veltranectl doctor for details"},
        Case{"poc_route_guard_failed", "", "rdp_requires_disable_default_route",
             "setx VELTRANE_POC_DISABLE_DEFAULT_ROUTE 1 /M"},
        Case{"poc_route_guard_failed", "", "poc_route_guard_failed",
             "remove 0.0.0.0/0 and ::/0 from every value of the profile"},
        Case{"config_write_failed", "", "",
             "make sure that the service can write to ProgramData\\Veltrane\\tunnels"},
        Case{"tunnel_start_failed", "", "",
             "run veltranectl doctor to check tunnel.dll and the tunnel service"},
        Case{"poc_default_route_detected", "", "poc_default_route_detected",
             "look whose adapter has the offending route: disconnect another VPN, or "
             "remove 0.0.0.0/0 and ::/0 from the profile's AllowedIPs"},
        Case{"anything_else", "", "", "run veltranectl doctor for details"}));

}  // namespace
}  // namespace veltrane
