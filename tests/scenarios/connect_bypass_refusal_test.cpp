// A connect that is refused because the administrators' routes are not ready: for each reason the
// whole reply, the routes that are left and the log.

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/scenarios/scenario.h"

namespace veltrane {
namespace {

using ConnectWithoutBypassRoutes = Scenario;

const std::string kFlags =
    R"("admin_bypass":{"enabled":true,"attempted":true,"applied":false,)"
    R"("routes_ready_before_tunnel":false,"route_readded_after_tunnel":false,)"
    R"("required_enforced":true,"skipped_for_safe_mode":false,"auto_stop_seconds":0,)";
const std::string kGuardEnd = R"(,"message":"disable-default-route not active"}})";
const std::string kNoAddressesMessage =
    R"("message":"no required RDP/admin IPs detected; set ADMIN_BYPASS_IP, ADMIN_BYPASS_IPS, )"
    R"(or establish RDP before connecting",)";
const std::string kGatewayMissing =
    R"j({"ok":false,"error":"admin_bypass_failed",)j"
    R"j("message":"physical default gateway not found before tunnel (GetBestRoute)",)j" +
    kFlags +
    R"j("message":"physical default gateway not found before tunnel (GetBestRoute)",)j"
    R"j("failure_reason":"physical_gateway_missing",)j" +
    kGathered + "}," + kGuardOff + kGuardEnd;

TEST_F(ConnectWithoutBypassRoutes, NoRequiredAddressIsARefusal) {
  machine.environment.SetProcess(L"VELTRANE_POC_ADMIN_BYPASS", L"yes");
  machine.sessions.AddActive(2, "192.0.2.44");
  EXPECT_EQ(Handle(kConnect),
            R"({"ok":false,"error":"admin_bypass_failed",)" + kNoAddressesMessage + kFlags +
                kNoAddressesMessage +
                R"("failure_reason":"no_admin_bypass_ips","rdp_tcp_remote_addresses":[],)"
                R"("admin_env_ips":[],"selected_admin_bypass_ips":["192.0.2.44"],)"
                R"("selected_bypass_ip_entries":[)"
                R"({"ip":"192.0.2.44","source":"WTS","required":false}]},)" +
                kGuardOff + kGuardEnd);
  EXPECT_EQ(Phase(), "disconnected");
  EXPECT_EQ(NodeId(), "");
  EXPECT_EQ(Story(), std::vector<std::string>{"PrintError [Veltrane][admin_bypass] enabled=1 "
                                              "applied=0 failure=no_admin_bypass_ips"});
}

TEST_F(ConnectWithoutBypassRoutes, AnUnknownDefaultRouteIsARefusal) {
  SetAdministrator();
  machine.routes.Clear();
  EXPECT_EQ(Handle(kConnect), kGatewayMissing);
  EXPECT_EQ(Phase(), "disconnected");
  EXPECT_EQ(Story(), std::vector<std::string>{"PrintError [Veltrane][admin_bypass] enabled=1 "
                                              "applied=0 failure=physical_gateway_missing"});
}

TEST_F(ConnectWithoutBypassRoutes, ADefaultRouteWithoutGatewayIsARefusal) {
  SetAdministrator();
  machine.routes.Remove("0.0.0.0/0");
  machine.routes.Add("0.0.0.0/0", "0.0.0.0", 12, 25);
  EXPECT_EQ(Handle(kConnect), kGatewayMissing);
  EXPECT_EQ(machine.Changes(), std::vector<std::string>{});
}

