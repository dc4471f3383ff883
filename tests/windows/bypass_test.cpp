// Connects with the admin bypass on.

#include "tests/windows/clean_machine.h"
#include "tests/windows/control_manager.h"
#include "tests/windows/conversation.h"
#include "tests/windows/network.h"
#include "tests/windows/pipe_connection.h"

namespace veltrane::windows_tests {
namespace {

class Bypass : public CleanMachine {};

// The guard record of a kConnect that is refused before the routes are looked at, guard off.
const std::string kGuardOffOfARefusal =
    R"("poc_route_guard":{"effective_disable_default_route":false,"poc_route_guard_failed":false,)"
    R"("poc_default_route_detected":false,"poc_env_read_failed":false,"rdp_session_active":false,)"
    R"("auto_stop_scheduled":false,"auto_stop_seconds":0,"effective_auto_stop_seconds":0,)"
    R"("process_env_VELTRANE_POC_DISABLE_DEFAULT_ROUTE":"",)"
    R"("machine_env_VELTRANE_POC_DISABLE_DEFAULT_ROUTE":"",)"
    R"("user_env_VELTRANE_POC_DISABLE_DEFAULT_ROUTE":"",)"
    R"("process_env_VELTRANE_POC_AUTO_STOP_SECONDS":"",)"
    R"("machine_env_VELTRANE_POC_AUTO_STOP_SECONDS":"",)"
    R"("user_env_VELTRANE_POC_AUTO_STOP_SECONDS":"",)"
    R"("generated_allowed_ips_before":"0.0.0.0/0, ::/0",)"
    R"("message":"disable-default-route not active"})";

const std::string kNoAddresses =
    R"("admin_bypass":{"enabled":true,"attempted":true,"applied":false,)"
    R"("routes_ready_before_tunnel":false,"route_readded_after_tunnel":false,)"
    R"("required_enforced":true,"skipped_for_safe_mode":false,"auto_stop_seconds":0,)"
    R"("message":"no required RDP/admin IPs detected; set ADMIN_BYPASS_IP, ADMIN_BYPASS_IPS, or )"
    R"(establish RDP before connecting","failure_reason":"no_admin_bypass_ips",)"
    R"("rdp_tcp_remote_addresses":[],"admin_env_ips":{tokens},"selected_admin_bypass_ips":[],)"
    R"("selected_bypass_ip_entries":[]})";

void ExpectRefusalWithoutAddresses(const std::string& tokens) {
  EXPECT_EQ(Ask(kConnect),
            Fill(R"({"ok":false,"error":"admin_bypass_failed","message":"no required RDP/admin )"
                 R"(IPs detected; set ADMIN_BYPASS_IP, ADMIN_BYPASS_IPS, or establish RDP before )"
                 R"(connecting",)" +
                     kNoAddresses + "," + kGuardOffOfARefusal + "}",
                 "{tokens}", tokens));
}

TEST_F(Bypass, IsRefusedForAPrivateAddressAlone) {
  ConsoleServer server(Variables{{L"ADMIN_BYPASS_IP", L"192.168.1.10"}});
  ExpectRefusalWithoutAddresses(R"(["192.168.1.10"])");
}

TEST_F(Bypass, ReportsEveryTokenOfBothVariables) {
  ConsoleServer server(Variables{{L"ADMIN_BYPASS_IP", L" 10.0.0.1 ;; 10.0.0.2,\n"},
                                 {L"ADMIN_BYPASS_IPS", L"no\"t\\an,10.0.0.1"}});
  ExpectRefusalWithoutAddresses(R"(["10.0.0.1","10.0.0.2","no\"t\\an","10.0.0.1"])");
}

TEST_F(Bypass, SwitchedOnWithoutAnAddressIsRefused) {
  ConsoleServer server(Variables{{L"VELTRANE_POC_ADMIN_BYPASS", L"YES"}});
  ExpectRefusalWithoutAddresses("[]");
}

TEST_F(Bypass, RefusalStartsNoTunnelAndWritesNoFile) {
  ConsoleServer server(Variables{{L"ADMIN_BYPASS_IP", L"192.168.1.10"}});
  Ask(kConnect);
  EXPECT_FALSE(ServiceExists(kTunnelService));
  EXPECT_FALSE(std::filesystem::exists(TunnelsFolder()));
}

TEST_F(Bypass, RefusalIsLogged) {
  ConsoleServer server(Variables{{L"ADMIN_BYPASS_IP", L"192.168.1.10"}});
  const std::string before = server.Error();
  Ask(kConnect);
  EXPECT_EQ(server.Error(),
            before + "[Veltrane][admin_bypass] enabled=1 applied=0 failure=no_admin_bypass_ips\n");
}

TEST_F(Bypass, RefusalIsShownByTheNextStatus) {
  ConsoleServer server(Variables{{L"ADMIN_BYPASS_IP", L"192.168.1.10"}});
  Ask(kConnect);
  EXPECT_EQ(Ask(kStatus), Fill(R"({"ok":true,"phase":"disconnected","tunnel_running":false,)" +
                                   kNoAddresses + "," + kFreshGuard + "}",
                               "{tokens}", R"(["192.168.1.10"])"));
}

TEST_F(Bypass, SwitchedOffLetsAConnectThroughWithoutRoutes) {
  ConsoleServer server(
      Variables{{L"VELTRANE_POC_ADMIN_BYPASS", L"No"}, {L"ADMIN_BYPASS_IP", L"203.0.113.5"}});
  EXPECT_EQ(Ask(kConnect), Fill(R"({"ok":true,"phase":"connected","node_id":"fra-1",)" +
                                    kBypassOff + "," + kGuardOff + "}",
                                "{routes}", DefaultRoutes()));
}

