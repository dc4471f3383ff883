// What status and disconnect report after a connect: the process-wide bypass record and a guard
// record of default values, and what a disconnect leaves on the machine.

#include <filesystem>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/scenarios/scenario.h"

namespace veltrane {
namespace {

using StatusAfterConnect = Scenario;
using Disconnect = Scenario;

// The bypass record of a connection whose routes were verified, with its first four flags to come
// before.
const std::string kVerified =
    R"("route_readded_after_tunnel":false,"required_enforced":true,)"
    R"("skipped_for_safe_mode":false,"auto_stop_seconds":0,"client_ip":"203.0.113.5",)"
    R"("gateway":"192.168.1.1","message":"admin bypass routes verified after tunnel",)" +
    kGathered + "," + kPhysical + R"(,"route_add_results":"203.0.113.5:added;",)" + kAddedDetail +
    R"(,"route_verify_before_tunnel":"203.0.113.5:ok(metric=1);",)"
    R"("route_verify_after_tunnel":"203.0.113.5:ok(metric=1);"})";
const std::string kInPlace = R"("admin_bypass":{"enabled":true,"attempted":true,"applied":true,)"
                             R"("routes_ready_before_tunnel":true,)" +
                             kVerified;
const std::string kRemoved = R"("admin_bypass":{"enabled":true,"attempted":true,"applied":false,)"
                             R"("routes_ready_before_tunnel":false,)" +
                             kVerified;

TEST_F(StatusAfterConnect, BeforeAnyConnectBothRecordsAreFresh) {
  EXPECT_EQ(Handle(kStatus), R"({"ok":true,"phase":"disconnected","tunnel_running":false,)" +
                                 kFreshBypass + "," + kFreshGuard + "}");
}

TEST_F(StatusAfterConnect, WithBypassOffTheRecordSaysSo) {
  Handle(kConnect);
  EXPECT_EQ(Handle(kStatus),
            R"({"ok":true,"phase":"connected","node_id":"fra-1","tunnel_running":true,)" +
                kBypassOff + "," + kFreshGuard + "}");
}

TEST_F(StatusAfterConnect, WithBypassTheRecordOfTheCheckAfterTheTunnelIsShown) {
  SetAdministrator();
  Handle(kConnect);
  EXPECT_EQ(Handle(kStatus),
            R"({"ok":true,"phase":"connected","node_id":"fra-1","tunnel_running":true,)" +
                kInPlace + "," + kFreshGuard + "}");
}

TEST_F(StatusAfterConnect, TheGuardRecordIsNeverTheConnectsOne) {
  SetGuard();
  Handle(kConnect);
  EXPECT_EQ(Handle(kStatus),
            R"({"ok":true,"phase":"connected","node_id":"fra-1","tunnel_running":true,)"
            R"("admin_bypass":{"enabled":false,"attempted":false,"applied":false,)"
            R"("routes_ready_before_tunnel":false,"route_readded_after_tunnel":false,)"
            R"("required_enforced":false,"skipped_for_safe_mode":true,"auto_stop_seconds":0,)"
            R"("message":"admin bypass disabled for this build/config"},)" +
                kFreshGuard + "}");
}

TEST_F(StatusAfterConnect, ATunnelThatEndedByItselfStillCountsAsConnected) {
  Handle(kConnect);
  machine.services.SetState(kTunnelService, simulated::kStopped);
  EXPECT_EQ(Handle(kStatus),
            R"({"ok":true,"phase":"connected","node_id":"fra-1","tunnel_running":false,)" +
                kBypassOff + "," + kFreshGuard + "}");
}

TEST_F(StatusAfterConnect, ATunnelThatIsStillStartingIsNotRunning) {
  machine.services.RunAfterPolls(1);
  Handle(kConnect);
  const std::string head = R"({"ok":true,"phase":"connected","node_id":"fra-1","tunnel_running":)";
  EXPECT_EQ(Handle(kStatus), head + "false," + kBypassOff + "," + kFreshGuard + "}");
  EXPECT_EQ(Handle(kStatus), head + "true," + kBypassOff + "," + kFreshGuard + "}");
}

TEST_F(StatusAfterConnect, ItChangesNothing) {
  SetAdministrator();
  Handle(kConnect);
  StartStory();
  Handle(kStatus);
  EXPECT_EQ(Story(), std::vector<std::string>{});
}

TEST_F(StatusAfterConnect, ARegistrationAnswersDisconnectedAndLeavesTheConnection) {
  Handle(kConnect);
  EXPECT_EQ(Handle(R"({"op":"register_session","session_nonce":"abc"})"),
            R"({"ok":true,"phase":"disconnected"})");
  EXPECT_EQ(Phase(), "connected");
  EXPECT_EQ(NodeId(), "fra-1");
}

TEST_F(Disconnect, TheReplyShowsTheBypassAfterItsRemoval) {
  SetAdministrator();
  Handle(kConnect);
  EXPECT_EQ(Handle(kDisconnect),
            R"({"ok":true,"phase":"disconnected",)" + kRemoved + "," + kFreshGuard + "}");
  EXPECT_EQ(Phase(), "disconnected");
  EXPECT_EQ(NodeId(), "");
}

TEST_F(Disconnect, TheStatusAfterwardsShowsTheSameRecord) {
  SetAdministrator();
  Handle(kConnect);
  Handle(kDisconnect);
  EXPECT_EQ(Handle(kStatus), R"({"ok":true,"phase":"disconnected","tunnel_running":false,)" +
                                 kRemoved + "," + kFreshGuard + "}");
}

TEST_F(Disconnect, ServiceThenRoutesThenFileAreTakenAway) {
  SetAdministrator();
  Handle(kConnect);
  StartStory();
  Handle(kDisconnect);
  EXPECT_EQ(Story(), Steps({kStopsTunnel,
                            {"DeleteForwardRow 203.0.113.5/32 via 192.168.1.1 if 12 metric 1",
                             "PrintError [Veltrane][admin_bypass] enabled=1 applied=0 failure="},
                            kScrubsConf}));
  EXPECT_EQ(machine.routes.Texts(), (std::vector<std::string>{kDefaultRoute, kLocalRoute}));
  EXPECT_EQ(machine.services.Names(), std::vector<std::wstring>{});
  EXPECT_EQ(machine.files.AllFiles(), std::vector<std::wstring>{kActiveConf});
  EXPECT_EQ(machine.files.Bytes(kActiveConf), kScrubbed);
  EXPECT_EQ(machine.files.OpenStreams(), 0);
}

TEST_F(Disconnect, ThePhaseIsSetAfterEverythingWasTakenAway) {
  SetAdministrator();
  Handle(kConnect);
  std::vector<std::string> seen;
  for (const char* call : {"Service.Delete", "DeleteForwardRow", "RemoveFile"}) {
    machine.OnCall(call, 1, [&] { seen.push_back(Phase() + " " + NodeId()); });
  }
  Handle(kDisconnect);
  EXPECT_EQ(seen,
            (std::vector<std::string>{"connected fra-1", "connected fra-1", "connected fra-1"}));
}

TEST_F(Disconnect, WithNothingConnectedItAnswersTheSameWay) {
  EXPECT_EQ(Handle(kDisconnect),
            R"({"ok":true,"phase":"disconnected",)"
            R"("admin_bypass":{"enabled":false,"attempted":false,"applied":false,)"
            R"("routes_ready_before_tunnel":false,"route_readded_after_tunnel":false,)"
            R"("required_enforced":false,"skipped_for_safe_mode":false,"auto_stop_seconds":0,)"
            R"("message":"admin bypass host routes removed"},)" +
                kFreshGuard + "}");
  EXPECT_EQ(machine.Changes(), std::vector<std::string>{});
}

TEST_F(Disconnect, ASecondOneFindsTheScrubbedFileAndScrubsItAgain) {
  SetAdministrator();
  Handle(kConnect);
  const std::string first = Handle(kDisconnect);
  StartStory();
  EXPECT_EQ(Handle(kDisconnect), first);
  EXPECT_EQ(machine.Changes(), kScrubsConf);
  EXPECT_EQ(machine.files.Bytes(kActiveConf), kScrubbed);
}

TEST_F(Disconnect, EveryErrorIsIgnored) {
  SetAdministrator();
  Handle(kConnect);
  for (const char* call : {"Service.SendStop", "Service.Delete", "DeleteForwardRow",
                           "OutputFile.Open", "RemoveFile"}) {
    machine.FailAlways(call, 5);
  }
  machine.services.NeverStop();
  EXPECT_EQ(Handle(kDisconnect),
            R"({"ok":true,"phase":"disconnected",)" + kRemoved + "," + kFreshGuard + "}");
  EXPECT_EQ(Phase(), "disconnected");
  // Nothing could be taken away; the log and the record say that it was.
  EXPECT_TRUE(machine.routes.Has(kPinnedRoute));
  EXPECT_EQ(machine.services.Find(kTunnelService)->state, simulated::kRunning);
  EXPECT_EQ(machine.files.Bytes(kActiveConf), kConf);
  EXPECT_EQ(machine.clock.Sleeps(), std::vector<std::uint32_t>(15, 1000));
}

TEST_F(Disconnect, AServiceManagerThatCannotBeOpenedIsIgnored) {
  SetAdministrator();
  Handle(kConnect);
  machine.FailAlways("ServiceManager.Open", 5);
  EXPECT_EQ(Handle(kDisconnect),
            R"({"ok":true,"phase":"disconnected",)" + kRemoved + "," + kFreshGuard + "}");
  EXPECT_EQ(machine.routes.Texts(), (std::vector<std::string>{kDefaultRoute, kLocalRoute}));
  EXPECT_EQ(machine.files.Bytes(kActiveConf), kScrubbed);
}

TEST_F(Disconnect, AnUnreadableFileStateIsRaisedAndThePhaseStays) {
  SetAdministrator();
  Handle(kConnect);
  machine.Fail("TestExistence", 1, 5);
  EXPECT_THROW(Handle(kDisconnect), std::filesystem::filesystem_error);
  EXPECT_EQ(Phase(), "connected");
  EXPECT_EQ(machine.routes.Texts(), (std::vector<std::string>{kDefaultRoute, kLocalRoute}));
}

TEST_F(Disconnect, TheSessionIsNeitherAskedForNorForgotten) {
  Handle(R"({"op":"register_session","session_nonce":"abc"})");
  Handle(kDisconnect);
  EXPECT_EQ(Handle(kConnect),
            R"({"ok":false,"error":"session_mismatch","message":"invalid session"})");
}

}  // namespace
}  // namespace veltrane
