// A connect in a Remote Desktop session without the guard: it would cut off the administrator and
// is refused, after the bypass routes were applied and removed again.

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/scenarios/scenario.h"

namespace veltrane {
namespace {

class ConnectOverRemoteDesktop : public Scenario {
 protected:
  ConnectOverRemoteDesktop() { machine.sessions.SetRemoteSession(true); }
};

// The guard's own flag stays clear, although the error has its name.
const std::string kRefused =
    R"j({"ok":false,"error":"poc_route_guard_failed","message":"RDP session detected; set )j"
    R"j(VELTRANE_POC_DISABLE_DEFAULT_ROUTE=1 (Machine env + restart VeltraneVpnService)",)j";
const std::string kGuard =
    R"j("poc_route_guard":{"effective_disable_default_route":false,)j"
    R"j("poc_route_guard_failed":false,"poc_default_route_detected":false,)j"
    R"j("poc_env_read_failed":false,"rdp_session_active":true,"auto_stop_scheduled":false,)j"
    R"j("auto_stop_seconds":0,"effective_auto_stop_seconds":0,)j"
    R"j("process_env_VELTRANE_POC_DISABLE_DEFAULT_ROUTE":"",)j"
    R"j("machine_env_VELTRANE_POC_DISABLE_DEFAULT_ROUTE":"",)j"
    R"j("user_env_VELTRANE_POC_DISABLE_DEFAULT_ROUTE":"",)j"
    R"j("process_env_VELTRANE_POC_AUTO_STOP_SECONDS":"",)j"
    R"j("machine_env_VELTRANE_POC_AUTO_STOP_SECONDS":"",)j"
    R"j("user_env_VELTRANE_POC_AUTO_STOP_SECONDS":"",)j"
    R"j("generated_allowed_ips_before":"0.0.0.0/0, ::/0",)j"
    R"j("failure_reason":"rdp_requires_disable_default_route","message":"RDP session detected; )j"
    R"j(set VELTRANE_POC_DISABLE_DEFAULT_ROUTE=1 (Machine env + restart VeltraneVpnService)"})j";

TEST_F(ConnectOverRemoteDesktop, WithBypassOffItIsRefused) {
  EXPECT_EQ(Handle(kConnect), kRefused + kBypassOff + "," + kGuard + "}");
  EXPECT_EQ(Phase(), "disconnected");
  EXPECT_EQ(NodeId(), "");
  EXPECT_EQ(Story(), std::vector<std::string>{
                         "PrintError [Veltrane][admin_bypass] enabled=0 applied=0 failure="});
  EXPECT_EQ(machine.files.AllFiles(), std::vector<std::wstring>{});
  EXPECT_EQ(machine.services.Names(), std::vector<std::wstring>{});
}

TEST_F(ConnectOverRemoteDesktop, TheReplyCarriesTheBypassAsItWasApplied) {
  SetAdministrator();
  EXPECT_EQ(Handle(kConnect),
            kRefused +
                R"("admin_bypass":{"enabled":true,"attempted":true,"applied":true,)"
                R"("routes_ready_before_tunnel":true,"route_readded_after_tunnel":false,)"
                R"("required_enforced":true,"skipped_for_safe_mode":false,"auto_stop_seconds":0,)"
                R"("client_ip":"203.0.113.5","gateway":"192.168.1.1",)"
                R"("message":"required admin bypass host routes verified before tunnel",)" +
                kGathered + "," + kPhysical + R"(,"route_add_results":"203.0.113.5:added;",)" +
                kAddedDetail + R"(,"route_verify_before_tunnel":"203.0.113.5:ok(metric=1);"},)" +
                kGuard + "}");
}

