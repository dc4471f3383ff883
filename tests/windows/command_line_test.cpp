// The modes of the command line that register the service and end; "/service" and the dry run have
// files of their own.

#include "tests/windows/clean_machine.h"
#include "tests/windows/control_manager.h"

namespace veltrane::windows_tests {
namespace {

using CommandLine = CleanMachine;

const Outcome kInstalled = {.exit_code = 0, .output = "service installed\n", .error = ""};

TEST_F(CommandLine, WithoutArgumentsPrintsTheUsageAndExitsWith1) {
  EXPECT_EQ(RunService(L""),
            (Outcome{.exit_code = 1,
                     .output = "VeltraneVpnService\n"
                               "  --dry-run-startup      Passive startup check only (no IPC)\n"
                               "  --console              Run IPC server in foreground\n"
                               "  --console --dry-run-startup  Same as --dry-run-startup\n"
                               "  --run-as-service       SCM entry (used by installer)\n"
                               "  --install              Register Windows service (admin)\n"
                               "  --uninstall            Remove Windows service (admin)\n"
                               "  /service <conf>        WireGuard tunnel entry (W1-C)\n",
                     .error = ""}));
}

TEST_F(CommandLine, InstallRegistersTheServiceAndDoesNotStartIt) {
  EXPECT_EQ(RunService(L"--install"), kInstalled);
  ExpectRegistration(L"VeltraneVpnTunnel", L"\"" + ServiceExecutable() + L"\" --run-as-service");
  EXPECT_EQ(ServiceStatus(kServiceName).dwCurrentState, DWORD{SERVICE_STOPPED});
}

TEST_F(CommandLine, InstallOfAMovedExecutableLeavesTheRegistrationAsItIs) {
  RunService(L"--install");
  const ProgramCopy moved;
  EXPECT_EQ(Process(moved.Executable(), L"--install").Wait(), kInstalled);
  ExpectRegistration(kServiceName, L"\"" + ServiceExecutable() + L"\" --run-as-service");
}

TEST_F(CommandLine, InstallThatCannotCreateTheServiceSaysSoOnStandardError) {
  RunService(L"--install");
  const ServiceHandle holds_the_deletion = OpenServiceNamed(kServiceName);
  ASSERT_TRUE(DeleteService(holds_the_deletion.get()));
  EXPECT_EQ(
      RunService(L"--install"),
      (Outcome{.exit_code = 1, .output = "", .error = "install failed: CreateService failed\n"}));
}

TEST_F(CommandLine, UninstallStopsARunningServiceAndRemovesIt) {
  InstallAndStartService();
  EXPECT_EQ(RunService(L"--uninstall"),
            (Outcome{.exit_code = 0, .output = "service uninstalled\n", .error = ""}));
  EXPECT_TRUE(WaitUntilGone(kServiceName));
}

TEST_F(CommandLine, RunAsServiceByHandExitsWithTheErrorOfTheDispatcher) {
  // ERROR_FAILED_SERVICE_CONTROLLER_CONNECT
  EXPECT_EQ(RunService(L"--run-as-service"), SilentExit(1063));
}

}  // namespace
}  // namespace veltrane::windows_tests
