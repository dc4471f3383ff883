// What a connect finds once the tunnel service runs: a default route of the tunnel, pinned routes
// that were disturbed, a table that cannot be read.

#include <cstdint>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/scenarios/scenario.h"
#include "tests/support/arrange.h"
#include "tests/support/name_of.h"

namespace veltrane {
namespace {

using testing::StartsWith;

// What happens on the machine when the tunnel service starts.
class AfterStart : public Scenario {
 protected:
  void OnStart(const Arrange& happen) {
    machine.services.OnRunning([this, happen](const std::wstring&) { happen(machine); });
  }
};

// ---- a tunnel that takes the default route

class TunnelWithDefaultRoute : public AfterStart {
 protected:
  TunnelWithDefaultRoute() {
    machine.routes.AddInterface(40, L"Veltrane WireGuard");
    OnStart([this](auto&) { machine.routes.Add("0.0.0.0/0", "10.7.3.1", 40, 5); });
  }
};

const std::string kTaken = "0.0.0.0/0->10.7.3.1@if40:Veltrane WireGuard:metric=5";
const std::string kBothDefaultRoutes = Snapshots(kOffice, kTaken + ";" + kOffice, "none", "none");

TEST_F(TunnelWithDefaultRoute, WithTheGuardTheConnectIsRefusedAndTheTunnelTornDownAgain) {
  SetGuard();
  SetAdministrator();
  NotePhasesAt({"Service.SendStop", "RemoveFile"});
  const std::string message =
      R"("message":"tunnel installed a default route on WireGuard/Wintun interface")";
  EXPECT_EQ(Handle(kConnect),
            Reply(R"({"ok":false,"error":"poc_default_route_detected",)" + message, kBypassSkipped,
                  With(kGuardOn, {"poc_default_route_detected", kBothDefaultRoutes,
                                  R"("offending_default_route":")" + kTaken + "\"",
                                  R"("failure_reason":"poc_default_route_detected")", message})));
  EXPECT_EQ(Story(), Steps({kLogsRemoved, WritesConf("170 bytes"), kStartsTunnel, kStopsTunnel,
                            kLogsRemoved, kScrubsConf}));
  EXPECT_EQ(phases, Texts(2, "connecting"));
  EXPECT_EQ(State(), "disconnected; 0.0.0.0/0 via 10.7.3.1 if 40 metric 5; active.conf of zeros");
  // The reply kept the bypass as it was before the teardown.
  EXPECT_EQ(Handle(kStatus), Reply(kIdle, Removed(kBypassSkipped)));
}

// Windows does not stop a service that is still starting, and the teardown asks once.
TEST_F(AfterStart, ATunnelThatIsStillStartingComesUpAlthoughTheConnectIsRefused) {
  SetGuard();
  machine.routes.AddInterface(40, L"Office Tunnel");
  machine.routes.Add("0.0.0.0/0", "10.9.0.1", 40, 5);
  machine.services.RunAfterPolls(3);
  EXPECT_THAT(Handle(kConnect), StartsWith(R"({"ok":false,"error":"poc_default_route_detected",)"));
  EXPECT_EQ(State(),
            "disconnected; 0.0.0.0/0 via 10.9.0.1 if 40 metric 5; "
            "VeltraneVpnTunnel$Active running, marked for deletion; active.conf of zeros");
  Handle(kDisconnect);
  EXPECT_EQ(State(), "disconnected; 0.0.0.0/0 via 10.9.0.1 if 40 metric 5; active.conf of zeros");
}

TEST_F(TunnelWithDefaultRoute, WithoutTheGuardItIsAllowed) {
  EXPECT_EQ(Handle(kConnect),
            Reply(kConnected, kBypassOff, With(kGuardOff, {kBothDefaultRoutes, kNotActive})));
  EXPECT_EQ(PhaseAndNode(), "connected fra-1");
}

TEST_F(TunnelWithDefaultRoute, OnAnInterfaceWithAnotherNameItIsAllowedUnderTheGuard) {
  SetGuard();
  machine.routes.AddInterface(40, L"vpn0", L"Wintun Userspace Tunnel");
  Handle(kConnect);
  EXPECT_EQ(PhaseAndNode(), "connected fra-1");
}

// Of the reads of the table, with the bypass off, the first two are the snapshots before the tunnel
// and the next two those after its start; the last is the check.
TEST_F(TunnelWithDefaultRoute, IsFoundUnderTheGuardEvenWhenTheSnapshotCouldNotBeTaken) {
  SetGuard();
  machine.Fail("ReadForwardTable", 3, 5);
  machine.Fail("ReadForwardTable", 4, 5);
  const std::string reply = Handle(kConnect);
  EXPECT_THAT(reply, testing::StartsWith(R"({"ok":false,"error":"poc_default_route_detected",)"));
  EXPECT_THAT(reply, testing::HasSubstr(Snapshots(kOffice, "unavailable", "none", "unavailable") +
                                        R"(,"offending_default_route":")" + kTaken + "\""));
  EXPECT_EQ(PhaseAndNode(), "disconnected");
}

