// Connects with the admin bypass on.

#include "tests/windows/clean_machine.h"
#include "tests/windows/conversation.h"
#include "tests/windows/network.h"
#include "tests/windows/pipe_connection.h"

namespace veltrane::windows_tests {
namespace {

using Bypass = CleanMachine;

const std::string kFlags =
    R"("admin_bypass":{"enabled":true,"attempted":true,"applied":false,)"
    R"("routes_ready_before_tunnel":false,"route_readded_after_tunnel":false,)"
    R"("required_enforced":true,"skipped_for_safe_mode":false,"auto_stop_seconds":0,)";

// The reply to a connect that is refused with this message and these members of the bypass record.
std::string Refusal(const std::string& message, const std::string& bypass) {
  return R"({"ok":false,"error":"admin_bypass_failed","message":")" + message + "\"," + kFlags +
         bypass + "}," + kGuardOff + R"(,"message":"disable-default-route not active"}})";
}

TEST_F(Bypass, WithoutAPublicAddressRefusesTheConnect) {
  const ConsoleServer server(Variables{{L"ADMIN_BYPASS_IP", L"192.168.1.10"}});
  const std::string message =
      "no required RDP/admin IPs detected; set ADMIN_BYPASS_IP, ADMIN_BYPASS_IPS, or establish "
      "RDP before connecting";
  EXPECT_EQ(Ask(kConnect), Refusal(message, R"("message":")" + message +
                                                R"(","failure_reason":"no_admin_bypass_ips",)"
                                                R"("rdp_tcp_remote_addresses":[],)"
                                                R"("admin_env_ips":["192.168.1.10"],)"
                                                R"("selected_admin_bypass_ips":[],)"
                                                R"("selected_bypass_ip_entries":[])"));
}

const std::string kSelected =
    R"("rdp_tcp_remote_addresses":[],"admin_env_ips":["203.0.113.5"],)"
    R"("selected_admin_bypass_ips":["203.0.113.5"],"selected_bypass_ip_entries":)"
    R"([{"ip":"203.0.113.5","source":"ADMIN_BYPASS_IP","required":true}])";

std::string RefusalOfAnUnverifiedRoute(const Gateway& gateway) {
  const std::string message =
      "required admin bypass host route failed to add: 203.0.113.5 (route verify failed after add)";
  const std::string bypass = R"("client_ip":"203.0.113.5","gateway":"{gateway}","message":")" +
                             message + R"(","failure_reason":"route_add_failed",)" + kSelected +
                             R"(,"physical_default_gateway_before_tunnel":"{gateway}",)"
                             R"("physical_interface_index_before_tunnel":"{index}",)"
                             R"("route_add_results":"203.0.113.5:failed;",)"
                             R"("route_add_results_detail":[{"ip":"203.0.113.5",)"
                             R"("source":"ADMIN_BYPASS_IP","required":true,"add_attempted":true,)"
                             R"("already_exists":false,"add_success":false,"win32_error_code":0,)"
                             R"("error_message":"route verify failed after add",)"
                             R"("gateway":"{gateway}","interface_index":"{index}",)"
                             R"("existing_route_gateway":"","existing_route_interface_index":"",)"
                             R"("route_verify_success":false,)"
                             R"("failure_reason":"route_verify_failed"}])";
  return Fill(Fill(Refusal(message, bypass), "{gateway}", gateway.address), "{index}",
              gateway.interface_index);
}

// Wine answers that it has created a route and creates none.
TEST_F(Bypass, ThatCannotVerifyItsRouteRefusesTheConnect) {
  const ConsoleServer server(Variables{{L"ADMIN_BYPASS_IP", L"203.0.113.5"}});
  EXPECT_EQ(Ask(kConnect), RefusalOfAnUnverifiedRoute(DefaultGateway()));
}

}  // namespace
}  // namespace veltrane::windows_tests
