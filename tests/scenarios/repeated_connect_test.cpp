// Connects over a connection, and what the phase looks like meanwhile.

#include <future>
#include <mutex>
#include <string>
#include <vector>

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
            R"({"ok":true,"phase":"connected","node_id":"ams-2",)" + kBypassOff + "," +
                kFreshGuard.substr(0, kFreshGuard.size() - 1) +
                R"(,"generated_allowed_ips_before":"10.8.0.0/24",)" + kDefaultRoutesKept +
                R"(,"rdp_routes_before_tunnel":"none","rdp_routes_after_tunnel":"none",)"
                R"("message":"disable-default-route not active"}})");
  EXPECT_EQ(NodeId(), "ams-2");
  std::vector<std::string> writes = kWritesConf;
  writes[3] = R"(OutputFile.Write C:\ProgramData\Veltrane\tunnels\active.conf.tmp 168 bytes)";
  EXPECT_EQ(Story(), Steps({writes, kStopsTunnel, kStartsTunnel}));
  EXPECT_EQ(machine.files.AllFiles(), std::vector<std::wstring>{kActiveConf});
  EXPECT_EQ(machine.files.Bytes(kActiveConf), kConfElsewhere);
  EXPECT_EQ(machine.services.Find(kTunnelService)->state, simulated::kRunning);
}

TEST_F(RepeatedConnect, ATunnelThatDoesNotStopIsWaitedForFifteenTimesASecond) {
  Handle(kConnect);
  machine.services.NeverStop();
  Handle(kConnectElsewhere);
  EXPECT_EQ(machine.clock.Sleeps(), std::vector<std::uint32_t>(15, 1000));
  EXPECT_TRUE(machine.services.Find(kTunnelService)->marked_for_delete);
}

TEST_F(RepeatedConnect, TheDeletionThatIsStillPendingTurnsIntoAReconfiguration) {
  Handle(kConnect);
  machine.services.HoldHandle(kTunnelService);
  machine.services.LetMarkedServicesWork();
  machine.environment.SetProcess(L"ProgramData", L"C:\\Data");
  StartStory();
  Handle(kConnect);
  EXPECT_EQ(Phase(), "connected");
  EXPECT_EQ(machine.calls.StartingWith("Service."),
            (std::vector<std::string>{"Service.SendStop VeltraneVpnTunnel$Active",
                                      "Service.QueryState VeltraneVpnTunnel$Active",
                                      "Service.Delete VeltraneVpnTunnel$Active",
                                      "Service.ChangeCommandLine VeltraneVpnTunnel$Active",
                                      "Service.Start VeltraneVpnTunnel$Active"}));
  EXPECT_EQ(machine.services.Find(kTunnelService)->settings.command_line,
            L"\"C:\\Program Files\\Veltrane\\VeltraneVpnService.exe\" /service "
            L"\"C:\\Data\\Veltrane\\tunnels\\active.conf\"");
}

TEST_F(RepeatedConnect, ARouteOfTheFirstConnectIsFoundAndThenNobodys) {
  SetAdministrator();
  Handle(kConnect);
  StartStory();
  EXPECT_EQ(Handle(kConnect),
            R"({"ok":true,"phase":"connected","node_id":"fra-1",)"
            R"("admin_bypass":{"enabled":true,"attempted":true,"applied":true,)"
            R"("routes_ready_before_tunnel":true,"route_readded_after_tunnel":false,)"
            R"("required_enforced":true,"skipped_for_safe_mode":false,"auto_stop_seconds":0,)"
            R"("client_ip":"203.0.113.5","gateway":"192.168.1.1",)"
            R"("message":"admin bypass routes verified after tunnel",)" +
                kGathered + "," + kPhysical +
                R"(,"route_add_results":"203.0.113.5:added;","route_add_results_detail":[)"
                R"({"ip":"203.0.113.5","source":"ADMIN_BYPASS_IP","required":true,)"
                R"("add_attempted":false,"already_exists":true,"add_success":true,)"
                R"("win32_error_code":0,"error_message":"","gateway":"192.168.1.1",)"
                R"("interface_index":"12","existing_route_gateway":"192.168.1.1",)"
                R"("existing_route_interface_index":"12","route_verify_success":true,)"
                R"("failure_reason":""}],)"
                R"("route_verify_before_tunnel":"203.0.113.5:ok(metric=1);",)"
                R"("route_verify_after_tunnel":"203.0.113.5:ok(metric=1);"},)" +
                kGuardOff + "," + kDefaultRoutesKept +
                R"(,"rdp_routes_before_tunnel":"203.0.113.5/32->192.168.1.1@if12",)"
                R"("rdp_routes_after_tunnel":"203.0.113.5/32->192.168.1.1@if12",)"
                R"("message":"disable-default-route not active"}})");
  Handle(kDisconnect);
  EXPECT_EQ(machine.calls.Count("CreateForwardRow"), 0U);
  EXPECT_EQ(machine.calls.Count("DeleteForwardRow"), 0U);
  EXPECT_EQ(machine.routes.Texts(),
            (std::vector<std::string>{kDefaultRoute, kLocalRoute, kPinnedRoute}));
}

