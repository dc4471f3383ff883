// The passive startup report as the process prints it.

#include <windows.h>

#include <regex>

#include "tests/windows/clean_machine.h"

namespace veltrane::windows_tests {
namespace {

constexpr char kPassiveReport[] =
    "[Veltrane] passive startup report: {\"service_started_utc\":\"{utc}\","
    "\"startup_passive\":true,\"startup_route_mutation_count\":0,"
    "\"startup_tunnel_started\":false,\"startup_config_written\":false,"
    "\"leftover_tunnel_service_running\":false,"
    "\"leftover_tunnel_default_route_detected\":false,"
    "\"startup_network_mutation_guard_enabled\":false}\n";

using StartupReport = CleanMachine;

// The text with {utc} for every time of the form 2026-11-16T02:25:07Z.
std::string WithoutTimes(const std::string& text) {
  static const std::regex time(R"(\d{4}-\d{2}-\d{2}T\d{2}:\d{2}:\d{2}Z)");
  return std::regex_replace(text, time, "{utc}");
}

std::string UtcNow() {
  SYSTEMTIME now;
  GetSystemTime(&now);
  char text[32];
  std::snprintf(text, sizeof(text), "%04u-%02u-%02uT%02u:%02u:%02uZ", now.wYear, now.wMonth,
                now.wDay, now.wHour, now.wMinute, now.wSecond);
  return text;
}

TEST_F(StartupReport, IsAllThatADryRunPrintsOnBothOutputs) {
  const Outcome outcome = RunService(L"--dry-run-startup");
  EXPECT_EQ(WithoutTimes(outcome.output), kPassiveReport);
  EXPECT_EQ(WithoutTimes(outcome.error), kPassiveReport);
  EXPECT_EQ(outcome.exit_code, 0u);
}

TEST_F(StartupReport, TellsWhenTheProcessStarted) {
  const std::string before = UtcNow();
  const std::string output = RunService(L"--dry-run-startup").output;
  const std::string after = UtcNow();
  const std::string key = "\"service_started_utc\":\"";
  const std::string started = output.substr(output.find(key) + key.size(), before.size());
  EXPECT_LE(before, started);
  EXPECT_LE(started, after);
}

TEST_F(StartupReport, PrecedesTheLineThatTheConsoleServerServes) {
  const ConsoleServer server;
  EXPECT_EQ(WithoutTimes(server.Output()),
            std::string(kPassiveReport) +
                "VeltraneVpnService IPC on \\\\.\\pipe\\VeltraneVpn (passive startup)\n");
  EXPECT_EQ(WithoutTimes(server.Error()), kPassiveReport);
}

}  // namespace
}  // namespace veltrane::windows_tests
