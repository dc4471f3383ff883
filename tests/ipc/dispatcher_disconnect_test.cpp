#include <csignal>
#include <cstdint>
#include <filesystem>
#include <limits>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "ipc/auto_stop.h"
#include "ipc/dispatcher.h"
#include "tests/ipc/report_texts.h"
#include "tests/support/on_machine.h"

namespace veltrane {
namespace {

using Texts = std::vector<std::string>;

constexpr wchar_t kTunnel[] = L"VeltraneVpnTunnel$Active";
constexpr wchar_t kActiveConf[] = L"C:\\ProgramData\\Veltrane\\tunnels\\active.conf";
constexpr char kPinnedRoute[] = "203.0.113.5/32 via 192.168.1.1 if 12 metric 1";

// What a disconnect of the connection below answers, whatever goes wrong on the way.
constexpr char kDisconnected[] =
    R"({"ok":true,"phase":"disconnected",)"
    R"("admin_bypass":{"enabled":true,"attempted":true,"applied":false,)"
    R"("routes_ready_before_tunnel":false,"route_readded_after_tunnel":false,)"
    R"("required_enforced":true,"skipped_for_safe_mode":false,"auto_stop_seconds":0,)"
    R"("client_ip":"203.0.113.5","message":"admin bypass host route applied",)"
    R"("admin_env_ips":["203.0.113.5"]})";

class Disconnect : public OnMachine {
 protected:
  // A running tunnel with its configuration file and one pinned route, past the passive phase.
  void SetUpConnection() {
    MarkConnectRequested();
    machine.services.Add(kTunnel, simulated::kRunning);
    machine.files.AddFile(kActiveConf, "[Interface]\nPrivateKey = secret\n");
    machine.routes.AddPhysicalNetwork();
    AddPinnedRoute("203.0.113.5/32");
    AdminBypassState& bypass = CurrentAdminBypassState();
    bypass.enabled = true;
    bypass.attempted = true;
    bypass.applied = true;
    bypass.routes_ready_before_tunnel = true;
    bypass.required_enforced = true;
    bypass.client_ip = "203.0.113.5";
    bypass.message = "admin bypass host route applied";
    bypass.admin_env_ips = R"(["203.0.113.5"])";
    server.SetPhase(kPhaseConnected, "n1");
  }

  void AddPinnedRoute(const std::string& destination) {
    const ForwardRow row = simulated::MakeRoute(destination, "192.168.1.1", 12, 1);
    machine.routes.Add(row);
    AddedRouteList().push_back(row);
  }

  std::string Send() { return HandleRequest(server, R"({"op":"disconnect"})"); }

  void ExpectDisconnected(const std::string& reply) {
    EXPECT_EQ(reply, EndWithFreshGuardReport(kDisconnected));
    EXPECT_EQ(server.phase, "disconnected");
    EXPECT_EQ(server.node_id, "");
  }

