// A connect that succeeds: the whole reply, and what it leaves on the machine.

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/scenarios/scenario.h"

namespace veltrane {
namespace {

using ConnectSuccess = Scenario;

TEST_F(ConnectSuccess, WithBypassAndGuardOffTheReplySaysSo) {
  EXPECT_EQ(Handle(kConnect),
            R"({"ok":true,"phase":"connected","node_id":"fra-1",)" + kBypassOff + "," + kGuardOff +
                "," + kDefaultRoutesKept +
                R"(,"rdp_routes_before_tunnel":"none","rdp_routes_after_tunnel":"none",)"
                R"("message":"disable-default-route not active"}})");
  EXPECT_EQ(Phase(), "connected");
  EXPECT_EQ(NodeId(), "fra-1");
}

TEST_F(ConnectSuccess, WithBypassAndGuardOffOnlyTheFileAndTheServiceChange) {
  Handle(kConnect);
  EXPECT_EQ(Story(), Steps({kWritesConf, kStartsTunnel}));
  EXPECT_EQ(machine.routes.Texts(), (std::vector<std::string>{kDefaultRoute, kLocalRoute}));
  EXPECT_EQ(machine.files.AllFiles(), std::vector<std::wstring>{kActiveConf});
  EXPECT_EQ(machine.files.Bytes(kActiveConf), kConf);
  EXPECT_EQ(machine.console.Error(), L"");
  EXPECT_EQ(machine.console.Debugger(), L"");
}

TEST_F(ConnectSuccess, TheTunnelServiceRunsFromTheActiveConfiguration) {
  Handle(kConnect);
  const auto service = machine.services.Find(kTunnelService);
  ASSERT_TRUE(service);
  EXPECT_EQ(service->settings.name, L"VeltraneVpnTunnel$Active");
  EXPECT_EQ(service->settings.display_name, L"VeltraneVpnTunnel$Active");
  EXPECT_EQ(service->settings.command_line,
            L"\"C:\\Program Files\\Veltrane\\VeltraneVpnService.exe\" /service "
            L"\"C:\\ProgramData\\Veltrane\\tunnels\\active.conf\"");
  EXPECT_EQ(service->settings.type, 0x10U);
  EXPECT_EQ(service->settings.start_type, 3U);
  EXPECT_EQ(service->settings.error_control, 1U);
  EXPECT_EQ(service->settings.dependencies, (std::vector<std::wstring>{L"Nsi", L"TcpIp"}));
  EXPECT_EQ(service->sid_type, 1U);
  EXPECT_EQ(service->state, simulated::kRunning);
  EXPECT_EQ(machine.services.OpenHandles(), 0);
}

TEST_F(ConnectSuccess, WithBypassTheReplyAccountsForEveryAddress) {
  SetAdministrator();
  machine.connections.AddEstablished(3389, "198.51.100.7");
  machine.sessions.AddActive(2, "192.0.2.44");
  EXPECT_EQ(
      Handle(kConnect),
      R"({"ok":true,"phase":"connected","node_id":"fra-1",)"
      R"("admin_bypass":{"enabled":true,"attempted":true,"applied":true,)"
      R"("routes_ready_before_tunnel":true,"route_readded_after_tunnel":false,)"
      R"("required_enforced":true,"skipped_for_safe_mode":false,"auto_stop_seconds":0,)"
      R"("client_ip":"198.51.100.7","gateway":"192.168.1.1",)"
      R"("message":"admin bypass routes verified after tunnel",)"
      R"("rdp_tcp_remote_addresses":["198.51.100.7"],"admin_env_ips":["203.0.113.5"],)"
      R"("selected_admin_bypass_ips":["192.0.2.44","198.51.100.7","203.0.113.5"],)"
      R"("selected_bypass_ip_entries":[{"ip":"192.0.2.44","source":"WTS","required":false},)"
      R"({"ip":"198.51.100.7","source":"RDP_TCP_ESTABLISHED","required":true},)"
      R"({"ip":"203.0.113.5","source":"ADMIN_BYPASS_IP","required":true}],)" +
          kPhysical +
          R"(,"route_add_results":"192.0.2.44:added;198.51.100.7:added;203.0.113.5:added;",)"
          R"("route_add_results_detail":[{"ip":"192.0.2.44","source":"WTS","required":false,)"
          R"("add_attempted":true,"already_exists":false,"add_success":true,)"
          R"("win32_error_code":0,"error_message":"","gateway":"192.168.1.1",)"
          R"("interface_index":"12","existing_route_gateway":"",)"
          R"("existing_route_interface_index":"","route_verify_success":true,)"
          R"("failure_reason":""},)"
          R"({"ip":"198.51.100.7","source":"RDP_TCP_ESTABLISHED","required":true,)"
          R"("add_attempted":true,"already_exists":false,"add_success":true,)"
          R"("win32_error_code":0,"error_message":"","gateway":"192.168.1.1",)"
          R"("interface_index":"12","existing_route_gateway":"",)"
          R"("existing_route_interface_index":"","route_verify_success":true,)"
          R"("failure_reason":""},)"
          R"({"ip":"203.0.113.5","source":"ADMIN_BYPASS_IP","required":true,)"
          R"("add_attempted":true,"already_exists":false,"add_success":true,)"
          R"("win32_error_code":0,"error_message":"","gateway":"192.168.1.1",)"
          R"("interface_index":"12","existing_route_gateway":"",)"
          R"("existing_route_interface_index":"","route_verify_success":true,)"
          R"("failure_reason":""}],)"
          R"("route_verify_before_tunnel":"198.51.100.7:ok(metric=1);203.0.113.5:ok(metric=1);",)"
          R"("route_verify_after_tunnel":"198.51.100.7:ok(metric=1);203.0.113.5:ok(metric=1);"},)" +
          kGuardOff + "," + kDefaultRoutesKept +
          R"(,"rdp_routes_before_tunnel":"192.0.2.44/32->192.168.1.1@if12;)"
          R"(198.51.100.7/32->192.168.1.1@if12;203.0.113.5/32->192.168.1.1@if12",)"
          R"("rdp_routes_after_tunnel":"192.0.2.44/32->192.168.1.1@if12;)"
          R"(198.51.100.7/32->192.168.1.1@if12;203.0.113.5/32->192.168.1.1@if12",)"
          R"("message":"disable-default-route not active"}})");
}

