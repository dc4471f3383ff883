#include "service/service_host.h"

#include "bypass/records.h"
#include "ipc/auto_stop.h"
#include "tests/service/program.h"
#include "tests/simulated/pipe_client.h"

namespace veltrane {
namespace {

class ServiceHost : public OnLastingProgram {
 protected:
  ServiceHost() : OnLastingProgram({L"--run-as-service"}, 500) {}

  // Stops the service and lets its main function see it; the exit code of the program.
  int Stop() {
    machine.service_host.SendControl(1);
    Poll();
    return Join();
  }
};

TEST_F(ServiceHost, PrintsTheReportBetweenStartPendingAndRunningAndPollsEvery500Milliseconds) {
  command_line = {L"--run-as-service", L"ignored"};
  Serve();
  Poll();
  WaitUntilServing();
  EXPECT_EQ(Stop(), 0);
  EXPECT_EQ(OwnCalls(),
            (Texts{"UtcTicks", "RunServiceDispatcher VeltraneVpnTunnel",
                   "RegisterControlHandler VeltraneVpnTunnel", "ReportServiceStatus 2", "UtcTicks",
                   "PrintOutput [Veltrane] passive startup report: " + kQuietReport,
                   "PrintErrorLine [Veltrane] passive startup report: " + kQuietReport,
                   "ReportServiceStatus 4", "Sleep 500", "Sleep 500", "ReportServiceStatus 3",
                   "ReportServiceStatus 1"}));
}

TEST_F(ServiceHost, ReportsAnOwnProcessThatAcceptsAStopWhileItRuns) {
  Serve();
  Stop();
  Texts statuses;
  for (const ServiceStatus& status : machine.service_host.Statuses()) {
    statuses.push_back(
        "type " + std::to_string(status.type) + " state " + std::to_string(status.state) +
        " accepts " + std::to_string(status.controls_accepted) + " exit " +
        std::to_string(status.exit_code) + "/" + std::to_string(status.specific_exit_code) +
        " checkpoint " + std::to_string(status.check_point) + " hint " +
        std::to_string(status.wait_hint_ms));
  }
  EXPECT_EQ(statuses, (Texts{"type 16 state 2 accepts 0 exit 0/0 checkpoint 0 hint 0",
                             "type 16 state 4 accepts 1 exit 0/0 checkpoint 0 hint 0",
                             "type 16 state 3 accepts 0 exit 0/0 checkpoint 0 hint 0",
                             "type 16 state 1 accepts 0 exit 0/0 checkpoint 0 hint 0"}));
}

TEST_F(ServiceHost, StartsTheServerBetweenStartPendingAndTheReport) {
  bool there_at_start_pending = true;
  bool running_at_report = false;
  machine.OnCall("ReportServiceStatus", 1,
                 [&] { there_at_start_pending = RegisteredServer() != nullptr; });
  machine.OnCall("PrintOutput", 1, [&] {
    running_at_report = RegisteredServer() != nullptr && RegisteredServer()->running;
  });
  Serve();
  Stop();
  EXPECT_FALSE(there_at_start_pending);
  EXPECT_TRUE(running_at_report);
}

TEST_F(ServiceHost, RecordsTheStartTimeAgainForItsReport) {
  machine.OnCall("RegisterControlHandler", 1, [&] { machine.clock.SetTime(1798761599); });
  Serve();
  Stop();
  EXPECT_TRUE(machine.console.Output().starts_with(
      L"[Veltrane] passive startup report: {\"service_started_utc\":\"2026-12-31T23:59:59Z\","));
}

TEST_F(ServiceHost, WithoutAControlHandlerReturnsAtOnceAndReportsNothing) {
  machine.Fail("RegisterControlHandler", 1, 5);
  Start();
  EXPECT_EQ(Join(), 0);
  EXPECT_EQ(machine.calls.All(), (Texts{"UtcTicks", "RunServiceDispatcher VeltraneVpnTunnel",
                                        "RegisterControlHandler VeltraneVpnTunnel"}));
  EXPECT_EQ(RegisteredServer(), nullptr);
}

TEST_F(ServiceHost, DestroysAPreviousServerBeforeItStartsItsOwn) {
  RegisterNewServer().Start();
  machine.pipes.WaitUntilServerWaits();
  Start();
  machine.calls.WaitForCount("ServerPipe.Close", 1);
  WaitUntilServing();
  EXPECT_EQ(machine.pipes.Created().size(), 2u);
  EXPECT_EQ(machine.pipes.OpenInstances(), 1u);
  EXPECT_EQ(Stop(), 0);
}

TEST_F(ServiceHost, AStopEndsTheServerBeforeTheStoppedStateAndTheNextPollFreesIt) {
  Serve();
  machine.calls.Clear();
  machine.service_host.SendControl(1);
  EXPECT_EQ(machine.calls.All(),
            (Texts{"ReportServiceStatus 3", "OpenAndClosePipe \\\\.\\pipe\\VeltraneVpn",
                   "ServerPipe.Read 65535", "ServerPipe.Flush", "ServerPipe.Disconnect",
                   "ServerPipe.Close", "FreeSecurityAttributes", "ReportServiceStatus 1"}));
  ASSERT_NE(RegisteredServer(), nullptr);
  EXPECT_FALSE(RegisteredServer()->running);
  EXPECT_FALSE(RegisteredServer()->server_thread.joinable());
  Poll();
  EXPECT_EQ(Join(), 0);
  EXPECT_EQ(RegisteredServer(), nullptr);
}

TEST_F(ServiceHost, AStopThatComesAsSoonAsRunningIsReportedEndsTheService) {
  machine.OnCall("ReportServiceStatus", 2, [this] {
    machine.pipes.WaitUntilServerWaits();
    machine.service_host.SendControl(1);
  });
  Start();
  EXPECT_EQ(Join(), 0);
  EXPECT_EQ(machine.clock.Sleeps(), std::vector<std::uint32_t>{});
  EXPECT_EQ(RegisteredServer(), nullptr);
}

TEST_F(ServiceHost, TheMainFunctionEndsWithoutAServerInTheSlot) {
  Serve();
  machine.service_host.SendControl(1);
  ReleaseServer();
  Poll();
  EXPECT_EQ(Join(), 0);
}

TEST_F(ServiceHost, AStopCancelsTheTimerAndLeavesTheTunnelTheRoutesAndTheFileInPlace) {
  machine.services.Add(L"VeltraneVpnTunnel$Active", simulated::kRunning);
  machine.files.AddFile(L"C:\\ProgramData\\Veltrane\\tunnels\\active.conf", "[Interface]\n");
  machine.routes.Add("203.0.113.5/32", "192.168.1.1", 12, 1);
  AddedRouteList() = machine.routes.Rows();
  Serve();
  IpcServer& server = *RegisteredServer();
  ScheduleAutoStop(server, 3600, nullptr);
  machine.clock.WaitForSleepers(1, 100);
  std::thread dispatcher([this] { machine.service_host.SendControl(1); });
  while (!server.auto_stop_cancel) std::this_thread::yield();
  machine.clock.Advance(100);
  dispatcher.join();
  EXPECT_FALSE(server.auto_stop_thread.joinable());
  Poll();
  EXPECT_EQ(Join(), 0);
  EXPECT_EQ(machine.Changes(), Texts{});
  EXPECT_EQ(AddedRouteList().size(), 1u);
}

class OtherControl : public ServiceHost, public testing::WithParamInterface<std::uint32_t> {};

TEST_P(OtherControl, IsIgnored) {
  Serve();
  machine.calls.Clear();
  machine.service_host.SendControl(GetParam());
  EXPECT_EQ(machine.calls.All(), Texts{});
  EXPECT_TRUE(RegisteredServer()->running);
  Poll();
  WaitUntilServing();  // the service polls on
  EXPECT_EQ(Stop(), 0);
  EXPECT_EQ(machine.service_host.States(), (std::vector<std::uint32_t>{2, 4, 3, 1}));
}

INSTANTIATE_TEST_SUITE_P(OfCode, OtherControl, testing::Values(0, 2, 3, 4, 5, 6, 14, 128, 255),
                         testing::PrintToStringParamName());

TEST_F(ServiceHost, AStopWithoutAServerReportsBothStates) {
  Serve();
  Stop();
  machine.calls.Clear();
  HandleServiceControl(1);
  EXPECT_EQ(machine.calls.All(), (Texts{"ReportServiceStatus 3", "ReportServiceStatus 1"}));
}

TEST_F(ServiceHost, AStopWithoutAStatusHandleStopsTheServerAndReportsNothing) {
  machine.Fail("RegisterControlHandler", 1, 5);
  ServiceMain();
  RegisterNewServer().Start();
  machine.pipes.WaitUntilServerWaits();
  HandleServiceControl(1);
  EXPECT_EQ(machine.calls.Count("ReportServiceStatus"), 0u);
  EXPECT_FALSE(RegisteredServer()->running);
  EXPECT_EQ(machine.pipes.OpenInstances(), 0u);
}

// A stop whose own connection comes just before the next pipe has been made, so that it waits for a
// client.
class StopThatMissesThePipe : public ServiceHost {
 protected:
  ~StopThatMissesThePipe() override {
    if (dispatcher_.joinable()) dispatcher_.join();
  }

