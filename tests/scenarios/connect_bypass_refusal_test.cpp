// A connect that is refused because the administrators' routes are not ready: for each reason the
// whole reply, the routes that are left and the log.

#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/scenarios/scenario.h"

namespace veltrane {
namespace {

using testing::HasSubstr;

class ConnectWithoutBypassRoutes : public Scenario {
 protected:
  // Connects, and expects a refusal with this message and a bypass record of these members.
  void ExpectRefusal(const std::string& message, const Texts& bypass) {
    EXPECT_EQ(Handle(kConnect),
              Reply(R"({"ok":false,"error":"admin_bypass_failed",)" + message,
                    With(With(kFreshBypass, {"enabled", "attempted", "required_enforced"}), bypass),
                    With(kGuardOff, {kNotActive})));
    EXPECT_EQ(PhaseAndNode(), "disconnected");
  }
};

Texts LogsFailure(const std::string& reason) {
  return {"PrintError [Veltrane][admin_bypass] enabled=1 applied=0 failure=" + reason};
}

const std::string kNoAddresses =
    R"("message":"no required RDP/admin IPs detected; set ADMIN_BYPASS_IP, ADMIN_BYPASS_IPS, )"
    R"(or establish RDP before connecting")";
const std::string kNoGateway =
    R"j("message":"physical default gateway not found before tunnel (GetBestRoute)")j";
const std::string kPinnedTo = R"("client_ip":"203.0.113.5","gateway":"192.168.1.1")";

TEST_F(ConnectWithoutBypassRoutes, NoRequiredAddressIsARefusal) {
  machine.environment.SetProcess(L"VELTRANE_POC_ADMIN_BYPASS", L"yes");
  machine.sessions.AddActive(2, "192.0.2.44");
  ExpectRefusal(
      kNoAddresses,
      {kNoAddresses, R"("failure_reason":"no_admin_bypass_ips","rdp_tcp_remote_addresses":[],)"
                     R"("admin_env_ips":[],"selected_admin_bypass_ips":["192.0.2.44"],)"
                     R"("selected_bypass_ip_entries":[)"
                     R"({"ip":"192.0.2.44","source":"WTS","required":false}])"});
  EXPECT_EQ(Story(), LogsFailure("no_admin_bypass_ips"));
}

TEST_F(ConnectWithoutBypassRoutes, ADefaultRouteThatIsMissingOrHasNoGatewayIsARefusal) {
  SetAdministrator();
  machine.routes.Clear();
  for (int i = 0; i < 2; ++i) {
    StartStory();
    ExpectRefusal(kNoGateway,
                  {kNoGateway, R"("failure_reason":"physical_gateway_missing")", kGathered});
    EXPECT_EQ(Story(), LogsFailure("physical_gateway_missing"));
    machine.routes.Add("0.0.0.0/0", "0.0.0.0", 12, 25);
  }
}

TEST_F(ConnectWithoutBypassRoutes, ARouteThatCannotBeAddedIsARefusalAndTheOthersAreRolledBack) {
  machine.environment.SetMachine(L"ADMIN_BYPASS_IPS", L"198.51.100.7, 203.0.113.5");
  machine.FailWhere("CreateForwardRow", "203.0.113.5", 87);
  const std::string message = R"j("message":"required admin bypass host route failed to add: )j"
                              R"j(203.0.113.5 (CreateIpForwardEntry failed)")j";
  ExpectRefusal(
      message, {R"("client_ip":"198.51.100.7","gateway":"192.168.1.1")", message,
                R"("failure_reason":"route_add_failed","rdp_tcp_remote_addresses":[],)"
                R"("admin_env_ips":["198.51.100.7","203.0.113.5"],)"
                R"("selected_admin_bypass_ips":["198.51.100.7","203.0.113.5"],)"
                R"("selected_bypass_ip_entries":[)"
                R"({"ip":"198.51.100.7","source":"ADMIN_BYPASS_IPS","required":true},)"
                R"({"ip":"203.0.113.5","source":"ADMIN_BYPASS_IPS","required":true}])",
                kPhysical,
                R"("route_add_results":"198.51.100.7:added;203.0.113.5:failed;",)"
                R"("route_add_results_detail":[)" +
                    AddedDetail("198.51.100.7", "ADMIN_BYPASS_IPS") +
                    ","
                    R"({"ip":"203.0.113.5","source":"ADMIN_BYPASS_IPS","required":true,)"
                    R"("add_attempted":true,"already_exists":false,"add_success":false,)"
                    R"("win32_error_code":87,"error_message":"CreateIpForwardEntry failed",)"
                    R"("gateway":"192.168.1.1","interface_index":"12","existing_route_gateway":"",)"
                    R"("existing_route_interface_index":"","route_verify_success":false,)"
                    R"("failure_reason":"route_add_failed"}])"});
  // The removal logs the bypass that was known before this one.
  EXPECT_EQ(Story(), Steps({{"CreateForwardRow 198.51.100.7/32 via 192.168.1.1 if 12 metric 1",
                             "CreateForwardRow 203.0.113.5/32 via 192.168.1.1 if 12 metric 1",
                             "DeleteForwardRow 198.51.100.7/32 via 192.168.1.1 if 12 metric 1"},
                            kLogsOff,
                            LogsFailure("route_add_failed")}));
  EXPECT_EQ(State(), "disconnected");
}