TEST_F(ConnectSuccess, WithBypassTheRoutesArePinnedBeforeTheFileAndCheckedAfterTheStart) {
  SetAdministrator();
  Handle(kConnect);
  EXPECT_EQ(Story(), Steps({{"CreateForwardRow 203.0.113.5/32 via 192.168.1.1 if 12 metric 1",
                             "PrintError [Veltrane][admin_bypass] enabled=1 applied=1 failure="},
                            kWritesConf,
                            kStartsTunnel,
                            {"PrintError [Veltrane][admin_bypass] enabled=1 applied=1 failure="}}));
  EXPECT_EQ(machine.routes.Texts(),
            (std::vector<std::string>{kDefaultRoute, kLocalRoute, kPinnedRoute}));
  EXPECT_EQ(machine.console.Error(), kLogApplied + kLogApplied);
  EXPECT_EQ(machine.console.Debugger(), kLogApplied + kLogApplied);
}

TEST_F(ConnectSuccess, WithTheGuardTheReplyShowsThePatchedNetworks) {
  SetGuard();
  EXPECT_EQ(Handle(kConnect),
            R"({"ok":true,"phase":"connected","node_id":"fra-1",)"
            R"("admin_bypass":{"enabled":false,"attempted":false,"applied":false,)"
            R"("routes_ready_before_tunnel":false,"route_readded_after_tunnel":false,)"
            R"("required_enforced":false,"skipped_for_safe_mode":true,"auto_stop_seconds":0,)"
            R"("message":"admin bypass disabled for this build/config"},)" +
                kGuardOn + "," + kDefaultRoutesKept +
                R"j(,"rdp_routes_before_tunnel":"none","rdp_routes_after_tunnel":"none",)j"
                R"j("message":"POC safe AllowedIPs applied (no catch-all)"}})j");
  EXPECT_EQ(Phase(), "connected");
}

TEST_F(ConnectSuccess, WithTheGuardTheFileHoldsTheClientsNetworkAndNoNameServers) {
  SetGuard();
  Handle(kConnect);
  EXPECT_EQ(machine.files.Bytes(kActiveConf),
            "[Interface]\n"
            "PrivateKey = CLIENTKEY=\n"
            "Address = 10.7.3.9/32\n"
            "\n"
            "[Peer]\n"
            "PublicKey = SERVERKEY=\n"
            "AllowedIPs = 10.7.3.0/24\n"
            "Endpoint = 198.51.100.20:51820\n"
            "PersistentKeepalive = 25\n");
}

TEST_F(ConnectSuccess, WithTheGuardTheBypassIsGatheredButNoRouteIsTouchedOrChecked) {
  SetGuard();
  SetAdministrator();
  EXPECT_EQ(Handle(kConnect),
            R"j({"ok":true,"phase":"connected","node_id":"fra-1",)j"
            R"j("admin_bypass":{"enabled":true,"attempted":true,"applied":false,)j"
            R"j("routes_ready_before_tunnel":true,"route_readded_after_tunnel":false,)j"
            R"j("required_enforced":false,"skipped_for_safe_mode":true,"auto_stop_seconds":0,)j"
            R"j("message":"admin bypass skipped for POC safe mode (disable-default-route)",)j" +
                kGathered + "}," + kGuardOn + "," + kDefaultRoutesKept +
                R"j(,"rdp_routes_before_tunnel":"none","rdp_routes_after_tunnel":"none",)j"
                R"j("message":"POC safe AllowedIPs applied (no catch-all)"}})j");
  EXPECT_EQ(machine.routes.Texts(), (std::vector<std::string>{kDefaultRoute, kLocalRoute}));
  EXPECT_EQ(machine.calls.Count("CreateForwardRow"), 0U);
  EXPECT_EQ(machine.calls.Count("FindBestRoute"), 0U);
  EXPECT_EQ(machine.console.Error(), kLogNotApplied);
}

