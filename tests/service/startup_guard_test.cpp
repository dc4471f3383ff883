#include "service/startup_guard.h"

#include <string>
#include <vector>

#include "bypass/host_routes.h"
#include "ipc/connection_profile.h"
#include "tests/support/on_machine.h"
#include "tunnel/active_conf.h"
#include "tunnel/tunnel_manager.h"

namespace veltrane {
namespace {

using Texts = std::vector<std::string>;

constexpr wchar_t kGuardVariable[] = L"VELTRANE_POC_DISABLE_ALL_NETWORK_MUTATION_ON_STARTUP";

constexpr wchar_t kForbiddenCreate[] =
    L"[Veltrane][startup_guard] forbidden during passive startup: CreateIpForwardEntry\n";
constexpr wchar_t kForbiddenDelete[] =
    L"[Veltrane][startup_guard] forbidden during passive startup: DeleteIpForwardEntry\n";

class StartupGuard : public OnMachine {
 protected:
  StartupGuard() { CurrentPhysicalRoute() = {simulated::Ip("192.168.1.1"), 12}; }

  void AddRoute() { AddHostRoute({.ip = "203.0.113.5", .source = "env", .required = true}); }

  // Removes one recorded route that is there.
  void RemoveRoute() {
    machine.routes.Add("203.0.113.5/32", "192.168.1.1", 12, 1);
    AddedRouteList() = machine.routes.Rows();
    RemoveBypassRoutes();
  }

