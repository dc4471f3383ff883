// "--install", "--uninstall" and "--run-as-service" on the command line.

#include <gmock/gmock.h>

#include "tests/windows/clean_machine.h"
#include "tests/windows/control_manager.h"
#include "tests/windows/pipe_connection.h"
#include "tests/windows/wait.h"

namespace veltrane::windows_tests {
namespace {

using testing::ElementsAre;

class Installer : public CleanMachine {};

void ExpectOutcome(const Outcome& outcome, const std::string& output, const std::string& error,
                   DWORD exit_code) {
  EXPECT_EQ(outcome.output, output);
  EXPECT_EQ(outcome.error, error);
  EXPECT_EQ(outcome.exit_code, exit_code);
}

TEST_F(Installer, InstallSaysSoAndExitsWith0) {
  ExpectOutcome(RunService(L"--install"), "service installed\n", "", 0);
}

TEST_F(Installer, InstallRegistersAnOwnProcessServiceStartedOnDemand) {
  RunService(L"--install");
  const ServiceConfig config = ReadServiceConfig(L"VeltraneVpnTunnel");
  EXPECT_EQ(config.type, 16u);          // SERVICE_WIN32_OWN_PROCESS
  EXPECT_EQ(config.start_type, 3u);     // SERVICE_DEMAND_START
  EXPECT_EQ(config.error_control, 1u);  // SERVICE_ERROR_NORMAL
  EXPECT_EQ(config.display_name, L"VeltraneVpnTunnel");
  EXPECT_EQ(config.account, L"LocalSystem");
  EXPECT_EQ(config.load_order_group, L"");
  EXPECT_EQ(config.tag, 0u);
}

TEST_F(Installer, InstallRegistersTheQuotedExecutableAndItsSwitch) {
  RunService(L"--install");
  EXPECT_EQ(ReadServiceConfig(kControlService).command_line,
            L"\"" + ServiceExecutable() + L"\" --run-as-service");
}

TEST_F(Installer, InstallRegistersItsDependenciesInOrder) {
  RunService(L"--install");
  EXPECT_THAT(RegisteredDependencies(kControlService), ElementsAre(L"Nsi", L"TcpIp"));
}

TEST_F(Installer, InstallDoesNotStartTheService) {
  RunService(L"--install");
  EXPECT_EQ(ServiceStatus(kControlService).dwCurrentState, DWORD{SERVICE_STOPPED});
}

TEST_F(Installer, InstallIgnoresFurtherArguments) {
  ExpectOutcome(RunService(L"--install --uninstall"), "service installed\n", "", 0);
  EXPECT_TRUE(ServiceExists(kControlService));
}

TEST_F(Installer, InstallingAgainSucceedsInTheSameWords) {
  RunService(L"--install");
  ExpectOutcome(RunService(L"--install"), "service installed\n", "", 0);
}

TEST_F(Installer, InstallingAMovedExecutableLeavesTheRegistrationAsItIs) {
  RunService(L"--install");
  const ProgramCopy moved;
  EXPECT_EQ(Process(moved.Executable(), L"--install").Wait().exit_code, 0u);
  EXPECT_EQ(ReadServiceConfig(kControlService).command_line,
            L"\"" + ServiceExecutable() + L"\" --run-as-service");
  EXPECT_THAT(RegisteredDependencies(kControlService), ElementsAre(L"Nsi", L"TcpIp"));
}

TEST_F(Installer, AnInstallThatCannotCreateTheServiceSaysSoOnStandardError) {
  RunService(L"--install");
  const ServiceHandle holds_the_deletion = OpenServiceNamed(kControlService);
  ASSERT_TRUE(DeleteService(holds_the_deletion.get()));
  ExpectOutcome(RunService(L"--install"), "", "install failed: CreateService failed\n", 1);
}

TEST_F(Installer, UninstallRemovesTheService) {
  RunService(L"--install");
  ExpectOutcome(RunService(L"--uninstall"), "service uninstalled\n", "", 0);
  EXPECT_TRUE(WaitUntilGone(kControlService));
}

TEST_F(Installer, UninstallOfAnAbsentServiceSaysTheSameAndExitsWith0) {
  ExpectOutcome(RunService(L"--uninstall"), "service uninstalled\n", "", 0);
}

TEST_F(Installer, UninstallStopsARunningServiceAndRemovesIt) {
  RunService(L"--install");
  ASSERT_EQ(StartServiceNamed(kControlService), 0u);
  ASSERT_TRUE(WaitForServiceState(kControlService, SERVICE_RUNNING));
  ExpectOutcome(RunService(L"--uninstall"), "service uninstalled\n", "", 0);
  EXPECT_TRUE(WaitUntilGone(kControlService));
  EXPECT_TRUE(WaitUntil([] { return TryToConnect() == ERROR_FILE_NOT_FOUND; }));
}

TEST_F(Installer, UninstallLeavesTheTunnelServiceAlone) {
  ASSERT_NE(CreateServiceNamed(kTunnelService, L"C:\\windows\\notepad.exe"), nullptr);
  RunService(L"--uninstall");
  EXPECT_TRUE(ServiceExists(kTunnelService));
}

TEST_F(Installer, RunAsServiceByHandExitsWithTheErrorOfTheDispatcher) {
  // ERROR_FAILED_SERVICE_CONTROLLER_CONNECT
  ExpectOutcome(RunService(L"--run-as-service"), "", "", 1063);
}

}  // namespace
}  // namespace veltrane::windows_tests
