// The executable as the control service, started by the service control manager.

#include "tests/windows/clean_machine.h"
#include "tests/windows/control_manager.h"
#include "tests/windows/conversation.h"
#include "tests/windows/network.h"
#include "tests/windows/pipe_connection.h"

namespace veltrane::windows_tests {
namespace {

// The path on the tunnel service's command line. Wine gives services a ProgramData of their own.
std::wstring ConfOfTheTunnelService() {
  const std::wstring command_line = ReadServiceConfig(kTunnelService).command_line;
  const std::wstring before = L" /service \"";
  const std::size_t begin = command_line.find(before) + before.size();
  return command_line.substr(begin, command_line.size() - begin - 1);
}

// The installed service, once it reports that it runs.
class RunningService : public CleanMachine {
 protected:
  RunningService() {
    RunService(L"--install");
    EXPECT_EQ(StartServiceNamed(kControlService), 0u);
    EXPECT_TRUE(WaitForServiceState(kControlService, SERVICE_RUNNING));
  }
};

TEST_F(RunningService, ReportsThatItRunsAndAcceptsAStopAlone) {
  const SERVICE_STATUS_PROCESS status = ServiceStatus(kControlService);
  EXPECT_EQ(status.dwServiceType, 16u);  // SERVICE_WIN32_OWN_PROCESS
  EXPECT_EQ(status.dwCurrentState, 4u);  // SERVICE_RUNNING
  EXPECT_EQ(status.dwControlsAccepted, 1u);
  EXPECT_EQ(status.dwWin32ExitCode, 0u);
  EXPECT_EQ(status.dwCheckPoint, 0u);
  EXPECT_EQ(status.dwWaitHint, 0u);
}

TEST_F(RunningService, AnswersOverThePipe) {
  EXPECT_EQ(Ask(kStatus), R"({"ok":true,"phase":"disconnected","tunnel_running":false,)" +
                              kFreshBypass + "," + kFreshGuard + "}");
}

TEST_F(RunningService, BringsATunnelUp) {
  EXPECT_EQ(Ask(kConnect), Fill(R"({"ok":true,"phase":"connected","node_id":"fra-1",)" +
                                    kBypassOff + "," + kGuardOff + "}",
                                "{routes}", DefaultRoutes()));
  EXPECT_TRUE(WaitForServiceState(kTunnelService, SERVICE_RUNNING));
}

TEST_F(RunningService, TakesATunnelDown) {
  BringTunnelUp();
  EXPECT_EQ(Ask(kDisconnect),
            R"({"ok":true,"phase":"disconnected",)" + kBypassOff + "," + kFreshGuard + "}");
  EXPECT_TRUE(WaitUntilGone(kTunnelService));
}

TEST_F(RunningService, StopsWhenToldToAndClosesThePipe) {
  StopServiceNamed(kControlService);
  EXPECT_EQ(TryToConnect(), DWORD{ERROR_FILE_NOT_FOUND});
}

TEST_F(RunningService, ReportsNoErrorWhenItHasStopped) {
  StopServiceNamed(kControlService);
  const SERVICE_STATUS_PROCESS status = ServiceStatus(kControlService);
  EXPECT_EQ(status.dwCurrentState, 1u);  // SERVICE_STOPPED
  EXPECT_EQ(status.dwControlsAccepted, 0u);
  EXPECT_EQ(status.dwWin32ExitCode, 0u);
  EXPECT_EQ(status.dwServiceSpecificExitCode, 0u);
}

TEST_F(RunningService, RunsOnAfterAControlThatItDoesNotKnow) {
  SendControl(kControlService, 128);
  EXPECT_EQ(ServiceStatus(kControlService).dwCurrentState, DWORD{SERVICE_RUNNING});
  EXPECT_EQ(Ask("{}"), R"({"ok":false,"error":"unknown_op","message":"unsupported operation"})");
}

TEST_F(RunningService, RunsOnAfterAnInterrogation) {
  EXPECT_EQ(SendControl(kControlService, SERVICE_CONTROL_INTERROGATE), 0u);
  EXPECT_EQ(ServiceStatus(kControlService).dwCurrentState, DWORD{SERVICE_RUNNING});
}

TEST_F(RunningService, LeavesTheTunnelAndItsFileInPlaceWhenItStops) {
  BringTunnelUp();
  StopServiceNamed(kControlService);
  EXPECT_EQ(ServiceStatus(kTunnelService).dwCurrentState, DWORD{SERVICE_RUNNING});
  EXPECT_EQ(ReadFileBytes(ConfOfTheTunnelService()), kConf);
}

TEST_F(RunningService, StartsAgainAfterAStop) {
  StopServiceNamed(kControlService);
  ASSERT_EQ(StartServiceNamed(kControlService), 0u);
  ASSERT_TRUE(WaitForServiceState(kControlService, SERVICE_RUNNING));
  EXPECT_EQ(Ask("{}"), R"({"ok":false,"error":"unknown_op","message":"unsupported operation"})");
}

TEST_F(RunningService, LeavesAConsoleServerWaitingForThePipe) {
  ConsoleServer waiting;
  Ask(R"({"op":"register_session","session_nonce":"of the service"})");
  StopServiceNamed(kControlService);
  // The console server knows no nonce, so its answer is another.
  EXPECT_EQ(Ask(R"({"op":"connect"})"),
            R"({"ok":false,"error":"invalid_profile","message":"missing required fields"})");
}

}  // namespace
}  // namespace veltrane::windows_tests
