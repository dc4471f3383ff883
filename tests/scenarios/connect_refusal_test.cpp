// A connect that is refused before anything is started: by its profile, by the guard, or because
// this is a Remote Desktop session without the guard.

#include <stdexcept>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/scenarios/scenario.h"

namespace veltrane {
namespace {

using ConnectRefusal = Scenario;

const std::string kNodeMissing = R"({"op":"connect","client_private_key":"CLIENTKEY="})";
const std::string kKeyMissing = R"({"op":"connect","node_id":"fra-1"})";
const std::string kIncomplete =
    R"({"ok":false,"error":"invalid_profile","message":"missing required fields"})";

TEST_F(ConnectRefusal, AProfileWithoutNodeIsInvalid) {
  EXPECT_EQ(Handle(kNodeMissing), kIncomplete);
}

TEST_F(ConnectRefusal, AProfileWithoutPrivateKeyIsInvalid) {
  EXPECT_EQ(Handle(kKeyMissing), kIncomplete);
}

TEST_F(ConnectRefusal, AnInvalidProfileTouchesNothing) {
  SetAdministrator();
  Handle(kKeyMissing);
  EXPECT_EQ(Phase(), "disconnected");
  EXPECT_EQ(machine.calls.All(), std::vector<std::string>{});
}

TEST_F(ConnectRefusal, AnInvalidProfileLeavesAConnectionAsItIs) {
  SetAdministrator();
  Handle(kConnect);
  StartStory();
  EXPECT_EQ(Handle(kNodeMissing), kIncomplete);
  EXPECT_EQ(Phase(), "connected");
  EXPECT_EQ(NodeId(), "fra-1");
  EXPECT_EQ(machine.calls.All(), std::vector<std::string>{});
}

TEST_F(ConnectRefusal, APortThatIsNoNumberIsRaisedBeforeTheMissingFieldsAreSeen) {
  try {
    Handle(R"({"op":"connect","endpoint_port":"abc"})");
    FAIL() << "nothing was raised";
  } catch (const std::invalid_argument& error) {
    EXPECT_STREQ(error.what(), "invalid stoi argument");
  }
  EXPECT_EQ(Phase(), "disconnected");
  EXPECT_EQ(machine.calls.All(), std::vector<std::string>{});
}

TEST_F(ConnectRefusal, APortBeyondTheRangeIsRaised) {
  try {
    Handle(R"({"op":"connect","node_id":"n","client_private_key":"k",)"
           R"("endpoint_port":"99999999999"})");
    FAIL() << "nothing was raised";
  } catch (const std::out_of_range& error) {
    EXPECT_STREQ(error.what(), "stoi argument out of range");
  }
  EXPECT_EQ(Phase(), "disconnected");
}

TEST_F(ConnectRefusal, AWrongSessionIsRefusedBeforeThePortIsRead) {
  Handle(R"({"op":"register_session","session_nonce":"abc"})");
  EXPECT_EQ(Handle(R"({"op":"connect","session_nonce":"abcd","endpoint_port":"abc"})"),
            R"({"ok":false,"error":"session_mismatch","message":"invalid session"})");
  EXPECT_EQ(Phase(), "disconnected");
  EXPECT_EQ(machine.calls.All(), std::vector<std::string>{});
}

// In a Remote Desktop session, the machine's setting is on and the process's overrides it.
class SettingsUnreadable : public Scenario {
 protected:
  SettingsUnreadable() {
    SetGuard();
    machine.environment.SetProcess(L"VELTRANE_POC_DISABLE_DEFAULT_ROUTE", L"0");
    machine.sessions.SetRemoteSession(true);
  }
};

TEST_F(SettingsUnreadable, TheReplyCarriesAFreshBypassRecord) {
  SetAdministrator();
  SetAutoStop(L"60");
  EXPECT_EQ(Handle(kConnect),
            R"({"ok":false,"error":"poc_env_read_failed",)"
            R"("message":"Machine VELTRANE_POC_DISABLE_DEFAULT_ROUTE unreadable or invalid",)" +
                kFreshBypass +
                R"(,"poc_route_guard":{"effective_disable_default_route":false,)"
                R"("poc_route_guard_failed":true,"poc_default_route_detected":false,)"
                R"("poc_env_read_failed":true,"rdp_session_active":true,)"
                R"("auto_stop_scheduled":false,"auto_stop_seconds":60,)"
                R"("effective_auto_stop_seconds":60,)"
                R"("process_env_VELTRANE_POC_DISABLE_DEFAULT_ROUTE":"0",)"
                R"("machine_env_VELTRANE_POC_DISABLE_DEFAULT_ROUTE":"1",)"
                R"("user_env_VELTRANE_POC_DISABLE_DEFAULT_ROUTE":"",)"
                R"("process_env_VELTRANE_POC_AUTO_STOP_SECONDS":"",)"
                R"("machine_env_VELTRANE_POC_AUTO_STOP_SECONDS":"60",)"
                R"("user_env_VELTRANE_POC_AUTO_STOP_SECONDS":"",)"
                R"("failure_reason":"poc_env_read_failed",)"
                R"("message":"Machine VELTRANE_POC_DISABLE_DEFAULT_ROUTE )"
                R"(unreadable or invalid"}})");
  EXPECT_EQ(Phase(), "disconnected");
}

