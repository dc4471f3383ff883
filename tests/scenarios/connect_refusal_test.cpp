// A connect that is refused before anything is started: by its profile, by the guard, or because
// this is a Remote Desktop session without the guard.

#include <stdexcept>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/scenarios/scenario.h"

namespace veltrane {
namespace {

using testing::StartsWith;
using testing::StrEq;
using testing::ThrowsMessage;
using ConnectRefusal = Scenario;

TEST_F(ConnectRefusal, AProfileWithoutNodeOrPrivateKeyIsInvalidAndTouchesNothing) {
  SetAdministrator();
  for (const char* request : {R"({"op":"connect","client_private_key":"CLIENTKEY="})",
                              R"({"op":"connect","node_id":"fra-1"})"}) {
    EXPECT_EQ(Handle(request),
              R"({"ok":false,"error":"invalid_profile","message":"missing required fields"})");
    EXPECT_EQ(PhaseAndNode(), "disconnected");
  }
  EXPECT_EQ(machine.calls.All(), Texts{});
}

TEST_F(ConnectRefusal, AnInvalidProfileLeavesAConnectionAsItIs) {
  SetAdministrator();
  Handle(kConnect);
  StartStory();
  Handle(R"({"op":"connect","node_id":"ams-2"})");
  EXPECT_EQ(PhaseAndNode(), "connected fra-1");
  EXPECT_EQ(machine.calls.All(), Texts{});
}

TEST_F(ConnectRefusal, AnUnreadablePortIsRaisedBeforeTheMissingFieldsAreSeen) {
  EXPECT_THAT([this] { Handle(R"({"op":"connect","endpoint_port":"abc"})"); },
              ThrowsMessage<std::invalid_argument>(StrEq("invalid stoi argument")));
  EXPECT_THAT([this] { Handle(R"({"op":"connect","endpoint_port":"99999999999"})"); },
              ThrowsMessage<std::out_of_range>(StrEq("stoi argument out of range")));
  EXPECT_EQ(PhaseAndNode(), "disconnected");
  EXPECT_EQ(machine.calls.All(), Texts{});
}

// In a Remote Desktop session, the machine's setting is on and the process's overrides it.
class SettingsUnreadable : public Scenario {
 protected:
  SettingsUnreadable() {
    SetAdministrator();
    SetGuard();
    machine.environment.SetProcess(L"VELTRANE_POC_DISABLE_DEFAULT_ROUTE", L"0");
    machine.sessions.SetRemoteSession(true);
  }
};

const std::string kUnreadable =
    R"("message":"Machine VELTRANE_POC_DISABLE_DEFAULT_ROUTE unreadable or invalid")";

TEST_F(SettingsUnreadable, TheReplyCarriesAFreshBypassRecord) {
  SetAutoStop(L"60");
  EXPECT_EQ(Handle(kConnect),
            Reply(R"({"ok":false,"error":"poc_env_read_failed",)" + kUnreadable, kFreshBypass,
                  With(kFreshGuard,
                       {"poc_route_guard_failed", "poc_env_read_failed", "rdp_session_active",
                        R"("auto_stop_seconds":60)", R"("effective_auto_stop_seconds":60)",
                        R"("process_env_VELTRANE_POC_DISABLE_DEFAULT_ROUTE":"0")",
                        R"("machine_env_VELTRANE_POC_DISABLE_DEFAULT_ROUTE":"1")",
                        R"("machine_env_VELTRANE_POC_AUTO_STOP_SECONDS":"60")",
                        R"("failure_reason":"poc_env_read_failed")", kUnreadable})));
  EXPECT_EQ(PhaseAndNode(), "disconnected");
}

TEST_F(SettingsUnreadable, NeitherTheNetworksNorTheAddressesAreLookedAt) {
  Handle(kConnect);
  EXPECT_EQ(Story(), Texts{});
  EXPECT_EQ(machine.calls.Count("ReadTcpConnections"), 0U);
  EXPECT_EQ(machine.calls.Count("ReadForwardTable"), 0U);
  EXPECT_EQ(Handle(kStatus), Reply(kIdle));
}

TEST_F(SettingsUnreadable, ARunningTunnelStaysAndOnlyThePhaseIsLost) {
  machine.sessions.SetRemoteSession(false);
  Handle(kConnect);
  machine.sessions.SetRemoteSession(true);
  StartStory();
  EXPECT_THAT(Handle(kConnectElsewhere),
              StartsWith(R"({"ok":false,"error":"poc_env_read_failed",)" + kUnreadable + "," +
                         kFreshBypass + ","));
  EXPECT_EQ(Story(), Texts{});
  EXPECT_EQ(State(), "disconnected; " + kPinnedRoute + "; " + kTunnelUp);
  EXPECT_EQ(Handle(kStatus),
            Reply(R"({"ok":true,"phase":"disconnected","tunnel_running":true)", kBypassVerified));
}

// With the guard in force, a catch-all in the endpoint shows up in the rendered configuration.
class GuardFailure : public Scenario {
 protected:
  GuardFailure() { SetGuard(); }

