// The timer of a connection: what the connect's reply says about it, how it counts, and what it
// does when it expires.

#include <cstdint>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/scenarios/auto_stop_scenario.h"

namespace veltrane {
namespace {

using AutoStop = AutoStopScenario;

TEST_F(AutoStop, TheReplyNamesTheDelayAndTheDeadline) {
  SetAutoStop(L"90");
  EXPECT_EQ(Handle(kConnect),
            R"({"ok":true,"phase":"connected","node_id":"fra-1",)"
            R"("admin_bypass":{"enabled":false,"attempted":false,"applied":false,)"
            R"("routes_ready_before_tunnel":false,"route_readded_after_tunnel":false,)"
            R"("required_enforced":true,"skipped_for_safe_mode":false,"auto_stop_seconds":90,)"
            R"("message":"admin bypass disabled for this build/config"},)"
            R"("poc_route_guard":{"effective_disable_default_route":false,)"
            R"("poc_route_guard_failed":false,"poc_default_route_detected":false,)"
            R"("poc_env_read_failed":false,"rdp_session_active":false,)"
            R"("auto_stop_scheduled":true,"auto_stop_seconds":90,)"
            R"("effective_auto_stop_seconds":90,)"
            R"("process_env_VELTRANE_POC_DISABLE_DEFAULT_ROUTE":"",)"
            R"("machine_env_VELTRANE_POC_DISABLE_DEFAULT_ROUTE":"",)"
            R"("user_env_VELTRANE_POC_DISABLE_DEFAULT_ROUTE":"",)"
            R"("process_env_VELTRANE_POC_AUTO_STOP_SECONDS":"",)"
            R"("machine_env_VELTRANE_POC_AUTO_STOP_SECONDS":"90",)"
            R"("user_env_VELTRANE_POC_AUTO_STOP_SECONDS":"",)"
            R"("generated_allowed_ips_before":"0.0.0.0/0, ::/0",)" +
                kDefaultRoutesKept +
                R"(,"rdp_routes_before_tunnel":"none","rdp_routes_after_tunnel":"none",)"
                R"("message":"disable-default-route not active",)"
                R"("auto_stop_deadline_utc":"2026-11-16T02:26:37Z"}})");
  EXPECT_TRUE(server.auto_stop_thread.joinable());
}

TEST_F(AutoStop, ADelayThatAppearsDuringTheConnectIsTakenFromTheSecondReading) {
  machine.OnCall("Service.Start", 1, [this] { SetAutoStop(L"30"); });
  EXPECT_EQ(Handle(kConnect),
            R"({"ok":true,"phase":"connected","node_id":"fra-1",)" + kBypassOff +
                R"(,"poc_route_guard":{"effective_disable_default_route":false,)"
                R"("poc_route_guard_failed":false,"poc_default_route_detected":false,)"
                R"("poc_env_read_failed":false,"rdp_session_active":false,)"
                R"("auto_stop_scheduled":true,"auto_stop_seconds":30,)"
                R"("effective_auto_stop_seconds":0,)"
                R"("process_env_VELTRANE_POC_DISABLE_DEFAULT_ROUTE":"",)"
                R"("machine_env_VELTRANE_POC_DISABLE_DEFAULT_ROUTE":"",)"
                R"("user_env_VELTRANE_POC_DISABLE_DEFAULT_ROUTE":"",)"
                R"("process_env_VELTRANE_POC_AUTO_STOP_SECONDS":"",)"
                R"("machine_env_VELTRANE_POC_AUTO_STOP_SECONDS":"",)"
                R"("user_env_VELTRANE_POC_AUTO_STOP_SECONDS":"",)"
                R"("generated_allowed_ips_before":"0.0.0.0/0, ::/0",)" +
                kDefaultRoutesKept +
                R"(,"rdp_routes_before_tunnel":"none","rdp_routes_after_tunnel":"none",)"
                R"("message":"disable-default-route not active",)"
                R"("auto_stop_deadline_utc":"2026-11-16T02:25:37Z"}})");
}

TEST_F(AutoStop, ADelayThatDisappearsDuringTheConnectStillCounts) {
  SetAutoStop(L"30");
  machine.OnCall("Service.Start", 1, [this] { SetAutoStop(L""); });
  const std::string reply = Handle(kConnect);
  EXPECT_NE(reply.find(R"("auto_stop_deadline_utc":"2026-11-16T02:25:37Z"}})"), std::string::npos)
      << reply;
}

TEST_F(AutoStop, WithoutTheGuardTheBypassRecordCarriesTheDelayThatTheBypassRead) {
  SetAutoStop(L"45");
  // The guard's two settings have been read; the bypass reads the second once more.
  machine.OnCall("ReadProcessVariable", 3, [this] { SetAutoStop(L"60"); });
  const std::string reply = Handle(kConnect);
  EXPECT_NE(reply.find(R"("skipped_for_safe_mode":false,"auto_stop_seconds":60,)"),
            std::string::npos)
      << reply;
  EXPECT_NE(reply.find(R"("auto_stop_scheduled":true,"auto_stop_seconds":45,)"
                       R"("effective_auto_stop_seconds":45,)"),
            std::string::npos)
      << reply;
}

TEST_F(AutoStop, WithTheGuardTheBypassRecordCarriesTheDelayThatTheGuardRead) {
  SetGuard();
  SetAutoStop(L"45");
  machine.OnCall("ReadProcessVariable", 3, [this] { SetAutoStop(L"60"); });
  const std::string reply = Handle(kConnect);
  EXPECT_NE(reply.find(R"("skipped_for_safe_mode":true,"auto_stop_seconds":45,)"),
            std::string::npos)
      << reply;
}

TEST_F(AutoStop, WithoutADelayThereIsNoTimer) {
  Handle(kConnect);
  EXPECT_FALSE(server.auto_stop_thread.joinable());
  EXPECT_FALSE(server.auto_stop_cancel);
  EXPECT_EQ(machine.calls.Count("UtcTicks"), 0U);
}

TEST_F(AutoStop, ADelayOfZeroIsNoTimer) {
  SetAutoStop(L"0");
  Handle(kConnect);
  EXPECT_FALSE(server.auto_stop_thread.joinable());
}

TEST_F(AutoStop, OneSecondIsTenSleepsOf100Milliseconds) {
  ConnectFor(L"1");
  PassSleeps(9);
  EXPECT_EQ(Phase(), "connected");
  EXPECT_EQ(Story(), std::vector<std::string>{});
  machine.clock.Advance(100);
  AwaitTheTimersEnd();
  EXPECT_EQ(machine.clock.Sleeps(), std::vector<std::uint32_t>(10, 100));
}

TEST_F(AutoStop, TwoMinutesAre1200Sleeps) {
  ConnectFor(L"120");
  PassSleeps(1199);
  EXPECT_EQ(Phase(), "connected");
  machine.clock.Advance(100);
  AwaitTheTimersEnd();
  EXPECT_EQ(machine.clock.Sleeps(), std::vector<std::uint32_t>(1200, 100));
}

TEST_F(AutoStop, TheDelayIsCountedInSleepsAndNotAgainstTheClock) {
  ConnectFor(L"1");
  machine.clock.Advance(3'600'000);
  PassSleeps(8);
  EXPECT_EQ(Phase(), "connected");
  EXPECT_EQ(Story(), std::vector<std::string>{});
  machine.clock.Advance(100);
  AwaitTheTimersEnd();
}

TEST_F(AutoStop, TheLongestDelayDoesNotOverflow) {
  SetAutoStop(L"2147483647");
  const std::string reply = Handle(kConnect);
  EXPECT_NE(reply.find(R"("auto_stop_scheduled":true,"auto_stop_seconds":2147483647,)"
                       R"("effective_auto_stop_seconds":2147483647,)"),
            std::string::npos)
      << reply;
  EXPECT_NE(reply.find(R"("auto_stop_deadline_utc":"2094-12-04T05:39:14Z"}})"), std::string::npos)
      << reply;
  PassSleeps(20);
  EXPECT_EQ(Phase(), "connected");
}

TEST_F(AutoStop, WhenItExpiresServiceThenRoutesThenFileAreTakenAwayOnce) {
  SetAdministrator();
  ConnectFor(L"1");
  PassTheLastSecond();
  EXPECT_EQ(Story(), Steps({kStopsTunnel,
                            {"DeleteForwardRow 203.0.113.5/32 via 192.168.1.1 if 12 metric 1",
                             "PrintError [Veltrane][admin_bypass] enabled=1 applied=0 failure="},
                            kScrubsConf}));
  EXPECT_EQ(machine.routes.Texts(), (std::vector<std::string>{kDefaultRoute, kLocalRoute}));
  EXPECT_EQ(machine.services.Names(), std::vector<std::wstring>{});
  EXPECT_EQ(machine.files.Bytes(kActiveConf), kScrubbed);
}

TEST_F(AutoStop, WhenItHasExpiredTheStatusIsThatOfADisconnect) {
  ConnectFor(L"1");
  PassTheLastSecond();
  EXPECT_EQ(Handle(kStatus),
            R"({"ok":true,"phase":"disconnected","tunnel_running":false,)"
            R"("admin_bypass":{"enabled":false,"attempted":false,"applied":false,)"
            R"("routes_ready_before_tunnel":false,"route_readded_after_tunnel":false,)"
            R"("required_enforced":true,"skipped_for_safe_mode":false,"auto_stop_seconds":1,)"
            R"("message":"admin bypass disabled for this build/config"},)" +
                kFreshGuard + "}");
  EXPECT_EQ(NodeId(), "");
}

TEST_F(AutoStop, ThePhaseStaysConnectedUntilEverythingIsTakenAway) {
  SetAdministrator();
  ConnectFor(L"1");
  std::vector<std::string> seen;
  for (const char* call : {"Service.Delete", "DeleteForwardRow", "RemoveFile"}) {
    machine.OnCall(call, 1, [&] { seen.push_back(Phase() + " " + NodeId()); });
  }
  PassTheLastSecond();
  EXPECT_EQ(seen,
            (std::vector<std::string>{"connected fra-1", "connected fra-1", "connected fra-1"}));
}

TEST_F(AutoStop, ATunnelThatDoesNotStopDelaysTheTeardownByFifteenSeconds) {
  ConnectFor(L"1");
  machine.services.NeverStop();
  machine.clock.AdvanceInSteps(10, 100);
  machine.clock.WaitForSleepers(1, 1000);
  EXPECT_EQ(machine.Changes(),
            std::vector<std::string>{"Service.SendStop VeltraneVpnTunnel$Active"});
  machine.clock.AdvanceInSteps(15, 1000);
  AwaitTheTimersEnd();
  EXPECT_EQ(machine.Changes(), Steps({kStopsTunnel, kScrubsConf}));
}

TEST_F(AutoStop, TheThreadStaysJoinableWhenItHasEnded) {
  ConnectFor(L"1");
  PassTheLastSecond();
  EXPECT_TRUE(server.auto_stop_thread.joinable());
  EXPECT_FALSE(server.auto_stop_cancel);
}

TEST_F(AutoStop, TheSessionSurvivesIt) {
  Handle(R"({"op":"register_session","session_nonce":"abc"})");
  SetAutoStop(L"1");
  Handle(R"({"op":"connect","session_nonce":"abc","node_id":"n","client_private_key":"k"})");
  PassTheLastSecond();
  EXPECT_EQ(Handle(kConnect),
            R"({"ok":false,"error":"session_mismatch","message":"invalid session"})");
}

TEST_F(AutoStop, AfterItANewConnectStartsAfresh) {
  SetAdministrator();
  ConnectFor(L"1");
  PassTheLastSecond();
  StartStory();
  Handle(kConnect);
  EXPECT_EQ(Phase(), "connected");
  EXPECT_EQ(machine.routes.Texts(),
            (std::vector<std::string>{kDefaultRoute, kLocalRoute, kPinnedRoute}));
  PassTheLastSecond();
  EXPECT_EQ(machine.calls.Count("Service.SendStop"), 1U);
  EXPECT_EQ(machine.routes.Texts(), (std::vector<std::string>{kDefaultRoute, kLocalRoute}));
}

}  // namespace
}  // namespace veltrane
