#include "service/console_host.h"

#include "tests/service/program.h"
#include "tests/simulated/pipe_client.h"

namespace veltrane {
namespace {

class ConsoleHost : public OnLastingProgram {
 protected:
  ConsoleHost() : OnLastingProgram({L"--console"}, 100) {}

  // Presses Ctrl+C and lets the program see it; its exit code.
  int Interrupt() {
    machine.console.SendEvent(0);
    Poll();
    return Join();
  }
};

TEST_F(ConsoleHost, PrintsTheReportThenThePipeNameThenPollsEvery100Milliseconds) {
  Serve();
  Poll();
  WaitUntilServing();
  EXPECT_EQ(Interrupt(), 0);
  EXPECT_EQ(
      OwnCalls(),
      (Texts{"UtcTicks", "InstallConsoleHandler",
             "PrintOutput [Veltrane] passive startup report: " + kQuietReport,
             "PrintErrorLine [Veltrane] passive startup report: " + kQuietReport,
             "PrintOutput VeltraneVpnService IPC on \\\\.\\pipe\\VeltraneVpn (passive startup)",
             "Sleep 100", "Sleep 100"}));
  EXPECT_TRUE(machine.console.Output().ends_with(L"(passive startup)\n"));
}

TEST_F(ConsoleHost, StartsTheServerBetweenTheReportAndThePipeName) {
  bool there_at_report = true;
  bool running_at_pipe_name = false;
  machine.OnCall("PrintErrorLine", 1, [&] { there_at_report = RegisteredServer() != nullptr; });
  machine.OnCall("PrintOutput", 2, [&] {
    running_at_pipe_name = RegisteredServer() != nullptr && RegisteredServer()->running;
  });
  Serve();
  Interrupt();
  EXPECT_FALSE(there_at_report);
  EXPECT_TRUE(running_at_pipe_name);
}

TEST_F(ConsoleHost, TheSingleDashSwitchStartsItToo) {
  command_line = {L"-console", L"ignored"};
  Serve();
  EXPECT_EQ(machine.pipes.OpenInstances(), 1u);
  EXPECT_EQ(Interrupt(), 0);
}

TEST_F(ConsoleHost, LeavesTheStoppedServerRegistered) {
  Serve();
  EXPECT_EQ(Interrupt(), 0);
  ASSERT_NE(RegisteredServer(), nullptr);
  EXPECT_FALSE(RegisteredServer()->running);
  EXPECT_FALSE(RegisteredServer()->server_thread.joinable());
  EXPECT_EQ(machine.pipes.OpenInstances(), 0u);
}

TEST_F(ConsoleHost, DestroysAPreviousServerBeforeItStartsItsOwn) {
  RegisterNewServer().Start();
  machine.pipes.WaitUntilServerWaits();
  Start();
  machine.calls.WaitForCount("ServerPipe.Close", 1);
  WaitUntilServing();
  EXPECT_EQ(machine.pipes.Created().size(), 2u);
  EXPECT_EQ(machine.pipes.OpenInstances(), 1u);
  EXPECT_EQ(Interrupt(), 0);
}

TEST_F(ConsoleHost, ReturnsAtTheNextPollEvenWhenAClientKeepsTheServerBusy) {
  Serve();
  simulated::PipeClient client;
  client.Connect();
  std::thread event([this] { machine.console.SendEvent(0); });
  machine.calls.WaitForCount("OpenAndClosePipe", 1);
  Poll();
  EXPECT_EQ(Join(), 0);
  EXPECT_EQ(machine.pipes.OpenInstances(), 1u);
  client.Close();
  event.join();
  EXPECT_EQ(machine.pipes.OpenInstances(), 0u);
}

// The flag that ends the program is set last.
TEST_F(ConsoleHost, AnEventBeforeThePipeNameIsPrintedStopsTheServerButNotTheProgram) {
  machine.OnCall("PrintOutput", 2, [&] {
    machine.pipes.WaitUntilServerWaits();
    machine.console.SendEvent(0);
  });
  Start();
  machine.clock.WaitForSleepers(1, 100);
  EXPECT_FALSE(RegisteredServer()->running);
  EXPECT_EQ(Interrupt(), 0);
}

class StoppingEvent : public ConsoleHost, public testing::WithParamInterface<std::uint32_t> {};

TEST_P(StoppingEvent, StopsTheServerAndEndsTheProgramWith0) {
  Serve();
  machine.calls.Clear();
  EXPECT_TRUE(machine.console.SendEvent(GetParam()));
  EXPECT_EQ(machine.calls.All(),
            (Texts{"OpenAndClosePipe \\\\.\\pipe\\VeltraneVpn", "ServerPipe.Read 65535",
                   "ServerPipe.Flush", "ServerPipe.Disconnect", "ServerPipe.Close",
                   "FreeSecurityAttributes"}));
  EXPECT_TRUE(ReadStartupState().stop_requested);
  Poll();
  EXPECT_EQ(Join(), 0);
}

// Ctrl+C, Ctrl+Break, the closing of the window.
INSTANTIATE_TEST_SUITE_P(OfType, StoppingEvent, testing::Values(0, 1, 2),
                         testing::PrintToStringParamName());

class OtherEvent : public ConsoleHost, public testing::WithParamInterface<std::uint32_t> {};

TEST_P(OtherEvent, IsNotHandledAndChangesNothing) {
  Serve();
  machine.calls.Clear();
  EXPECT_FALSE(machine.console.SendEvent(GetParam()));
  EXPECT_EQ(machine.calls.All(), Texts{});
  EXPECT_TRUE(RegisteredServer()->running);
  EXPECT_FALSE(ReadStartupState().stop_requested);
  Poll();
  WaitUntilServing();  // the program polls on
  EXPECT_EQ(Interrupt(), 0);
}

// Log-off is 5, shutdown 6.
INSTANTIATE_TEST_SUITE_P(OfType, OtherEvent, testing::Values(3, 4, 5, 6, 0xFFFFFFFF),
                         testing::PrintToStringParamName());

TEST_F(ConsoleHost, AnEventWithoutAServerIsHandled) {
  EXPECT_TRUE(HandleConsoleControl(0));
  EXPECT_EQ(machine.calls.All(), Texts{});
  EXPECT_FALSE(ReadStartupState().stop_requested);
}

}  // namespace
}  // namespace veltrane