TEST_F(ConnectSuccess, InARemoteDesktopSessionWithTheGuardItSucceeds) {
  SetGuard();
  machine.sessions.SetRemoteSession(true);
  EXPECT_EQ(Handle(kConnect),
            R"j({"ok":true,"phase":"connected","node_id":"fra-1",)j"
            R"j("admin_bypass":{"enabled":false,"attempted":false,"applied":false,)j"
            R"j("routes_ready_before_tunnel":false,"route_readded_after_tunnel":false,)j"
            R"j("required_enforced":false,"skipped_for_safe_mode":true,"auto_stop_seconds":0,)j"
            R"j("message":"admin bypass disabled for this build/config"},)j"
            R"j("poc_route_guard":{"effective_disable_default_route":true,)j"
            R"j("poc_route_guard_failed":false,"poc_default_route_detected":false,)j"
            R"j("poc_env_read_failed":false,"rdp_session_active":true,)j"
            R"j("auto_stop_scheduled":false,)j"
            R"j("auto_stop_seconds":0,"effective_auto_stop_seconds":0,)j"
            R"j("process_env_VELTRANE_POC_DISABLE_DEFAULT_ROUTE":"",)j"
            R"j("machine_env_VELTRANE_POC_DISABLE_DEFAULT_ROUTE":"1",)j"
            R"j("user_env_VELTRANE_POC_DISABLE_DEFAULT_ROUTE":"",)j"
            R"j("process_env_VELTRANE_POC_AUTO_STOP_SECONDS":"",)j"
            R"j("machine_env_VELTRANE_POC_AUTO_STOP_SECONDS":"",)j"
            R"j("user_env_VELTRANE_POC_AUTO_STOP_SECONDS":"",)j"
            R"j("generated_allowed_ips_before":"0.0.0.0/0, ::/0",)j"
            R"j("generated_allowed_ips_after":"10.7.3.0/24",)j" +
                kDefaultRoutesKept +
                R"j(,"rdp_routes_before_tunnel":"none","rdp_routes_after_tunnel":"none",)j"
                R"j("message":"POC safe AllowedIPs applied (no catch-all)"}})j");
}

TEST_F(ConnectSuccess, AProfileOfTheTwoRequiredFieldsIsEnough) {
  Handle(R"({"op":"connect","node_id":"n","client_private_key":"k"})");
  EXPECT_EQ(Phase(), "connected");
  EXPECT_EQ(NodeId(), "n");
  EXPECT_EQ(machine.files.Bytes(kActiveConf),
            "[Interface]\n"
            "PrivateKey = k\n"
            "Address = \n"
            "\n"
            "[Peer]\n"
            "PublicKey = \n"
            "AllowedIPs = \n"
            "Endpoint = :51820\n"
            "PersistentKeepalive = 25\n");
}

TEST_F(ConnectSuccess, WithEmptyAllowedIpsTheReplyLeavesThemOut) {
  EXPECT_EQ(Handle(R"({"op":"connect","node_id":"n","client_private_key":"k"})"),
            R"({"ok":true,"phase":"connected","node_id":"n",)" + kBypassOff + "," +
                kFreshGuard.substr(0, kFreshGuard.size() - 1) + "," + kDefaultRoutesKept +
                R"(,"rdp_routes_before_tunnel":"none","rdp_routes_after_tunnel":"none",)"
                R"("message":"disable-default-route not active"}})");
}

TEST_F(ConnectSuccess, TheNodeIsCopiedIntoTheReplyAsItIs) {
  const std::string reply =
      Handle(R"({"op":"connect","node_id":"a\"b\\c\nd","client_private_key":"k"})");
  EXPECT_TRUE(
      reply.starts_with("{\"ok\":true,\"phase\":\"connected\",\"node_id\":\"a\"b\\c\nd\","
                        "\"admin_bypass\":{"))
      << reply;
  EXPECT_EQ(NodeId(), "a\"b\\c\nd");
}

TEST_F(ConnectSuccess, ATunnelServiceThatRunsAlreadyCounts) {
  machine.Fail("Service.Start", 1, 1056);
  Handle(kConnect);
  EXPECT_EQ(Phase(), "connected");
}

TEST_F(ConnectSuccess, AServiceSidTypeThatCannotBeSetDoesNotMatter) {
  machine.Fail("Service.SetSidType", 1, 5);
  Handle(kConnect);
  EXPECT_EQ(Phase(), "connected");
  EXPECT_EQ(machine.services.Find(kTunnelService)->state, simulated::kRunning);
}

TEST_F(ConnectSuccess, AccessListsThatCannotBeSetDoNotMatter) {
  machine.FailAlways("SetProtectedAccess", 5);
  Handle(kConnect);
  EXPECT_EQ(Phase(), "connected");
  EXPECT_EQ(machine.files.Bytes(kActiveConf), kConf);
}

}  // namespace
}  // namespace veltrane
