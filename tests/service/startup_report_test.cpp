#include "service/startup_report.h"

#include "tests/service/program.h"
#include "tests/support/name_of.h"

namespace veltrane {
namespace {

using simulated::Machine;

constexpr wchar_t kTunnelService[] = L"VeltraneVpnTunnel$Active";
constexpr wchar_t kGuardVariable[] = L"VELTRANE_POC_DISABLE_ALL_NETWORK_MUTATION_ON_STARTUP";

void AddRunningTunnelService() {
  Machine::Current().services.Add(kTunnelService, simulated::kRunning);
}

void AddTunnelDefaultRoute(const std::wstring& alias) {
  Machine::Current().routes.AddInterface(23, alias);
  Machine::Current().routes.Add("0.0.0.0/0", "10.66.66.1", 23, 0);
}

class StartupReport : public OnMachine {
 protected:
  StartupReport() { SetProcessStartTimestamp("2026-11-16T02:25:07Z"); }
};

TEST_F(StartupReport, WithEveryMember) {
  for (int i = 0; i < 12; ++i) NoteRouteMutation();
  NoteTunnelStarted();
  NoteConfigWritten();
  AddRunningTunnelService();
  machine.routes.AddPhysicalNetwork();
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

struct Fact {
  const char* name;
  void (*bring_about)();
  std::string key;
  std::string value;
};

class SingleFact : public StartupReport, public testing::WithParamInterface<Fact> {};

TEST_P(SingleFact, ChangesItsOwnMemberAlone) {
  GetParam().bring_about();
  const std::string key = "\"" + GetParam().key + "\":";
  std::string expected = kQuietReport;
  const std::size_t value = expected.find(key) + key.size();
  expected.replace(value, expected.find_first_of(",}", value) - value, GetParam().value);
  EXPECT_EQ(BuildPassiveStartupReport(), expected);
}

const Fact kFacts[] = {
    {"RouteMutation", NoteRouteMutation, "startup_route_mutation_count", "1"},
    {"TunnelStart", NoteTunnelStarted, "startup_tunnel_started", "true"},
    {"ConfigurationWrite", NoteConfigWritten, "startup_config_written", "true"},
    {"RunningTunnel", AddRunningTunnelService, "leftover_tunnel_service_running", "true"},
    {"Guard", [] { Machine::Current().environment.SetUser(kGuardVariable, L"on"); },
     "startup_network_mutation_guard_enabled", "true"}};

INSTANTIATE_TEST_SUITE_P(The, SingleFact, testing::ValuesIn(kFacts), NameOf<Fact>);

TEST_F(StartupReport, PrintsALeftoverDefaultRouteAndTheTimestampWithoutEscapingThem) {
  SetProcessStartTimestamp("a\"b\\c\n");
  AddTunnelDefaultRoute(L"Tunnel \"1\"\\2");
  machine.routes.SetMetric("0.0.0.0/0", 4294967295);
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
            "\"0.0.0.0/0->10.66.66.1@if23:Tunnel \"1\"\\2:metric=4294967295\"}");
}

struct Leftover {
  const char* name;
  void (*leave)();
  const char* failing_call;
};

class UnreadableLeftover : public StartupReport, public testing::WithParamInterface<Leftover> {};

TEST_P(UnreadableLeftover, CountsAsNothingLeftBehind) {
  GetParam().leave();
  machine.FailAlways(GetParam().failing_call, 5);
  EXPECT_EQ(BuildPassiveStartupReport(), kQuietReport);
}

const Leftover kLeftovers[] = {
    {"WithoutTheManager", AddRunningTunnelService, "ServiceManager.Open"},
    {"WithoutTheService", AddRunningTunnelService, "ServiceManager.OpenExisting"},
    {"WithoutItsState", AddRunningTunnelService, "Service.QueryState"},
    {"WithoutTheRoutes", [] { AddTunnelDefaultRoute(L"wintun"); }, "ReadForwardTable"}};

INSTANTIATE_TEST_SUITE_P(Tunnel, UnreadableLeftover, testing::ValuesIn(kLeftovers),
                         NameOf<Leftover>);

TEST_F(StartupReport, IsBuiltOnceForBothOutputs) {
  machine.OnCall("PrintOutput", 1, [] { AddTunnelDefaultRoute(L"wintun"); });
  PrintPassiveStartupReport();
  EXPECT_EQ(machine.console.Error(), machine.console.Output());
}

// Standard output gets each byte sign-extended; standard error gets the narrow text itself, which
// the simulated console shows byte by byte.
TEST_F(StartupReport, WidensEachByteOfALabelForStandardOutput) {
  AddTunnelDefaultRoute(L"Tunnel \u00FC\u20AC");
  PrintPassiveStartupReport();
  EXPECT_TRUE(machine.console.Output().ends_with(
      L"\"0.0.0.0/0->10.66.66.1@if23:Tunnel \xFFC3\xFFBC\xFFE2\xFF82\xFFAC:metric=0\"}\n"));
  EXPECT_TRUE(machine.console.Error().ends_with(
      L"\"0.0.0.0/0->10.66.66.1@if23:Tunnel \xC3\xBC\xE2\x82\xAC:metric=0\"}\n"));
}

}  // namespace
}  // namespace veltrane
