#include "service/ipc_server.h"

#include <pthread.h>

#include <atomic>
#include <functional>
#include <system_error>

#include "tests/service/program.h"
#include "tests/simulated/pipe_client.h"

namespace veltrane {
namespace {

// A thread that ends when it is told to give up, as the timer does.
std::thread WaitForCancel(IpcServer& server) {
  return std::thread([&server] {
    while (!server.auto_stop_cancel) std::this_thread::yield();
  });
}

class IpcServerTest : public OnSteppedMachine {
 protected:
  void StartAndWait() {
    server.Start();
    machine.pipes.WaitUntilServerWaits();
  }

  // The phase and, when there is one, the node: "connecting", "connected n1".
  std::string PhaseAndNode() const {
    const ConnectionPhase state = server.Snapshot();
    return state.node_id.empty() ? state.phase : state.phase + " " + state.node_id;
  }

  IpcServer server;
};

TEST_F(IpcServerTest, IsDisconnectedAndIdleAtFirst) {
  EXPECT_FALSE(server.running);
  EXPECT_FALSE(server.server_thread.joinable());
  EXPECT_FALSE(server.auto_stop_thread.joinable());
  EXPECT_FALSE(server.auto_stop_cancel);
  EXPECT_EQ(server.session_nonce, "");
  EXPECT_EQ(PhaseAndNode(), "disconnected");
}

TEST_F(IpcServerTest, SetPhaseClearsTheNodeUnlessOneIsGiven) {
  server.SetPhase("connected", "n1");
  EXPECT_EQ(PhaseAndNode(), "connected n1");
  server.SetPhase("connecting");
  EXPECT_EQ(PhaseAndNode(), "connecting");
}

TEST_F(IpcServerTest, StartServesThePipeOnOneThreadHoweverOftenItIsCalled) {
  StartAndWait();
  const std::thread::id first = server.server_thread.get_id();
  server.Start();
  EXPECT_TRUE(server.running);
  EXPECT_EQ(server.server_thread.get_id(), first);
  server.Stop();
  EXPECT_EQ(machine.calls.Count("MakeSecurityAttributes"), 1u);
  ASSERT_EQ(machine.pipes.Created().size(), 1u);
  EXPECT_EQ(machine.pipes.Created()[0].parameters.name, L"\\\\.\\pipe\\VeltraneVpn");
}

TEST_F(IpcServerTest, StartDoesNothingWhenRunningIsSet) {
  server.running = true;
  server.Start();
  EXPECT_FALSE(server.server_thread.joinable());
}

// Lets every new thread ask for more stack than there can be.
TEST_F(IpcServerTest, StartThrowsWhenTheThreadCannotBeCreated) {
  pthread_attr_t usual;
  ASSERT_EQ(pthread_getattr_default_np(&usual), 0);
  pthread_attr_t greedy;
  ASSERT_EQ(pthread_attr_init(&greedy), 0);
  ASSERT_EQ(pthread_attr_setstacksize(&greedy, std::size_t{1} << 62), 0);
  ASSERT_EQ(pthread_setattr_default_np(&greedy), 0);
  std::error_code thrown;
  try {
    server.Start();
  } catch (const std::system_error& error) {
    thrown = error.code();
  }
  ASSERT_EQ(pthread_setattr_default_np(&usual), 0);
  pthread_attr_destroy(&greedy);
  pthread_attr_destroy(&usual);
  EXPECT_EQ(thrown, std::errc::resource_unavailable_try_again);
  EXPECT_TRUE(server.running);
  EXPECT_FALSE(server.server_thread.joinable());
}

TEST_F(IpcServerTest, StopEndsTheLoopThatWaitsForAClientWithinOneConnection) {
  StartAndWait();
  machine.calls.Clear();
  server.Stop();
  EXPECT_EQ(machine.calls.All(),
            (Texts{"OpenAndClosePipe \\\\.\\pipe\\VeltraneVpn", "ServerPipe.Read 65535",
                   "ServerPipe.Flush", "ServerPipe.Disconnect", "ServerPipe.Close",
                   "FreeSecurityAttributes"}));
  EXPECT_FALSE(server.running);
  EXPECT_FALSE(server.server_thread.joinable());
}

TEST_F(IpcServerTest, StopJoinsTheTimerClearsRunningAndMarksTheStopBeforeItTouchesThePipe) {
  bool joined = false;
  bool running = true;
  bool marked = false;
  machine.OnCall("OpenAndClosePipe", 1, [&] {
    joined = !server.auto_stop_thread.joinable();
    running = server.running;
    marked = ReadStartupState().stop_requested;
  });
  StartAndWait();
  server.auto_stop_thread = WaitForCancel(server);
  EXPECT_FALSE(ReadStartupState().stop_requested);
  server.Stop();
  EXPECT_TRUE(joined);
  EXPECT_FALSE(running);
  EXPECT_TRUE(marked);
  EXPECT_FALSE(ReadStartupState().connect_requested);
}

TEST_F(IpcServerTest, StopKeepsThePhaseTheNodeAndTheNonce) {
  StartAndWait();
  server.session_nonce = "nonce";
  server.SetPhase("connected", "n1");
  server.Stop();
  EXPECT_EQ(server.session_nonce, "nonce");
  EXPECT_EQ(PhaseAndNode(), "connected n1");
}

TEST_F(IpcServerTest, StopWaitsForTheClientThatIsBeingServed) {
  StartAndWait();
  simulated::PipeClient client;
  client.Connect();
  std::thread stopper([this] { server.Stop(); });
  machine.calls.WaitForCount("OpenAndClosePipe", 1);
  client.Send("{\"op\":\"nothing\"}");
  EXPECT_EQ(client.ReceiveAll(),
            "{\"ok\":false,\"error\":\"unknown_op\",\"message\":\"unsupported operation\"}");
  stopper.join();
  EXPECT_EQ(machine.pipes.Created().size(), 1u);
  EXPECT_EQ(machine.pipes.OpenInstances(), 0u);
}

TEST_F(IpcServerTest, StopThatFindsNoPipeBecauseTheNextIsJustBeingMadeWaitsForTheNextClient) {
  std::thread stopper;
  std::atomic<bool> stopped = false;
  StartAndWait();
  machine.OnCall("ServerPipe.Create", 1, [&] {
    stopper = std::thread([&] {
      server.Stop();
      stopped = true;
    });
    machine.pipes.WaitUntilRefused(1);
  });
  simulated::Exchange("{}");
  machine.pipes.WaitUntilServerWaits();
  EXPECT_FALSE(server.running);
  EXPECT_FALSE(stopped);
  EXPECT_EQ(simulated::Exchange("{}"),
            "{\"ok\":false,\"error\":\"unknown_op\",\"message\":\"unsupported operation\"}");
  stopper.join();
  EXPECT_EQ(machine.pipes.Created().size(), 2u);
  EXPECT_EQ(machine.pipes.OpenInstances(), 0u);
}

TEST_F(IpcServerTest, StopEndsALoopThatCannotCreateItsPipe) {
  machine.FailAlways("ServerPipe.Create", 231);
  server.Start();
  machine.clock.WaitForSleepers(1, 500);
  std::thread stopper([this] { server.Stop(); });
  machine.calls.WaitForCount("OpenAndClosePipe", 1);
  machine.clock.Advance(500);
  stopper.join();
  EXPECT_EQ(machine.calls.Count("ServerPipe.Create"), 1u);
}

TEST_F(IpcServerTest, StopOfAServerThatDoesNotRunLeavesThePipeAndItsThreadAlone) {
  std::promise<void> end;
  server.server_thread = std::thread([&end] { end.get_future().wait_for(simulated::kPatience); });
  server.Stop();
  EXPECT_EQ(machine.calls.All(), Texts{});
  EXPECT_TRUE(server.server_thread.joinable());
  EXPECT_FALSE(ReadStartupState().stop_requested);
  EXPECT_TRUE(server.auto_stop_cancel);  // set without a timer, too
  end.set_value();
  server.server_thread.join();
}

TEST_F(IpcServerTest, StopOfAServerThatDoesNotRunCancelsAndJoinsTheTimer) {
  server.auto_stop_thread = WaitForCancel(server);
  server.Stop();
  EXPECT_FALSE(server.auto_stop_thread.joinable());
  EXPECT_EQ(machine.calls.All(), Texts{});
}

TEST_F(IpcServerTest, DestructionStopsARunningServer) {
  {
    IpcServer running;
    running.Start();
    machine.pipes.WaitUntilServerWaits();
    running.auto_stop_thread = WaitForCancel(running);
  }
  EXPECT_EQ(machine.calls.Count("OpenAndClosePipe"), 1u);
  EXPECT_EQ(machine.pipes.OpenInstances(), 0u);
  EXPECT_TRUE(ReadStartupState().stop_requested);
}

TEST_F(IpcServerTest, DestructionOfAServerThatDoesNotRunJoinsTheTimerAndMarksNoStop) {
  std::atomic<bool> timer_ended = false;
  {
    IpcServer idle;
    idle.auto_stop_thread = std::thread([&] {
      while (!idle.auto_stop_cancel) std::this_thread::yield();
      timer_ended = true;
    });
  }
  EXPECT_TRUE(timer_ended);
  EXPECT_EQ(machine.calls.All(), Texts{});
  EXPECT_FALSE(ReadStartupState().stop_requested);
}

class IpcServerDeathTest : public IpcServerTest {
 protected:
  IpcServerDeathTest() { GTEST_FLAG_SET(death_test_style, "threadsafe"); }

