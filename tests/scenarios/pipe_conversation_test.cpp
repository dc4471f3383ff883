// Whole conversations over the control pipe, as the desktop client has them.

#include <cstdint>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/scenarios/auto_stop_scenario.h"
#include "tests/simulated/pipe_client.h"

namespace veltrane {
namespace {

using simulated::Exchange;
using simulated::PipeClient;
using testing::StartsWith;

// A service that answers on its pipe, on a clock that moves only when a test says so.
class PipeConversation : public AutoStopScenario {
 protected:
  PipeConversation() { server.Start(); }
  ~PipeConversation() override {
    server.auto_stop_cancel = true;
    machine.clock.RunFreely();
    if (server.running) machine.pipes.WaitUntilServerWaits();
    server.Stop();
  }

  // A connection with a timer, which is in its first sleep.
  void ExchangeConnectFor(const std::wstring& seconds) {
    SetAutoStop(seconds);
    Exchange(kConnect);
    machine.pipes.WaitUntilServerWaits();
    machine.clock.WaitForSleepers(1, 100);
    StartStory();
  }
};

TEST_F(PipeConversation, FromTheRegistrationToTheDisconnect) {
  EXPECT_EQ(Exchange(kStatus), Reply(kIdle));
  EXPECT_EQ(Exchange(kRegister), R"({"ok":true,"phase":"disconnected"})");
  EXPECT_EQ(Exchange(kConnect), kMismatch);
  EXPECT_EQ(Exchange(R"({"op":"connect","session_nonce":"abc",)" + kConnect.substr(16)),
            Reply(kConnected, kBypassOff, With(kGuardOff, {kRoutesKept, kNotActive})));
  EXPECT_EQ(Exchange(kStatus), Reply(kRunning, kBypassOff));
  EXPECT_EQ(Exchange(kDisconnect), Reply(kDisconnected, kBypassOff));
  EXPECT_EQ(Exchange(kStatus), Reply(kIdle, kBypassOff));
}

TEST_F(PipeConversation, ARefusedConnectIsAnsweredAndTheNextClientIsServed) {
  SetAdministrator();
  machine.Fail("Service.Start", 1, 1053);
  EXPECT_EQ(Exchange(kConnect),
            R"({"ok":false,"error":"tunnel_start_failed","message":"delete active.conf failed"})");
  EXPECT_THAT(Exchange(kConnect), StartsWith(kConnected + ","));
  machine.pipes.WaitUntilServerWaits();
  EXPECT_EQ(State(), kUpAndPinned);
}

TEST_F(PipeConversation, AConnectHoldsThePipeUntilItIsDone) {
  Exchange(kConnect);
  machine.pipes.WaitUntilServerWaits();
  machine.services.StopAfterPolls(1);
  PipeClient first;
  first.Connect();
  first.Send(kConnectElsewhere);
  machine.clock.WaitForSleepers(1, 1000);
  PipeClient second;
  EXPECT_EQ(second.TryConnect(), 231U);
  EXPECT_EQ(PhaseAndNode(), "connecting");
  machine.clock.Advance(1000);
  EXPECT_THAT(first.ReceiveAll(),
              StartsWith(R"({"ok":true,"phase":"connected","node_id":"ams-2",)"));
  first.Close();
  second.Connect();
  second.Send(kStatus);
  EXPECT_THAT(
      second.ReceiveAll(),
      StartsWith(R"({"ok":true,"phase":"connected","node_id":"ams-2","tunnel_running":true,)"));
}

TEST_F(PipeConversation, TheStopLeavesTheTunnelTheRoutesAndTheFile) {
  SetAdministrator();
  ExchangeConnectFor(L"60");
  auto stopped = UntilTheTimerIsTold([this] { server.Stop(); });
  machine.clock.Advance(100);
  stopped.get();
  EXPECT_EQ(Story(), Texts{});
  EXPECT_EQ(State(), kUpAndPinned);
}

}  // namespace
}  // namespace veltrane