  // What standard error got, without the lines of the bypass log.
  std::wstring GuardLines() {
    std::wstring lines;
    for (const simulated::Printed& printed : machine.console.Log()) {
      if (printed.outlet != simulated::Outlet::kError) continue;
      if (printed.text.starts_with(L"[Veltrane][admin_bypass] ")) continue;
      lines += printed.text;
    }
    return lines;
  }
};

TEST_F(StartupGuard, AFreshRecordIsEmpty) {
  const StartupState state = ReadStartupState();
  EXPECT_FALSE(state.connect_requested);
  EXPECT_FALSE(state.stop_requested);
  EXPECT_EQ(state.route_mutation_count, 0);
  EXPECT_FALSE(state.tunnel_started);
  EXPECT_FALSE(state.config_written);
  EXPECT_EQ(state.process_start_timestamp, "");
}

TEST_F(StartupGuard, NotesCountAndMarkDuringThePassivePhase) {
  NoteRouteMutation();
  NoteRouteMutation();
  NoteTunnelStarted();
  NoteConfigWritten();
  const StartupState state = ReadStartupState();
  EXPECT_EQ(state.route_mutation_count, 2);
  EXPECT_TRUE(state.tunnel_started);
  EXPECT_TRUE(state.config_written);
}

TEST_F(StartupGuard, NotesDoNothingAfterAConnectRequest) {
  MarkConnectRequested();
  NoteRouteMutation();
  NoteTunnelStarted();
  NoteConfigWritten();
  const StartupState state = ReadStartupState();
  EXPECT_TRUE(state.connect_requested);
  EXPECT_FALSE(state.stop_requested);
  EXPECT_EQ(state.route_mutation_count, 0);
  EXPECT_FALSE(state.tunnel_started);
  EXPECT_FALSE(state.config_written);
}

TEST_F(StartupGuard, NotesDoNothingAfterAStopRequest) {
  MarkStopRequested();
  NoteRouteMutation();
  NoteTunnelStarted();
  NoteConfigWritten();
  const StartupState state = ReadStartupState();
  EXPECT_FALSE(state.connect_requested);
  EXPECT_TRUE(state.stop_requested);
  EXPECT_EQ(state.route_mutation_count, 0);
  EXPECT_FALSE(state.tunnel_started);
  EXPECT_FALSE(state.config_written);
}

TEST_F(StartupGuard, TheEndOfThePassivePhaseKeepsWhatWasNoted) {
  NoteRouteMutation();
  NoteTunnelStarted();
  NoteConfigWritten();
  SetProcessStartTimestamp("2026-11-16T02:25:07Z");
  MarkConnectRequested();
  MarkStopRequested();
  const StartupState state = ReadStartupState();
  EXPECT_EQ(state.route_mutation_count, 1);
  EXPECT_TRUE(state.tunnel_started);
  EXPECT_TRUE(state.config_written);
  EXPECT_EQ(state.process_start_timestamp, "2026-11-16T02:25:07Z");
}

TEST_F(StartupGuard, ResetClearsEverything) {
  NoteRouteMutation();
  NoteTunnelStarted();
  NoteConfigWritten();
  MarkConnectRequested();
  MarkStopRequested();
  SetProcessStartTimestamp("2026-11-16T02:25:07Z");
  ResetStartupState();
  const StartupState state = ReadStartupState();
  EXPECT_FALSE(state.connect_requested);
  EXPECT_FALSE(state.stop_requested);
  EXPECT_EQ(state.route_mutation_count, 0);
  EXPECT_FALSE(state.tunnel_started);
  EXPECT_FALSE(state.config_written);
  EXPECT_EQ(state.process_start_timestamp, "");
}

TEST_F(StartupGuard, ACheckDuringThePassivePhaseLogsTheOperationAndReturns) {
  CheckStartupMutation("TunnelManager::Stop");
  EXPECT_EQ(machine.console.Error(),
            L"[Veltrane][startup_guard] forbidden during passive startup: TunnelManager::Stop\n");
  EXPECT_EQ(machine.console.Output(), L"");
  EXPECT_EQ(machine.console.Debugger(), L"");
}

TEST_F(StartupGuard, ACheckAfterAConnectRequestDoesNothingEvenWhenTheGuardIsOn) {
  machine.environment.SetProcess(kGuardVariable, L"1");
  MarkConnectRequested();
  CheckStartupMutation("TunnelManager::Stop");
  EXPECT_EQ(machine.calls.All(), Texts{});
}

TEST_F(StartupGuard, ACheckAfterAStopRequestDoesNothingEvenWhenTheGuardIsOn) {
  machine.environment.SetProcess(kGuardVariable, L"1");
  MarkStopRequested();
  CheckStartupMutation("TunnelManager::Stop");
  EXPECT_EQ(machine.calls.All(), Texts{});
}

TEST_F(StartupGuard, ARouteCreationIsLoggedMadeAndCounted) {
  AddRoute();
  EXPECT_EQ(GuardLines(), kForbiddenCreate);
  EXPECT_EQ(machine.routes.Texts(), Texts{"203.0.113.5/32 via 192.168.1.1 if 12 metric 1"});
  EXPECT_EQ(ReadStartupState().route_mutation_count, 1);
}

TEST_F(StartupGuard, ARouteCreationIsLoggedBeforeItIsMadeAndCountedAfterwards) {
  std::wstring lines;
  int count = -1;
  machine.OnCall("CreateForwardRow", 1, [&] {
    lines = GuardLines();
    count = ReadStartupState().route_mutation_count;
  });
  AddRoute();
  EXPECT_EQ(lines, kForbiddenCreate);
  EXPECT_EQ(count, 0);
}

TEST_F(StartupGuard, ARouteCreationThatFailsIsCountedToo) {
  machine.FailAlways("CreateForwardRow", 5);
  AddRoute();
  EXPECT_EQ(machine.routes.Texts(), Texts{});
  EXPECT_EQ(ReadStartupState().route_mutation_count, 1);
}

TEST_F(StartupGuard, ARouteThatIsThereIsNeitherLoggedNorCounted) {
  machine.routes.Add("203.0.113.5/32", "192.168.1.1", 12, 1);
  AddRoute();
  EXPECT_EQ(GuardLines(), L"");
  EXPECT_EQ(ReadStartupState().route_mutation_count, 0);
}

TEST_F(StartupGuard, ARouteDeletionIsLoggedMadeAndCounted) {
  RemoveRoute();
  EXPECT_EQ(GuardLines(), kForbiddenDelete);
  EXPECT_EQ(machine.routes.Texts(), Texts{});
  EXPECT_EQ(ReadStartupState().route_mutation_count, 1);
}

TEST_F(StartupGuard, ARouteDeletionIsLoggedBeforeItIsMadeAndCountedAfterwards) {
  std::wstring lines;
  int count = -1;
  machine.OnCall("DeleteForwardRow", 1, [&] {
    lines = GuardLines();
    count = ReadStartupState().route_mutation_count;
  });
  RemoveRoute();
  EXPECT_EQ(lines, kForbiddenDelete);
  EXPECT_EQ(count, 0);
}

TEST_F(StartupGuard, ARouteDeletionThatFailsIsCountedToo) {
  machine.FailAlways("DeleteForwardRow", 1168);
  RemoveRoute();
  EXPECT_EQ(ReadStartupState().route_mutation_count, 1);
}

TEST_F(StartupGuard, ATunnelStartLogsTwoLinesAndSetsTheMark) {
  EXPECT_TRUE(TunnelManager::Start(L"C:\\a.conf", nullptr));
  EXPECT_EQ(machine.console.Error(),
            L"[Veltrane][startup_guard] forbidden during passive startup: TunnelManager::Start\n"
            L"[Veltrane][startup_guard] forbidden during passive startup: TunnelManager::Stop\n");
  EXPECT_TRUE(ReadStartupState().tunnel_started);
  EXPECT_FALSE(ReadStartupState().config_written);
  EXPECT_EQ(ReadStartupState().route_mutation_count, 0);
  EXPECT_EQ(machine.services.Find(L"VeltraneVpnTunnel$Active")->state, simulated::kRunning);
}

TEST_F(StartupGuard, ATunnelStartSetsTheMarkBetweenItsTwoChecks) {
  std::vector<bool> marks;
  machine.calls.OnEveryCall("PrintErrorLine",
                            [&] { marks.push_back(ReadStartupState().tunnel_started); });
  TunnelManager::Start(L"C:\\a.conf", nullptr);
  EXPECT_EQ(marks, (std::vector<bool>{false, true}));
}

TEST_F(StartupGuard, ATunnelStartThatFailsSetsTheMarkToo) {
  machine.FailAlways("ServiceManager.Open", 5);
  EXPECT_FALSE(TunnelManager::Start(L"C:\\a.conf", nullptr));
  EXPECT_TRUE(ReadStartupState().tunnel_started);
}

TEST_F(StartupGuard, ATunnelStopLogsOneLineAndSetsNoMark) {
  TunnelManager::Stop();
  EXPECT_EQ(machine.console.Error(),
            L"[Veltrane][startup_guard] forbidden during passive startup: TunnelManager::Stop\n");
  EXPECT_FALSE(ReadStartupState().tunnel_started);
}

TEST_F(StartupGuard, ATunnelQueryIsNotGuarded) {
  TunnelManager::IsRunning();
  EXPECT_EQ(machine.console.Error(), L"");
}

TEST_F(StartupGuard, AConfigurationWriteIsLoggedAndMarkedBeforeItBegins) {
  std::wstring lines;
  bool marked = false;
  machine.OnCall("CreateFolders", 1, [&] {
    lines = machine.console.Error();
    marked = ReadStartupState().config_written;
  });
  EXPECT_TRUE(WriteActiveConf(ConnectionProfile{}, nullptr));
  EXPECT_EQ(lines,
            L"[Veltrane][startup_guard] forbidden during passive startup: WriteActiveConf\n");
  EXPECT_TRUE(marked);
  EXPECT_EQ(machine.console.Error(), lines);
  EXPECT_FALSE(ReadStartupState().tunnel_started);
}

TEST_F(StartupGuard, AConfigurationWriteThatFailsSetsTheMarkToo) {
  machine.FailAlways("CreateFolders", 5);
  EXPECT_FALSE(WriteActiveConf(ConnectionProfile{}, nullptr));
  EXPECT_TRUE(ReadStartupState().config_written);
}

TEST_F(StartupGuard, ADeletionOfTheConfigurationIsNotGuarded) {
  machine.files.AddFile(L"C:\\ProgramData\\Veltrane\\tunnels\\active.conf", "x");
  DeleteActiveConf(nullptr);
  EXPECT_EQ(machine.console.Error(), L"");
  EXPECT_FALSE(ReadStartupState().config_written);
}

TEST_F(StartupGuard, AfterAConnectRequestEveryOperationRunsUnloggedAndUncounted) {
  machine.environment.SetMachine(kGuardVariable, L"1");
  MarkConnectRequested();
  AddRoute();
  EXPECT_TRUE(WriteActiveConf(ConnectionProfile{}, nullptr));
  EXPECT_TRUE(TunnelManager::Start(L"C:\\a.conf", nullptr));
  TunnelManager::Stop();
  RemoveBypassRoutes();
  EXPECT_EQ(GuardLines(), L"");
  EXPECT_EQ(machine.routes.Texts(), Texts{});
  EXPECT_EQ(machine.calls.Count("CreateForwardRow"), 1u);
  EXPECT_EQ(machine.calls.Count("DeleteForwardRow"), 1u);
  const StartupState state = ReadStartupState();
  EXPECT_EQ(state.route_mutation_count, 0);
  EXPECT_FALSE(state.tunnel_started);
  EXPECT_FALSE(state.config_written);
}

}  // namespace
}  // namespace veltrane
