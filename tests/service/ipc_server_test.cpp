#include "service/ipc_server.h"

#include <pthread.h>

#include <atomic>
#include <future>
#include <string>
#include <system_error>
#include <thread>
#include <vector>

#include "service/startup_guard.h"
#include "tests/service/program.h"
#include "tests/simulated/pipe_client.h"

namespace veltrane {
namespace {

using Texts = std::vector<std::string>;

class IpcServerTest : public OnSteppedMachine {
 protected:
  void StartAndWait(IpcServer& server) {
    server.Start();
    machine.pipes.WaitUntilServerWaits();
  }
};

// A thread that ends when it is told to give up, as the timer does.
std::thread WaitForCancel(IpcServer& server) {
  return std::thread([&server] {
    while (!server.auto_stop_cancel) std::this_thread::yield();
  });
}

TEST_F(IpcServerTest, IsDisconnectedAndIdleAtFirst) {
  IpcServer server;
  EXPECT_FALSE(server.running);
  EXPECT_FALSE(server.server_thread.joinable());
  EXPECT_FALSE(server.auto_stop_thread.joinable());
  EXPECT_FALSE(server.auto_stop_cancel);
  EXPECT_TRUE(server.state_mutex.try_lock());
  server.state_mutex.unlock();
  EXPECT_EQ(server.session_nonce, "");
  EXPECT_EQ(server.phase, "disconnected");
  EXPECT_EQ(server.node_id, "");
}

TEST_F(IpcServerTest, SetPhaseClearsTheNodeUnlessOneIsGiven) {
  IpcServer server;
  server.SetPhase("connected", "n1");
  EXPECT_EQ(server.phase, "connected");
  EXPECT_EQ(server.node_id, "n1");
  server.SetPhase("connecting");
  EXPECT_EQ(server.phase, "connecting");
  EXPECT_EQ(server.node_id, "");
}

TEST_F(IpcServerTest, StartServesThePipeOnAThreadOfItsOwn) {
  IpcServer server;
  StartAndWait(server);
  EXPECT_TRUE(server.running);
  EXPECT_NE(server.server_thread.get_id(), std::this_thread::get_id());
  ASSERT_EQ(machine.pipes.Created().size(), 1u);
  EXPECT_EQ(machine.pipes.Created()[0].parameters.name, L"\\\\.\\pipe\\VeltraneVpn");
}

TEST_F(IpcServerTest, StartingTwiceStartsOneThreadOnly) {
  IpcServer server;
  StartAndWait(server);
  const std::thread::id first = server.server_thread.get_id();
  server.Start();
  EXPECT_EQ(server.server_thread.get_id(), first);
  server.Stop();
  EXPECT_EQ(machine.calls.Count("MakeSecurityAttributes"), 1u);
  EXPECT_EQ(machine.pipes.Created().size(), 1u);
}

TEST_F(IpcServerTest, StartDoesNothingWhenRunningIsSet) {
  IpcServer server;
  server.running = true;
  server.Start();
  EXPECT_FALSE(server.server_thread.joinable());
  server.running = false;
}

// Lets every new thread ask for more stack than there can be.
TEST_F(IpcServerTest, StartThrowsWhenTheThreadCannotBeCreated) {
  IpcServer server;
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
  IpcServer server;
  StartAndWait(server);
  machine.calls.Clear();
  server.Stop();
  EXPECT_EQ(machine.calls.All(),
            (Texts{"OpenAndClosePipe \\\\.\\pipe\\VeltraneVpn", "ServerPipe.Read 65535",
                   "ServerPipe.Flush", "ServerPipe.Disconnect", "ServerPipe.Close",
                   "FreeSecurityAttributes"}));
  EXPECT_FALSE(server.running);
  EXPECT_FALSE(server.server_thread.joinable());
  EXPECT_EQ(machine.clock.Sleeps(), std::vector<std::uint32_t>{});
}

TEST_F(IpcServerTest, StopClearsRunningAndMarksTheStopBeforeItTouchesThePipe) {
  IpcServer server;
  bool running = true;
  bool marked = false;
  machine.OnCall("OpenAndClosePipe", 1, [&] {
    running = server.running;
    marked = ReadStartupState().stop_requested;
  });
  StartAndWait(server);
  EXPECT_FALSE(ReadStartupState().stop_requested);
  server.Stop();
  EXPECT_FALSE(running);
  EXPECT_TRUE(marked);
  EXPECT_FALSE(ReadStartupState().connect_requested);
}

TEST_F(IpcServerTest, StoppingTwiceTouchesThePipeOnce) {
  IpcServer server;
  StartAndWait(server);
  server.Stop();
  server.Stop();
  EXPECT_EQ(machine.calls.Count("OpenAndClosePipe"), 1u);
}

TEST_F(IpcServerTest, StopKeepsThePhaseTheNodeAndTheNonce) {
  IpcServer server;
  StartAndWait(server);
  server.session_nonce = "nonce";
  server.SetPhase("connected", "n1");
  server.Stop();
  EXPECT_EQ(server.session_nonce, "nonce");
  EXPECT_EQ(server.phase, "connected");
  EXPECT_EQ(server.node_id, "n1");
}

TEST_F(IpcServerTest, StopWaitsForTheClientThatIsBeingServed) {
  IpcServer server;
  StartAndWait(server);
  simulated::PipeClient client;
  client.Connect();
  std::thread stopper([&server] { server.Stop(); });
  machine.calls.WaitForCount("OpenAndClosePipe", 1);
  client.Send("{\"op\":\"nothing\"}");
  EXPECT_EQ(client.ReceiveAll(),
            "{\"ok\":false,\"error\":\"unknown_op\",\"message\":\"unsupported operation\"}");
  stopper.join();
  EXPECT_EQ(machine.pipes.Created().size(), 1u);
  EXPECT_EQ(machine.pipes.OpenInstances(), 0u);
}

TEST_F(IpcServerTest, StopEndsALoopThatCannotCreateItsPipe) {
  machine.FailAlways("ServerPipe.Create", 231);
  IpcServer server;
  server.Start();
  machine.clock.WaitForSleepers(1, 500);
  std::thread stopper([&server] { server.Stop(); });
  machine.calls.WaitForCount("OpenAndClosePipe", 1);
  machine.clock.Advance(500);
  stopper.join();
  EXPECT_EQ(machine.calls.Count("ServerPipe.Create"), 1u);
}

TEST_F(IpcServerTest, StopOfAServerThatDoesNotRunLeavesThePipeAndItsThreadAlone) {
  std::promise<void> end;
  IpcServer server;
  server.server_thread = std::thread([&end] { end.get_future().wait_for(simulated::kPatience); });
  server.Stop();
  EXPECT_EQ(machine.calls.All(), Texts{});
  EXPECT_TRUE(server.server_thread.joinable());
  EXPECT_FALSE(ReadStartupState().stop_requested);
  end.set_value();
  server.server_thread.join();
}

TEST_F(IpcServerTest, StopOfAServerThatDoesNotRunCancelsAndJoinsTheTimer) {
  IpcServer server;
  server.auto_stop_thread = WaitForCancel(server);
  server.Stop();
  EXPECT_TRUE(server.auto_stop_cancel);
  EXPECT_FALSE(server.auto_stop_thread.joinable());
  EXPECT_EQ(machine.calls.All(), Texts{});
}

TEST_F(IpcServerTest, StopCancelsTheTimerBeforeItEndsThePipeLoop) {
  IpcServer server;
  bool joined = false;
  machine.OnCall("OpenAndClosePipe", 1, [&] { joined = !server.auto_stop_thread.joinable(); });
  StartAndWait(server);
  server.auto_stop_thread = WaitForCancel(server);
  server.Stop();
  EXPECT_TRUE(joined);
}

TEST_F(IpcServerTest, StopSetsTheCancelFlagWithoutATimer) {
  IpcServer server;
  server.Stop();
  EXPECT_TRUE(server.auto_stop_cancel);
}

TEST_F(IpcServerTest, DestructionStopsARunningServer) {
  {
    IpcServer server;
    StartAndWait(server);
    server.auto_stop_thread = WaitForCancel(server);
  }
  EXPECT_EQ(machine.calls.Count("OpenAndClosePipe"), 1u);
  EXPECT_EQ(machine.pipes.OpenInstances(), 0u);
  EXPECT_TRUE(ReadStartupState().stop_requested);
}

TEST_F(IpcServerTest, DestructionOfAServerThatNeverRanLeavesThePassivePhase) {
  { IpcServer server; }
  EXPECT_EQ(machine.calls.All(), Texts{});
  EXPECT_FALSE(ReadStartupState().stop_requested);
}

TEST_F(IpcServerTest, DestructionOfAServerThatDoesNotRunCancelsAndJoinsTheTimer) {
  std::atomic<bool> timer_ended = false;
  {
    IpcServer server;
    server.auto_stop_thread = std::thread([&] {
      while (!server.auto_stop_cancel) std::this_thread::yield();
      timer_ended = true;
    });
  }
  EXPECT_TRUE(timer_ended);
  EXPECT_EQ(machine.calls.All(), Texts{});
}

class IpcServerDeathTest : public IpcServerTest {
 protected:
  IpcServerDeathTest() { GTEST_FLAG_SET(death_test_style, "threadsafe"); }
};

TEST_F(IpcServerDeathTest, DestructionWithAThreadThatIsStillJoinableEndsTheProcess) {
  EXPECT_EXIT(
      {
        IpcServer server;
        server.server_thread = std::thread([] {});
      },
      testing::KilledBySignal(SIGABRT), "terminate called without an active exception");
}

// The child process reports what it saw by its exit code: a thread that tried to join itself cannot
// be tidied up.
TEST_F(IpcServerDeathTest, StopOnTheTimersThreadThrows) {
  EXPECT_EXIT(
      {
        IpcServer server;
        std::promise<void> assigned;
        server.auto_stop_thread = std::thread([&] {
          assigned.get_future().wait();
          try {
            server.Stop();
          } catch (const std::system_error& error) {
            std::_Exit(error.code() == std::errc::resource_deadlock_would_occur ? 42 : 43);
          }
        });
        assigned.set_value();
        std::promise<void>().get_future().wait_for(std::chrono::minutes(2));
      },
      testing::ExitedWithCode(42), "");
}

TEST_F(IpcServerDeathTest, DestructionOnTheTimersThreadEndsTheProcess) {
  EXPECT_EXIT(
      {
        auto* server = new IpcServer;
        std::promise<void> assigned;
        server->auto_stop_thread = std::thread([&] {
          assigned.get_future().wait();
          delete server;
        });
        assigned.set_value();
        std::promise<void>().get_future().wait_for(std::chrono::minutes(2));
      },
      testing::KilledBySignal(SIGABRT), "terminate called");
}

TEST_F(IpcServerDeathTest, StopOnThePipeThreadEndsTheProcess) {
  EXPECT_EXIT(
      {
        IpcServer server;
        machine.OnCall("ServerPipe.Read", 1, [&server] { server.Stop(); });
        StartAndWait(server);
        simulated::PipeClient client;
        client.Connect();
        client.ReceiveAll();
      },
      testing::KilledBySignal(SIGABRT), "terminate called");
}

}  // namespace
}  // namespace veltrane
