// What a connect finds once the tunnel service runs: a default route of the tunnel, pinned routes
// that were disturbed, a table that cannot be read.

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/scenarios/scenario.h"

namespace veltrane {
namespace {

// A tunnel that, when it starts, takes the default route; the route goes when the tunnel stops.
class TunnelWithDefaultRoute : public Scenario {
 protected:
  TunnelWithDefaultRoute() {
    machine.routes.AddInterface(40, L"Veltrane WireGuard");
    machine.services.OnRunning(
        [this](const std::wstring&) { machine.routes.Add("0.0.0.0/0", "10.7.3.1", 40, 5); });
    machine.services.OnStopped([this](const std::wstring&) { machine.routes.Remove("0.0.0.0/0"); });
  }
};

const std::string kBothDefaultRoutes =
    R"("default_routes_before_tunnel":"0.0.0.0/0->192.168.1.1@if12:Ethernet:metric=25",)"
    R"("default_routes_after_tunnel":"0.0.0.0/0->10.7.3.1@if40:Veltrane WireGuard:metric=5;)"
    R"(0.0.0.0/0->192.168.1.1@if12:Ethernet:metric=25")";

TEST_F(TunnelWithDefaultRoute, WithTheGuardTheConnectIsRefused) {
  SetGuard();
  EXPECT_EQ(Handle(kConnect),
            R"({"ok":false,"error":"poc_default_route_detected",)"
            R"("message":"tunnel installed a default route on WireGuard/Wintun interface",)"
            R"("admin_bypass":{"enabled":false,"attempted":false,"applied":false,)"
            R"("routes_ready_before_tunnel":false,"route_readded_after_tunnel":false,)"
            R"("required_enforced":false,"skipped_for_safe_mode":true,"auto_stop_seconds":0,)"
            R"("message":"admin bypass disabled for this build/config"},)"
            R"("poc_route_guard":{"effective_disable_default_route":true,)"
            R"("poc_route_guard_failed":false,"poc_default_route_detected":true,)"
            R"("poc_env_read_failed":false,"rdp_session_active":false,)"
            R"("auto_stop_scheduled":false,"auto_stop_seconds":0,)"
            R"("effective_auto_stop_seconds":0,)"
            R"("process_env_VELTRANE_POC_DISABLE_DEFAULT_ROUTE":"",)"
            R"("machine_env_VELTRANE_POC_DISABLE_DEFAULT_ROUTE":"1",)"
            R"("user_env_VELTRANE_POC_DISABLE_DEFAULT_ROUTE":"",)"
            R"("process_env_VELTRANE_POC_AUTO_STOP_SECONDS":"",)"
            R"("machine_env_VELTRANE_POC_AUTO_STOP_SECONDS":"",)"
            R"("user_env_VELTRANE_POC_AUTO_STOP_SECONDS":"",)"
            R"("generated_allowed_ips_before":"0.0.0.0/0, ::/0",)"
            R"("generated_allowed_ips_after":"10.7.3.0/24",)" +
                kBothDefaultRoutes +
                R"(,"rdp_routes_before_tunnel":"none","rdp_routes_after_tunnel":"none",)"
                R"("offending_default_route":)"
                R"("0.0.0.0/0->10.7.3.1@if40:Veltrane WireGuard:metric=5",)"
                R"("failure_reason":"poc_default_route_detected",)"
                R"("message":"tunnel installed a default route on WireGuard/Wintun interface"}})");
  EXPECT_EQ(Phase(), "disconnected");
  EXPECT_EQ(NodeId(), "");
}

TEST_F(TunnelWithDefaultRoute, WithTheGuardTheTunnelIsTornDownAgain) {
  SetGuard();
  SetAdministrator();
  std::string phase;
  machine.OnCall("RemoveFile", 1, [&] { phase = Phase(); });
  Handle(kConnect);
  std::vector<std::string> writes = kWritesConf;
  writes[3] = R"(OutputFile.Write C:\ProgramData\Veltrane\tunnels\active.conf.tmp 170 bytes)";
  EXPECT_EQ(Story(), Steps({{"PrintError [Veltrane][admin_bypass] enabled=1 applied=0 failure="},
                            writes,
                            kStartsTunnel,
                            kStopsTunnel,
                            {"PrintError [Veltrane][admin_bypass] enabled=1 applied=0 failure="},
                            kScrubsConf}));
  EXPECT_EQ(phase, "connecting");
  EXPECT_EQ(machine.services.Names(), std::vector<std::wstring>{});
  EXPECT_EQ(machine.files.Bytes(kActiveConf), kScrubbed);
}

