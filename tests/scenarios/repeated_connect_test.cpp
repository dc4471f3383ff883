// Connects over a connection, and what the phase looks like meanwhile.

#include <string>

#include <gtest/gtest.h>

#include "tests/scenarios/scenario.h"

namespace veltrane {
namespace {

using RepeatedConnect = Scenario;
using ConnectPhase = Scenario;

TEST_F(RepeatedConnect, TheRunningTunnelIsReplaced) {
  Handle(kConnect);
  StartStory();
  EXPECT_EQ(Handle(kConnectElsewhere),
            Reply(R"({"ok":true,"phase":"connected","node_id":"ams-2")", kBypassOff,
                  With(kFreshGuard, {R"("generated_allowed_ips_before":"10.8.0.0/24")", kRoutesKept,
                                     kNotActive})));
  EXPECT_EQ(Story(), Steps({WritesConf("168 bytes"), kStopsTunnel, kStartsTunnel}));
  EXPECT_EQ(State(), "connected ams-2; VeltraneVpnTunnel$Active running; active.conf for ams-2");
}

TEST_F(RepeatedConnect, AServiceWhoseDeletionIsPendingIsReconfiguredForTheNewFile) {
  Handle(kConnect);
  machine.services.HoldHandle(kTunnelService);
  machine.services.LetMarkedServicesWork();
  machine.environment.SetProcess(L"ProgramData", L"C:\\Data");
  Handle(kConnect);
  EXPECT_EQ(PhaseAndNode(), "connected fra-1");
  EXPECT_EQ(machine.services.Find(kTunnelService)->settings.command_line,
            L"\"C:\\Program Files\\Veltrane\\VeltraneVpnService.exe\" /service "
            L"\"C:\\Data\\Veltrane\\tunnels\\active.conf\"");
}

TEST_F(RepeatedConnect, ARouteOfTheFirstConnectIsFoundAndThenNobodys) {
  SetAdministrator();
  Handle(kConnect);
  StartStory();
  EXPECT_EQ(Handle(kConnect),
            Reply(kConnected,
                  With(With(kBypassOn, kVerified),
                       {kGathered, kPhysical,
                        R"("route_add_results":"203.0.113.5:added;","route_add_results_detail":[)"
                        R"({"ip":"203.0.113.5","source":"ADMIN_BYPASS_IP","required":true,)"
                        R"("add_attempted":false,"already_exists":true,"add_success":true,)"
                        R"("win32_error_code":0,"error_message":"","gateway":"192.168.1.1",)"
                        R"("interface_index":"12","existing_route_gateway":"192.168.1.1",)"
                        R"("existing_route_interface_index":"12","route_verify_success":true,)"
                        R"("failure_reason":""}],)"
                        R"("route_verify_before_tunnel":"203.0.113.5:ok(metric=1);",)"
                        R"("route_verify_after_tunnel":"203.0.113.5:ok(metric=1);")"}),
                  With(kGuardOff, {kPinnedKept, kNotActive})));
  Handle(kDisconnect);
  EXPECT_EQ(machine.calls.Count("CreateForwardRow"), 0U);
  EXPECT_EQ(machine.calls.Count("DeleteForwardRow"), 0U);
  EXPECT_EQ(State(), "disconnected; " + kPinnedRoute + "; active.conf of zeros");
}

TEST_F(RepeatedConnect, AfterADisconnectItStartsAfresh) {
  SetAdministrator();
  const std::string first = Handle(kConnect);
  Handle(kDisconnect);
  StartStory();
  EXPECT_EQ(Handle(kConnect), first);
  EXPECT_EQ(Story(), Steps({kPins, WritesConf(), kStartsTunnel, kLogsApplied}));
  EXPECT_EQ(State(), kUpAndPinned);
}

TEST_F(RepeatedConnect, ManyTimesOverItLeavesOneTunnelAndOneFile) {
  SetAdministrator();
  for (int i = 0; i < 5; ++i) {
    Handle(kConnectElsewhere);
    Handle(kConnect);
  }
  EXPECT_EQ(State(), kUpAndPinned);
}

TEST_F(ConnectPhase, IsConnectingWithoutANodeFromTheFirstSettingToTheCheckOfTheRoutes) {
  SetAdministrator();
  Handle(kConnect);
  NotePhasesAt({"IsRemoteSession", "FindBestRoute", "CreateFolders", "Service.Start"});
  machine.services.OnRunning([this](const std::wstring&) { NotePhasesAt({"PrintError"}); });
  Handle(kConnect);
  EXPECT_EQ(phases, Texts(5, "connecting"));
  EXPECT_EQ(PhaseAndNode(), "connected fra-1");
}

TEST_F(ConnectPhase, IsConnectedBeforeTheTimerIsScheduled) {
  SetAutoStop(L"3600");
  machine.clock.RunInSteps();
  NotePhasesAt({"UtcTicks"});
  Handle(kConnect);
  EXPECT_EQ(phases, Texts{"connected fra-1"});
}

TEST_F(ConnectPhase, CanBeReadAtEveryStepBecauseTheMutexIsNeverHeldMeanwhile) {
  SetAdministrator();
  int calls_made = 0;
  int readable = 0;
  for (const char* call :
       {"IsRemoteSession", "ReadProcessVariable", "ReadTcpConnections", "CreateForwardRow",
        "PrintError", "ReadForwardTable", "CreateFolders", "OutputFile.Open", "Service.Start",
        "Service.SendStop", "Service.Delete", "DeleteForwardRow", "TestExistence", "RemoveFile",
        "ServiceManager.Open"}) {
    machine.calls.OnEveryCall(call, [&] {
      ++calls_made;
      if (PhaseIsReadable()) ++readable;
    });
  }
  Handle(kConnect);
  Handle(kStatus);
  Handle(kDisconnect);
  EXPECT_GT(calls_made, 20);
  EXPECT_EQ(readable, calls_made);
}

}  // namespace
}  // namespace veltrane
