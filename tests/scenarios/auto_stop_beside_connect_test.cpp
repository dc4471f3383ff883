// A timer that expires while another connect runs: it tears down beside the connect, which goes on
// with what it finds. Each test lets the whole teardown happen at one step of the connect.

#include <chrono>
#include <functional>
#include <future>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/scenarios/auto_stop_scenario.h"

namespace veltrane {
namespace {

class AutoStopBesideConnect : public AutoStopScenario {
 protected:
  AutoStopBesideConnect() { SetAdministrator(); }

  // A connection whose timer has one sleep to go.
  void ConnectUpToTheLastSleep() {
    ConnectFor(L"1");
    PassSleeps(9);
    StartStory();
  }

  // To be run at a step of the connect: the timer expires and does everything it does.
  void Expire() {
    machine.clock.Advance(100);
    AwaitTheTimersEnd();
    phase_after_teardown = Phase();
  }
  std::function<void()> Expiring() {
    return [this] { Expire(); };
  }

  std::string phase_after_teardown;
};

const std::vector<std::string> kPins = {
    "CreateForwardRow 203.0.113.5/32 via 192.168.1.1 if 12 metric 1",
    "PrintError [Veltrane][admin_bypass] enabled=1 applied=1 failure="};
const std::vector<std::string> kUnpins = {
    "DeleteForwardRow 203.0.113.5/32 via 192.168.1.1 if 12 metric 1",
    "PrintError [Veltrane][admin_bypass] enabled=1 applied=0 failure="};
const std::string kLogsApplied = "PrintError [Veltrane][admin_bypass] enabled=1 applied=1 failure=";
const std::string kLogsRemoved = "PrintError [Veltrane][admin_bypass] enabled=1 applied=0 failure=";

TEST_F(AutoStopBesideConnect, WhileTheSettingsAreReadTheOldConnectionIsGoneBeforeTheNewOneBegins) {
  ConnectUpToTheLastSleep();
  machine.OnCall("IsRemoteSession", 1, Expiring());
  Handle(kConnect);
  EXPECT_EQ(phase_after_teardown, "disconnected");
  EXPECT_EQ(
      Story(),
      Steps(
          {kStopsTunnel, kUnpins, kScrubsConf, kPins, kWritesConf, kStartsTunnel, {kLogsApplied}}));
  EXPECT_EQ(Phase(), "connected");
  EXPECT_EQ(machine.files.Bytes(kActiveConf), kConf);
}

TEST_F(AutoStopBesideConnect, WhileAddressesAreGatheredTheOldRoutesAreForgottenAndStay) {
  ConnectUpToTheLastSleep();
  machine.OnCall("ReadTcpConnections", 1, Expiring());
  const std::string reply = Handle(kConnect);
  EXPECT_EQ(Story(), Steps({kStopsTunnel,
                            {kLogsRemoved},
                            kScrubsConf,
                            {kLogsApplied},
                            kWritesConf,
                            kStartsTunnel,
                            {kLogsApplied}}));
  EXPECT_NE(reply.find(R"("add_attempted":false,"already_exists":true,"add_success":true,)"),
            std::string::npos)
      << reply;
  EXPECT_EQ(Phase(), "connected");
  EXPECT_TRUE(machine.routes.Has(kPinnedRoute));
}

TEST_F(AutoStopBesideConnect, BeforeTheFileIsWrittenTheNewRoutesAreRemovedAndAddedAgain) {
  ConnectUpToTheLastSleep();
  machine.routes.Remove("203.0.113.5/32");  // so that the second connect creates it
  machine.OnCall("CreateFolders", 1, Expiring());
  EXPECT_EQ(
      Handle(kConnect),
      R"({"ok":true,"phase":"connected","node_id":"fra-1",)"
      R"("admin_bypass":{"enabled":true,"attempted":true,"applied":true,)"
      R"("routes_ready_before_tunnel":true,"route_readded_after_tunnel":true,)"
      R"("required_enforced":true,"skipped_for_safe_mode":false,"auto_stop_seconds":1,)"
      R"("client_ip":"203.0.113.5","gateway":"192.168.1.1",)"
      R"("message":"admin bypass routes re-added and verified after tunnel",)" +
          kGathered + "," + kPhysical + R"(,"route_add_results":"203.0.113.5:added;",)" +
          kAddedDetail +
          R"(,"route_verify_before_tunnel":"203.0.113.5:ok(metric=1);",)"
          R"("route_verify_after_tunnel":"203.0.113.5:ok(metric=1);"},)"
          R"("poc_route_guard":{"effective_disable_default_route":false,)"
          R"("poc_route_guard_failed":false,"poc_default_route_detected":false,)"
          R"("poc_env_read_failed":false,"rdp_session_active":false,"auto_stop_scheduled":true,)"
          R"("auto_stop_seconds":1,"effective_auto_stop_seconds":1,)"
          R"("process_env_VELTRANE_POC_DISABLE_DEFAULT_ROUTE":"",)"
          R"("machine_env_VELTRANE_POC_DISABLE_DEFAULT_ROUTE":"",)"
          R"("user_env_VELTRANE_POC_DISABLE_DEFAULT_ROUTE":"",)"
          R"("process_env_VELTRANE_POC_AUTO_STOP_SECONDS":"",)"
          R"("machine_env_VELTRANE_POC_AUTO_STOP_SECONDS":"1",)"
          R"("user_env_VELTRANE_POC_AUTO_STOP_SECONDS":"",)"
          R"("generated_allowed_ips_before":"0.0.0.0/0, ::/0",)" +
          kDefaultRoutesKept +
          R"(,"rdp_routes_before_tunnel":"203.0.113.5/32->192.168.1.1@if12",)"
          R"("rdp_routes_after_tunnel":"none","message":"disable-default-route not active",)"
          R"("auto_stop_deadline_utc":"2026-11-16T02:25:09Z"}})");
  EXPECT_EQ(Story(), Steps({kPins,
                            {R"(CreateFolders C:\ProgramData\Veltrane\tunnels)"},
                            kStopsTunnel,
                            kUnpins,
                            kScrubsConf,
                            {kWritesConf.begin() + 1, kWritesConf.end()},
                            kStartsTunnel,
                            kPins}));
  EXPECT_EQ(Phase(), "connected");
  EXPECT_EQ(machine.routes.Texts(),
            (std::vector<std::string>{kDefaultRoute, kLocalRoute, kPinnedRoute}));
}

TEST_F(AutoStopBesideConnect, AfterTheStartTheConnectReportsAConnectionWhoseTunnelIsGone) {
  ConnectUpToTheLastSleep();
  machine.services.OnRunning([this](const std::wstring&) {
    machine.services.OnRunning(nullptr);
    Expire();
  });
  const std::string reply = Handle(kConnect);
  EXPECT_TRUE(reply.starts_with(R"({"ok":true,"phase":"connected","node_id":"fra-1",)")) << reply;
  EXPECT_EQ(Phase(), "connected");
  EXPECT_EQ(machine.services.Names(), std::vector<std::wstring>{});
  EXPECT_EQ(machine.files.Bytes(kActiveConf), kScrubbed);
  EXPECT_TRUE(machine.routes.Has(kPinnedRoute));
  EXPECT_TRUE(Handle(kStatus).starts_with(
      R"({"ok":true,"phase":"connected","node_id":"fra-1","tunnel_running":false,)"));
}

TEST_F(AutoStopBesideConnect, AtTheVeryEndThePhaseIsLostAfterTheConnectHasSetIt) {
  ConnectUpToTheLastSleep();
  machine.OnCall("UtcTicks", 1, Expiring());  // the new timer's deadline is being reckoned
  const std::string reply = Handle(kConnect);
  EXPECT_TRUE(reply.starts_with(R"({"ok":true,"phase":"connected","node_id":"fra-1",)")) << reply;
  EXPECT_EQ(Phase(), "disconnected");
  EXPECT_EQ(NodeId(), "");
  EXPECT_EQ(machine.services.Names(), std::vector<std::wstring>{});
  // The new timer runs all the same, and tears down what is left.
  EXPECT_FALSE(server.auto_stop_cancel);
  StartStory();
  machine.clock.AdvanceInSteps(10, 100);
  server.auto_stop_thread.join();
  EXPECT_EQ(machine.Changes(), kScrubsConf);
}

TEST_F(AutoStopBesideConnect, ARefusalAfterwardsStillSaysDisconnected) {
  ConnectUpToTheLastSleep();
  machine.OnCall("IsRemoteSession", 1, Expiring());
  machine.files.DenyOpen(kTemporaryConf);
  EXPECT_EQ(Handle(kConnect),
            R"({"ok":false,"error":"config_write_failed","message":"open tmp failed"})");
  EXPECT_EQ(Phase(), "disconnected");
  EXPECT_EQ(machine.routes.Texts(), (std::vector<std::string>{kDefaultRoute, kLocalRoute}));
}

TEST_F(AutoStopBesideConnect, TheTimerGoesOnCountingWhileTheConnectWaitsForTheOldTunnelToStop) {
  ConnectFor(L"3600");
  machine.services.StopAfterPolls(2);
  auto reply = std::async(std::launch::async, [this] { return Handle(kConnect); });
  for (int poll = 0; poll < 2; ++poll) {
    machine.clock.WaitForSleepers(1, 1000);
    EXPECT_FALSE(server.auto_stop_cancel);
    EXPECT_EQ(Phase(), "connecting");
    EXPECT_EQ(NodeId(), "");
    machine.clock.AdvanceInSteps(10, 100, 2);
  }
  // At its end the connect cancels the timer and waits until that has woken up.
  Await("the connect to end", [&] {
    machine.clock.Advance(100);
    return reply.wait_for(std::chrono::seconds(0)) == std::future_status::ready;
  });
  EXPECT_EQ(Phase(), "connected");
}

}  // namespace
}  // namespace veltrane