TEST_F(ConnectWithoutBypassRoutes, ARouteThatCannotBeAddedIsARefusalAndTheOthersAreRolledBack) {
  machine.environment.SetMachine(L"ADMIN_BYPASS_IPS", L"198.51.100.7, 203.0.113.5");
  machine.FailWhere("CreateForwardRow", "203.0.113.5", 87);
  EXPECT_EQ(
      Handle(kConnect),
      R"j({"ok":false,"error":"admin_bypass_failed","message":"required admin bypass host route )j"
      R"j(failed to add: 203.0.113.5 (CreateIpForwardEntry failed)",)j" +
          kFlags +
          R"j("client_ip":"198.51.100.7","gateway":"192.168.1.1",)j"
          R"j("message":"required admin bypass host route failed to add: )j"
          R"j(203.0.113.5 (CreateIpForwardEntry failed)",)j"
          R"j("failure_reason":"route_add_failed","rdp_tcp_remote_addresses":[],)j"
          R"j("admin_env_ips":["198.51.100.7","203.0.113.5"],)j"
          R"j("selected_admin_bypass_ips":["198.51.100.7","203.0.113.5"],)j"
          R"j("selected_bypass_ip_entries":[)j"
          R"j({"ip":"198.51.100.7","source":"ADMIN_BYPASS_IPS","required":true},)j"
          R"j({"ip":"203.0.113.5","source":"ADMIN_BYPASS_IPS","required":true}],)j" +
          kPhysical +
          R"j(,"route_add_results":"198.51.100.7:added;203.0.113.5:failed;",)j"
          R"j("route_add_results_detail":[)j"
          R"j({"ip":"198.51.100.7","source":"ADMIN_BYPASS_IPS","required":true,)j"
          R"j("add_attempted":true,"already_exists":false,"add_success":true,)j"
          R"j("win32_error_code":0,"error_message":"","gateway":"192.168.1.1",)j"
          R"j("interface_index":"12","existing_route_gateway":"",)j"
          R"j("existing_route_interface_index":"","route_verify_success":true,)j"
          R"j("failure_reason":""},)j"
          R"j({"ip":"203.0.113.5","source":"ADMIN_BYPASS_IPS","required":true,)j"
          R"j("add_attempted":true,"already_exists":false,"add_success":false,)j"
          R"j("win32_error_code":87,"error_message":"CreateIpForwardEntry failed",)j"
          R"j("gateway":"192.168.1.1","interface_index":"12","existing_route_gateway":"",)j"
          R"j("existing_route_interface_index":"","route_verify_success":false,)j"
          R"j("failure_reason":"route_add_failed"}]},)j" +
          kGuardOff + kGuardEnd);
  EXPECT_EQ(Phase(), "disconnected");
  // The removal logs the bypass that was known before this one.
  EXPECT_EQ(Story(), (std::vector<std::string>{
                         "CreateForwardRow 198.51.100.7/32 via 192.168.1.1 if 12 metric 1",
                         "CreateForwardRow 203.0.113.5/32 via 192.168.1.1 if 12 metric 1",
                         "DeleteForwardRow 198.51.100.7/32 via 192.168.1.1 if 12 metric 1",
                         "PrintError [Veltrane][admin_bypass] enabled=0 applied=0 failure=",
                         "PrintError [Veltrane][admin_bypass] enabled=1 applied=0 "
                         "failure=route_add_failed"}));
  EXPECT_EQ(machine.routes.Texts(), (std::vector<std::string>{kDefaultRoute, kLocalRoute}));
}

TEST_F(ConnectWithoutBypassRoutes, ARouteThatIsAddedTooCostlyIsARefusalAndRolledBack) {
  SetAdministrator();
  machine.routes.SetMetricOfCreatedRows(16);
  EXPECT_EQ(
      Handle(kConnect),
      R"j({"ok":false,"error":"admin_bypass_failed","message":"required admin bypass host route )j"
      R"j(failed to add: 203.0.113.5 (route verify failed after add)",)j" +
          kFlags +
          R"j("client_ip":"203.0.113.5","gateway":"192.168.1.1",)j"
          R"j("message":"required admin bypass host route failed to add: )j"
          R"j(203.0.113.5 (route verify failed after add)",)j"
          R"j("failure_reason":"route_add_failed",)j" +
          kGathered + "," + kPhysical +
          R"j(,"route_add_results":"203.0.113.5:failed;","route_add_results_detail":[)j"
          R"j({"ip":"203.0.113.5","source":"ADMIN_BYPASS_IP","required":true,)j"
          R"j("add_attempted":true,"already_exists":false,"add_success":false,)j"
          R"j("win32_error_code":0,"error_message":"route verify failed after add",)j"
          R"j("gateway":"192.168.1.1","interface_index":"12","existing_route_gateway":"",)j"
          R"j("existing_route_interface_index":"","route_verify_success":false,)j"
          R"j("failure_reason":"route_verify_failed"}]},)j" +
          kGuardOff + kGuardEnd);
  EXPECT_EQ(machine.routes.Texts(), (std::vector<std::string>{kDefaultRoute, kLocalRoute}));
}