TEST_F(TunnelWithDefaultRoute, WithTheGuardTheReplyKeepsTheBypassAsItWasBeforeTheTeardown) {
  SetGuard();
  SetAdministrator();
  const std::string reply = Handle(kConnect);
  const std::string bypass =
      R"j("admin_bypass":{"enabled":true,"attempted":true,"applied":false,)j"
      R"j("routes_ready_before_tunnel":true,"route_readded_after_tunnel":false,)j"
      R"j("required_enforced":false,"skipped_for_safe_mode":true,"auto_stop_seconds":0,)j"
      R"j("message":"admin bypass skipped for POC safe mode (disable-default-route)",)j" +
      kGathered + R"(},"poc_route_guard")";
  EXPECT_NE(reply.find(bypass), std::string::npos) << reply;
  EXPECT_NE(Handle(kStatus).find(R"("applied":false,"routes_ready_before_tunnel":false,)"),
            std::string::npos);
}

TEST_F(TunnelWithDefaultRoute, WithoutTheGuardItIsAllowed) {
  EXPECT_EQ(Handle(kConnect),
            R"({"ok":true,"phase":"connected","node_id":"fra-1",)" + kBypassOff + "," + kGuardOff +
                "," + kBothDefaultRoutes +
                R"(,"rdp_routes_before_tunnel":"none","rdp_routes_after_tunnel":"none",)"
                R"("message":"disable-default-route not active"}})");
  EXPECT_EQ(Phase(), "connected");
}

TEST_F(TunnelWithDefaultRoute, OnAnInterfaceWithAnotherNameItIsAllowedUnderTheGuard) {
  SetGuard();
  machine.routes.AddInterface(40, L"vpn0", L"Wintun Userspace Tunnel");
  Handle(kConnect);
  EXPECT_EQ(Phase(), "connected");
}

using AfterStart = Scenario;

TEST_F(AfterStart, AnUnreadableTableIsReportedAndIsNoRefusalUnderTheGuard) {
  SetGuard();
  machine.services.OnRunning(
      [this](const std::wstring&) { machine.FailAlways("ReadForwardTable", 5); });
  EXPECT_EQ(Handle(kConnect),
            R"j({"ok":true,"phase":"connected","node_id":"fra-1",)j"
            R"j("admin_bypass":{"enabled":false,"attempted":false,"applied":false,)j"
            R"j("routes_ready_before_tunnel":false,"route_readded_after_tunnel":false,)j"
            R"j("required_enforced":false,"skipped_for_safe_mode":true,"auto_stop_seconds":0,)j"
            R"j("message":"admin bypass disabled for this build/config"},)j" +
                kGuardOn +
                R"j(,"default_routes_before_tunnel":)j"
                R"j("0.0.0.0/0->192.168.1.1@if12:Ethernet:metric=25",)j"
                R"j("default_routes_after_tunnel":"unavailable",)j"
                R"j("rdp_routes_before_tunnel":"none","rdp_routes_after_tunnel":"unavailable",)j"
                R"j("message":"POC safe AllowedIPs applied (no catch-all)"}})j");
}

// A tunnel whose start disturbs the pinned route. Each test says how.
class DisturbedRoute : public Scenario {
 protected:
  DisturbedRoute() { SetAdministrator(); }

  void OnStart(std::function<void()> disturb) {
    machine.services.OnRunning([disturb](const std::wstring&) { disturb(); });
  }

  // The bypass report of a connect whose apply went well and whose second check had this outcome.
  static std::string Bypass(const std::string& flags, const std::string& message,
                            const std::string& results, const std::string& verified_after) {
    return R"("admin_bypass":{)" + flags +
           R"("required_enforced":true,"skipped_for_safe_mode":false,"auto_stop_seconds":0,)"
           R"("client_ip":"203.0.113.5","gateway":"192.168.1.1",)" +
           message + kGathered + "," + kPhysical + R"(,"route_add_results":")" + results + "\"," +
           kAddedDetail +
           R"(,"route_verify_before_tunnel":"203.0.113.5:ok(metric=1);",)"
           R"("route_verify_after_tunnel":")" +
           verified_after + "\"}";
  }
  static std::string Guard(const std::string& routes_after) {
    return kGuardOff + "," + kDefaultRoutesKept +
           R"(,"rdp_routes_before_tunnel":"203.0.113.5/32->192.168.1.1@if12",)"
           R"("rdp_routes_after_tunnel":")" +
           routes_after + R"(","message":"disable-default-route not active"}})";
  }
};

const std::string kRestoredFlags =
    R"("enabled":true,"attempted":true,"applied":true,"routes_ready_before_tunnel":true,)"
    R"("route_readded_after_tunnel":true,)";
