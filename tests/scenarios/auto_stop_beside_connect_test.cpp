// A timer that expires while another connect runs: it tears down beside the connect, which goes on
// with what it finds. Each test lets the whole teardown happen at one step of the connect.

#include <chrono>
#include <functional>
#include <future>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/scenarios/auto_stop_scenario.h"

namespace veltrane {
namespace {

using testing::HasSubstr;
using testing::StartsWith;

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
  std::function<void()> Expiring() {
    return [this] { PassTheLastSleeps(1); };
  }
};

TEST_F(AutoStopBesideConnect, WhileTheSettingsAreReadTheOldConnectionIsGoneBeforeTheNewOneBegins) {
  ConnectUpToTheLastSleep();
  machine.OnCall("IsRemoteSession", 1, Expiring());
  Handle(kConnect);
  EXPECT_EQ(Story(), Steps({kStopsTunnel, kUnpins, kScrubsConf, kPins, WritesConf(), kStartsTunnel,
                            kLogsApplied}));
  EXPECT_EQ(State(), kUpAndPinned);
}

TEST_F(AutoStopBesideConnect, WhileAddressesAreGatheredTheOldRoutesAreForgottenAndStay) {
  ConnectUpToTheLastSleep();
  machine.OnCall("ReadTcpConnections", 1, Expiring());
  EXPECT_THAT(Handle(kConnect),
              HasSubstr(R"("add_attempted":false,"already_exists":true,"add_success":true,)"));
  EXPECT_EQ(Story(), Steps({kStopsTunnel, kLogsRemoved, kScrubsConf, kLogsApplied, WritesConf(),
                            kStartsTunnel, kLogsApplied}));
  EXPECT_EQ(State(), kUpAndPinned);
}

TEST_F(AutoStopBesideConnect, BeforeTheFileIsWrittenTheNewRoutesAreRemovedAndAddedAgain) {
  ConnectUpToTheLastSleep();
  machine.routes.Remove("203.0.113.5/32");  // so that the second connect creates it
  machine.OnCall("CreateFolders", 1, Expiring());
  EXPECT_EQ(
      Handle(kConnect),
      Reply(kConnected,
            With(BypassChecked(
                     {"applied", "routes_ready_before_tunnel", "route_readded_after_tunnel",
                      R"("message":"admin bypass routes re-added and verified after tunnel")"}),
                 {R"("auto_stop_seconds":1)"}),
            With(kGuardOff, {"auto_stop_scheduled", R"("auto_stop_seconds":1)",
                             R"("effective_auto_stop_seconds":1)",
                             R"("machine_env_VELTRANE_POC_AUTO_STOP_SECONDS":"1")",
                             Snapshots(kOffice, kOffice, kPinned, "none"), kNotActive,
                             R"("auto_stop_deadline_utc":"2026-11-16T02:25:09Z")"})));
  const Texts folder = UpTo("CreateFolders", WritesConf());
  Texts file = WritesConf();
  file.erase(file.begin());
  EXPECT_EQ(Story(),
            Steps({kPins, folder, kStopsTunnel, kUnpins, kScrubsConf, file, kStartsTunnel, kPins}));
  EXPECT_EQ(State(), kUpAndPinned);
}

TEST_F(AutoStopBesideConnect, AfterTheStartTheConnectReportsAConnectionWhoseTunnelIsGone) {
  ConnectUpToTheLastSleep();
  machine.services.OnRunning([this](const std::wstring&) {
    machine.services.OnRunning(nullptr);
    PassTheLastSleeps(1);
  });
  EXPECT_THAT(Handle(kConnect), StartsWith(kConnected + ","));
  EXPECT_EQ(State(), "connected fra-1; " + kPinnedRoute + "; active.conf of zeros");
  EXPECT_THAT(Handle(kStatus), StartsWith(kConnected + R"(,"tunnel_running":false,)"));
}

TEST_F(AutoStopBesideConnect, AtTheVeryEndThePhaseIsLostAfterTheConnectHasSetIt) {
  ConnectUpToTheLastSleep();
  machine.OnCall("UtcTicks", 1, Expiring());  // the new timer's deadline is being reckoned
  EXPECT_THAT(Handle(kConnect), StartsWith(kConnected + ","));
  EXPECT_EQ(State(), "disconnected; " + kPinnedRoute + "; active.conf of zeros");
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
  EXPECT_EQ(State(), "disconnected; active.conf of zeros");
}

TEST_F(AutoStopBesideConnect, TheTimerGoesOnCountingWhileTheConnectWaitsForTheOldTunnelToStop) {
  ConnectFor(L"3600");
  machine.services.StopAfterPolls(2);
  auto reply = std::async(std::launch::async, [this] { return Handle(kConnect); });
  for (int poll = 0; poll < 2; ++poll) {
    machine.clock.WaitForSleepers(1, 1000);
    EXPECT_FALSE(server.auto_stop_cancel);
    EXPECT_EQ(PhaseAndNode(), "connecting");
    machine.clock.AdvanceInSteps(10, 100, 2);
  }
  // At its end the connect cancels the timer and waits until that has woken up.
  Await("the connect to end", [&] {
    machine.clock.Advance(100);
    return reply.wait_for(std::chrono::seconds(0)) == std::future_status::ready;
  });
  EXPECT_EQ(PhaseAndNode(), "connected fra-1");
}

}  // namespace
}  // namespace veltrane
