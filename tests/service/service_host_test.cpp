#include "service/service_host.h"

#include <string>
#include <thread>
#include <vector>

#include "bypass/records.h"
#include "ipc/auto_stop.h"
#include "platform/services.h"
#include "service/startup_guard.h"
#include "tests/service/program.h"
#include "tests/simulated/pipe_client.h"

namespace veltrane {
namespace {

using Texts = std::vector<std::string>;

std::string StatusText(const ServiceStatus& status) {
  return "type " + std::to_string(status.type) + " state " + std::to_string(status.state) +
         " accepts " + std::to_string(status.controls_accepted) + " exit " +
         std::to_string(status.exit_code) + "/" + std::to_string(status.specific_exit_code) +
         " checkpoint " + std::to_string(status.check_point) + " hint " +
         std::to_string(status.wait_hint_ms);
}

class ServiceHost : public OnSteppedMachine {
 protected:
  // Waits until the service has reported running and polls its flag, and its server waits for a
  // client.
  void WaitUntilServing() {
    machine.service_host.WaitForState(4);
    machine.clock.WaitForSleepers(1, 500);
    machine.pipes.WaitUntilServerWaits();
  }

  // Stops the service and lets its main function see it; the exit code of the program.
  int Stop(ProgramThread& program) {
    machine.service_host.SendControl(1);
    machine.clock.Advance(500);
    return program.Join();
  }