TEST_F(Bypass, DoesNotKnowTheWordOff) {
  ConsoleServer server(
      Variables{{L"VELTRANE_POC_ADMIN_BYPASS", L"off"}, {L"ADMIN_BYPASS_IP", L"192.168.1.10"}});
  ExpectRefusalWithoutAddresses(R"(["192.168.1.10"])");
}

TEST_F(Bypass, IsSkippedWhileTheGuardIsInForce) {
  ConsoleServer server(Variables{{L"VELTRANE_POC_DISABLE_DEFAULT_ROUTE", L"1"},
                                 {L"ADMIN_BYPASS_IP", L"203.0.113.5"}});
  const std::string before = server.Error();
  const std::string reply = Ask(kConnect);
  const std::string expected =
      R"({"ok":true,"phase":"connected","node_id":"fra-1",)"
      R"("admin_bypass":{"enabled":true,"attempted":true,"applied":false,)"
      R"("routes_ready_before_tunnel":true,"route_readded_after_tunnel":false,)"
      R"("required_enforced":false,"skipped_for_safe_mode":true,"auto_stop_seconds":0,)"
      R"x("message":"admin bypass skipped for POC safe mode (disable-default-route)",)x"
      R"("rdp_tcp_remote_addresses":[],"admin_env_ips":["203.0.113.5"],)"
      R"("selected_admin_bypass_ips":["203.0.113.5"],"selected_bypass_ip_entries":)"
      R"([{"ip":"203.0.113.5","source":"ADMIN_BYPASS_IP","required":true}]},)"
      R"("poc_route_guard":{"effective_disable_default_route":true,)";
  EXPECT_EQ(reply.substr(0, expected.size()), expected);
  EXPECT_EQ(server.Error(), before + "[Veltrane][admin_bypass] enabled=1 applied=0 failure=\n");
}

// Wine answers that it has created a route and creates none, so what follows is the refusal of a
// route that cannot be verified. A machine without a gateway is refused before.
class UnverifiedRoute : public CleanMachine {
 protected:
  std::string ExpectedMessage() const {
    return gateway_ ? "required admin bypass host route failed to add: 203.0.113.5 (route verify "
                      "failed after add)"
                    : "physical default gateway not found before tunnel (GetBestRoute)";
  }
  std::string ExpectedFailure() const {
    return gateway_ ? "route_add_failed" : "physical_gateway_missing";
  }
  std::string ExpectedBypass() const {
    const std::string head =
        R"("admin_bypass":{"enabled":true,"attempted":true,"applied":false,)"
        R"("routes_ready_before_tunnel":false,"route_readded_after_tunnel":false,)"
        R"("required_enforced":true,"skipped_for_safe_mode":false,"auto_stop_seconds":0,)";
    const std::string lists =
        R"("rdp_tcp_remote_addresses":[],"admin_env_ips":["203.0.113.5"],)"
        R"("selected_admin_bypass_ips":["203.0.113.5"],"selected_bypass_ip_entries":)"
        R"([{"ip":"203.0.113.5","source":"ADMIN_BYPASS_IP","required":true}])";
    if (!gateway_) {
      return head +
             R"x("message":"physical default gateway not found before tunnel (GetBestRoute)",)x"
             R"("failure_reason":"physical_gateway_missing",)" +
             lists + "}";
    }
    return Fill(Fill(head +
                         R"("client_ip":"203.0.113.5","gateway":"{gateway}",)"
                         R"("message":"required admin bypass host route failed to add: )"
                         R"x(203.0.113.5 (route verify failed after add)",)x"
                         R"("failure_reason":"route_add_failed",)" +
                         lists +
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
                         R"("failure_reason":"route_verify_failed"}]})",
                     "{gateway}", gateway_->address),
                "{index}", gateway_->interface_index);
  }

  ConsoleServer server_{Variables{{L"ADMIN_BYPASS_IP", L"203.0.113.5"}}};
  std::optional<Gateway> gateway_ = DefaultGateway();
};

TEST_F(UnverifiedRoute, RefusesTheConnect) {
  EXPECT_EQ(Ask(kConnect), R"({"ok":false,"error":"admin_bypass_failed","message":")" +
                               ExpectedMessage() + "\"," + ExpectedBypass() + "," +
                               kGuardOffOfARefusal + "}");
}

TEST_F(UnverifiedRoute, IsLoggedAfterTheRecordOfTheTimeBefore) {
  const std::string before = server_.Error();
  Ask(kConnect);
  const std::string rollback =
      gateway_ ? "[Veltrane][admin_bypass] enabled=0 applied=0 failure=\n" : "";
  EXPECT_EQ(server_.Error(),
            before + rollback +
                "[Veltrane][admin_bypass] enabled=1 applied=0 failure=" + ExpectedFailure() + "\n");
}

TEST_F(UnverifiedRoute, IsShownByTheNextStatus) {
  Ask(kConnect);
  EXPECT_EQ(Ask(kStatus), R"({"ok":true,"phase":"disconnected","tunnel_running":false,)" +
                              ExpectedBypass() + "," + kFreshGuard + "}");
}

TEST_F(UnverifiedRoute, LeavesARunningTunnelInPlace) {
  ASSERT_NE(CreateServiceNamed(kTunnelService, L"\"" + ServiceExecutable() + L"\" /service \"" +
                                                   ServiceExecutable() + L"\""),
            nullptr);
  ASSERT_EQ(StartServiceNamed(kTunnelService), 0u);
  ASSERT_TRUE(WaitForServiceState(kTunnelService, SERVICE_RUNNING));
  Ask(kConnect);
  EXPECT_EQ(ServiceStatus(kTunnelService).dwCurrentState, DWORD{SERVICE_RUNNING});
}

}  // namespace
}  // namespace veltrane::windows_tests
