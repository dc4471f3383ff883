// A connect that succeeds: the whole reply, its four snapshots, and what is left on the machine.

#include <cstddef>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "bypass/records.h"
#include "tests/scenarios/scenario.h"
#include "tests/support/name_of.h"

namespace veltrane {
namespace {

using ConnectSuccess = Scenario;

TEST_F(ConnectSuccess, WithBypassAndGuardOffTheReplySaysSoAndOnlyTheFileAndTheServiceChange) {
  EXPECT_EQ(Handle(kConnect),
            R"({"ok":true,"phase":"connected","node_id":"fra-1",)"
            R"("admin_bypass":{"enabled":false,"attempted":false,"applied":false,)"
            R"("routes_ready_before_tunnel":false,"route_readded_after_tunnel":false,)"
            R"("required_enforced":true,"skipped_for_safe_mode":false,"auto_stop_seconds":0,)"
            R"("message":"admin bypass disabled for this build/config"},)"
            R"("poc_route_guard":{"effective_disable_default_route":false,)"
            R"("poc_route_guard_failed":false,"poc_default_route_detected":false,)"
            R"("poc_env_read_failed":false,"rdp_session_active":false,)"
            R"("auto_stop_scheduled":false,"auto_stop_seconds":0,"effective_auto_stop_seconds":0,)"
            R"("process_env_VELTRANE_POC_DISABLE_DEFAULT_ROUTE":"",)"
            R"("machine_env_VELTRANE_POC_DISABLE_DEFAULT_ROUTE":"",)"
            R"("user_env_VELTRANE_POC_DISABLE_DEFAULT_ROUTE":"",)"
            R"("process_env_VELTRANE_POC_AUTO_STOP_SECONDS":"",)"
            R"("machine_env_VELTRANE_POC_AUTO_STOP_SECONDS":"",)"
            R"("user_env_VELTRANE_POC_AUTO_STOP_SECONDS":"",)"
            R"("generated_allowed_ips_before":"0.0.0.0/0, ::/0",)"
            R"("default_routes_before_tunnel":"0.0.0.0/0->192.168.1.1@if12:Ethernet:metric=25",)"
            R"("default_routes_after_tunnel":"0.0.0.0/0->192.168.1.1@if12:Ethernet:metric=25",)"
            R"("rdp_routes_before_tunnel":"none","rdp_routes_after_tunnel":"none",)"
            R"("message":"disable-default-route not active"}})");
  EXPECT_EQ(Story(), Steps({WritesConf(), kStartsTunnel}));
  EXPECT_EQ(State(), kUp);
  EXPECT_EQ(machine.console.Debugger(), L"");
}

TEST_F(ConnectSuccess, TheTunnelServiceRunsFromTheActiveConfiguration) {
  Handle(kConnect);
  EXPECT_EQ(machine.services.Find(kTunnelService)->settings.command_line,
            L"\"C:\\Program Files\\Veltrane\\VeltraneVpnService.exe\" /service "
            L"\"C:\\ProgramData\\Veltrane\\tunnels\\active.conf\"");
}

TEST_F(ConnectSuccess, WithBypassTheReplyAccountsForEveryAddress) {
  SetAdministrator();
  machine.connections.AddEstablished(3389, "198.51.100.7");
  machine.sessions.AddActive(2, "192.0.2.44");
  const std::string routes =
      "192.0.2.44/32->192.168.1.1@if12;198.51.100.7/32->192.168.1.1@if12;"
      "203.0.113.5/32->192.168.1.1@if12";
  EXPECT_EQ(Handle(kConnect),
            R"({"ok":true,"phase":"connected","node_id":"fra-1",)"
            R"("admin_bypass":{"enabled":true,"attempted":true,"applied":true,)"
            R"("routes_ready_before_tunnel":true,"route_readded_after_tunnel":false,)"
            R"("required_enforced":true,"skipped_for_safe_mode":false,"auto_stop_seconds":0,)"
            R"("client_ip":"198.51.100.7","gateway":"192.168.1.1",)"
            R"("message":"admin bypass routes verified after tunnel",)"
            R"("rdp_tcp_remote_addresses":["198.51.100.7"],"admin_env_ips":["203.0.113.5"],)"
            R"("selected_admin_bypass_ips":["192.0.2.44","198.51.100.7","203.0.113.5"],)"
            R"("selected_bypass_ip_entries":[{"ip":"192.0.2.44","source":"WTS","required":false},)"
            R"({"ip":"198.51.100.7","source":"RDP_TCP_ESTABLISHED","required":true},)"
            R"({"ip":"203.0.113.5","source":"ADMIN_BYPASS_IP","required":true}],)" +
                kPhysical +
                R"(,"route_add_results":"192.0.2.44:added;198.51.100.7:added;203.0.113.5:added;",)"
                R"("route_add_results_detail":[)" +
                AddedDetail("192.0.2.44", "WTS", "false") + "," +
                AddedDetail("198.51.100.7", "RDP_TCP_ESTABLISHED") + "," + AddedDetail() +
                R"(],"route_verify_before_tunnel":)"
                R"("198.51.100.7:ok(metric=1);203.0.113.5:ok(metric=1);",)"
                R"("route_verify_after_tunnel":)"
                R"("198.51.100.7:ok(metric=1);203.0.113.5:ok(metric=1);"},)" +
                With(kGuardOff, {Snapshots(kOffice, kOffice, routes, routes), kNotActive}) + "}");
}

TEST_F(ConnectSuccess, WithBypassTheRoutesArePinnedBeforeTheFileAndCheckedAfterTheStart) {
  SetAdministrator();
  Handle(kConnect);
  EXPECT_EQ(Story(), Steps({kPins, WritesConf(), kStartsTunnel, kLogsApplied}));
  EXPECT_EQ(State(), kUpAndPinned);
  EXPECT_EQ(machine.console.Debugger(),
            L"[Veltrane][admin_bypass] enabled=1 applied=1 failure=\n"
            L"[Veltrane][admin_bypass] enabled=1 applied=1 failure=\n");
}

TEST_F(ConnectSuccess, WithTheGuardTheBypassIsGatheredButNoRouteIsTouchedOrChecked) {
  SetGuard();
  SetAdministrator();
  EXPECT_EQ(Handle(kConnect),
            Reply(kConnected, kBypassSkipped, With(kGuardOn, {kRoutesKept, kSafe})));
  EXPECT_EQ(Story(), Steps({kLogsRemoved, WritesConf("170 bytes"), kStartsTunnel}));
  EXPECT_EQ(machine.calls.Count("FindBestRoute"), 0U);
}

TEST_F(ConnectSuccess, WithTheGuardTheFileHoldsTheClientsNetworkAndNoNameServers) {
  SetGuard();
  Handle(kConnect);
  EXPECT_EQ(machine.files.Bytes(kActiveConf),
            "[Interface]\n"
            "PrivateKey = CLIENTKEY=\n"
            "Address = 10.7.3.9/32\n"
            "\n"
            "[Peer]\n"
            "PublicKey = SERVERKEY=\n"
            "AllowedIPs = 10.7.3.0/24\n"
            "Endpoint = 198.51.100.20:51820\n"
            "PersistentKeepalive = 25\n");
}

TEST_F(ConnectSuccess, InARemoteDesktopSessionWithTheGuardItSucceeds) {
  SetGuard();
  machine.sessions.SetRemoteSession(true);
  EXPECT_EQ(Handle(kConnect), Reply(kConnected, kBypassOffUnderGuard,
                                    With(kGuardOn, {"rdp_session_active", kRoutesKept, kSafe})));
}

TEST_F(ConnectSuccess, AProfileOfTheTwoRequiredFieldsIsEnough) {
  EXPECT_EQ(Handle(R"({"op":"connect","node_id":"n","client_private_key":"k"})"),
            Reply(R"({"ok":true,"phase":"connected","node_id":"n")", kBypassOff,
                  With(kFreshGuard, {kRoutesKept, kNotActive})));
  EXPECT_EQ(PhaseAndNode(), "connected n");
  EXPECT_EQ(machine.files.Bytes(kActiveConf),
            "[Interface]\n"
            "PrivateKey = k\n"
            "Address = \n"
            "\n"
            "[Peer]\n"
            "PublicKey = \n"
            "AllowedIPs = \n"
            "Endpoint = :51820\n"
            "PersistentKeepalive = 25\n");
}

TEST_F(ConnectSuccess, TheNodeIsCopiedIntoTheReplyAsItIs) {
  EXPECT_THAT(Handle(R"({"op":"connect","node_id":"a\"b\\c\nd","client_private_key":"k"})"),
              testing::StartsWith("{\"ok\":true,\"phase\":\"connected\","
                                  "\"node_id\":\"a\"b\\c\nd\",\"admin_bypass\":{"));
  EXPECT_EQ(PhaseAndNode(), "connected a\"b\\c\nd");
}

TEST_F(ConnectSuccess, AFailureThatLeavesTheTunnelWorkingDoesNotMatter) {
  machine.Fail("Service.Start", 1, 1056);  // runs already
  Handle(kConnect);
  EXPECT_EQ(PhaseAndNode(), "connected fra-1");
  Handle(kDisconnect);
  machine.Fail("Service.SetSidType", 1, 5);
  machine.FailAlways("SetProtectedAccess", 5);
  Handle(kConnect);
  EXPECT_EQ(State(), kUp);
}

// ---- the snapshots

// One read of the table that fails; with bypass and guard off nothing else reads it.
struct UnreadableTable {
  const char* name;
  std::size_t read;
  std::string snapshots;
};

class Snapshot : public Scenario, public testing::WithParamInterface<UnreadableTable> {};

TEST_P(Snapshot, IsUnavailableWhenItsReadFails) {
  machine.Fail("ReadForwardTable", GetParam().read, 5);
  EXPECT_EQ(Handle(kConnect),
            Reply(kConnected, kBypassOff, With(kGuardOff, {GetParam().snapshots, kNotActive})));
}

const UnreadableTable kUnreadableTables[] = {
    {"DefaultRoutesBeforeTheTunnel", 1, Snapshots("unavailable", kOffice, "none", "none")},
    {"HostRoutesBeforeTheTunnel", 2, Snapshots(kOffice, kOffice, "unavailable", "none")},
    {"DefaultRoutesAfterTheStart", 3, Snapshots(kOffice, "unavailable", "none", "none")},
    {"HostRoutesAfterTheStart", 4, Snapshots(kOffice, kOffice, "none", "unavailable")}};

INSTANTIATE_TEST_SUITE_P(ConnectSuccess, Snapshot, testing::ValuesIn(kUnreadableTables),
                         NameOf<UnreadableTable>);

TEST_F(ConnectSuccess, TwoSnapshotsAreTakenBeforeTheFileIsWrittenAndTwoAfterTheStart) {
  std::vector<std::size_t> reads;
  for (const char* call : {"CreateFolders", "Service.Start"}) {
    machine.OnCall(call, 1, [&] { reads.push_back(machine.calls.Count("ReadForwardTable")); });
  }
  Handle(kConnect);
  EXPECT_EQ(reads, (std::vector<std::size_t>{2, 2}));
  EXPECT_EQ(machine.calls.Count("ReadForwardTable"), 4U);
}

TEST_F(ConnectSuccess, TheSnapshotsAreOfTheAddressesThatWereSelectedBeforeTheTunnel) {
  SetAdministrator();
  machine.services.OnRunning([](const std::wstring&) { SelectedBypassIps().clear(); });
  EXPECT_THAT(Handle(kConnect), testing::HasSubstr(kPinnedKept));
}

}  // namespace
}  // namespace veltrane
