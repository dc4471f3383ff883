// Thousands of connects: no allocation of the program outlives the connection that it was made for.

#include <iostream>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "service/ipc_server.h"
#include "service/startup_guard.h"
#include "tests/allocations/live_memory.h"
#include "tests/scenarios/connection.h"
#include "tests/simulated/machine.h"
#include "tests/simulated/pipe_client.h"

namespace veltrane {
namespace {

using simulated::Exchange;
using simulated::Machine;
using testing::StartsWith;

constexpr int kConnects = 10'000;
// By then every text and list that the program keeps for its lifetime has had its longest value.
constexpr int kWarmUpRounds = 10;

// The connects of one machine, each with the beginning of its reply. The machine, and with it all
// that it has noted, is gone when memory is counted.
struct Story {
  const char* name;
  void (*arrange)(Machine& machine);
  struct Step {
    std::string request;
    std::string reply;
  };
  std::vector<Step> steps;
};

const std::string kConnectedFra = R"({"ok":true,"phase":"connected","node_id":"fra-1")";
const std::string kConnectedAms = R"({"ok":true,"phase":"connected","node_id":"ams-2")";
const std::string kDisconnectedReply = R"({"ok":true,"phase":"disconnected")";

std::string ErrorReply(const std::string& error) {
  return R"({"ok":false,"error":")" + error + R"(","message":")";
}

void LeaveAsItIs(Machine&) {}
void SetAdministrators(Machine& machine) {
  machine.environment.SetMachine(L"ADMIN_BYPASS_IPS", L"203.0.113.5;203.0.113.6");
}
void SetGuard(Machine& machine) {
  machine.environment.SetMachine(L"VELTRANE_POC_DISABLE_DEFAULT_ROUTE", L"1");
}
// Longer than a connection lasts, although the clock of the machine runs freely.
void SetTimer(Machine& machine) {
  machine.environment.SetMachine(L"VELTRANE_POC_AUTO_STOP_SECONDS", L"86400");
}
void MakeSettingsUnreadable(Machine& machine) {
  SetGuard(machine);
  machine.environment.SetProcess(L"VELTRANE_POC_DISABLE_DEFAULT_ROUTE", L"0");
  machine.sessions.SetRemoteSession(true);
}
void ComeOverRemoteDesktop(Machine& machine) {
  SetAdministrators(machine);
  machine.sessions.SetRemoteSession(true);
}
void RefuseRoutes(Machine& machine) {
  SetAdministrators(machine);
  machine.FailAlways("CreateForwardRow", 160);
}
void RefuseFiles(Machine& machine) {
  SetAdministrators(machine);
  machine.files.DenyOpen(kTemporaryConf);
}
void RefuseServices(Machine& machine) {
  SetAdministrators(machine);
  machine.FailAlways("Service.Start", 1053);
}
// The pinned routes are gone and cannot come again.
void LoseRoutesWithTheTunnel(Machine& machine) {
  SetAdministrators(machine);
  machine.services.OnRunning([&machine](const std::wstring&) {
    machine.routes.Clear();
    machine.FailAlways("CreateForwardRow", 5);
  });
}
void TakeTheDefaultRouteWithTheTunnel(Machine& machine) {
  SetGuard(machine);
  machine.routes.AddInterface(40, L"Veltrane WireGuard");
  machine.services.OnRunning(
      [&machine](const std::wstring&) { machine.routes.Add("0.0.0.0/0", "10.7.3.1", 40, 5); });
}

const std::string kCatchAllAsEndpoint =
    R"({"op":"connect","node_id":"fra-1","address_cidr":"10.7.3.9/32","endpoint_host":"::/0",)"
    R"("client_private_key":"CLIENTKEY=","allowed_ips_csv":"0.0.0.0/0, ::/0"})";

const std::vector<Story> kStories = {
    {"without the bypass",
     LeaveAsItIs,
     {{kConnect, kConnectedFra}, {kStatus, kConnectedFra}, {kDisconnect, kDisconnectedReply}}},
    {"with administrators",
     SetAdministrators,
     {{kConnect, kConnectedFra}, {kStatus, kConnectedFra}, {kDisconnect, kDisconnectedReply}}},
    {"under the guard", SetGuard, {{kConnect, kConnectedFra}, {kDisconnect, kDisconnectedReply}}},
    {"with a timer",
     SetTimer,
     {{kConnect, kConnectedFra}, {kConnect, kConnectedFra}, {kDisconnect, kDisconnectedReply}}},
    {"over a connection",
     SetAdministrators,
     {{kConnect, kConnectedFra},
      {kConnectElsewhere, kConnectedAms},
      {kConnect, kConnectedFra},
      {kDisconnect, kDisconnectedReply},
      {kDisconnect, kDisconnectedReply}}},
    {"refused: the session",
     LeaveAsItIs,
     {{kRegister, kDisconnectedReply},
      {kConnect, ErrorReply("session_mismatch")},
      {R"({"op":"register_session"})", kDisconnectedReply}}},
    {"refused: the profile",
     LeaveAsItIs,
     {{R"({"op":"connect","node_id":"fra-1"})", ErrorReply("invalid_profile")}}},
    {"refused: the settings",
     MakeSettingsUnreadable,
     {{kConnect, ErrorReply("poc_env_read_failed")}}},
    {"refused: a catch-all",
     SetGuard,
     {{kCatchAllAsEndpoint, ErrorReply("poc_route_guard_failed")}}},
    {"refused: Remote Desktop",
     ComeOverRemoteDesktop,
     {{kConnect, ErrorReply("poc_route_guard_failed")}}},
    {"refused: the routes", RefuseRoutes, {{kConnect, ErrorReply("admin_bypass_failed")}}},
    {"refused: the file", RefuseFiles, {{kConnect, ErrorReply("config_write_failed")}}},
    {"refused: the service", RefuseServices, {{kConnect, ErrorReply("tunnel_start_failed")}}},
    {"refused: the routes after the start",
     LoseRoutesWithTheTunnel,
     {{kConnect, ErrorReply("admin_bypass_failed")}}},
    {"refused: the tunnel's default route",
     TakeTheDefaultRouteWithTheTunnel,
     {{kConnect, ErrorReply("poc_default_route_detected")}}},
};

// Plays the story on a machine of its own, over the pipe, with the server that lives on. Returns
// the number of connects.
int Play(IpcServer& server, const Story& story) {
  Machine machine;
  machine.routes.AddPhysicalNetwork();
  story.arrange(machine);
  server.Start();
  int connects = 0;
  for (const Story::Step& step : story.steps) {
    EXPECT_THAT(Exchange(step.request), StartsWith(step.reply)) << story.name;
    if (step.request.starts_with(R"({"op":"connect")")) ++connects;
  }
  machine.pipes.WaitUntilServerWaits();
  server.Stop();
  EXPECT_EQ(machine.services.OpenHandles(), 0) << story.name;
  EXPECT_EQ(machine.files.OpenStreams(), 0) << story.name;
  EXPECT_EQ(machine.pipes.OpenInstances(), 0U) << story.name;
  return connects;
}

TEST(Allocations, OfTenThousandConnectsAreAllGivenBack) {
  ResetStartupState();
  IpcServer server;
  std::vector<LiveMemory> held(kStories.size());
  int connects = 0;
  int rounds = 0;
  while (connects < kConnects && !HasFailure()) {
    ++rounds;
    for (std::size_t i = 0; i < kStories.size(); ++i) {
      connects += Play(server, kStories[i]);
      const LiveMemory now = CountLiveMemory();
      if (rounds <= kWarmUpRounds) held[i] = now;
      ASSERT_EQ(now, held[i]) << "round " << rounds << ", after the connects " << kStories[i].name;
    }
  }
  std::cout << "soak: host: " << connects << " connects in " << rounds << " rounds of "
            << kStories.size() << " stories; held after round " << kWarmUpRounds << ": "
            << held.back() << "; at the end: " << CountLiveMemory() << std::endl;
}

}  // namespace
}  // namespace veltrane