  IpcServer server;
};

TEST_F(Disconnect, StopsTheTunnelThenRemovesTheRoutesThenTheFile) {
  SetUpConnection();
  ExpectDisconnected(Send());
  EXPECT_EQ(
      machine.Changes(),
      (Texts{"Service.SendStop VeltraneVpnTunnel$Active", "Service.Delete VeltraneVpnTunnel$Active",
             "DeleteForwardRow 203.0.113.5/32 via 192.168.1.1 if 12 metric 1",
             "OutputFile.Open C:\\ProgramData\\Veltrane\\tunnels\\active.conf",
             "OutputFile.Write C:\\ProgramData\\Veltrane\\tunnels\\active.conf 4096 bytes",
             "RemoveFile C:\\ProgramData\\Veltrane\\tunnels\\active.conf",
             "OutputFile.Close C:\\ProgramData\\Veltrane\\tunnels\\active.conf"}));
}

TEST_F(Disconnect, LeavesNoServiceNoRouteAndAFileOfZeros) {
  SetUpConnection();
  Send();
  EXPECT_EQ(machine.services.Find(kTunnel), std::nullopt);
  EXPECT_EQ(machine.services.OpenHandles(), 0);
  EXPECT_EQ(machine.routes.Texts(), (Texts{"0.0.0.0/0 via 192.168.1.1 if 12 metric 25",
                                           "192.168.1.0/24 via 0.0.0.0 if 12 metric 281"}));
  EXPECT_EQ(AddedRouteList().size(), 0u);
  EXPECT_EQ(machine.files.Bytes(kActiveConf), std::string(4096, '\0'));
}

TEST_F(Disconnect, StoresAndLogsTheBypassThatItReports) {
  SetUpConnection();
  Send();
  EXPECT_FALSE(CurrentAdminBypassState().applied);
  EXPECT_FALSE(CurrentAdminBypassState().routes_ready_before_tunnel);
  EXPECT_EQ(machine.console.Error(), L"[Veltrane][admin_bypass] enabled=1 applied=0 failure=\n");
  EXPECT_EQ(machine.console.Debugger(), L"[Veltrane][admin_bypass] enabled=1 applied=0 failure=\n");
}

TEST_F(Disconnect, ReportsTheBypassAsTheRemovalLeftIt) {
  SetUpConnection();
  machine.OnCall("TestExistence", 1, [] { CurrentAdminBypassState().message = "later"; });
  ExpectDisconnected(Send());
}

TEST_F(Disconnect, StatusAfterwardsReportsTheSameBypass) {
  SetUpConnection();
  Send();
  EXPECT_EQ(HandleRequest(server, R"({"op":"status"})"),
            EndWithFreshGuardReport(
                R"({"ok":true,"phase":"disconnected","tunnel_running":false,)"
                R"("admin_bypass":{"enabled":true,"attempted":true,"applied":false,)"
                R"("routes_ready_before_tunnel":false,"route_readded_after_tunnel":false,)"
                R"("required_enforced":true,"skipped_for_safe_mode":false,)"
                R"("auto_stop_seconds":0,"client_ip":"203.0.113.5",)"
                R"("message":"admin bypass host route applied",)"
                R"("admin_env_ips":["203.0.113.5"]})"));
}

TEST_F(Disconnect, GuardReportIsTheDefaultEvenWhereSettingsAreInForce) {
  machine.environment.SetMachine(L"VELTRANE_POC_DISABLE_DEFAULT_ROUTE", L"1");
  machine.environment.SetProcess(L"VELTRANE_POC_AUTO_STOP_SECONDS", L"60");
  machine.sessions.SetRemoteSession(true);
  SetUpConnection();
  ExpectDisconnected(Send());
}

TEST_F(Disconnect, WithNothingConnectedDoesTheSameStepsAndAnswersTheSameWay) {
  MarkConnectRequested();
  EXPECT_EQ(Send(), EndWithFreshGuardReport(
                        R"({"ok":true,"phase":"disconnected",)"
                        R"("admin_bypass":{"enabled":false,"attempted":false,"applied":false,)"
                        R"("routes_ready_before_tunnel":false,"route_readded_after_tunnel":false,)"
                        R"("required_enforced":false,"skipped_for_safe_mode":false,)"
                        R"("auto_stop_seconds":0,"message":"admin bypass host routes removed"})"));
  EXPECT_EQ(machine.calls.All(),
            (Texts{"ServiceManager.Open 0xf003f",
                   "ServiceManager.OpenExisting VeltraneVpnTunnel$Active 0x10024",
                   "PrintDebugger [Veltrane][admin_bypass] enabled=0 applied=0 failure=",
                   "PrintError [Veltrane][admin_bypass] enabled=0 applied=0 failure=",
                   "ReadProcessVariable ProgramData",
                   "TestExistence C:\\ProgramData\\Veltrane\\tunnels\\active.conf"}));
}

TEST_F(Disconnect, InPhaseConnectingEndsDisconnectedToo) {
  SetUpConnection();
  server.SetPhase(kPhaseConnecting);
  ExpectDisconnected(Send());
}

TEST_F(Disconnect, NonceIsNeitherCheckedNorCleared) {
  SetUpConnection();
  server.session_nonce = "abc";
  ExpectDisconnected(HandleRequest(server, R"({"op":"disconnect","session_nonce":"wrong"})"));
  EXPECT_EQ(server.session_nonce, "abc");
}

// ---- ignored failures

TEST_F(Disconnect, ManagerThatCannotBeOpenedLeavesTheTunnelAndUndoesTheRest) {
  SetUpConnection();
  machine.FailAlways("ServiceManager.Open", 5);
  ExpectDisconnected(Send());
  EXPECT_EQ(machine.services.Find(kTunnel)->state, simulated::kRunning);
  EXPECT_FALSE(machine.routes.Has(kPinnedRoute));
  EXPECT_EQ(machine.files.Bytes(kActiveConf), std::string(4096, '\0'));
}

TEST_F(Disconnect, TunnelThatNeverStopsIsDeletedAfterFifteenPolls) {
  SetUpConnection();
  machine.services.NeverStop();
  ExpectDisconnected(Send());
  EXPECT_EQ(machine.clock.Sleeps(), std::vector<std::uint32_t>(15, 1000));
  EXPECT_TRUE(machine.services.Find(kTunnel)->marked_for_delete);
  EXPECT_FALSE(machine.routes.Has(kPinnedRoute));
}

TEST_F(Disconnect, TunnelThatCannotBeDeletedIsLeftStopped) {
  SetUpConnection();
  machine.FailAlways("Service.Delete", 5);
  ExpectDisconnected(Send());
  EXPECT_EQ(machine.services.Find(kTunnel)->state, simulated::kStopped);
  EXPECT_FALSE(machine.services.Find(kTunnel)->marked_for_delete);
  EXPECT_FALSE(machine.routes.Has(kPinnedRoute));
}

TEST_F(Disconnect, RouteThatCannotBeDeletedStaysAndIsForgotten) {
  SetUpConnection();
  AddPinnedRoute("203.0.113.6/32");
  machine.FailWhere("DeleteForwardRow", "203.0.113.5", 5);
  ExpectDisconnected(Send());
  EXPECT_TRUE(machine.routes.Has(kPinnedRoute));
  EXPECT_FALSE(machine.routes.Has("203.0.113.6/32 via 192.168.1.1 if 12 metric 1"));
  EXPECT_EQ(AddedRouteList().size(), 0u);
  EXPECT_EQ(machine.files.Bytes(kActiveConf), std::string(4096, '\0'));
}

TEST_F(Disconnect, FileThatCannotBeDeletedIsLeftAsItIs) {
  SetUpConnection();
  machine.files.DenyOpen(kActiveConf);
  machine.FailAlways("RemoveFile", 5);
  ExpectDisconnected(Send());
  EXPECT_EQ(machine.files.Bytes(kActiveConf), "[Interface]\nPrivateKey = secret\n");
}

TEST_F(Disconnect, FileThatCannotBeOverwrittenIsDeleted) {
  SetUpConnection();
  machine.files.DenyOpen(kActiveConf);
  ExpectDisconnected(Send());
  EXPECT_FALSE(machine.files.Exists(kActiveConf));
}

TEST_F(Disconnect, FileWhoseExistenceIsUnknownEscapesBeforeThePhaseIsSet) {
  SetUpConnection();
  machine.FailAlways("TestExistence", 5);
  EXPECT_THROW(Send(), std::filesystem::filesystem_error);
  EXPECT_EQ(machine.services.Find(kTunnel), std::nullopt);
  EXPECT_FALSE(machine.routes.Has(kPinnedRoute));
  EXPECT_EQ(server.phase, "connected");
  EXPECT_EQ(server.node_id, "n1");
}

// ---- the passive phase

TEST_F(Disconnect, AsTheFirstRequestIsLoggedAndDoesNotEndThePassivePhase) {
  SetUpConnection();
  ResetStartupState();
  ExpectDisconnected(Send());
  EXPECT_EQ(machine.console.Error(),
            L"[Veltrane][startup_guard] forbidden during passive startup: TunnelManager::Stop\n"
            L"[Veltrane][startup_guard] forbidden during passive startup: DeleteIpForwardEntry\n"
            L"[Veltrane][admin_bypass] enabled=1 applied=0 failure=\n");
  EXPECT_FALSE(ReadStartupState().connect_requested);
  EXPECT_EQ(ReadStartupState().route_mutation_count, 1);
}

using DisconnectDeathTest = Disconnect;

TEST_F(DisconnectDeathTest, AsTheFirstRequestEndsTheProcessWhereTheMachineForbidsChanges) {
  machine.environment.SetMachine(L"VELTRANE_POC_DISABLE_ALL_NETWORK_MUTATION_ON_STARTUP", L"1");
  machine.console.EchoErrors();
  EXPECT_EXIT(Send(), testing::KilledBySignal(SIGABRT),
              "forbidden during passive startup: TunnelManager::Stop\n.*abort "
              "VELTRANE_POC_DISABLE_ALL_NETWORK_MUTATION_ON_STARTUP=1");
}

// ---- threads

TEST_F(Disconnect, TimerIsCancelledAndJoinedBeforeAnythingElse) {
  SetUpConnection();
  ScheduleAutoStop(server, std::numeric_limits<std::int32_t>::max(), nullptr);
  bool joinable = true;
  machine.OnCall("ServiceManager.Open", 1,
                 [this, &joinable] { joinable = server.auto_stop_thread.joinable(); });
  ExpectDisconnected(Send());
  EXPECT_FALSE(joinable);
  EXPECT_TRUE(server.auto_stop_cancel);
  EXPECT_EQ(machine.calls.Count("Service.SendStop"), 1u);
}

TEST_F(Disconnect, MutexIsFreeDuringEveryStep) {
  SetUpConnection();
  Texts held;
  const auto note_when_held = [this, &held](const std::string& call) {
    std::thread([this, &held, &call] {
      if (!server.state_mutex.try_lock()) {
        held.push_back(call);
        return;
      }
      server.state_mutex.unlock();
    }).join();
  };
  for (const char* call : {"Service.SendStop", "Service.Delete", "DeleteForwardRow", "PrintError",
                           "TestExistence", "RemoveFile"}) {
    machine.calls.OnEveryCall(call, [note_when_held, call] { note_when_held(call); });
  }
  ExpectDisconnected(Send());
  EXPECT_EQ(held, Texts{});
}

TEST_F(Disconnect, PhaseIsStillConnectedWhileTheFileIsBeingDeleted) {
  SetUpConnection();
  std::string phase;
  machine.OnCall("RemoveFile", 1, [this, &phase] { phase = server.phase; });
  Send();
  EXPECT_EQ(phase, "connected");
}

}  // namespace
}  // namespace veltrane