  Texts StatusTexts() {
    Texts texts;
    for (const ServiceStatus& status : machine.service_host.Statuses()) {
      texts.push_back(StatusText(status));
    }
    return texts;
  }
};

TEST_F(ServiceHost, ReportsStartPendingRunningStopPendingStopped) {
  ProgramThread program({L"--run-as-service"});
  WaitUntilServing();
  EXPECT_EQ(Stop(program), 0);
  EXPECT_EQ(StatusTexts(), (Texts{"type 16 state 2 accepts 0 exit 0/0 checkpoint 0 hint 0",
                                  "type 16 state 4 accepts 1 exit 0/0 checkpoint 0 hint 0",
                                  "type 16 state 3 accepts 0 exit 0/0 checkpoint 0 hint 0",
                                  "type 16 state 1 accepts 0 exit 0/0 checkpoint 0 hint 0"}));
}

TEST_F(ServiceHost, MeetsTheManagerUnderTheRegisteredNameOnly) {
  ProgramThread program({L"--run-as-service", L"ignored"});
  WaitUntilServing();
  Stop(program);
  EXPECT_EQ(machine.service_host.DispatchedName(), L"VeltraneVpnTunnel");
  EXPECT_EQ(machine.service_host.HandlerName(), L"VeltraneVpnTunnel");
}

TEST_F(ServiceHost, PrintsTheReportOnceAndNothingElse) {
  ProgramThread program({L"--run-as-service"});
  WaitUntilServing();
  Stop(program);
  EXPECT_EQ(machine.console.Log(),
            (std::vector<simulated::Printed>{{simulated::Outlet::kOutput, kQuietReport},
                                             {simulated::Outlet::kError, kQuietReport}}));
}

TEST_F(ServiceHost, StartsTheServerBetweenStartPendingAndTheReport) {
  bool server_there_at_start_pending = true;
  bool running_at_report = false;
  machine.OnCall("ReportServiceStatus", 1,
                 [&] { server_there_at_start_pending = RegisteredServer() != nullptr; });
  machine.OnCall("PrintOutput", 1, [&] {
    running_at_report = RegisteredServer() != nullptr && RegisteredServer()->running;
  });
  ProgramThread program({L"--run-as-service"});
  WaitUntilServing();
  Stop(program);
  EXPECT_FALSE(server_there_at_start_pending);
  EXPECT_TRUE(running_at_report);
}

TEST_F(ServiceHost, ReportsRunningAfterThePassiveStartupReport) {
  std::wstring errors_at_running;
  machine.OnCall("ReportServiceStatus", 2, [&] { errors_at_running = machine.console.Error(); });
  ProgramThread program({L"--run-as-service"});
  WaitUntilServing();
  Stop(program);
  EXPECT_EQ(errors_at_running, kQuietReport);
}

TEST_F(ServiceHost, RecordsTheStartTimeAgain) {
  machine.OnCall("RegisterControlHandler", 1, [&] { machine.clock.SetTime(1798761599); });
  ProgramThread program({L"--run-as-service"});
  WaitUntilServing();
  EXPECT_EQ(Stop(program), 0);
  EXPECT_EQ(ReadStartupState().process_start_timestamp, "2026-12-31T23:59:59Z");
  EXPECT_EQ(machine.console.Output(),
            L"[Veltrane] passive startup report: "
            L"{\"service_started_utc\":\"2026-12-31T23:59:59Z\",\"startup_passive\":true,"
            L"\"startup_route_mutation_count\":0,\"startup_tunnel_started\":false,"
            L"\"startup_config_written\":false,\"leftover_tunnel_service_running\":false,"
            L"\"leftover_tunnel_default_route_detected\":false,"
            L"\"startup_network_mutation_guard_enabled\":false}\n");
}

TEST_F(ServiceHost, WithoutAControlHandlerReturnsAtOnceAndReportsNothing) {
  machine.Fail("RegisterControlHandler", 1, 5);
  EXPECT_EQ(ProgramThread({L"--run-as-service"}).Join(), 0);
  EXPECT_EQ(machine.calls.All(), (Texts{"UtcTicks", "RunServiceDispatcher VeltraneVpnTunnel",
                                        "RegisterControlHandler VeltraneVpnTunnel"}));
  EXPECT_EQ(RegisteredServer(), nullptr);
}

TEST_F(ServiceHost, PollsEvery500Milliseconds) {
  ProgramThread program({L"--run-as-service"});
  WaitUntilServing();
  machine.clock.Advance(500);
  machine.clock.WaitForSleepers(1, 500);
  EXPECT_EQ(Stop(program), 0);
  EXPECT_EQ(machine.clock.Sleeps(), (std::vector<std::uint32_t>{500, 500}));
}

TEST_F(ServiceHost, DestroysAPreviousServerBeforeItStartsItsOwn) {
  RegisterNewServer().Start();
  machine.pipes.WaitUntilServerWaits();
  ProgramThread program({L"--run-as-service"});
  machine.calls.WaitForCount("ServerPipe.Close", 1);
  WaitUntilServing();
  EXPECT_EQ(machine.pipes.Created().size(), 2u);
  EXPECT_EQ(machine.pipes.OpenInstances(), 1u);
  EXPECT_EQ(Stop(program), 0);
}

TEST_F(ServiceHost, AStopEndsTheServerBeforeTheStoppedStateIsReported) {
  ProgramThread program({L"--run-as-service"});
  WaitUntilServing();
  machine.calls.Clear();
  machine.service_host.SendControl(1);
  EXPECT_EQ(machine.calls.All(),
            (Texts{"ReportServiceStatus 3", "OpenAndClosePipe \\\\.\\pipe\\VeltraneVpn",
                   "ServerPipe.Read 65535", "ServerPipe.Flush", "ServerPipe.Disconnect",
                   "ServerPipe.Close", "FreeSecurityAttributes", "ReportServiceStatus 1"}));
  machine.clock.Advance(500);
  EXPECT_EQ(program.Join(), 0);
}

TEST_F(ServiceHost, AStopThatComesAsSoonAsRunningIsReportedEndsTheService) {
  machine.OnCall("ReportServiceStatus", 2, [this] {
    machine.pipes.WaitUntilServerWaits();
    machine.service_host.SendControl(1);
  });
  EXPECT_EQ(ProgramThread({L"--run-as-service"}).Join(), 0);
  EXPECT_EQ(machine.clock.Sleeps(), std::vector<std::uint32_t>{});
  EXPECT_EQ(RegisteredServer(), nullptr);
}

TEST_F(ServiceHost, TheMainFunctionFreesTheServerAtItsNextPoll) {
  ProgramThread program({L"--run-as-service"});
  WaitUntilServing();
  machine.service_host.SendControl(1);
  ASSERT_NE(RegisteredServer(), nullptr);
  EXPECT_FALSE(RegisteredServer()->running);
  EXPECT_FALSE(RegisteredServer()->server_thread.joinable());
  machine.clock.Advance(500);
  EXPECT_EQ(program.Join(), 0);
  EXPECT_EQ(RegisteredServer(), nullptr);
}

TEST_F(ServiceHost, TheMainFunctionEndsWithoutAServerInTheSlot) {
  ProgramThread program({L"--run-as-service"});
  WaitUntilServing();
  machine.service_host.SendControl(1);
  ReleaseServer();
  machine.clock.Advance(500);
  EXPECT_EQ(program.Join(), 0);
}

TEST_F(ServiceHost, AStopCancelsTheAutoStopTimerBeforeItEndsThePipeLoop) {
  ProgramThread program({L"--run-as-service"});
  WaitUntilServing();
  IpcServer& server = *RegisteredServer();
  ScheduleAutoStop(server, 3600, nullptr);
  machine.clock.WaitForSleepers(1, 100);
  bool timer_joined = false;
  machine.OnCall("OpenAndClosePipe", 1,
                 [&] { timer_joined = !server.auto_stop_thread.joinable(); });
  std::thread dispatcher([this] { machine.service_host.SendControl(1); });
  while (!server.auto_stop_cancel) std::this_thread::yield();
  machine.clock.Advance(100);
  dispatcher.join();
  EXPECT_TRUE(timer_joined);
  EXPECT_EQ(machine.Changes(), Texts{});
  machine.clock.Advance(500);
  EXPECT_EQ(program.Join(), 0);
}

TEST_F(ServiceHost, AStopLeavesTheTunnelTheRoutesAndTheFileInPlace) {
  machine.services.Add(L"VeltraneVpnTunnel$Active", simulated::kRunning);
  machine.files.AddFile(L"C:\\ProgramData\\Veltrane\\tunnels\\active.conf", "[Interface]\n");
  machine.routes.Add("203.0.113.5/32", "192.168.1.1", 12, 1);
  AddedRouteList() = machine.routes.Rows();
  ProgramThread program({L"--run-as-service"});
  WaitUntilServing();
  EXPECT_EQ(Stop(program), 0);
  EXPECT_EQ(machine.Changes(), Texts{});
  EXPECT_EQ(machine.services.Find(L"VeltraneVpnTunnel$Active")->state, simulated::kRunning);
  EXPECT_EQ(machine.files.Bytes(L"C:\\ProgramData\\Veltrane\\tunnels\\active.conf"),
            "[Interface]\n");
  EXPECT_EQ(machine.routes.Texts(), Texts{"203.0.113.5/32 via 192.168.1.1 if 12 metric 1"});
  EXPECT_EQ(AddedRouteList().size(), 1u);
}

class OtherControl : public ServiceHost, public testing::WithParamInterface<std::uint32_t> {};

TEST_P(OtherControl, IsIgnored) {
  ProgramThread program({L"--run-as-service"});
  WaitUntilServing();
  machine.calls.Clear();
  machine.service_host.SendControl(GetParam());
  EXPECT_EQ(machine.calls.All(), Texts{});
  EXPECT_TRUE(RegisteredServer()->running);
  machine.clock.Advance(500);
  machine.clock.WaitForSleepers(1, 500);  // the service polls on
  EXPECT_EQ(Stop(program), 0);
  EXPECT_EQ(machine.service_host.States(), (std::vector<std::uint32_t>{2, 4, 3, 1}));
}

INSTANTIATE_TEST_SUITE_P(ServiceHost, OtherControl, testing::Values(0, 2, 3, 4, 5, 6, 14, 128, 255),
                         [](const testing::TestParamInfo<std::uint32_t>& test) {
                           return "Control" + std::to_string(test.param);
                         });

TEST_F(ServiceHost, AStopWithoutAServerReportsBothStates) {
  ProgramThread program({L"--run-as-service"});
  WaitUntilServing();
  Stop(program);
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

// The main function frees the server at its next poll, whether or not the handler still waits for
// the pipe thread.
TEST(ServiceHostDeathTest, AStopThatOutlivesThePollEndsTheProcess) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(
      {
        simulated::Machine machine;
        machine.clock.RunInSteps();
        ProgramThread program({L"--run-as-service"});
        machine.service_host.WaitForState(4);
        machine.clock.WaitForSleepers(1, 500);
        machine.pipes.WaitUntilServerWaits();
        simulated::PipeClient client;
        client.Connect();
        std::thread dispatcher([&machine] { machine.service_host.SendControl(1); });
        machine.calls.WaitForCount("OpenAndClosePipe", 1);
        machine.clock.Advance(500);
        program.Join();
      },
      testing::KilledBySignal(SIGABRT), "terminate called");
}

}  // namespace
}  // namespace veltrane