TEST_F(TunnelWithDefaultRoute, IsNotFoundUnderTheGuardWhenTheCheckItselfCannotReadTheTable) {
  SetGuard();
  machine.Fail("ReadForwardTable", 5, 5);
  EXPECT_EQ(Handle(kConnect),
            Reply(kConnected, kBypassOffUnderGuard, With(kGuardOn, {kBothDefaultRoutes, kSafe})));
}

TEST_F(AfterStart, AnUnreadableTableIsReportedAndIsNoRefusalUnderTheGuard) {
  SetGuard();
  OnStart(Failing("ReadForwardTable"));
  EXPECT_EQ(
      Handle(kConnect),
      Reply(kConnected, kBypassOffUnderGuard,
            With(kGuardOn, {Snapshots(kOffice, "unavailable", "none", "unavailable"), kSafe})));
}

// ---- a tunnel whose start disturbs the pinned route

class DisturbedRoute : public AfterStart {
 protected:
  DisturbedRoute() { SetAdministrator(); }
};

Arrange Losing(const std::string& route) {
  return [route](simulated::Machine& machine) { machine.routes.Remove(route); };
}
Arrange Raising(std::uint32_t metric) {
  return [metric](auto& machine) { machine.routes.SetMetric("203.0.113.5/32", metric); };
}

std::string GuardBehind(const std::string& defaults_after, const std::string& hosts_after) {
  return With(kGuardOff, {Snapshots(kOffice, defaults_after, kPinned, hosts_after), kNotActive});
}

TEST_F(DisturbedRoute, ALostRouteIsAddedAgain) {
  OnStart(Losing("203.0.113.5/32"));
  EXPECT_EQ(Handle(kConnect),
            Reply(kConnected,
                  BypassChecked(
                      {"applied", "routes_ready_before_tunnel", "route_readded_after_tunnel",
                       R"("message":"admin bypass routes re-added and verified after tunnel")"}),
                  GuardBehind(kOffice, "none")));
  EXPECT_EQ(Story(), Steps({kPins, WritesConf(), kStartsTunnel, kPins}));
  EXPECT_EQ(State(), kUpAndPinned);
}

TEST_F(DisturbedRoute, ADisconnectDeletesARouteThatWasAddedTwiceTwice) {
  OnStart(Losing("203.0.113.5/32"));
  Handle(kConnect);
  Handle(kDisconnect);
  EXPECT_EQ(machine.calls.Of("DeleteForwardRow"), Texts(2, "DeleteForwardRow " + kPinnedRoute));
  EXPECT_EQ(State(), "disconnected; active.conf of zeros");
}

TEST_F(DisturbedRoute, AMetricOf15IsStillGood) {
  OnStart(Raising(15));
  EXPECT_EQ(Handle(kConnect), Reply(kConnected, BypassChecked(kVerified, "added", "ok(metric=15)"),
                                    GuardBehind(kOffice, kPinned)));
}

