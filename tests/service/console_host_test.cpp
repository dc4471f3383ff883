#include "service/console_host.h"

#include <string>
#include <thread>
#include <vector>

#include "service/startup_guard.h"
#include "tests/service/program.h"
#include "tests/simulated/pipe_client.h"

namespace veltrane {
namespace {

using simulated::Outlet;
using simulated::PipeClient;
using simulated::Printed;
using Texts = std::vector<std::string>;

class ConsoleHost : public OnSteppedMachine {
 protected:
  // Waits until the program polls its flag and the server waits for a client.
  void WaitUntilServing() {
    machine.clock.WaitForSleepers(1, 100);
    machine.pipes.WaitUntilServerWaits();
  }

  // Presses Ctrl+C and lets the program see it; its exit code.
  int Interrupt(ProgramThread& program) {
    machine.console.SendEvent(0);
    machine.clock.Advance(100);
    return program.Join();
  }
};

TEST_F(ConsoleHost, PrintsTheReportAndThePipeNameOnce) {
  ProgramThread program({L"--console"});
  WaitUntilServing();
  EXPECT_EQ(Interrupt(program), 0);
  EXPECT_EQ(machine.console.Log(),
            (std::vector<Printed>{
                {Outlet::kOutput, kQuietReport},
                {Outlet::kError, kQuietReport},
                {Outlet::kOutput,
                 L"VeltraneVpnService IPC on \\\\.\\pipe\\VeltraneVpn (passive startup)\n"}}));
}

TEST_F(ConsoleHost, TheSingleDashSwitchStartsItToo) {
  ProgramThread program({L"-console", L"ignored"});
  WaitUntilServing();
  EXPECT_EQ(machine.pipes.OpenInstances(), 1u);
  EXPECT_EQ(Interrupt(program), 0);
}

TEST_F(ConsoleHost, InstallsTheHandlerThenReportsThenStartsTheServer) {
  bool server_there_at_handler = true;
  bool server_there_at_report = true;
  machine.OnCall("InstallConsoleHandler", 1,
                 [&] { server_there_at_handler = RegisteredServer() != nullptr; });
  machine.OnCall("PrintErrorLine", 1,
                 [&] { server_there_at_report = RegisteredServer() != nullptr; });
  ProgramThread program({L"--console"});
  WaitUntilServing();
  Interrupt(program);
  EXPECT_FALSE(server_there_at_handler);
  EXPECT_FALSE(server_there_at_report);
  Texts begin = machine.calls.All();
  begin.resize(6);
  EXPECT_EQ(begin,
            (Texts{"UtcTicks", "InstallConsoleHandler", "ServiceManager.Open 0x1",
                   "ServiceManager.OpenExisting VeltraneVpnTunnel$Active 0x4", "ReadForwardTable",
                   "ReadProcessVariable "
                   "VELTRANE_POC_DISABLE_ALL_NETWORK_MUTATION_ON_STARTUP"}));
}

TEST_F(ConsoleHost, TheServerIsStartedBeforeThePipeNameIsPrinted) {
  bool running = false;
  machine.OnCall("PrintOutput", 2,
                 [&] { running = RegisteredServer() != nullptr && RegisteredServer()->running; });
  ProgramThread program({L"--console"});
  WaitUntilServing();
  Interrupt(program);
  EXPECT_TRUE(running);
}

TEST_F(ConsoleHost, AnswersRequests) {
  ProgramThread program({L"--console"});
  WaitUntilServing();
  EXPECT_EQ(simulated::Exchange("{\"op\":\"nothing\"}"),
            "{\"ok\":false,\"error\":\"unknown_op\",\"message\":\"unsupported operation\"}");
  machine.pipes.WaitUntilServerWaits();
  EXPECT_EQ(Interrupt(program), 0);
}

TEST_F(ConsoleHost, PollsEvery100Milliseconds) {
  ProgramThread program({L"--console"});
  WaitUntilServing();
  machine.clock.Advance(100);
  machine.clock.WaitForSleepers(1, 100);
  machine.clock.Advance(100);
  machine.clock.WaitForSleepers(1, 100);
  EXPECT_EQ(Interrupt(program), 0);
  EXPECT_EQ(machine.clock.Sleeps(), (std::vector<std::uint32_t>{100, 100, 100}));
}

TEST_F(ConsoleHost, LeavesTheStoppedServerRegistered) {
  ProgramThread program({L"--console"});
  WaitUntilServing();
  EXPECT_EQ(Interrupt(program), 0);
  ASSERT_NE(RegisteredServer(), nullptr);
  EXPECT_FALSE(RegisteredServer()->running);
  EXPECT_FALSE(RegisteredServer()->server_thread.joinable());
  EXPECT_EQ(machine.pipes.OpenInstances(), 0u);
}

TEST_F(ConsoleHost, DestroysAPreviousServerBeforeItStartsItsOwn) {
  RegisterNewServer().Start();
  machine.pipes.WaitUntilServerWaits();
  ProgramThread program({L"--console"});
  machine.calls.WaitForCount("ServerPipe.Close", 1);
  WaitUntilServing();
  EXPECT_EQ(machine.pipes.Created().size(), 2u);
  EXPECT_EQ(machine.pipes.OpenInstances(), 1u);
  EXPECT_EQ(Interrupt(program), 0);
}

TEST_F(ConsoleHost, ReturnsAtTheNextPollEvenWhenAClientKeepsTheServerBusy) {
  ProgramThread program({L"--console"});
  WaitUntilServing();
  PipeClient client;
  client.Connect();
  std::thread event([this] { machine.console.SendEvent(0); });
  machine.calls.WaitForCount("OpenAndClosePipe", 1);
  machine.clock.Advance(100);
  EXPECT_EQ(program.Join(), 0);
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
  ProgramThread program({L"--console"});
  machine.clock.WaitForSleepers(1, 100);
  EXPECT_FALSE(RegisteredServer()->running);
  EXPECT_EQ(Interrupt(program), 0);
}

class StoppingEvent : public ConsoleHost, public testing::WithParamInterface<std::uint32_t> {};

TEST_P(StoppingEvent, StopsTheServerAndEndsTheProgramWith0) {
  ProgramThread program({L"--console"});
  WaitUntilServing();
  machine.calls.Clear();
  EXPECT_TRUE(machine.console.SendEvent(GetParam()));
  EXPECT_EQ(machine.calls.All(),
            (Texts{"OpenAndClosePipe \\\\.\\pipe\\VeltraneVpn", "ServerPipe.Read 65535",
                   "ServerPipe.Flush", "ServerPipe.Disconnect", "ServerPipe.Close",
                   "FreeSecurityAttributes"}));
  EXPECT_TRUE(ReadStartupState().stop_requested);
  machine.clock.Advance(100);
  EXPECT_EQ(program.Join(), 0);
}

std::string EventName(const testing::TestParamInfo<std::uint32_t>& info) {
  switch (info.param) {
    case 0:
      return "CtrlC";
    case 1:
      return "CtrlBreak";
    case 2:
      return "CloseOfTheWindow";
    case 3:
      return "Type3";
    case 4:
      return "Type4";
    case 5:
      return "LogOff";
    case 6:
      return "Shutdown";
    default:
      return "LargestType";
  }
}

INSTANTIATE_TEST_SUITE_P(ConsoleHost, StoppingEvent, testing::Values(0, 1, 2), EventName);

class OtherEvent : public ConsoleHost, public testing::WithParamInterface<std::uint32_t> {};

TEST_P(OtherEvent, IsNotHandledAndChangesNothing) {
  ProgramThread program({L"--console"});
  WaitUntilServing();
  machine.calls.Clear();
  EXPECT_FALSE(machine.console.SendEvent(GetParam()));
  EXPECT_EQ(machine.calls.All(), Texts{});
  EXPECT_TRUE(RegisteredServer()->running);
  EXPECT_FALSE(ReadStartupState().stop_requested);
  machine.clock.Advance(100);
  machine.clock.WaitForSleepers(1, 100);  // the program polls on
  EXPECT_EQ(Interrupt(program), 0);
}

INSTANTIATE_TEST_SUITE_P(ConsoleHost, OtherEvent, testing::Values(3, 4, 5, 6, 0xFFFFFFFF),
                         EventName);

TEST_F(ConsoleHost, AnEventWithoutAServerIsHandled) {
  ReleaseServer();
  EXPECT_TRUE(HandleConsoleControl(0));
  EXPECT_EQ(machine.calls.All(), Texts{});
  EXPECT_FALSE(ReadStartupState().stop_requested);
}

}  // namespace
}  // namespace veltrane