TEST_F(ConnectOverRemoteDesktop, TheRoutesAreRemovedAgain) {
  SetAdministrator();
  Handle(kConnect);
  EXPECT_EQ(Story(), (std::vector<std::string>{
                         "CreateForwardRow 203.0.113.5/32 via 192.168.1.1 if 12 metric 1",
                         "PrintError [Veltrane][admin_bypass] enabled=1 applied=1 failure=",
                         "DeleteForwardRow 203.0.113.5/32 via 192.168.1.1 if 12 metric 1",
                         "PrintError [Veltrane][admin_bypass] enabled=1 applied=0 failure="}));
  EXPECT_EQ(machine.routes.Texts(), (std::vector<std::string>{kDefaultRoute, kLocalRoute}));
  EXPECT_EQ(machine.console.Debugger(), kLogApplied + kLogNotApplied);
}

TEST_F(ConnectOverRemoteDesktop, AStatusAfterwardsShowsTheBypassAfterItsRemoval) {
  SetAdministrator();
  Handle(kConnect);
  EXPECT_EQ(Handle(kStatus),
            R"({"ok":true,"phase":"disconnected","tunnel_running":false,)"
            R"("admin_bypass":{"enabled":true,"attempted":true,"applied":false,)"
            R"("routes_ready_before_tunnel":false,"route_readded_after_tunnel":false,)"
            R"("required_enforced":true,"skipped_for_safe_mode":false,"auto_stop_seconds":0,)"
            R"("client_ip":"203.0.113.5","gateway":"192.168.1.1",)"
            R"("message":"required admin bypass host routes verified before tunnel",)" +
                kGathered + "," + kPhysical + R"(,"route_add_results":"203.0.113.5:added;",)" +
                kAddedDetail + R"(,"route_verify_before_tunnel":"203.0.113.5:ok(metric=1);"},)" +
                kFreshGuard + "}");
}

TEST_F(ConnectOverRemoteDesktop, ABypassThatFailsDoesNotChangeTheRefusal) {
  machine.environment.SetProcess(L"VELTRANE_POC_ADMIN_BYPASS", L"1");
  EXPECT_EQ(Handle(kConnect),
            kRefused +
                R"("admin_bypass":{"enabled":true,"attempted":true,"applied":false,)"
                R"("routes_ready_before_tunnel":false,"route_readded_after_tunnel":false,)"
                R"("required_enforced":true,"skipped_for_safe_mode":false,"auto_stop_seconds":0,)"
                R"("message":"no required RDP/admin IPs detected; set ADMIN_BYPASS_IP, )"
                R"(ADMIN_BYPASS_IPS, or establish RDP before connecting",)"
                R"("failure_reason":"no_admin_bypass_ips","rdp_tcp_remote_addresses":[],)"
                R"("admin_env_ips":[],"selected_admin_bypass_ips":[],)"
                R"("selected_bypass_ip_entries":[]},)" +
                kGuard + "}");
  EXPECT_EQ(machine.console.Error(),
            L"[Veltrane][admin_bypass] enabled=1 applied=0 failure=no_admin_bypass_ips\n"
            L"[Veltrane][admin_bypass] enabled=1 applied=0 failure=no_admin_bypass_ips\n");
}

TEST_F(ConnectOverRemoteDesktop, ThePhaseIsStillConnectingWhileTheRoutesAreRemoved) {
  SetAdministrator();
  std::string phase;
  machine.OnCall("DeleteForwardRow", 1, [&] { phase = Phase(); });
  Handle(kConnect);
  EXPECT_EQ(phase, "connecting");
  EXPECT_EQ(Phase(), "disconnected");
}

TEST_F(ConnectOverRemoteDesktop, ARunningTunnelIsLeftAsItIs) {
  machine.sessions.SetRemoteSession(false);
  Handle(kConnect);
  machine.sessions.SetRemoteSession(true);
  StartStory();
  Handle(kConnectElsewhere);
  EXPECT_EQ(Phase(), "disconnected");
  EXPECT_EQ(NodeId(), "");
  EXPECT_EQ(machine.Changes(), std::vector<std::string>{});
  EXPECT_EQ(machine.files.Bytes(kActiveConf), kConf);
  EXPECT_EQ(machine.services.Find(kTunnelService)->state, simulated::kRunning);
}

}  // namespace
}  // namespace veltrane
