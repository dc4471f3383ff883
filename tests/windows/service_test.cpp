// The executable as the control service, started by the service control manager.

#include "tests/windows/clean_machine.h"
#include "tests/windows/control_manager.h"
#include "tests/windows/conversation.h"
#include "tests/windows/pipe_connection.h"

namespace veltrane::windows_tests {
namespace {

class RunningService : public CleanMachine {
 protected:
  RunningService() { InstallAndStartService(); }
};

TEST_F(RunningService, ReportsThatItRunsAndAcceptsAStopAlone) {
  const SERVICE_STATUS_PROCESS status = ServiceStatus(kServiceName);
  EXPECT_EQ(status.dwServiceType, 16u);  // SERVICE_WIN32_OWN_PROCESS
  EXPECT_EQ(status.dwCurrentState, 4u);  // SERVICE_RUNNING
  EXPECT_EQ(status.dwControlsAccepted, 1u);
  EXPECT_EQ(status.dwWin32ExitCode, 0u);
  EXPECT_EQ(status.dwCheckPoint, 0u);
  EXPECT_EQ(status.dwWaitHint, 0u);
}

TEST_F(RunningService, BringsATunnelUpAndTakesItDown) {
  BringTunnelUp();
  EXPECT_EQ(Ask(kDisconnect).find(R"({"ok":true,"phase":"disconnected",)"), 0u);
  EXPECT_TRUE(WaitUntilGone(kTunnelServiceName));
}

TEST_F(RunningService, RunsOnAfterControlsThatItDoesNotHandle) {
  EXPECT_EQ(SendControl(kServiceName, SERVICE_CONTROL_INTERROGATE), 0u);
  SendControl(kServiceName, 128);
  EXPECT_EQ(ServiceStatus(kServiceName).dwCurrentState, DWORD{SERVICE_RUNNING});
  EXPECT_EQ(Ask("{}"), kUnknownOp);
}

TEST_F(RunningService, StopsWithoutAnErrorAndClosesThePipe) {
  StopServiceNamed(kServiceName);
  const SERVICE_STATUS_PROCESS status = ServiceStatus(kServiceName);
  EXPECT_EQ(status.dwCurrentState, 1u);  // SERVICE_STOPPED
  EXPECT_EQ(status.dwControlsAccepted, 0u);
  EXPECT_EQ(status.dwWin32ExitCode, 0u);
  EXPECT_EQ(status.dwServiceSpecificExitCode, 0u);
  EXPECT_EQ(TryToConnect(), DWORD{ERROR_FILE_NOT_FOUND});
}

TEST_F(RunningService, LeavesTheTunnelRunningWhenItStops) {
  BringTunnelUp();
  StopServiceNamed(kServiceName);
  EXPECT_EQ(ServiceStatus(kTunnelServiceName).dwCurrentState, DWORD{SERVICE_RUNNING});
}

}  // namespace
}  // namespace veltrane::windows_tests