  void Begin() {
    Serve();
    machine.OnCall("ServerPipe.Create", 1, [this] {
      dispatcher_ = std::thread([this] { machine.service_host.SendControl(1); });
      machine.pipes.WaitUntilRefused(1);
    });
    simulated::Exchange("{}");
    machine.pipes.WaitUntilServerWaits();
  }

  void AwaitTheHandler() { dispatcher_.join(); }

 private:
  std::thread dispatcher_;
};

TEST_F(StopThatMissesThePipe, IsReleasedByAnyClientThatComesBeforeThePoll) {
  Begin();
  EXPECT_EQ(machine.service_host.States(), (std::vector<std::uint32_t>{2, 4, 3}));
  EXPECT_TRUE(simulated::Exchange(R"({"op":"status"})").starts_with(R"({"ok":true,)"));
  AwaitTheHandler();
  EXPECT_EQ(machine.service_host.States(), (std::vector<std::uint32_t>{2, 4, 3, 1}));
  Poll();
  EXPECT_EQ(Join(), 0);
}

using StopThatMissesThePipeDeathTest = StopThatMissesThePipe;

TEST_F(StopThatMissesThePipeDeathTest, EndsTheProcessAtTheNextPollWithoutAClient) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(
      {
        Begin();
        Poll();
        Join();
      },
      testing::KilledBySignal(SIGABRT), "terminate called");
}

using ServiceHostDeathTest = ServiceHost;

// The main function frees the server at its next poll, whether or not the handler still waits for
// the pipe thread.
TEST_F(ServiceHostDeathTest, AStopThatOutlivesThePollEndsTheProcess) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(
      {
        Serve();
        simulated::PipeClient client;
        client.Connect();
        std::thread dispatcher([this] { machine.service_host.SendControl(1); });
        machine.calls.WaitForCount("OpenAndClosePipe", 1);
        Poll();
        Join();
      },
      testing::KilledBySignal(SIGABRT), "terminate called");
}

}  // namespace
}  // namespace veltrane
