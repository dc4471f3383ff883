// Whole conversations over the control pipe, as the desktop client has them.

#include <cstdint>
#include <future>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/scenarios/auto_stop_scenario.h"
#include "tests/simulated/pipe_client.h"

namespace veltrane {
namespace {

using simulated::Exchange;
using simulated::PipeClient;

// A service that answers on its pipe.
class PipeConversation : public Scenario {
 protected:
  PipeConversation() { server.Start(); }
  ~PipeConversation() override {
    server.auto_stop_cancel = true;
    machine.clock.RunFreely();
    machine.pipes.WaitUntilServerWaits();
    server.Stop();
  }
};

TEST_F(PipeConversation, FromTheRegistrationToTheDisconnect) {
  EXPECT_EQ(Exchange(kStatus), R"({"ok":true,"phase":"disconnected","tunnel_running":false,)" +
                                   kFreshBypass + "," + kFreshGuard + "}");
  EXPECT_EQ(Exchange(R"({"op":"register_session","session_nonce":"abc"})"),
            R"({"ok":true,"phase":"disconnected"})");
  EXPECT_EQ(Exchange(kConnect),
            R"({"ok":false,"error":"session_mismatch","message":"invalid session"})");
  EXPECT_EQ(Exchange(R"({"op":"connect","session_nonce":"abc",)" + kConnect.substr(16)),
            R"({"ok":true,"phase":"connected","node_id":"fra-1",)" + kBypassOff + "," + kGuardOff +
                "," + kDefaultRoutesKept +
                R"(,"rdp_routes_before_tunnel":"none","rdp_routes_after_tunnel":"none",)"
                R"("message":"disable-default-route not active"}})");
  EXPECT_EQ(Exchange(kStatus),
            R"({"ok":true,"phase":"connected","node_id":"fra-1","tunnel_running":true,)" +
                kBypassOff + "," + kFreshGuard + "}");
  EXPECT_EQ(Exchange(kDisconnect),
            R"({"ok":true,"phase":"disconnected",)" + kBypassOff + "," + kFreshGuard + "}");
  EXPECT_EQ(Exchange(kStatus), R"({"ok":true,"phase":"disconnected","tunnel_running":false,)" +
                                   kBypassOff + "," + kFreshGuard + "}");
}

TEST_F(PipeConversation, ARefusedConnectIsAnsweredAndTheNextClientIsServed) {
  SetAdministrator();
  machine.Fail("Service.Start", 1, 1053);
  EXPECT_EQ(Exchange(kConnect),
            R"({"ok":false,"error":"tunnel_start_failed","message":"delete active.conf failed"})");
  const std::string reply = Exchange(kConnect);
  EXPECT_TRUE(reply.starts_with(R"({"ok":true,"phase":"connected","node_id":"fra-1",)")) << reply;
  machine.pipes.WaitUntilServerWaits();
  EXPECT_EQ(machine.files.Bytes(kActiveConf), kConf);
}

TEST_F(PipeConversation, AConnectHoldsThePipeUntilItIsDone) {
  Exchange(kConnect);
  machine.pipes.WaitUntilServerWaits();
  machine.clock.RunInSteps();
  machine.services.StopAfterPolls(1);
  PipeClient first;
  first.Connect();
  first.Send(kConnectElsewhere);
  machine.clock.WaitForSleepers(1, 1000);
  PipeClient second;
  EXPECT_EQ(second.TryConnect(), 231U);
  EXPECT_EQ(Phase(), "connecting");
  EXPECT_EQ(NodeId(), "");
  machine.clock.Advance(1000);
  const std::string reply = first.ReceiveAll();
  EXPECT_TRUE(reply.starts_with(R"({"ok":true,"phase":"connected","node_id":"ams-2",)")) << reply;
  first.Close();
  second.Connect();
  second.Send(kStatus);
  const std::string status = second.ReceiveAll();
  EXPECT_TRUE(status.starts_with(
      R"({"ok":true,"phase":"connected","node_id":"ams-2","tunnel_running":true,)"))
      << status;
}

TEST_F(PipeConversation, ADisconnectEndsTheTimerThatAConnectStarted) {
  machine.clock.RunInSteps();
  SetAutoStop(L"60");
  Exchange(kConnect);
  machine.clock.WaitForSleepers(1, 100);
  PipeClient client;
  client.Connect();
  client.Send(kDisconnect);
  Await("the timer to be cancelled", [this] { return server.auto_stop_cancel.load(); });
  machine.clock.Advance(100);
  const std::string reply = client.ReceiveAll();
  EXPECT_TRUE(reply.starts_with(R"({"ok":true,"phase":"disconnected",)")) << reply;
  client.Close();
  EXPECT_EQ(machine.clock.Sleeps(), std::vector<std::uint32_t>(1, 100));
  EXPECT_EQ(machine.calls.Count("Service.SendStop"), 1U);
}

TEST_F(PipeConversation, ATimerThatExpiresBetweenTwoRequestsIsSeenByTheSecond) {
  machine.clock.RunInSteps();
  SetAutoStop(L"1");
  Exchange(kConnect);
  machine.clock.AdvanceInSteps(10, 100);
  Await("the timer to disconnect", [this] { return Phase() == "disconnected"; });
  const std::string status = Exchange(kStatus);
  EXPECT_TRUE(status.starts_with(R"({"ok":true,"phase":"disconnected","tunnel_running":false,)"))
      << status;
}

TEST_F(PipeConversation, TheStopLeavesTheTunnelTheRoutesAndTheFile) {
  SetAdministrator();
  machine.clock.RunInSteps();
  SetAutoStop(L"60");
  Exchange(kConnect);
  machine.pipes.WaitUntilServerWaits();
  machine.clock.WaitForSleepers(1, 100);
  StartStory();
  auto stopped = std::async(std::launch::async, [this] { server.Stop(); });
  Await("the timer to be cancelled", [this] { return server.auto_stop_cancel.load(); });
  machine.clock.Advance(100);
  stopped.get();
  EXPECT_EQ(Story(), std::vector<std::string>{});
  EXPECT_EQ(Phase(), "connected");
  EXPECT_EQ(machine.services.Find(kTunnelService)->state, simulated::kRunning);
  EXPECT_TRUE(machine.routes.Has(kPinnedRoute));
  EXPECT_EQ(machine.files.Bytes(kActiveConf), kConf);
  server.Start();  // for the fixture, which stops it once more
}

// The loop does not survive an exception, and neither does the process.
class PipeConversationDeathTest : public Scenario {
 protected:
  PipeConversationDeathTest() { GTEST_FLAG_SET(death_test_style, "threadsafe"); }

