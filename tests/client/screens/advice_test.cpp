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
        Case{"unknown_op", "", "", "the service and veltranectl are of different versions"},
        Case{"invalid_profile", "", "", "give the profile a node_id and a client_private_key"},
        Case{"poc_env_read_failed", "", "poc_env_read_failed",
             "take VELTRANE_POC_DISABLE_DEFAULT_ROUTE out of the process and user environments"},
        Case{"admin_bypass_failed", "no_admin_bypass_ips", "",
             "setx ADMIN_BYPASS_IP <your public address> /M"},
        Case{"admin_bypass_failed", "physical_gateway_missing", "",
             "route print -4: the machine needs a default route with a gateway"},
        Case{"admin_bypass_failed", "route_add_failed", "",
             "veltranectl doctor names the interface metric that stands in the way"},
        Case{"admin_bypass_failed", "route_verify_before_tunnel_failed", "",
             "veltranectl doctor names the interface metric that stands in the way"},
        Case{"admin_bypass_failed", "route_verify_after_tunnel_failed", "",
             "veltranectl doctor tells more"},
        Case{"poc_route_guard_failed", "", "rdp_requires_disable_default_route",
             "setx VELTRANE_POC_DISABLE_DEFAULT_ROUTE 1 /M"},
        Case{"poc_route_guard_failed", "", "poc_route_guard_failed",
             "take 0.0.0.0/0 and ::/0 out of every value of the profile"},
        Case{"config_write_failed", "", "",
             "see that the service may write to ProgramData\\Veltrane\\tunnels"},
        Case{"tunnel_start_failed", "", "",
             "veltranectl doctor looks at tunnel.dll and at the tunnel service"},
        Case{"poc_default_route_detected", "", "poc_default_route_detected",
             "take 0.0.0.0/0 and ::/0 out of the profile's AllowedIPs"},
        Case{"anything_else", "", "", "veltranectl doctor tells more"}));

}  // namespace
}  // namespace veltrane