const std::string kRestored =
    R"("message":"admin bypass routes re-added and verified after tunnel",)";
const std::string kLostFlags =
    R"("enabled":true,"attempted":true,"applied":false,"routes_ready_before_tunnel":false,)"
    R"("route_readded_after_tunnel":true,)";
const std::string kLost =
    R"("message":"admin bypass routes lost after tunnel start and could not be restored",)";
const std::string kLostReason = R"("failure_reason":"route_verify_after_tunnel_failed",)";
const std::vector<std::string> kPins = {
    "CreateForwardRow 203.0.113.5/32 via 192.168.1.1 if 12 metric 1",
    "PrintError [Veltrane][admin_bypass] enabled=1 applied=1 failure="};

TEST_F(DisturbedRoute, ALostRouteIsAddedAgain) {
  OnStart([this] { machine.routes.Remove("203.0.113.5/32"); });
  EXPECT_EQ(Handle(kConnect), R"({"ok":true,"phase":"connected","node_id":"fra-1",)" +
                                  Bypass(kRestoredFlags, kRestored, "203.0.113.5:added;",
                                         "203.0.113.5:ok(metric=1);") +
                                  "," + Guard("none"));
  EXPECT_EQ(Phase(), "connected");
  EXPECT_EQ(Story(), Steps({kPins, kWritesConf, kStartsTunnel, kPins}));
  EXPECT_EQ(machine.routes.Texts(),
            (std::vector<std::string>{kDefaultRoute, kLocalRoute, kPinnedRoute}));
}

TEST_F(DisturbedRoute, ADisconnectDeletesARouteThatWasAddedTwiceTwice) {
  OnStart([this] { machine.routes.Remove("203.0.113.5/32"); });
  Handle(kConnect);
  Handle(kDisconnect);
  EXPECT_EQ(
      machine.calls.Of("DeleteForwardRow"),
      (std::vector<std::string>{"DeleteForwardRow 203.0.113.5/32 via 192.168.1.1 if 12 metric 1",
                                "DeleteForwardRow 203.0.113.5/32 via 192.168.1.1 if 12 metric 1"}));
  EXPECT_EQ(machine.routes.Texts(), (std::vector<std::string>{kDefaultRoute, kLocalRoute}));
}

TEST_F(DisturbedRoute, AMetricOf15IsStillGood) {
  OnStart([this] { machine.routes.SetMetric("203.0.113.5/32", 15); });
  EXPECT_EQ(Handle(kConnect),
            R"({"ok":true,"phase":"connected","node_id":"fra-1",)" +
                Bypass(R"("enabled":true,"attempted":true,"applied":true,)"
                       R"("routes_ready_before_tunnel":true,"route_readded_after_tunnel":false,)",
                       R"("message":"admin bypass routes verified after tunnel",)",
                       "203.0.113.5:added;", "203.0.113.5:ok(metric=15);") +
                "," + Guard("203.0.113.5/32->192.168.1.1@if12"));
}

TEST_F(DisturbedRoute, ARouteThatBecameTooCostlyCannotBeRestored) {
  OnStart([this] { machine.routes.SetMetric("203.0.113.5/32", 16); });
  EXPECT_EQ(Handle(kConnect),
            R"({"ok":false,"error":"admin_bypass_failed",)" + kLost +
                Bypass(kLostFlags, kLost + kLostReason, "203.0.113.5:add_failed(5010);",
                       "203.0.113.5:metric_high(16);") +
                "," + Guard("203.0.113.5/32->192.168.1.1@if12"));
}

TEST_F(DisturbedRoute, ARouteThatCannotBeRestoredEndsInTheTeardown) {
  OnStart([this] {
    machine.routes.Remove("203.0.113.5/32");
    machine.FailAlways("CreateForwardRow", 87);
  });
  EXPECT_EQ(Handle(kConnect), R"({"ok":false,"error":"admin_bypass_failed",)" + kLost +
                                  Bypass(kLostFlags, kLost + kLostReason,
                                         "203.0.113.5:add_failed(87);", "203.0.113.5:missing;") +
                                  "," + Guard("none"));
  EXPECT_EQ(Phase(), "disconnected");
  EXPECT_EQ(NodeId(), "");
  EXPECT_EQ(Story(), Steps({kPins,
                            kWritesConf,
                            kStartsTunnel,
                            {"CreateForwardRow 203.0.113.5/32 via 192.168.1.1 if 12 metric 1",
                             "PrintError [Veltrane][admin_bypass] enabled=1 applied=0 "
                             "failure=route_verify_after_tunnel_failed"},
                            kStopsTunnel,
                            {"DeleteForwardRow 203.0.113.5/32 via 192.168.1.1 if 12 metric 1",
                             "PrintError [Veltrane][admin_bypass] enabled=1 applied=0 "
                             "failure=route_verify_after_tunnel_failed"},
                            kScrubsConf}));
  EXPECT_EQ(machine.routes.Texts(), (std::vector<std::string>{kDefaultRoute, kLocalRoute}));
  EXPECT_EQ(machine.services.Names(), std::vector<std::wstring>{});
  EXPECT_EQ(machine.files.Bytes(kActiveConf), kScrubbed);
}

