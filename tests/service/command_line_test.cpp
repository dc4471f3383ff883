#include "service/command_line.h"

#include <string>
#include <vector>

#include "service/startup_guard.h"
#include "tests/service/program.h"

namespace veltrane {
namespace {

using Texts = std::vector<std::string>;

constexpr wchar_t kUsage[] =
    L"VeltraneVpnService\n"
    L"  --dry-run-startup      Passive startup check only (no IPC)\n"
    L"  --console              Run IPC server in foreground\n"
    L"  --console --dry-run-startup  Same as --dry-run-startup\n"
    L"  --run-as-service       SCM entry (used by installer)\n"
    L"  --install              Register Windows service (admin)\n"
    L"  --uninstall            Remove Windows service (admin)\n"
    L"  /service <conf>        WireGuard tunnel entry (W1-C)\n";

struct Case {
  const char* name;
  std::vector<std::wstring> arguments;
};

std::string CaseName(const testing::TestParamInfo<Case>& info) { return info.param.name; }

using CommandLine = OnMachine;

TEST_F(CommandLine, WithoutArgumentsPrintsTheUsageTextAndReturns1) {
  EXPECT_EQ(RunProgram({}), 1);
  EXPECT_EQ(machine.console.Output(), kUsage);
  EXPECT_EQ(machine.console.Error(), L"");
}

TEST_F(CommandLine, WithoutArgumentsDoesNothingElse) {
  RunProgram({});
  EXPECT_EQ(machine.calls.All(),
            (Texts{"UtcTicks",
                   "PrintOutput VeltraneVpnService\n"
                   "  --dry-run-startup      Passive startup check only (no IPC)\n"
                   "  --console              Run IPC server in foreground\n"
                   "  --console --dry-run-startup  Same as --dry-run-startup\n"
                   "  --run-as-service       SCM entry (used by installer)\n"
                   "  --install              Register Windows service (admin)\n"
                   "  --uninstall            Remove Windows service (admin)\n"
                   "  /service <conf>        WireGuard tunnel entry (W1-C)"}));
}

TEST_F(CommandLine, ClearsTheStartupRecordAndStoresTheStartTimeInEveryMode) {
  for (const std::vector<std::wstring>& arguments :
       std::vector<std::vector<std::wstring>>{{}, {L"--uninstall"}, {L"/service", L"a.conf"}}) {
    NoteRouteMutation();
    NoteTunnelStarted();
    NoteConfigWritten();
    MarkConnectRequested();
    MarkStopRequested();
    SetProcessStartTimestamp("earlier");
    RunProgram(arguments);
    const StartupState state = ReadStartupState();
    EXPECT_FALSE(state.connect_requested);
    EXPECT_FALSE(state.stop_requested);
    EXPECT_EQ(state.route_mutation_count, 0);
    EXPECT_FALSE(state.tunnel_started);
    EXPECT_FALSE(state.config_written);
    EXPECT_EQ(state.process_start_timestamp, "2026-11-16T02:25:07Z");
  }
}

class UnknownSwitch : public OnMachine, public testing::WithParamInterface<Case> {};

TEST_P(UnknownSwitch, PrintsTheUsageTextAndReturns1) {
  EXPECT_EQ(RunProgram(GetParam().arguments), 1);
  EXPECT_EQ(machine.console.Output(), kUsage);
  EXPECT_EQ(machine.console.Error(), L"");
  EXPECT_EQ(machine.calls.Count("ServiceManager.Open"), 0u);
  EXPECT_EQ(machine.calls.Count("RunServiceDispatcher"), 0u);
  EXPECT_EQ(machine.calls.Count("InstallConsoleHandler"), 0u);
  EXPECT_EQ(machine.calls.Count("Library.Load"), 0u);
}

INSTANTIATE_TEST_SUITE_P(
    CommandLine, UnknownSwitch,
    testing::Values(Case{"EmptyText", {L""}}, Case{"Help", {L"--help"}},
                    Case{"SingleDashInstall", {L"-install"}},
                    Case{"SingleDashUninstall", {L"-uninstall"}},
                    Case{"SingleDashRunAsService", {L"-run-as-service"}},
                    Case{"InstallInCapitals", {L"--INSTALL"}},
                    Case{"UninstallInCapitals", {L"--UNINSTALL"}},
                    Case{"RunAsServiceInCapitals", {L"--Run-As-Service"}},
                    Case{"ConsoleInCapitals", {L"--CONSOLE"}},
                    Case{"SingleDashConsoleInCapitals", {L"-Console"}},
                    Case{"ServiceWithoutPath", {L"/service"}},
                    Case{"ServiceInCapitalsWithPath", {L"/SERVICE", L"C:\\a.conf"}},
                    Case{"ServiceWithDashesAndPath", {L"--service", L"C:\\a.conf"}},
                    Case{"BareWord", {L"install"}}, Case{"BlankBeforeSwitch", {L" --install"}},
                    Case{"SwitchWithValue", {L"--console=1"}}, Case{"PartOfDryRun", {L"--dry-run"}},
                    Case{"LongerThanDryRun", {L"--dry-run-startup=1"}},
                    Case{"DryRunWithSlash", {L"/dry-run-startup"}},
                    Case{"InstallBehindAnother", {L"--verbose", L"--install"}},
                    Case{"UninstallBehindAnother", {L"--verbose", L"--uninstall"}},
                    Case{"RunAsServiceBehindAnother", {L"--verbose", L"--run-as-service"}},
                    Case{"ConsoleBehindAnother", {L"--verbose", L"--console"}},
                    Case{"TunnelEntryBehindAnother", {L"--verbose", L"/service", L"C:\\a.conf"}}),
    CaseName);

class DryRun : public OnMachine, public testing::WithParamInterface<Case> {};

TEST_P(DryRun, PrintsTheReportTwiceAndReturns0) {
  EXPECT_EQ(ProgramThread(GetParam().arguments).Join(), 0);
  EXPECT_EQ(machine.console.Output(), kQuietReport);
  EXPECT_EQ(machine.console.Error(), kQuietReport);
}

TEST_P(DryRun, StartsNoServerAndChangesNothing) {
  ProgramThread(GetParam().arguments).Join();
  EXPECT_EQ(machine.Changes(), Texts{});
  EXPECT_EQ(machine.calls.Count("ServerPipe.Create"), 0u);
  EXPECT_EQ(machine.calls.Count("InstallConsoleHandler"), 0u);
  EXPECT_EQ(machine.calls.Count("RunServiceDispatcher"), 0u);
  EXPECT_EQ(machine.calls.Count("Library.Load"), 0u);
  EXPECT_EQ(machine.calls.Count("Sleep"), 0u);
}

INSTANTIATE_TEST_SUITE_P(
    CommandLine, DryRun,
    testing::Values(
        Case{"TwoDashes", {L"--dry-run-startup"}}, Case{"OneDash", {L"-dry-run-startup"}},
        Case{"TwoDashesInCapitals", {L"--DRY-RUN-STARTUP"}},
        Case{"OneDashInCapitals", {L"-DRY-RUN-STARTUP"}}, Case{"MixedCase", {L"--Dry-Run-StartUp"}},
        Case{"BothForms", {L"-dry-run-startup", L"--dry-run-startup"}},
        Case{"BehindConsole", {L"--console", L"--dry-run-startup"}},
        Case{"OneDashBehindConsole", {L"-console", L"-dry-run-startup"}},
        Case{"BehindInstall", {L"--install", L"--DRY-RUN-startup"}},
        Case{"BehindUninstall", {L"--uninstall", L"-dry-run-startup"}},
        Case{"BehindRunAsService", {L"--run-as-service", L"--dry-run-startup"}},
        Case{"BehindUnknownWords", {L"a", L"b", L"-Dry-Run-Startup"}},
        Case{"BehindServiceInCapitals", {L"/SERVICE", L"C:\\a.conf", L"--dry-run-startup"}},
        Case{"BeforeAnotherMode", {L"--dry-run-startup", L"--install"}}),
    CaseName);

using InstallMode = OnMachine;

TEST_F(InstallMode, InstallsTheServiceSaysSoAndReturns0) {
  EXPECT_EQ(RunProgram({L"--install"}), 0);
  EXPECT_EQ(machine.console.Output(), L"service installed\n");
  EXPECT_EQ(machine.console.Error(), L"");
  ASSERT_TRUE(machine.services.Find(L"VeltraneVpnTunnel"));
  EXPECT_EQ(machine.services.Find(L"VeltraneVpnTunnel")->settings.command_line,
            L"\"C:\\Program Files\\Veltrane\\VeltraneVpnService.exe\" --run-as-service");
}

TEST_F(InstallMode, RegistersAtMost259CharactersOfTheProgramPath) {
  machine.libraries.SetExecutablePath(L"C:\\" + std::wstring(300, L'x'));
  EXPECT_EQ(RunProgram({L"--install"}), 0);
  EXPECT_EQ(machine.services.Find(L"VeltraneVpnTunnel")->settings.command_line,
            L"\"C:\\" + std::wstring(256, L'x') + L"\" --run-as-service");
}

TEST_F(InstallMode, SucceedsWhenTheServiceExists) {
  machine.services.Add(L"VeltraneVpnTunnel");
  EXPECT_EQ(RunProgram({L"--install"}), 0);
  EXPECT_EQ(machine.console.Output(), L"service installed\n");
  EXPECT_EQ(machine.console.Error(), L"");
}

TEST_F(InstallMode, IgnoresFurtherArguments) {
  EXPECT_EQ(RunProgram({L"--install", L"--uninstall", L"extra"}), 0);
  EXPECT_EQ(machine.console.Output(), L"service installed\n");
  EXPECT_TRUE(machine.services.Find(L"VeltraneVpnTunnel"));
}

TEST_F(InstallMode, SaysOnStandardErrorThatTheManagerCouldNotBeOpened) {
  machine.FailAlways("ServiceManager.Open", 5);
  EXPECT_EQ(RunProgram({L"--install"}), 1);
  EXPECT_EQ(machine.console.Output(), L"");
  EXPECT_EQ(machine.console.Error(), L"install failed: OpenSCManager failed\n");
}

TEST_F(InstallMode, SaysOnStandardErrorThatTheServiceCouldNotBeCreated) {
  machine.FailAlways("ServiceManager.Create", 1057);
  EXPECT_EQ(RunProgram({L"--install"}), 1);
  EXPECT_EQ(machine.console.Output(), L"");
  EXPECT_EQ(machine.console.Error(), L"install failed: CreateService failed\n");
}

using UninstallMode = OnMachine;

TEST_F(UninstallMode, RemovesTheServiceSaysSoAndReturns0) {
  machine.services.Add(L"VeltraneVpnTunnel");
  EXPECT_EQ(RunProgram({L"--uninstall"}), 0);
  EXPECT_EQ(machine.console.Output(), L"service uninstalled\n");
  EXPECT_EQ(machine.console.Error(), L"");
  EXPECT_FALSE(machine.services.Find(L"VeltraneVpnTunnel"));
}

TEST_F(UninstallMode, SaysUninstalledWhenTheServiceDidNotExist) {
  EXPECT_EQ(RunProgram({L"--uninstall"}), 0);
  EXPECT_EQ(machine.console.Output(), L"service uninstalled\n");
  EXPECT_EQ(machine.console.Error(), L"");
}

TEST_F(UninstallMode, SaysUninstalledWhenTheRemovalFailed) {
  machine.services.Add(L"VeltraneVpnTunnel");
  machine.FailAlways("ServiceManager.Open", 5);
  EXPECT_EQ(RunProgram({L"--uninstall"}), 0);
  EXPECT_EQ(machine.console.Output(), L"service uninstalled\n");
  EXPECT_EQ(machine.console.Error(), L"");
  EXPECT_TRUE(machine.services.Find(L"VeltraneVpnTunnel"));
}

using RunAsServiceMode = OnMachine;

TEST_F(RunAsServiceMode, ReturnsTheErrorOfTheDispatcher) {
  machine.FailAlways("RunServiceDispatcher", 1063);
  EXPECT_EQ(RunProgram({L"--run-as-service"}), 1063);
  EXPECT_EQ(machine.calls.All(), (Texts{"UtcTicks", "RunServiceDispatcher VeltraneVpnTunnel"}));
}

TEST_F(RunAsServiceMode, Returns0WhenTheDispatcherSucceeded) {
  machine.Fail("RegisterControlHandler", 1, 5);  // the service main function returns at once
  EXPECT_EQ(ProgramThread({L"--run-as-service"}).Join(), 0);
  EXPECT_EQ(machine.service_host.DispatchedName(), L"VeltraneVpnTunnel");
}

}  // namespace
}  // namespace veltrane