TEST_F(SettingsUnreadable, NeitherTheNetworksNorTheAddressesAreLookedAt) {
  SetAdministrator();
  Handle(kConnect);
  EXPECT_EQ(Story(), std::vector<std::string>{});
  EXPECT_EQ(machine.calls.Count("ReadTcpConnections"), 0U);
  EXPECT_EQ(machine.calls.Count("ReadForwardTable"), 0U);
  EXPECT_EQ(Handle(kStatus), R"({"ok":true,"phase":"disconnected","tunnel_running":false,)" +
                                 kFreshBypass + "," + kFreshGuard + "}");
}

TEST_F(SettingsUnreadable, ARunningTunnelStaysAndOnlyThePhaseIsLost) {
  machine.sessions.SetRemoteSession(false);
  SetAdministrator();
  Handle(kConnect);
  const std::string bypass_before = Handle(kStatus);
  machine.sessions.SetRemoteSession(true);
  StartStory();
  const std::string reply = Handle(kConnectElsewhere);
  EXPECT_TRUE(reply.starts_with(
      R"({"ok":false,"error":"poc_env_read_failed",)"
      R"("message":"Machine VELTRANE_POC_DISABLE_DEFAULT_ROUTE unreadable or invalid",)" +
      kFreshBypass + R"(,"poc_route_guard":{)"))
      << reply;
  EXPECT_EQ(Phase(), "disconnected");
  EXPECT_EQ(NodeId(), "");
  EXPECT_EQ(Story(), std::vector<std::string>{});
  EXPECT_EQ(machine.files.Bytes(kActiveConf), kConf);
  EXPECT_TRUE(machine.routes.Has(kPinnedRoute));
  EXPECT_EQ(Handle(kStatus), R"({"ok":true,"phase":"disconnected","tunnel_running":true)" +
                                 bypass_before.substr(bypass_before.find(R"(,"admin_bypass")")));
}

// With the guard in force, a catch-all in the endpoint shows up in the rendered configuration.
const std::string kCatchAllEndpoint =
    R"({"op":"connect","node_id":"fra-1","address_cidr":"10.7.3.9/32","endpoint_host":"::/0",)"
    R"("client_private_key":"CLIENTKEY=","allowed_ips_csv":"0.0.0.0/0, ::/0"})";
const std::string kGuardFailed =
    R"("poc_route_guard":{"effective_disable_default_route":true,"poc_route_guard_failed":true,)"
    R"("poc_default_route_detected":false,"poc_env_read_failed":false,"rdp_session_active":false,)"
    R"("auto_stop_scheduled":false,"auto_stop_seconds":0,"effective_auto_stop_seconds":0,)"
    R"("process_env_VELTRANE_POC_DISABLE_DEFAULT_ROUTE":"",)"
    R"("machine_env_VELTRANE_POC_DISABLE_DEFAULT_ROUTE":"1",)"
    R"("user_env_VELTRANE_POC_DISABLE_DEFAULT_ROUTE":"",)"
    R"("process_env_VELTRANE_POC_AUTO_STOP_SECONDS":"",)"
    R"("machine_env_VELTRANE_POC_AUTO_STOP_SECONDS":"",)"
    R"("user_env_VELTRANE_POC_AUTO_STOP_SECONDS":"",)"
    R"("generated_allowed_ips_before":"0.0.0.0/0, ::/0",)"
    R"("generated_allowed_ips_after":"10.7.3.0/24",)"
    R"("failure_reason":"poc_route_guard_failed",)"
    R"("message":"generated WireGuard config still contains catch-all AllowedIPs"})";

TEST_F(ConnectRefusal, AGuardThatFailsIsReportedAfterTheBypassWasSkipped) {
  SetGuard();
  EXPECT_EQ(Handle(kCatchAllEndpoint),
            R"({"ok":false,"error":"poc_route_guard_failed",)"
            R"("message":"generated WireGuard config still contains catch-all AllowedIPs",)"
            R"("admin_bypass":{"enabled":false,"attempted":false,"applied":false,)"
            R"("routes_ready_before_tunnel":false,"route_readded_after_tunnel":false,)"
            R"("required_enforced":false,"skipped_for_safe_mode":true,"auto_stop_seconds":0,)"
            R"("message":"admin bypass disabled for this build/config"},)" +
                kGuardFailed + "}");
  EXPECT_EQ(Phase(), "disconnected");
  EXPECT_EQ(NodeId(), "");
  EXPECT_EQ(Story(),
            std::vector<std::string>{"PrintError [Veltrane][admin_bypass] enabled=0 applied=0 "
                                     "failure="});
  EXPECT_EQ(machine.files.AllFiles(), std::vector<std::wstring>{});
  EXPECT_EQ(machine.services.Names(), std::vector<std::wstring>{});
}