TEST_F(DisturbedRoute, ThePhaseIsConnectingUntilTheTeardownIsDone) {
  OnStart([this] {
    machine.routes.Remove("203.0.113.5/32");
    machine.FailAlways("CreateForwardRow", 87);
  });
  std::vector<std::string> phases;
  for (const char* call : {"Service.SendStop", "DeleteForwardRow", "RemoveFile"}) {
    machine.OnCall(call, 1, [&] { phases.push_back(Phase()); });
  }
  Handle(kConnect);
  EXPECT_EQ(phases, (std::vector<std::string>{"connecting", "connecting", "connecting"}));
  EXPECT_EQ(Phase(), "disconnected");
}

TEST_F(DisturbedRoute, ATableThatCannotBeReadCountsAsALostRoute) {
  OnStart([this] { machine.FailAlways("ReadForwardTable", 5); });
  EXPECT_EQ(Handle(kConnect),
            R"({"ok":false,"error":"admin_bypass_failed",)" + kLost +
                Bypass(kLostFlags, kLost + kLostReason, "203.0.113.5:add_failed(5010);",
                       "203.0.113.5:missing;") +
                "," + kGuardOff +
                R"(,"default_routes_before_tunnel":)"
                R"("0.0.0.0/0->192.168.1.1@if12:Ethernet:metric=25",)"
                R"("default_routes_after_tunnel":"unavailable",)"
                R"("rdp_routes_before_tunnel":"203.0.113.5/32->192.168.1.1@if12",)"
                R"("rdp_routes_after_tunnel":"unavailable",)"
                R"("message":"disable-default-route not active"}})");
  EXPECT_EQ(machine.routes.Texts(), (std::vector<std::string>{kDefaultRoute, kLocalRoute}));
}

TEST_F(DisturbedRoute, EverySelectedAddressIsAddedAgainWhenOneRequiredOneIsLost) {
  machine.environment.SetMachine(L"ADMIN_BYPASS_IPS", L"198.51.100.7");
  machine.sessions.AddActive(2, "192.0.2.44");
  OnStart([this] {
    machine.routes.Remove("198.51.100.7/32");
    machine.routes.Remove("192.0.2.44/32");
    machine.FailWhere("CreateForwardRow", "192.0.2.44", 1168);
  });
  const std::string reply = Handle(kConnect);
  EXPECT_NE(reply.find(R"("route_add_results":"192.0.2.44:add_failed(1168);)"
                       R"(198.51.100.7:added;203.0.113.5:added;",)"),
            std::string::npos)
      << reply;
  EXPECT_EQ(Phase(), "connected");
  EXPECT_EQ(machine.routes.Texts(),
            (std::vector<std::string>{kDefaultRoute, kLocalRoute, kPinnedRoute,
                                      "198.51.100.7/32 via 192.168.1.1 if 12 metric 1"}));
}

TEST_F(DisturbedRoute, ALostOptionalRouteIsNotNoticed) {
  machine.sessions.AddActive(2, "192.0.2.44");
  OnStart([this] { machine.routes.Remove("192.0.2.44/32"); });
  Handle(kConnect);
  EXPECT_EQ(Phase(), "connected");
  EXPECT_EQ(machine.routes.Texts(),
            (std::vector<std::string>{kDefaultRoute, kLocalRoute, kPinnedRoute}));
}

TEST_F(DisturbedRoute, UnderTheGuardNothingIsCheckedOrRestored) {
  SetGuard();
  machine.routes.Add("203.0.113.5/32", "192.168.1.1", 12, 1);
  OnStart([this] { machine.routes.Remove("203.0.113.5/32"); });
  Handle(kConnect);
  EXPECT_EQ(Phase(), "connected");
  EXPECT_EQ(machine.calls.Count("CreateForwardRow"), 0U);
  EXPECT_EQ(machine.console.Error(), kLogNotApplied);
}

}  // namespace
}  // namespace veltrane