  // A thread that tried to join itself cannot be tidied up.
  static void AwaitTheEndOfTheProcess() {
    std::promise<void>().get_future().wait_for(simulated::kPatience);
  }

  void RunOnTimer(const std::function<void()>& function) {
    std::promise<void> assigned;
    server.auto_stop_thread = std::thread([&] {
      assigned.get_future().wait();
      function();
    });
    assigned.set_value();
    AwaitTheEndOfTheProcess();
  }
};

TEST_F(IpcServerDeathTest, DestructionWithAThreadThatIsStillJoinableEndsTheProcess) {
  EXPECT_EXIT(
      {
        IpcServer doomed;
        doomed.server_thread = std::thread([] {});
      },
      testing::KilledBySignal(SIGABRT), "terminate called without an active exception");
}

TEST_F(IpcServerDeathTest, StopOnTheTimersThreadThrows) {
  EXPECT_EXIT(RunOnTimer([this] {
                try {
                  server.Stop();
                } catch (const std::system_error& error) {
                  std::_Exit(error.code() == std::errc::resource_deadlock_would_occur ? 42 : 43);
                }
              }),
              testing::ExitedWithCode(42), "");
}

TEST_F(IpcServerDeathTest, DestructionOnTheTimersThreadEndsTheProcess) {
  EXPECT_EXIT(RunOnTimer([this] { server.~IpcServer(); }), testing::KilledBySignal(SIGABRT),
              "terminate called");
}

TEST_F(IpcServerDeathTest, StopOnThePipeThreadEndsTheProcess) {
  EXPECT_EXIT(
      {
        machine.OnCall("ServerPipe.Read", 1, [this] { server.Stop(); });
        StartAndWait();
        simulated::PipeClient client;
        client.Connect();
        AwaitTheEndOfTheProcess();
      },
      testing::KilledBySignal(SIGABRT), "terminate called");
}

}  // namespace
}  // namespace veltrane
