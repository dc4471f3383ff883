// The passive startup report in each mode that prints it.

#include <windows.h>

#include "tests/windows/clean_machine.h"
#include "tests/windows/control_manager.h"
#include "tests/windows/conversation.h"
#include "tests/windows/pipe_connection.h"
#include "tests/windows/wait.h"

namespace veltrane::windows_tests {
namespace {

constexpr char kPassiveReport[] =
    "[Veltrane] passive startup report: {\"service_started_utc\":\"{utc}\","
    "\"startup_passive\":true,\"startup_route_mutation_count\":0,"
    "\"startup_tunnel_started\":false,\"startup_config_written\":false,"
    "\"leftover_tunnel_service_running\":false,"
    "\"leftover_tunnel_default_route_detected\":false,"
    "\"startup_network_mutation_guard_enabled\":false}\n";
constexpr char kReportOfALeftoverTunnel[] =
    "[Veltrane] passive startup report: {\"service_started_utc\":\"{utc}\","
    "\"startup_passive\":true,\"startup_route_mutation_count\":0,"
    "\"startup_tunnel_started\":false,\"startup_config_written\":false,"
    "\"leftover_tunnel_service_running\":true,"
    "\"leftover_tunnel_default_route_detected\":false,"
    "\"startup_network_mutation_guard_enabled\":false}\n";
constexpr char kReportWithTheGuardArmed[] =
    "[Veltrane] passive startup report: {\"service_started_utc\":\"{utc}\","
    "\"startup_passive\":true,\"startup_route_mutation_count\":0,"
    "\"startup_tunnel_started\":false,\"startup_config_written\":false,"
    "\"leftover_tunnel_service_running\":false,"
    "\"leftover_tunnel_default_route_detected\":false,"
    "\"startup_network_mutation_guard_enabled\":true}\n";
constexpr char kServing[] =
    "VeltraneVpnService IPC on \\\\.\\pipe\\VeltraneVpn (passive startup)\n";

class DryRun : public CleanMachine {};
class StartupReport : public CleanMachine {};

void ExpectADryRun(const std::wstring& arguments) {
  const Outcome outcome = RunService(arguments);
  EXPECT_EQ(WithoutTimes(outcome.output), kPassiveReport);
  EXPECT_EQ(WithoutTimes(outcome.error), kPassiveReport);
  EXPECT_EQ(outcome.exit_code, 0u);
}

std::string UtcNow() {
  SYSTEMTIME now;
  GetSystemTime(&now);
  char text[32];
  std::snprintf(text, sizeof(text), "%04u-%02u-%02uT%02u:%02u:%02uZ", now.wYear, now.wMonth,
                now.wDay, now.wHour, now.wMinute, now.wSecond);
  return text;
}

TEST_F(DryRun, PrintsTheReportOnBothOutputsAndExitsWith0) { ExpectADryRun(L"--dry-run-startup"); }

TEST_F(DryRun, HasASingleDashForm) { ExpectADryRun(L"-dry-run-startup"); }

TEST_F(DryRun, IsRecognisedInAnyCase) { ExpectADryRun(L"--DRY-Run-Startup"); }

TEST_F(DryRun, WithASingleDashIsRecognisedInAnyCase) { ExpectADryRun(L"-Dry-Run-STARTUP"); }

TEST_F(DryRun, TakesPlaceOfTheConsoleServer) { ExpectADryRun(L"--console --dry-run-startup"); }

TEST_F(DryRun, IsRecognisedInAnyPosition) { ExpectADryRun(L"x --install y -dry-run-startup"); }

TEST_F(DryRun, TakesPlaceOfTheInstallation) {
  ExpectADryRun(L"--install --dry-run-startup");
  EXPECT_FALSE(ServiceExists(kControlService));
}

TEST_F(DryRun, TellsWhenTheProcessStarted) {
  const std::string before = UtcNow();
  const std::string output = RunService(L"--dry-run-startup").output;
  const std::string after = UtcNow();
  const std::string key = "\"service_started_utc\":\"";
  const std::string started = output.substr(output.find(key) + key.size(), before.size());
  EXPECT_LE(before, started);
  EXPECT_LE(started, after);
}

TEST_F(StartupReport, TellsThatTheStartupGuardIsArmed) {
  const Outcome outcome = RunService(
      L"--dry-run-startup", {{L"VELTRANE_POC_DISABLE_ALL_NETWORK_MUTATION_ON_STARTUP", L"Yes"}});
  EXPECT_EQ(WithoutTimes(outcome.output), kReportWithTheGuardArmed);
  EXPECT_EQ(WithoutTimes(outcome.error), kReportWithTheGuardArmed);
}

TEST_F(StartupReport, PrecedesTheLineThatTheConsoleServerServes) {
  ConsoleServer server;
  EXPECT_EQ(WithoutTimes(server.Output()), std::string(kPassiveReport) + kServing);
  EXPECT_EQ(WithoutTimes(server.Error()), kPassiveReport);
}

TEST_F(StartupReport, IsTheSameForConsoleWithOneDash) {
  ConsoleServer server;
  server.Kill();
  Process single_dash(ServiceExecutable(), L"-console ignored");
  EXPECT_EQ(Ask(R"({"op":"x"})"),
            R"({"ok":false,"error":"unknown_op","message":"unsupported operation"})");
  EXPECT_EQ(WithoutTimes(single_dash.Output()), WithoutTimes(server.Output()));
  EXPECT_EQ(WithoutTimes(single_dash.Error()), WithoutTimes(server.Error()));
}

TEST_F(StartupReport, TellsOfATunnelThatAKilledServerLeftBehind) {
  ConsoleServer killed;
  BringTunnelUp();
  killed.Kill();
  ConsoleServer next;
  EXPECT_EQ(WithoutTimes(next.Output()), std::string(kReportOfALeftoverTunnel) + kServing);
  EXPECT_EQ(WithoutTimes(next.Error()), kReportOfALeftoverTunnel);
}

TEST_F(StartupReport, DoesNotTakeATunnelServiceThatIsStoppedForALeftoverTunnel) {
  const ServiceHandle service =
      CreateServiceNamed(kTunnelService, L"\"" + ServiceExecutable() + L"\" /service C:\\no.conf");
  ASSERT_NE(service, nullptr);
  ExpectADryRun(L"--dry-run-startup");
}

// The control manager gives a service no outputs, so this test program stands between the two. Wine
// ends it when the service says that it has stopped, while the service may run on for a moment.
TEST_F(StartupReport, IsPrintedByTheServiceOnBothOutputs) {
  const std::wstring program = TestFolder() + L"\\windows_tests.exe";
  ASSERT_NE(CreateServiceNamed(kControlService, L"\"" + program + L"\" --keep-service-outputs"),
            nullptr);
  ASSERT_EQ(StartServiceNamed(kControlService), 0u);
  ASSERT_TRUE(WaitForServiceState(kControlService, SERVICE_RUNNING));
  const std::wstring output = TestFolder() + L"\\service.out";
  const std::wstring error = TestFolder() + L"\\service.err";
  EXPECT_EQ(WithoutTimes(Fill(ReadFileBytes(output), "\r", "")), kPassiveReport);
  EXPECT_EQ(WithoutTimes(Fill(ReadFileBytes(error), "\r", "")), kPassiveReport);
  RemoveService(kControlService);
  for (const std::wstring& path : {output, error}) {
    EXPECT_TRUE(WaitUntil([&] {
      DeleteFileW(path.c_str());
      return GetFileAttributesW(path.c_str()) == INVALID_FILE_ATTRIBUTES;
    }));
  }
}

}  // namespace
}  // namespace veltrane::windows_tests
