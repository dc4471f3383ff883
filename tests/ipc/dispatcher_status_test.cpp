#include <atomic>
#include <cstdint>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "ipc/dispatcher.h"
#include "tests/ipc/report_texts.h"
#include "tests/support/on_machine.h"

namespace veltrane {
namespace {

using Texts = std::vector<std::string>;

constexpr wchar_t kTunnel[] = L"VeltraneVpnTunnel$Active";

class Status : public OnMachine {
 protected:
  std::string Ask() { return HandleRequest(server, R"({"op":"status"})"); }

  IpcServer server;
};

TEST_F(Status, OfAFreshServiceIsDisconnectedWithDefaultReports) {
  EXPECT_EQ(Ask(),
            EndWithFreshReports(R"({"ok":true,"phase":"disconnected","tunnel_running":false)"));
}

TEST_F(Status, NodeStandsBetweenPhaseAndTunnel) {
  machine.services.Add(kTunnel, simulated::kRunning);
  server.SetPhase(kPhaseConnected, "n1");
  EXPECT_EQ(Ask(), EndWithFreshReports(
                       R"({"ok":true,"phase":"connected","node_id":"n1","tunnel_running":true)"));
}

TEST_F(Status, PhaseConnectingIsShownAsItIs) {
  server.SetPhase(kPhaseConnecting);
  EXPECT_EQ(Ask(),
            EndWithFreshReports(R"({"ok":true,"phase":"connecting","tunnel_running":false)"));
}

TEST_F(Status, NodeIsCopiedWithoutEscaping) {
  server.SetPhase(kPhaseConnected, "a\"b\\c");
  EXPECT_EQ(
      Ask(),
      EndWithFreshReports(
          "{\"ok\":true,\"phase\":\"connected\",\"node_id\":\"a\"b\\c\",\"tunnel_running\":false"));
}

TEST_F(Status, NeedsNoNonceAndKeepsTheRegisteredOne) {
  server.session_nonce = "abc";
  EXPECT_EQ(Ask(),
            EndWithFreshReports(R"({"ok":true,"phase":"disconnected","tunnel_running":false)"));
  EXPECT_EQ(server.session_nonce, "abc");
}

TEST_F(Status, PhaseAndTunnelAreIndependent) {
  server.SetPhase(kPhaseConnected, "n1");
  EXPECT_EQ(Ask(), EndWithFreshReports(
                       R"({"ok":true,"phase":"connected","node_id":"n1","tunnel_running":false)"));
  server.SetPhase(kPhaseDisconnected);
  machine.services.Add(kTunnel, simulated::kRunning);
  EXPECT_EQ(Ask(),
            EndWithFreshReports(R"({"ok":true,"phase":"disconnected","tunnel_running":true)"));
}

TEST_F(Status, OnlyReadsTheTunnelService) {
  machine.services.Add(kTunnel, simulated::kRunning);
  Ask();
  EXPECT_EQ(machine.calls.All(), (Texts{"ServiceManager.Open 0x1",
                                        "ServiceManager.OpenExisting VeltraneVpnTunnel$Active 0x4",
                                        "Service.QueryState VeltraneVpnTunnel$Active"}));
  EXPECT_EQ(machine.services.OpenHandles(), 0);
  EXPECT_FALSE(ReadStartupState().connect_requested);
}

// ---- the tunnel service

struct TunnelState {
  const char* name;
  std::optional<std::uint32_t> state;  // of the tunnel service; without one it does not exist
  const char* failing = nullptr;       // a call that fails
};

class TunnelThatDoesNotRun : public Status, public testing::WithParamInterface<TunnelState> {};

TEST_P(TunnelThatDoesNotRun, IsReportedSo) {
  if (GetParam().state) machine.services.Add(kTunnel, *GetParam().state);
  if (GetParam().failing != nullptr) machine.FailAlways(GetParam().failing, 5);
  EXPECT_EQ(Ask(),
            EndWithFreshReports(R"({"ok":true,"phase":"disconnected","tunnel_running":false)"));
}

INSTANTIATE_TEST_SUITE_P(
    Status, TunnelThatDoesNotRun,
    testing::Values(
        TunnelState{"Absent", {}}, TunnelState{"Stopped", simulated::kStopped},
        TunnelState{"StartPending", simulated::kStartPending},
        TunnelState{"StopPending", simulated::kStopPending},
        TunnelState{"ManagerCannotBeOpened", simulated::kRunning, "ServiceManager.Open"},
        TunnelState{"ServiceCannotBeOpened", simulated::kRunning, "ServiceManager.OpenExisting"},
        TunnelState{"StateCannotBeRead", simulated::kRunning, "Service.QueryState"}),
    [](const testing::TestParamInfo<TunnelState>& test) { return std::string(test.param.name); });

// ---- reports

TEST_F(Status, CurrentBypassIsReported) {
  AdminBypassState& bypass = CurrentAdminBypassState();
  bypass.enabled = true;
  bypass.attempted = true;
  bypass.applied = true;
  bypass.routes_ready_before_tunnel = true;
  bypass.required_enforced = true;
  bypass.client_ip = "203.0.113.5";
  bypass.gateway = "192.168.1.1";
  bypass.message = "a \"quoted\" text";
  bypass.admin_env_ips = "[]";
  bypass.auto_stop_seconds = 120;
  EXPECT_EQ(Ask(),
            EndWithFreshGuardReport(
                R"({"ok":true,"phase":"disconnected","tunnel_running":false,)"
                R"("admin_bypass":{"enabled":true,"attempted":true,"applied":true,)"
                R"("routes_ready_before_tunnel":true,"route_readded_after_tunnel":false,)"
                R"("required_enforced":true,"skipped_for_safe_mode":false,)"
                R"("auto_stop_seconds":120,"client_ip":"203.0.113.5","gateway":"192.168.1.1",)"
                R"("message":"a \"quoted\" text","admin_env_ips":[]})"));
}

TEST_F(Status, GuardReportIsTheDefaultEvenWhereSettingsAreInForce) {
  machine.environment.SetMachine(L"VELTRANE_POC_DISABLE_DEFAULT_ROUTE", L"1");
  machine.environment.SetProcess(L"VELTRANE_POC_AUTO_STOP_SECONDS", L"60");
  machine.sessions.SetRemoteSession(true);
  EXPECT_EQ(Ask(),
            EndWithFreshReports(R"({"ok":true,"phase":"disconnected","tunnel_running":false)"));
}

// ---- threads

TEST_F(Status, PhaseIsThatOfTheMomentBeforeTheTunnelServiceIsAsked) {
  server.SetPhase(kPhaseConnected, "n1");
  machine.OnCall("ServiceManager.Open", 1, [this] { server.SetPhase(kPhaseDisconnected); });
  EXPECT_EQ(Ask(), EndWithFreshReports(
                       R"({"ok":true,"phase":"connected","node_id":"n1","tunnel_running":false)"));
}

TEST_F(Status, BypassIsThatOfTheMomentAfterTheTunnelServiceWasAsked) {
  machine.OnCall("ServiceManager.Open", 1, [] { CurrentAdminBypassState().enabled = true; });
  EXPECT_EQ(Ask(), EndWithFreshGuardReport(
                       R"({"ok":true,"phase":"disconnected","tunnel_running":false,)"
                       R"("admin_bypass":{"enabled":true,"attempted":false,"applied":false,)"
                       R"("routes_ready_before_tunnel":false,"route_readded_after_tunnel":false,)"
                       R"("required_enforced":false,"skipped_for_safe_mode":false,)"
                       R"("auto_stop_seconds":0})"));
}

TEST_F(Status, MutexIsFreeWhileTheTunnelServiceIsAsked) {
  bool free = false;
  machine.OnCall("ServiceManager.Open", 1, [this, &free] {
    std::thread([this, &free] {
      free = server.state_mutex.try_lock();
      if (free) server.state_mutex.unlock();
    }).join();
  });
  Ask();
  EXPECT_TRUE(free);
}

TEST_F(Status, NeverMixesThePhaseOfOneMomentWithTheNodeOfAnother) {
  const std::string connected = EndWithFreshReports(
      R"({"ok":true,"phase":"connected","node_id":"n1","tunnel_running":false)");
  const std::string disconnected =
      EndWithFreshReports(R"({"ok":true,"phase":"disconnected","tunnel_running":false)");
  std::atomic<bool> enough = false;
  std::thread writer([this, &enough] {
    while (!enough) {
      server.SetPhase(kPhaseConnected, "n1");
      server.SetPhase(kPhaseDisconnected);
    }
  });
  for (int i = 0; i < 300; ++i) {
    const std::string reply = Ask();
    EXPECT_TRUE(reply == connected || reply == disconnected) << reply;
  }
  enough = true;
  writer.join();
}

}  // namespace
}  // namespace veltrane