  std::string Connect() {
    return Handle(
        R"({"op":"connect","node_id":"fra-1","address_cidr":"10.7.3.9/32","endpoint_host":"::/0",)"
        R"("client_private_key":"CLIENTKEY=","allowed_ips_csv":"0.0.0.0/0, ::/0"})");
  }
};

const std::string kCatchAll =
    R"("message":"generated WireGuard config still contains catch-all AllowedIPs")";
const std::string kRefused = R"({"ok":false,"error":"poc_route_guard_failed",)" + kCatchAll;
const std::string kGuardFailed =
    With(kGuardOn,
         {"poc_route_guard_failed", R"("failure_reason":"poc_route_guard_failed")", kCatchAll});

TEST_F(GuardFailure, IsReportedAfterTheBypassWasSkipped) {
  EXPECT_EQ(Connect(), Reply(kRefused, kBypassOffUnderGuard, kGuardFailed));
  EXPECT_EQ(Story(), kLogsOff);
  EXPECT_EQ(State(), "disconnected");
}

TEST_F(GuardFailure, ReportsTheBypassAsItWasBeforeItsRemoval) {
  SetAdministrator();
  NotePhasesAt({"PrintError"});
  EXPECT_EQ(Connect(), Reply(kRefused, kBypassSkipped, kGuardFailed));
  EXPECT_EQ(Story(), Steps({kLogsRemoved, kLogsRemoved}));
  EXPECT_EQ(phases, (Texts{"connecting", "connecting"}));
  EXPECT_EQ(Handle(kStatus), Reply(kIdle, Removed(kBypassSkipped)));
}

TEST_F(GuardFailure, CarriesTheAutoStopDelayInBothRecords) {
  SetAutoStop(L"90");
  EXPECT_EQ(
      Connect(),
      Reply(kRefused, With(kBypassOffUnderGuard, {R"("auto_stop_seconds":90)"}),
            With(kGuardFailed, {R"("auto_stop_seconds":90)", R"("effective_auto_stop_seconds":90)",
                                R"("machine_env_VELTRANE_POC_AUTO_STOP_SECONDS":"90")"})));
  EXPECT_FALSE(server.auto_stop_thread.joinable());
}

// ---- a Remote Desktop session without the guard

// The connect would cut off the administrator and is refused, after the bypass routes were applied
// and removed again.
class ConnectOverRemoteDesktop : public Scenario {
 protected:
  ConnectOverRemoteDesktop() { machine.sessions.SetRemoteSession(true); }
};

const std::string kRdp =
    R"j("message":"RDP session detected; set )j"
    R"j(VELTRANE_POC_DISABLE_DEFAULT_ROUTE=1 (Machine env + restart VeltraneVpnService)")j";
const std::string kRdpRefused = R"({"ok":false,"error":"poc_route_guard_failed",)" + kRdp;
// The guard's own flag stays clear, although the error has its name.
const std::string kRdpGuard =
    With(kGuardOff,
         {"rdp_session_active", R"("failure_reason":"rdp_requires_disable_default_route")", kRdp});

TEST_F(ConnectOverRemoteDesktop, WithBypassOffItIsRefused) {
  EXPECT_EQ(Handle(kConnect), Reply(kRdpRefused, kBypassOff, kRdpGuard));
  EXPECT_EQ(Story(), kLogsOff);
  EXPECT_EQ(State(), "disconnected");
}

TEST_F(ConnectOverRemoteDesktop, TheReplyCarriesTheBypassAsItWasAppliedAndTheStatusAsItWasRemoved) {
  SetAdministrator();
  NotePhasesAt({"DeleteForwardRow"});
  EXPECT_EQ(Handle(kConnect), Reply(kRdpRefused, kBypassApplied, kRdpGuard));
  EXPECT_EQ(Story(), Steps({kPins, kUnpins}));
  EXPECT_EQ(phases, Texts{"connecting"});
  EXPECT_EQ(State(), "disconnected");
  EXPECT_EQ(Handle(kStatus), Reply(kIdle, Removed(kBypassApplied)));
}

TEST_F(ConnectOverRemoteDesktop, ABypassThatFailsDoesNotChangeTheRefusal) {
  machine.environment.SetProcess(L"VELTRANE_POC_ADMIN_BYPASS", L"1");
  EXPECT_EQ(Handle(kConnect),
            Reply(kRdpRefused,
                  With(kFreshBypass,
                       {"enabled", "attempted", "required_enforced",
                        R"("message":"no required RDP/admin IPs detected; set ADMIN_BYPASS_IP, )"
                        R"(ADMIN_BYPASS_IPS, or establish RDP before connecting",)"
                        R"("failure_reason":"no_admin_bypass_ips","rdp_tcp_remote_addresses":[],)"
                        R"("admin_env_ips":[],"selected_admin_bypass_ips":[],)"
                        R"("selected_bypass_ip_entries":[])"}),
                  kRdpGuard));
  EXPECT_EQ(machine.console.Error(),
            L"[Veltrane][admin_bypass] enabled=1 applied=0 failure=no_admin_bypass_ips\n"
            L"[Veltrane][admin_bypass] enabled=1 applied=0 failure=no_admin_bypass_ips\n");
}

TEST_F(ConnectOverRemoteDesktop, ARunningTunnelIsLeftAsItIs) {
  machine.sessions.SetRemoteSession(false);
  Handle(kConnect);
  machine.sessions.SetRemoteSession(true);
  StartStory();
  Handle(kConnectElsewhere);
  EXPECT_EQ(machine.Changes(), Texts{});
  EXPECT_EQ(State(), "disconnected; " + kTunnelUp);
}

}  // namespace
}  // namespace veltrane