TEST_F(ConnectWithoutBypassRoutes, ARouteThatIsAddedTooCostlyIsARefusalAndRolledBack) {
  SetAdministrator();
  machine.routes.SetMetricOfCreatedRows(16);
  const std::string message = R"j("message":"required admin bypass host route failed to add: )j"
                              R"j(203.0.113.5 (route verify failed after add)")j";
  ExpectRefusal(message,
                {kPinnedTo, message, R"("failure_reason":"route_add_failed")", kGathered, kPhysical,
                 R"("route_add_results":"203.0.113.5:failed;","route_add_results_detail":[)"
                 R"({"ip":"203.0.113.5","source":"ADMIN_BYPASS_IP","required":true,)"
                 R"("add_attempted":true,"already_exists":false,"add_success":false,)"
                 R"("win32_error_code":0,"error_message":"route verify failed after add",)"
                 R"("gateway":"192.168.1.1","interface_index":"12","existing_route_gateway":"",)"
                 R"("existing_route_interface_index":"","route_verify_success":false,)"
                 R"("failure_reason":"route_verify_failed"}])"});
  EXPECT_EQ(State(), "disconnected");
}

TEST_F(ConnectWithoutBypassRoutes, ARouteThatVanishesBeforeTheCheckIsARefusalAndRolledBack) {
  SetAdministrator();
  // Two reads look for an existing route, one proves the addition; the fourth is the check.
  machine.OnCall("ReadForwardTable", 4, [&] { machine.routes.Remove("203.0.113.5/32"); });
  const std::string message =
      R"("message":"required admin bypass routes not verified before tunnel; refusing connect")";
  ExpectRefusal(message,
                {kPinnedTo, message, R"("failure_reason":"route_verify_before_tunnel_failed")",
                 kGathered, kPhysical,
                 R"("route_add_results":"203.0.113.5:added;","route_add_results_detail":[)" +
                     AddedDetail() + R"(],"route_verify_before_tunnel":"203.0.113.5:missing;")"});
  EXPECT_EQ(Story(), Steps({UpTo("CreateForwardRow", kPins), UpTo("DeleteForwardRow", kUnpins),
                            kLogsOff, LogsFailure("route_verify_before_tunnel_failed")}));
}

TEST_F(ConnectWithoutBypassRoutes, AnOptionalAddressThatCannotBePinnedIsNoRefusal) {
  SetAdministrator();
  machine.sessions.AddActive(2, "192.0.2.44");
  machine.FailWhere("CreateForwardRow", "192.0.2.44", 87);
  Handle(kConnect);
  EXPECT_EQ(State(), kUpAndPinned);
}

TEST_F(ConnectWithoutBypassRoutes, TheRefusalRemovesNoRouteOfAnEarlierConnectAndLogsOnce) {
  SetAdministrator();
  Handle(kConnect);
  machine.environment.SetMachine(L"ADMIN_BYPASS_IP", L"192.168.1.77");
  StartStory();
  ExpectRefusal(
      kNoAddresses,
      {kNoAddresses, R"("failure_reason":"no_admin_bypass_ips","rdp_tcp_remote_addresses":[],)"
                     R"("admin_env_ips":["192.168.1.77"],"selected_admin_bypass_ips":[],)"
                     R"("selected_bypass_ip_entries":[])"});
  EXPECT_EQ(Story(), LogsFailure("no_admin_bypass_ips"));
  EXPECT_EQ(State(), "disconnected; " + kPinnedRoute + "; " + kTunnelUp);
}

TEST_F(ConnectWithoutBypassRoutes, TheReplyCarriesTheDelayThatTheGuardReadAndTheStatusTheLaterOne) {
  machine.environment.SetProcess(L"VELTRANE_POC_ADMIN_BYPASS", L"1");
  SetAutoStop(L"45");
  // The guard's two settings have been read; the bypass reads the second once more.
  machine.OnCall("ReadProcessVariable", 3, [&] { SetAutoStop(L"60"); });
  EXPECT_THAT(Handle(kConnect),
              HasSubstr(R"("skipped_for_safe_mode":false,"auto_stop_seconds":45,"message")"));
  EXPECT_THAT(Handle(kStatus),
              HasSubstr(R"("skipped_for_safe_mode":false,"auto_stop_seconds":60,"message")"));
  EXPECT_FALSE(server.auto_stop_thread.joinable());
}

}  // namespace
}  // namespace veltrane