TEST_F(ConnectWithoutBypassRoutes, ARouteThatVanishesBeforeTheCheckIsARefusalAndRolledBack) {
  SetAdministrator();
  // Two reads look for an existing route, one proves the addition; the fourth is the check.
  machine.OnCall("ReadForwardTable", 4, [&] { machine.routes.Remove("203.0.113.5/32"); });
  EXPECT_EQ(Handle(kConnect),
            R"({"ok":false,"error":"admin_bypass_failed",)"
            R"("message":"required admin bypass routes not verified before tunnel; )"
            R"(refusing connect",)" +
                kFlags +
                R"("client_ip":"203.0.113.5","gateway":"192.168.1.1",)"
                R"("message":"required admin bypass routes not verified before tunnel; )"
                R"(refusing connect","failure_reason":"route_verify_before_tunnel_failed",)" +
                kGathered + "," + kPhysical + R"(,"route_add_results":"203.0.113.5:added;",)" +
                kAddedDetail + R"(,"route_verify_before_tunnel":"203.0.113.5:missing;"},)" +
                kGuardOff + kGuardEnd);
  EXPECT_EQ(Phase(), "disconnected");
  EXPECT_EQ(Story(), (std::vector<std::string>{
                         "CreateForwardRow 203.0.113.5/32 via 192.168.1.1 if 12 metric 1",
                         "DeleteForwardRow 203.0.113.5/32 via 192.168.1.1 if 12 metric 1",
                         "PrintError [Veltrane][admin_bypass] enabled=0 applied=0 failure=",
                         "PrintError [Veltrane][admin_bypass] enabled=1 applied=0 "
                         "failure=route_verify_before_tunnel_failed"}));
}

TEST_F(ConnectWithoutBypassRoutes, AnOptionalAddressThatCannotBePinnedIsNoRefusal) {
  SetAdministrator();
  machine.sessions.AddActive(2, "192.0.2.44");
  machine.FailWhere("CreateForwardRow", "192.0.2.44", 87);
  Handle(kConnect);
  EXPECT_EQ(Phase(), "connected");
  EXPECT_EQ(machine.routes.Texts(),
            (std::vector<std::string>{kDefaultRoute, kLocalRoute, kPinnedRoute}));
}

TEST_F(ConnectWithoutBypassRoutes, TheRefusalRemovesNoRouteOfAnEarlierConnectAndLogsOnce) {
  SetAdministrator();
  Handle(kConnect);
  machine.environment.SetMachine(L"ADMIN_BYPASS_IP", L"192.168.1.77");
  StartStory();
  EXPECT_EQ(Handle(kConnect),
            R"({"ok":false,"error":"admin_bypass_failed",)" + kNoAddressesMessage + kFlags +
                kNoAddressesMessage +
                R"("failure_reason":"no_admin_bypass_ips","rdp_tcp_remote_addresses":[],)"
                R"("admin_env_ips":["192.168.1.77"],"selected_admin_bypass_ips":[],)"
                R"("selected_bypass_ip_entries":[]},)" +
                kGuardOff + kGuardEnd);
  EXPECT_EQ(Phase(), "disconnected");
  EXPECT_EQ(NodeId(), "");
  EXPECT_EQ(Story(), std::vector<std::string>{"PrintError [Veltrane][admin_bypass] enabled=1 "
                                              "applied=0 failure=no_admin_bypass_ips"});
  EXPECT_EQ(machine.routes.Texts(),
            (std::vector<std::string>{kDefaultRoute, kLocalRoute, kPinnedRoute}));
  EXPECT_EQ(machine.files.Bytes(kActiveConf), kConf);
  EXPECT_EQ(machine.services.Find(kTunnelService)->state, simulated::kRunning);
}

TEST_F(ConnectWithoutBypassRoutes, TheReplyCarriesTheDelayThatTheGuardReadAndTheStatusTheLaterOne) {
  machine.environment.SetProcess(L"VELTRANE_POC_ADMIN_BYPASS", L"1");
  SetAutoStop(L"45");
  // The guard's two settings have been read; the bypass reads the second once more.
  machine.OnCall("ReadProcessVariable", 3, [&] { SetAutoStop(L"60"); });
  const std::string reply = Handle(kConnect);
  EXPECT_NE(reply.find(R"("skipped_for_safe_mode":false,"auto_stop_seconds":45,"message")"),
            std::string::npos)
      << reply;
  const std::string status = Handle(kStatus);
  EXPECT_NE(status.find(R"("skipped_for_safe_mode":false,"auto_stop_seconds":60,"message")"),
            std::string::npos)
      << status;
  EXPECT_FALSE(server.auto_stop_thread.joinable());
}

}  // namespace
}  // namespace veltrane