  void Ask(const std::string& request) {
    server.Start();
    Exchange(request);
    server.server_thread.join();  // the client may learn of the end before the process does
  }
};

TEST_F(PipeConversationDeathTest, APortThatIsNoNumberEndsTheProcess) {
  EXPECT_EXIT(Ask(R"({"op":"connect","node_id":"n","client_private_key":"k",)"
                  R"("endpoint_port":"abc"})"),
              testing::KilledBySignal(SIGABRT), "invalid stoi argument");
}

TEST_F(PipeConversationDeathTest, APortBeyondTheRangeEndsTheProcess) {
  EXPECT_EXIT(Ask(R"({"op":"connect","endpoint_port":"2147483648"})"),
              testing::KilledBySignal(SIGABRT), "stoi argument out of range");
}

TEST_F(PipeConversationDeathTest, ADisconnectThatCannotTellWhetherThereIsAFileEndsTheProcess) {
  EXPECT_EXIT(
      {
        machine.Fail("TestExistence", 1, 5);
        Ask(kDisconnect);
      },
      testing::KilledBySignal(SIGABRT), "filesystem error: exists: ");
}

TEST_F(PipeConversationDeathTest, AFailedStartThatCannotTellWhetherThereIsAFileEndsTheProcess) {
  EXPECT_EXIT(
      {
        machine.Fail("Service.Start", 1, 1053);
        machine.Fail("TestExistence", 1, 5);
        Ask(kConnect);
      },
      testing::KilledBySignal(SIGABRT), "filesystem error: exists: ");
}

}  // namespace
}  // namespace veltrane
