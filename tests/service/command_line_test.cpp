#include "service/command_line.h"

#include "tests/service/program.h"
#include "tests/support/name_of.h"

namespace veltrane {
namespace {

using simulated::Machine;
using simulated::Outlet;
using simulated::Printed;

struct Arguments {
  const char* name;
  std::vector<std::wstring> texts;
};

class UnknownCommandLine : public OnMachine, public testing::WithParamInterface<Arguments> {};

TEST_P(UnknownCommandLine, PrintsTheUsageTextReturns1AndDoesNothingElse) {
  EXPECT_EQ(RunProgram(GetParam().texts), 1);
  EXPECT_EQ(machine.console.Output(),
            L"VeltraneVpnService\n"
            L"  --dry-run-startup      Passive startup check only (no IPC)\n"
            L"  --console              Run IPC server in foreground\n"
            L"  --console --dry-run-startup  Same as --dry-run-startup\n"
            L"  --run-as-service       SCM entry (used by installer)\n"
            L"  --install              Register Windows service (admin)\n"
            L"  --uninstall            Remove Windows service (admin)\n"
            L"  /service <conf>        WireGuard tunnel entry (W1-C)\n");
  EXPECT_EQ(machine.calls.All().size(), 2u);  // the time of the start, and the text
}

const Arguments kUnknown[] = {
    {"Nothing", {}},
    {"EmptyText", {L""}},
    {"Help", {L"--help"}},
    {"SingleDashInstall", {L"-install"}},
    {"SingleDashUninstall", {L"-uninstall"}},
    {"SingleDashRunAsService", {L"-run-as-service"}},
    {"InstallInCapitals", {L"--INSTALL"}},
    {"UninstallInCapitals", {L"--UNINSTALL"}},
    {"RunAsServiceInCapitals", {L"--Run-As-Service"}},
    {"ConsoleInCapitals", {L"--CONSOLE"}},
    {"SingleDashConsoleInCapitals", {L"-Console"}},
    {"ServiceWithoutPath", {L"/service"}},
    {"ServiceInCapitalsWithPath", {L"/SERVICE", L"C:\\a.conf"}},
    {"ServiceWithDashesAndPath", {L"--service", L"C:\\a.conf"}},
    {"BareWord", {L"install"}},
    {"BlankBeforeSwitch", {L" --install"}},
    {"SwitchWithValue", {L"--console=1"}},
    {"PartOfDryRun", {L"--dry-run"}},
    {"LongerThanDryRun", {L"--dry-run-startup=1"}},
    {"DryRunWithSlash", {L"/dry-run-startup"}},
    {"InstallBehindAnother", {L"--verbose", L"--install"}},
    {"UninstallBehindAnother", {L"--verbose", L"--uninstall"}},
    {"RunAsServiceBehindAnother", {L"--verbose", L"--run-as-service"}},
    {"ConsoleBehindAnother", {L"--verbose", L"--console"}},
    {"TunnelEntryBehindAnother", {L"--verbose", L"/service", L"C:\\a.conf"}}};

INSTANTIATE_TEST_SUITE_P(With, UnknownCommandLine, testing::ValuesIn(kUnknown), NameOf<Arguments>);

// The program of this name, without an argument.
class ProgramNamedLikeASwitch : public OnMachine,
                                public testing::WithParamInterface<const wchar_t*> {};

TEST_P(ProgramNamedLikeASwitch, PrintsTheUsageText) {
  const wchar_t* const argv[] = {GetParam(), nullptr};
  EXPECT_EQ(RunCommandLine(1, argv), 1);
  EXPECT_TRUE(machine.console.Output().starts_with(L"VeltraneVpnService\n"));
  EXPECT_EQ(machine.calls.All().size(), 2u);  // the time of the start, and the text
}

TEST_P(ProgramNamedLikeASwitch, ObeysItsFirstArgument) {
  const wchar_t* const argv[] = {GetParam(), L"--uninstall", nullptr};
  EXPECT_EQ(RunCommandLine(2, argv), 0);
  EXPECT_EQ(machine.console.Output(), L"service uninstalled\n");
}

INSTANTIATE_TEST_SUITE_P(The, ProgramNamedLikeASwitch,
                         testing::Values(L"--dry-run-startup", L"-dry-run-startup", L"--install",
                                         L"--console", L"/service"));

class DryRun : public OnMachine, public testing::WithParamInterface<Arguments> {};

TEST_P(DryRun, PrintsTheReportTwiceReturns0AndDoesNothingElse) {
  EXPECT_EQ(ProgramThread(GetParam().texts).Join(), 0);
  EXPECT_EQ(machine.calls.All(),
            (Texts{"UtcTicks", "ServiceManager.Open 0x1",
                   "ServiceManager.OpenExisting VeltraneVpnTunnel$Active 0x4", "ReadForwardTable",
                   "ReadProcessVariable VELTRANE_POC_DISABLE_ALL_NETWORK_MUTATION_ON_STARTUP",
                   "ReadRegistryText HKLM VELTRANE_POC_DISABLE_ALL_NETWORK_MUTATION_ON_STARTUP",
                   "ReadRegistryText HKCU VELTRANE_POC_DISABLE_ALL_NETWORK_MUTATION_ON_STARTUP",
                   "PrintOutput [Veltrane] passive startup report: " + kQuietReport,
                   "PrintErrorLine [Veltrane] passive startup report: " + kQuietReport}));
}

const Arguments kDryRuns[] = {
    {"TwoDashes", {L"--dry-run-startup"}},
    {"OneDash", {L"-dry-run-startup"}},
    {"TwoDashesInCapitals", {L"--DRY-RUN-STARTUP"}},
    {"OneDashInCapitals", {L"-DRY-RUN-STARTUP"}},
    {"MixedCase", {L"--Dry-Run-StartUp"}},
    {"BothForms", {L"-dry-run-startup", L"--dry-run-startup"}},
    {"BehindConsole", {L"--console", L"--dry-run-startup"}},
    {"OneDashBehindConsole", {L"-console", L"-dry-run-startup"}},
    {"BehindInstall", {L"--install", L"--DRY-RUN-startup"}},
    {"BehindUninstall", {L"--uninstall", L"-dry-run-startup"}},
    {"BehindRunAsService", {L"--run-as-service", L"--dry-run-startup"}},
    {"BehindUnknownWords", {L"a", L"b", L"-Dry-Run-Startup"}},
    {"BehindServiceInCapitals", {L"/SERVICE", L"C:\\a.conf", L"--dry-run-startup"}},
    {"BeforeAnotherMode", {L"--dry-run-startup", L"--install"}}};

INSTANTIATE_TEST_SUITE_P(Spelled, DryRun, testing::ValuesIn(kDryRuns), NameOf<Arguments>);

using CommandLine = OnMachine;

TEST_F(CommandLine, ForgetsWhatWasRecordedAndTakesTheStartTimeInEveryMode) {
  for (const std::vector<std::wstring>& arguments :
       std::vector<std::vector<std::wstring>>{{}, {L"--uninstall"}, {L"/service", L"a.conf"}}) {
    NoteRouteMutation();
    NoteTunnelStarted();
    NoteConfigWritten();
    MarkConnectRequested();
    MarkStopRequested();
    SetProcessStartTimestamp("earlier");
    RunProgram(arguments);
    EXPECT_EQ(StartupRecord(),
              "connect 0 stop 0 routes 0 tunnel 0 config 0 since 2026-11-16T02:25:07Z");
  }
}

TEST_F(CommandLine, InstallRegistersAtMost259CharactersOfTheProgramPath) {
  machine.libraries.SetExecutablePath(L"C:\\" + std::wstring(300, L'x'));
  EXPECT_EQ(RunProgram({L"--install"}), 0);
  EXPECT_EQ(machine.services.Find(L"VeltraneVpnTunnel")->settings.command_line,
            L"\"C:\\" + std::wstring(256, L'x') + L"\" --run-as-service");
}

TEST_F(CommandLine, RunAsServiceReturnsTheErrorOfTheDispatcher) {
  machine.FailAlways("RunServiceDispatcher", 1063);
  EXPECT_EQ(RunProgram({L"--run-as-service"}), 1063);
  EXPECT_EQ(machine.calls.All(), (Texts{"UtcTicks", "RunServiceDispatcher VeltraneVpnTunnel"}));
}

void Nothing(Machine&) {}
void AddService(Machine& machine) { machine.services.Add(L"VeltraneVpnTunnel"); }
void FailManager(Machine& machine) { machine.FailAlways("ServiceManager.Open", 5); }
void FailCreation(Machine& machine) { machine.FailAlways("ServiceManager.Create", 1057); }
void AddServiceAndFailManager(Machine& machine) {
  AddService(machine);
  FailManager(machine);
}

const Printed kInstalled = {Outlet::kOutput, L"service installed\n"};
const Printed kUninstalled = {Outlet::kOutput, L"service uninstalled\n"};
const Printed kNoManager = {Outlet::kError, L"install failed: OpenSCManager failed\n"};
const Printed kNoCreation = {Outlet::kError, L"install failed: CreateService failed\n"};

struct Registration {
  const char* name;
  std::vector<std::wstring> arguments;
  void (*prepare)(Machine& machine);
  int exit_code;
  const Printed& printed;
  bool installed;  // afterwards
};

class RegistrationMode : public OnMachine, public testing::WithParamInterface<Registration> {};

TEST_P(RegistrationMode, SaysWhatBecameOfTheServiceAndReturnsIt) {
  GetParam().prepare(machine);
  EXPECT_EQ(RunProgram(GetParam().arguments), GetParam().exit_code);
  EXPECT_EQ(machine.console.Log(), std::vector<Printed>{GetParam().printed});
  EXPECT_EQ(machine.services.Find(L"VeltraneVpnTunnel").has_value(), GetParam().installed);
}

const Registration kRegistrations[] = {
    {"Install", {L"--install"}, Nothing, 0, kInstalled, true},
    {"InstallOverItself", {L"--install"}, AddService, 0, kInstalled, true},
    {"InstallAndMore", {L"--install", L"--uninstall", L"x"}, Nothing, 0, kInstalled, true},
    {"InstallWithoutTheManager", {L"--install"}, FailManager, 1, kNoManager, false},
    {"InstallThatCannotCreate", {L"--install"}, FailCreation, 1, kNoCreation, false},
    {"Uninstall", {L"--uninstall"}, AddService, 0, kUninstalled, false},
    {"UninstallOfNothing", {L"--uninstall"}, Nothing, 0, kUninstalled, false},
    {"UninstallThatFails", {L"--uninstall"}, AddServiceAndFailManager, 0, kUninstalled, true}};

INSTANTIATE_TEST_SUITE_P(Mode, RegistrationMode, testing::ValuesIn(kRegistrations),
                         NameOf<Registration>);

// What the tunnel library was given and is to answer.
std::wstring given_path;
bool tunnel_ends_well = true;

bool RunTunnel(const wchar_t* conf_path) {
  given_path = conf_path;
  return tunnel_ends_well;
}

struct TunnelRun {
  const char* name;
  std::vector<std::wstring> arguments;
  bool ends_well;
  int exit_code;
  const wchar_t* given_path;
};

class TunnelEntry : public OnMachine, public testing::WithParamInterface<TunnelRun> {};

TEST_P(TunnelEntry, HandsThePathToTheTunnelLibraryUnchangedAndDoesNothingElse) {
  tunnel_ends_well = GetParam().ends_well;
  machine.libraries.AddExport(L"tunnel.dll", "WireGuardTunnelService",
                              reinterpret_cast<LibraryFunction>(&RunTunnel));
  EXPECT_EQ(RunProgram(GetParam().arguments), GetParam().exit_code);
  EXPECT_EQ(given_path, GetParam().given_path);
  EXPECT_EQ(machine.calls.All(),
            (Texts{"UtcTicks", "Library.Load tunnel.dll",
                   "Library.Find tunnel.dll WireGuardTunnelService", "Library.Free tunnel.dll"}));
}

constexpr wchar_t kAnyPath[] = L"C:\\Program Data\\\"\u00DCber\"\\a.conf ";
constexpr wchar_t kPath[] = L"C:\\a.conf";
constexpr wchar_t kDryRun[] = L"--dry-run-startup";

const TunnelRun kTunnelRuns[] = {
    {"AnyPath", {L"/service", kAnyPath}, true, 0, kAnyPath},
    {"TunnelThatEndsBadly", {L"/service", kPath}, false, 4, kPath},
    {"ArgumentsBehindThePath", {L"/service", kPath, L"--install", kDryRun}, true, 0, kPath},
    {"DryRunSwitchAsThePath", {L"/service", kDryRun}, true, 0, kDryRun}};

INSTANTIATE_TEST_SUITE_P(Of, TunnelEntry, testing::ValuesIn(kTunnelRuns), NameOf<TunnelRun>);

TEST_F(CommandLine, TunnelEntryWithAnEmptyPathReturns1) {
  EXPECT_EQ(RunProgram({L"/service", L""}), 1);
  EXPECT_EQ(machine.calls.All(), Texts{"UtcTicks"});
}

}  // namespace
}  // namespace veltrane