TEST_F(RepeatedConnect, AfterADisconnectItStartsAfresh) {
  SetAdministrator();
  const std::string first = Handle(kConnect);
  Handle(kDisconnect);
  StartStory();
  EXPECT_EQ(Handle(kConnect), first);
  EXPECT_EQ(Story(), Steps({{"CreateForwardRow 203.0.113.5/32 via 192.168.1.1 if 12 metric 1",
                             "PrintError [Veltrane][admin_bypass] enabled=1 applied=1 failure="},
                            kWritesConf,
                            kStartsTunnel,
                            {"PrintError [Veltrane][admin_bypass] enabled=1 applied=1 failure="}}));
  EXPECT_EQ(machine.files.Bytes(kActiveConf), kConf);
}

TEST_F(RepeatedConnect, ManyTimesOverItLeavesOneTunnelAndOneFile) {
  SetAdministrator();
  for (int i = 0; i < 5; ++i) {
    Handle(kConnect);
    Handle(kConnectElsewhere);
  }
  EXPECT_EQ(Phase(), "connected");
  EXPECT_EQ(NodeId(), "ams-2");
  EXPECT_EQ(machine.services.Names(), std::vector<std::wstring>{kTunnelService});
  EXPECT_EQ(machine.files.AllFiles(), std::vector<std::wstring>{kActiveConf});
  EXPECT_EQ(machine.routes.Texts(),
            (std::vector<std::string>{kDefaultRoute, kLocalRoute, kPinnedRoute}));
  EXPECT_EQ(machine.services.OpenHandles(), 0);
  EXPECT_EQ(machine.files.OpenStreams(), 0);
}

TEST_F(ConnectPhase, IsConnectingWithoutANodeWhileAConnectRunsOverAConnection) {
  SetAdministrator();
  Handle(kConnect);
  std::vector<std::string> seen;
  for (const char* call : {"IsRemoteSession", "FindBestRoute", "CreateFolders", "Service.Start"}) {
    machine.OnCall(call, 1, [&] { seen.push_back(Phase() + "/" + NodeId()); });
  }
  Handle(kConnect);
  EXPECT_EQ(seen,
            (std::vector<std::string>{"connecting/", "connecting/", "connecting/", "connecting/"}));
  EXPECT_EQ(Phase(), "connected");
}

TEST_F(ConnectPhase, IsConnectingUntilTheRoutesAreCheckedAndConnectedBeforeTheTimerIsScheduled) {
  SetAdministrator();
  SetAutoStop(L"3600");
  machine.clock.RunInSteps();
  std::string at_the_check;
  std::string at_the_schedule;
  machine.services.OnRunning([&](const std::wstring&) {
    machine.OnCall("PrintError", 1, [&] { at_the_check = Phase() + "/" + NodeId(); });
  });
  machine.OnCall("UtcTicks", 1, [&] { at_the_schedule = Phase() + "/" + NodeId(); });
  Handle(kConnect);
  EXPECT_EQ(at_the_check, "connecting/");
  EXPECT_EQ(at_the_schedule, "connected/fra-1");
}

TEST_F(ConnectPhase, CanBeReadAtEveryStepBecauseTheMutexIsNeverHeldMeanwhile) {
  SetAdministrator();
  const std::vector<std::string> calls = {
      "IsRemoteSession",    "ReadProcessVariable", "ReadTcpConnections", "CreateForwardRow",
      "PrintError",         "ReadForwardTable",    "CreateFolders",      "OutputFile.Open",
      "Service.Start",      "Service.SendStop",    "DeleteForwardRow",   "TestExistence",
      "ServiceManager.Open"};
  int calls_made = 0;
  int reads = 0;
  for (const std::string& call : calls) {
    machine.calls.OnEveryCall(call, [&] {
      ++calls_made;
      reads += std::async(std::launch::async, [&] {
                 const std::unique_lock<std::mutex> lock(server.state_mutex, std::try_to_lock);
                 return lock.owns_lock() ? 1 : 0;
               }).get();
    });
  }
  Handle(kConnect);
  Handle(kStatus);
  Handle(kDisconnect);
  EXPECT_GT(calls_made, 20);
  EXPECT_EQ(reads, calls_made);
}

}  // namespace
}  // namespace veltrane
