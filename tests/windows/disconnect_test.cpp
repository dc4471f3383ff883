// Disconnect, and what it leaves on the machine.

#include "tests/windows/clean_machine.h"
#include "tests/windows/control_manager.h"
#include "tests/windows/conversation.h"
#include "tests/windows/pipe_connection.h"

namespace veltrane::windows_tests {
namespace {

class Disconnect : public CleanMachine {
 protected:
  ConsoleServer server_;
};

TEST_F(Disconnect, AnswersWithBothReports) {
  BringTunnelUp();
  EXPECT_EQ(Ask(kDisconnect),
            R"({"ok":true,"phase":"disconnected",)" + kBypassOff + "," + kFreshGuard + "}");
}

TEST_F(Disconnect, RemovesTheTunnelService) {
  BringTunnelUp();
  Ask(kDisconnect);
  EXPECT_TRUE(WaitUntilGone(kTunnelService));
}

TEST_F(Disconnect, LeavesAFileOf4096Zeros) {
  BringTunnelUp();
  Ask(kDisconnect);
  EXPECT_EQ(ReadFileBytes(ActiveConf()), kScrubbed);
}

TEST_F(Disconnect, IsSeenByTheNextStatus) {
  BringTunnelUp();
  Ask(kDisconnect);
  EXPECT_EQ(Ask(kStatus), R"({"ok":true,"phase":"disconnected","tunnel_running":false,)" +
                              kBypassOff + "," + kFreshGuard + "}");
}

TEST_F(Disconnect, LogsTheRemovalOfTheBypassRoutes) {
  BringTunnelUp();
  const std::string before = server_.Error();
  Ask(kDisconnect);
  EXPECT_EQ(server_.Error(), before + "[Veltrane][admin_bypass] enabled=0 applied=0 failure=\n");
}

TEST_F(Disconnect, NeedsNoNonce) {
  Ask(R"({"op":"register_session","session_nonce":"abc"})");
  EXPECT_EQ(Ask(R"({"op":"disconnect","session_nonce":"xyz"})")
                .find(R"({"ok":true,"phase":"disconnected","admin_bypass":)"),
            0u);
}

TEST_F(Disconnect, AnswersTheSameWayWhenNothingIsConnected) {
  EXPECT_EQ(Ask(kDisconnect),
            R"({"ok":true,"phase":"disconnected",)"
            R"("admin_bypass":{"enabled":false,"attempted":false,"applied":false,)"
            R"("routes_ready_before_tunnel":false,"route_readded_after_tunnel":false,)"
            R"("required_enforced":false,"skipped_for_safe_mode":false,"auto_stop_seconds":0,)"
            R"("message":"admin bypass host routes removed"},)" +
                kFreshGuard + "}");
}

TEST_F(Disconnect, MakesNoFileWhenThereWasNone) {
  Ask(kDisconnect);
  EXPECT_FALSE(std::filesystem::exists(TunnelsFolder()));
}

TEST_F(Disconnect, RemovesATunnelThatAKilledServerLeftBehind) {
  BringTunnelUp();
  server_.Kill();
  ConsoleServer next;
  Ask(kDisconnect);
  EXPECT_TRUE(WaitUntilGone(kTunnelService));
  EXPECT_EQ(ReadFileBytes(ActiveConf()), kScrubbed);
}

TEST_F(Disconnect, LetsTheNextConnectStartTheTunnelAnew) {
  BringTunnelUp();
  Ask(kDisconnect);
  BringTunnelUp();
  EXPECT_TRUE(WaitForServiceState(kTunnelService, SERVICE_RUNNING));
  EXPECT_EQ(ReadFileBytes(ActiveConf()), kConf);
}

}  // namespace
}  // namespace veltrane::windows_tests