TEST_F(ConnectRefusal, AFailedGuardReportsTheBypassAsItWasBeforeItsRemoval) {
  SetGuard();
  SetAdministrator();
  EXPECT_EQ(Handle(kCatchAllEndpoint),
            R"j({"ok":false,"error":"poc_route_guard_failed",)j"
            R"j("message":"generated WireGuard config still contains catch-all AllowedIPs",)j"
            R"j("admin_bypass":{"enabled":true,"attempted":true,"applied":false,)j"
            R"j("routes_ready_before_tunnel":true,"route_readded_after_tunnel":false,)j"
            R"j("required_enforced":false,"skipped_for_safe_mode":true,"auto_stop_seconds":0,)j"
            R"j("message":"admin bypass skipped for POC safe mode (disable-default-route)",)j" +
                kGathered + "}," + kGuardFailed + "}");
  EXPECT_EQ(machine.console.Error(), kLogNotApplied + kLogNotApplied);
  EXPECT_EQ(Handle(kStatus),
            R"j({"ok":true,"phase":"disconnected","tunnel_running":false,)j"
            R"j("admin_bypass":{"enabled":true,"attempted":true,"applied":false,)j"
            R"j("routes_ready_before_tunnel":false,"route_readded_after_tunnel":false,)j"
            R"j("required_enforced":false,"skipped_for_safe_mode":true,"auto_stop_seconds":0,)j"
            R"j("message":"admin bypass skipped for POC safe mode (disable-default-route)",)j" +
                kGathered + "}," + kFreshGuard + "}");
}

TEST_F(ConnectRefusal, AFailedGuardIsConnectingUntilTheRemovalIsLogged) {
  SetGuard();
  SetAdministrator();
  std::string phase;
  machine.OnCall("PrintError", 2, [&] { phase = Phase(); });  // the first logs the bypass
  Handle(kCatchAllEndpoint);
  EXPECT_EQ(phase, "connecting");
  EXPECT_EQ(Phase(), "disconnected");
}

TEST_F(ConnectRefusal, AFailedGuardCarriesTheAutoStopDelayInBothRecords) {
  SetGuard();
  SetAutoStop(L"90");
  EXPECT_EQ(Handle(kCatchAllEndpoint),
            R"({"ok":false,"error":"poc_route_guard_failed",)"
            R"("message":"generated WireGuard config still contains catch-all AllowedIPs",)"
            R"("admin_bypass":{"enabled":false,"attempted":false,"applied":false,)"
            R"("routes_ready_before_tunnel":false,"route_readded_after_tunnel":false,)"
            R"("required_enforced":false,"skipped_for_safe_mode":true,"auto_stop_seconds":90,)"
            R"("message":"admin bypass disabled for this build/config"},)"
            R"("poc_route_guard":{"effective_disable_default_route":true,)"
            R"("poc_route_guard_failed":true,"poc_default_route_detected":false,)"
            R"("poc_env_read_failed":false,"rdp_session_active":false,)"
            R"("auto_stop_scheduled":false,"auto_stop_seconds":90,)"
            R"("effective_auto_stop_seconds":90,)"
            R"("process_env_VELTRANE_POC_DISABLE_DEFAULT_ROUTE":"",)"
            R"("machine_env_VELTRANE_POC_DISABLE_DEFAULT_ROUTE":"1",)"
            R"("user_env_VELTRANE_POC_DISABLE_DEFAULT_ROUTE":"",)"
            R"("process_env_VELTRANE_POC_AUTO_STOP_SECONDS":"",)"
            R"("machine_env_VELTRANE_POC_AUTO_STOP_SECONDS":"90",)"
            R"("user_env_VELTRANE_POC_AUTO_STOP_SECONDS":"",)"
            R"("generated_allowed_ips_before":"0.0.0.0/0, ::/0",)"
            R"("generated_allowed_ips_after":"10.7.3.0/24",)"
            R"("failure_reason":"poc_route_guard_failed",)"
            R"("message":"generated WireGuard config still contains catch-all AllowedIPs"}})");
  EXPECT_FALSE(server.auto_stop_thread.joinable());
}

}  // namespace
}  // namespace veltrane