struct Loss {
  const char* name;
  Arrange disturb;
  const char* added;     // again
  const char* verified;  // after the tunnel
  std::string guard;
};

class LostRoute : public DisturbedRoute, public testing::WithParamInterface<Loss> {};

TEST_P(LostRoute, IsARefusalAndEndsInTheTeardown) {
  OnStart(GetParam().disturb);
  NotePhasesAt({"Service.SendStop", "DeleteForwardRow", "RemoveFile"});
  const std::string message =
      R"("message":"admin bypass routes lost after tunnel start and could not be restored")";
  EXPECT_EQ(Handle(kConnect),
            Reply(R"({"ok":false,"error":"admin_bypass_failed",)" + message,
                  BypassChecked({"route_readded_after_tunnel", message,
                                 R"("failure_reason":"route_verify_after_tunnel_failed")"},
                                GetParam().added, GetParam().verified),
                  GetParam().guard));
  const Texts logs = {
      "PrintError [Veltrane][admin_bypass] enabled=1 applied=0 "
      "failure=route_verify_after_tunnel_failed"};
  EXPECT_EQ(Story(),
            Steps({kPins, WritesConf(), kStartsTunnel, UpTo("CreateForwardRow", kPins), logs,
                   kStopsTunnel, UpTo("DeleteForwardRow", kUnpins), logs, kScrubsConf}));
  EXPECT_EQ(phases, Texts(3, "connecting"));
  EXPECT_EQ(State(), "disconnected; active.conf of zeros");
}

const Loss kLosses[] = {
    {"ThatCannotBeAddedAgain", All({Losing("203.0.113.5/32"), Failing("CreateForwardRow")}),
     "add_failed(5)", "missing", GuardBehind(kOffice, "none")},
    {"ThatBecameTooCostly", Raising(16), "add_failed(5010)", "metric_high(16)",
     GuardBehind(kOffice, kPinned)},
    {"BecauseTheTableCannotBeRead", Failing("ReadForwardTable"), "add_failed(5010)", "missing",
     GuardBehind("unavailable", "unavailable")}};

INSTANTIATE_TEST_SUITE_P(DisturbedRoute, LostRoute, testing::ValuesIn(kLosses), NameOf<Loss>);

TEST_F(DisturbedRoute, EverySelectedAddressIsAddedAgainWhenOneRequiredOneIsLost) {
  machine.environment.SetMachine(L"ADMIN_BYPASS_IPS", L"198.51.100.7");
  machine.sessions.AddActive(2, "192.0.2.44");
  OnStart(All({Losing("198.51.100.7/32"), Losing("192.0.2.44/32"),
               Failing("CreateForwardRow", "192.0.2.44")}));
  EXPECT_THAT(Handle(kConnect),
              testing::HasSubstr(R"("route_add_results":"192.0.2.44:add_failed(5);)"
                                 R"(198.51.100.7:added;203.0.113.5:added;",)"));
  EXPECT_EQ(State(), "connected fra-1; " + kPinnedRoute +
                         "; 198.51.100.7/32 via 192.168.1.1 if 12 metric 1; " + kTunnelUp);
}

TEST_F(DisturbedRoute, ALostOptionalRouteIsNotNoticed) {
  machine.sessions.AddActive(2, "192.0.2.44");
  OnStart(Losing("192.0.2.44/32"));
  Handle(kConnect);
  EXPECT_EQ(State(), kUpAndPinned);
}

TEST_F(DisturbedRoute, UnderTheGuardNothingIsCheckedOrRestored) {
  SetGuard();
  machine.routes.Add("203.0.113.5/32", "192.168.1.1", 12, 1);
  OnStart(Losing("203.0.113.5/32"));
  Handle(kConnect);
  EXPECT_EQ(PhaseAndNode(), "connected fra-1");
  EXPECT_EQ(Story(), Steps({kLogsRemoved, WritesConf("170 bytes"), kStartsTunnel}));
}

}  // namespace
}  // namespace veltrane
