#include "service/startup_report.h"

#include <string>
#include <vector>

#include "service/startup_guard.h"
#include "tests/support/on_machine.h"

namespace veltrane {
namespace {

using simulated::Outlet;
using simulated::Printed;
using Texts = std::vector<std::string>;

constexpr wchar_t kGuardVariable[] = L"VELTRANE_POC_DISABLE_ALL_NETWORK_MUTATION_ON_STARTUP";

class StartupReport : public OnMachine {
 protected:
  StartupReport() { SetProcessStartTimestamp("2026-11-16T02:25:07Z"); }

  void AddTunnelDefaultRoute(const std::wstring& alias) {
    machine.routes.AddInterface(23, alias);
    machine.routes.Add("0.0.0.0/0", "10.66.66.1", 23, 0);
  }
};

TEST_F(StartupReport, OfAStartThatChangedAndFoundNothing) {
  EXPECT_EQ(BuildPassiveStartupReport(),
            "{\"service_started_utc\":\"2026-11-16T02:25:07Z\","
            "\"startup_passive\":true,"
            "\"startup_route_mutation_count\":0,"
            "\"startup_tunnel_started\":false,"
            "\"startup_config_written\":false,"
            "\"leftover_tunnel_service_running\":false,"
            "\"leftover_tunnel_default_route_detected\":false,"
            "\"startup_network_mutation_guard_enabled\":false}");
}

TEST_F(StartupReport, WithEveryMember) {
  for (int i = 0; i < 12; ++i) NoteRouteMutation();
  NoteTunnelStarted();
  NoteConfigWritten();
  machine.services.Add(L"VeltraneVpnTunnel$Active", simulated::kRunning);
  AddTunnelDefaultRoute(L"Veltrane Tunnel");
  machine.environment.SetMachine(kGuardVariable, L"1");
  EXPECT_EQ(BuildPassiveStartupReport(),
            "{\"service_started_utc\":\"2026-11-16T02:25:07Z\","
            "\"startup_passive\":true,"
            "\"startup_route_mutation_count\":12,"
            "\"startup_tunnel_started\":true,"
            "\"startup_config_written\":true,"
            "\"leftover_tunnel_service_running\":true,"
            "\"leftover_tunnel_default_route_detected\":true,"
            "\"startup_network_mutation_guard_enabled\":true,"
            "\"leftover_offending_default_route\":"
            "\"0.0.0.0/0->10.66.66.1@if23:Veltrane Tunnel:metric=0\"}");
}

TEST_F(StartupReport, OnlyTheRouteMutationCount) {
  NoteRouteMutation();
  EXPECT_EQ(BuildPassiveStartupReport(),
            "{\"service_started_utc\":\"2026-11-16T02:25:07Z\","
            "\"startup_passive\":true,"
            "\"startup_route_mutation_count\":1,"
            "\"startup_tunnel_started\":false,"
            "\"startup_config_written\":false,"
            "\"leftover_tunnel_service_running\":false,"
            "\"leftover_tunnel_default_route_detected\":false,"
            "\"startup_network_mutation_guard_enabled\":false}");
}

TEST_F(StartupReport, OnlyTheTunnelStartedMark) {
  NoteTunnelStarted();
  EXPECT_EQ(BuildPassiveStartupReport(),
            "{\"service_started_utc\":\"2026-11-16T02:25:07Z\","
            "\"startup_passive\":true,"
            "\"startup_route_mutation_count\":0,"
            "\"startup_tunnel_started\":true,"
            "\"startup_config_written\":false,"
            "\"leftover_tunnel_service_running\":false,"
            "\"leftover_tunnel_default_route_detected\":false,"
            "\"startup_network_mutation_guard_enabled\":false}");
}

TEST_F(StartupReport, OnlyTheConfigurationWrittenMark) {
  NoteConfigWritten();
  EXPECT_EQ(BuildPassiveStartupReport(),
            "{\"service_started_utc\":\"2026-11-16T02:25:07Z\","
            "\"startup_passive\":true,"
            "\"startup_route_mutation_count\":0,"
            "\"startup_tunnel_started\":false,"
            "\"startup_config_written\":true,"
            "\"leftover_tunnel_service_running\":false,"
            "\"leftover_tunnel_default_route_detected\":false,"
            "\"startup_network_mutation_guard_enabled\":false}");
}

TEST_F(StartupReport, OnlyTheRunningTunnelService) {
  machine.services.Add(L"VeltraneVpnTunnel$Active", simulated::kRunning);
  EXPECT_EQ(BuildPassiveStartupReport(),
            "{\"service_started_utc\":\"2026-11-16T02:25:07Z\","
            "\"startup_passive\":true,"
            "\"startup_route_mutation_count\":0,"
            "\"startup_tunnel_started\":false,"
            "\"startup_config_written\":false,"
            "\"leftover_tunnel_service_running\":true,"
            "\"leftover_tunnel_default_route_detected\":false,"
            "\"startup_network_mutation_guard_enabled\":false}");
}

TEST_F(StartupReport, OnlyTheLeftoverDefaultRoute) {
  machine.routes.AddPhysicalNetwork();
  AddTunnelDefaultRoute(L"Veltrane WireGuard");
  machine.routes.SetMetric("0.0.0.0/0", 4294967295);
  EXPECT_EQ(BuildPassiveStartupReport(),
            "{\"service_started_utc\":\"2026-11-16T02:25:07Z\","
            "\"startup_passive\":true,"
            "\"startup_route_mutation_count\":0,"
            "\"startup_tunnel_started\":false,"
            "\"startup_config_written\":false,"
            "\"leftover_tunnel_service_running\":false,"
            "\"leftover_tunnel_default_route_detected\":true,"
            "\"startup_network_mutation_guard_enabled\":false,"
            "\"leftover_offending_default_route\":"
            "\"0.0.0.0/0->10.66.66.1@if23:Veltrane WireGuard:metric=4294967295\"}");
}

TEST_F(StartupReport, OnlyTheGuard) {
  machine.environment.SetUser(kGuardVariable, L"on");
  EXPECT_EQ(BuildPassiveStartupReport(),
            "{\"service_started_utc\":\"2026-11-16T02:25:07Z\","
            "\"startup_passive\":true,"
            "\"startup_route_mutation_count\":0,"
            "\"startup_tunnel_started\":false,"
            "\"startup_config_written\":false,"
            "\"leftover_tunnel_service_running\":false,"
            "\"leftover_tunnel_default_route_detected\":false,"
            "\"startup_network_mutation_guard_enabled\":true}");
}

TEST_F(StartupReport, PrintsTextsWithoutEscapingThem) {
  SetProcessStartTimestamp("a\"b\\c\n");
  AddTunnelDefaultRoute(L"Tunnel \"1\"\\2");
  EXPECT_EQ(BuildPassiveStartupReport(),
            "{\"service_started_utc\":\"a\"b\\c\n\","
            "\"startup_passive\":true,"
            "\"startup_route_mutation_count\":0,"
            "\"startup_tunnel_started\":false,"
            "\"startup_config_written\":false,"
            "\"leftover_tunnel_service_running\":false,"
            "\"leftover_tunnel_default_route_detected\":true,"
            "\"startup_network_mutation_guard_enabled\":false,"
            "\"leftover_offending_default_route\":"
            "\"0.0.0.0/0->10.66.66.1@if23:Tunnel \"1\"\\2:metric=0\"}");
}

TEST_F(StartupReport, ReadsTheServiceThenTheRoutesThenTheEnvironmentAndChangesNothing) {
  machine.services.Add(L"VeltraneVpnTunnel$Active");
  AddTunnelDefaultRoute(L"wintun");
  BuildPassiveStartupReport();
  EXPECT_EQ(
      machine.calls.All(),
      (Texts{"ServiceManager.Open 0x1", "ServiceManager.OpenExisting VeltraneVpnTunnel$Active 0x4",
             "Service.QueryState VeltraneVpnTunnel$Active", "ReadForwardTable",
             "ReadInterfaceNames 23", "ReadInterfaceNames 23",
             "ReadProcessVariable VELTRANE_POC_DISABLE_ALL_NETWORK_MUTATION_ON_STARTUP",
             "ReadRegistryText HKLM VELTRANE_POC_DISABLE_ALL_NETWORK_MUTATION_ON_STARTUP",
             "ReadRegistryText HKCU VELTRANE_POC_DISABLE_ALL_NETWORK_MUTATION_ON_STARTUP"}));
}

TEST_F(StartupReport, ReadsTheGuardAnewForEveryReport) {
  machine.environment.SetMachine(kGuardVariable, L"true");
  EXPECT_TRUE(
      BuildPassiveStartupReport().ends_with(",\"startup_network_mutation_guard_enabled\":true}"));
  machine.environment.UnsetMachine(kGuardVariable);
  EXPECT_TRUE(
      BuildPassiveStartupReport().ends_with(",\"startup_network_mutation_guard_enabled\":false}"));
}

class UnreadableState : public StartupReport, public testing::WithParamInterface<const char*> {};

TEST_P(UnreadableState, CountsAsNothingLeftBehind) {
  machine.services.Add(L"VeltraneVpnTunnel$Active", simulated::kRunning);
  machine.FailAlways(GetParam(), 5);
  EXPECT_EQ(BuildPassiveStartupReport(),
            "{\"service_started_utc\":\"2026-11-16T02:25:07Z\","
            "\"startup_passive\":true,"
            "\"startup_route_mutation_count\":0,"
            "\"startup_tunnel_started\":false,"
            "\"startup_config_written\":false,"
            "\"leftover_tunnel_service_running\":false,"
            "\"leftover_tunnel_default_route_detected\":false,"
            "\"startup_network_mutation_guard_enabled\":false}");
}

INSTANTIATE_TEST_SUITE_P(StartupReport, UnreadableState,
                         testing::Values("ServiceManager.Open", "ServiceManager.OpenExisting",
                                         "Service.QueryState"),
                         [](const testing::TestParamInfo<const char*>& test) {
                           std::string name = test.param;
                           std::erase(name, '.');
                           return name;
                         });

TEST_F(StartupReport, AnUnreadableRoutingTableCountsAsNothingLeftBehind) {
  AddTunnelDefaultRoute(L"Veltrane Tunnel");
  machine.FailAlways("ReadForwardTable", 5);
  EXPECT_EQ(BuildPassiveStartupReport(),
            "{\"service_started_utc\":\"2026-11-16T02:25:07Z\","
            "\"startup_passive\":true,"
            "\"startup_route_mutation_count\":0,"
            "\"startup_tunnel_started\":false,"
            "\"startup_config_written\":false,"
            "\"leftover_tunnel_service_running\":false,"
            "\"leftover_tunnel_default_route_detected\":false,"
            "\"startup_network_mutation_guard_enabled\":false}");
}

class TunnelServiceState : public StartupReport,
                           public testing::WithParamInterface<std::uint32_t> {};

TEST_P(TunnelServiceState, OtherThanRunningIsNotRunning) {
  machine.services.Add(L"VeltraneVpnTunnel$Active", GetParam());
  EXPECT_EQ(BuildPassiveStartupReport(),
            "{\"service_started_utc\":\"2026-11-16T02:25:07Z\","
            "\"startup_passive\":true,"
            "\"startup_route_mutation_count\":0,"
            "\"startup_tunnel_started\":false,"
            "\"startup_config_written\":false,"
            "\"leftover_tunnel_service_running\":false,"
            "\"leftover_tunnel_default_route_detected\":false,"
            "\"startup_network_mutation_guard_enabled\":false}");
}

INSTANTIATE_TEST_SUITE_P(StartupReport, TunnelServiceState, testing::Values(1, 2, 3),
                         [](const testing::TestParamInfo<std::uint32_t>& test) {
                           return "State" + std::to_string(test.param);
                         });

TEST_F(StartupReport, IsPrintedToStandardOutputAndThenToStandardError) {
  PrintPassiveStartupReport();
  constexpr wchar_t kLine[] =
      L"[Veltrane] passive startup report: "
      L"{\"service_started_utc\":\"2026-11-16T02:25:07Z\",\"startup_passive\":true,"
      L"\"startup_route_mutation_count\":0,\"startup_tunnel_started\":false,"
      L"\"startup_config_written\":false,\"leftover_tunnel_service_running\":false,"
      L"\"leftover_tunnel_default_route_detected\":false,"
      L"\"startup_network_mutation_guard_enabled\":false}\n";
  EXPECT_EQ(machine.console.Log(),
            (std::vector<Printed>{{Outlet::kOutput, kLine}, {Outlet::kError, kLine}}));
}

TEST_F(StartupReport, IsBuiltOnceForBothOutputs) {
  machine.OnCall("PrintOutput", 1, [this] { AddTunnelDefaultRoute(L"wintun"); });
  PrintPassiveStartupReport();
  EXPECT_EQ(machine.console.Error(), machine.console.Output());
}

// Standard output gets each byte sign-extended; standard error gets the narrow text itself, which
// the simulated console shows byte by byte.
TEST_F(StartupReport, WidensEachByteOfALabelForStandardOutput) {
  SetProcessStartTimestamp("t");
  AddTunnelDefaultRoute(L"Tunnel \u00FC\u20AC");
  PrintPassiveStartupReport();
  const std::wstring begin =
      L"[Veltrane] passive startup report: "
      L"{\"service_started_utc\":\"t\",\"startup_passive\":true,"
      L"\"startup_route_mutation_count\":0,\"startup_tunnel_started\":false,"
      L"\"startup_config_written\":false,\"leftover_tunnel_service_running\":false,"
      L"\"leftover_tunnel_default_route_detected\":true,"
      L"\"startup_network_mutation_guard_enabled\":false,"
      L"\"leftover_offending_default_route\":\"0.0.0.0/0->10.66.66.1@if23:Tunnel ";
  EXPECT_EQ(machine.console.Output(), begin + L"\xFFC3\xFFBC\xFFE2\xFF82\xFFAC:metric=0\"}\n");
  EXPECT_EQ(machine.console.Error(), begin + L"\xC3\xBC\xE2\x82\xAC:metric=0\"}\n");
}

}  // namespace
}  // namespace veltrane
