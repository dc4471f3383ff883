// The timer that ends a connection by itself.

#include <cstdlib>
#include <ctime>

#include "tests/windows/clean_machine.h"
#include "tests/windows/control_manager.h"
#include "tests/windows/conversation.h"
#include "tests/windows/network.h"
#include "tests/windows/pipe_connection.h"
#include "tests/windows/wait.h"

namespace veltrane::windows_tests {
namespace {

class AutoStop : public CleanMachine {
 protected:
  static Variables After(const wchar_t* seconds) {
    return {{L"VELTRANE_POC_AUTO_STOP_SECONDS", seconds}};
  }

  static bool WaitForDisconnection() {
    return WaitUntil(
        [] { return Ask(kStatus).find(R"({"ok":true,"phase":"disconnected",)") == 0; });
  }
};

// The bypass record of a connect without the bypass, with a timer of two seconds.
const std::string kBypassOffWithTimer =
    R"("admin_bypass":{"enabled":false,"attempted":false,"applied":false,)"
    R"("routes_ready_before_tunnel":false,"route_readded_after_tunnel":false,)"
    R"("required_enforced":true,"skipped_for_safe_mode":false,"auto_stop_seconds":2,)"
    R"("message":"admin bypass disabled for this build/config"})";

TEST_F(AutoStop, IsAnnouncedInTheReply) {
  ConsoleServer server(After(L"2"));
  EXPECT_EQ(
      WithoutTimes(Ask(kConnect)),
      Fill(
          R"({"ok":true,"phase":"connected","node_id":"fra-1",)" + kBypassOffWithTimer +
              R"(,"poc_route_guard":{"effective_disable_default_route":false,)"
              R"("poc_route_guard_failed":false,"poc_default_route_detected":false,)"
              R"("poc_env_read_failed":false,"rdp_session_active":false,)"
              R"("auto_stop_scheduled":true,"auto_stop_seconds":2,"effective_auto_stop_seconds":2,)"
              R"("process_env_VELTRANE_POC_DISABLE_DEFAULT_ROUTE":"",)"
              R"("machine_env_VELTRANE_POC_DISABLE_DEFAULT_ROUTE":"",)"
              R"("user_env_VELTRANE_POC_DISABLE_DEFAULT_ROUTE":"",)"
              R"("process_env_VELTRANE_POC_AUTO_STOP_SECONDS":"2",)"
              R"("machine_env_VELTRANE_POC_AUTO_STOP_SECONDS":"",)"
              R"("user_env_VELTRANE_POC_AUTO_STOP_SECONDS":"",)"
              R"("generated_allowed_ips_before":"0.0.0.0/0, ::/0",)"
              R"("default_routes_before_tunnel":"{routes}","default_routes_after_tunnel":"{routes}",)"
              R"("rdp_routes_before_tunnel":"none","rdp_routes_after_tunnel":"none",)"
              R"("message":"disable-default-route not active","auto_stop_deadline_utc":"{utc}"}})",
          "{routes}", DefaultRoutes()));
}

TEST_F(AutoStop, AnnouncesItsDeadlineInUtc) {
  ConsoleServer server(After(L"3600"));
  const std::time_t before = std::time(nullptr);
  const std::string reply = Ask(kConnect);
  const std::time_t after = std::time(nullptr);
  const std::string key = R"("auto_stop_deadline_utc":")";
  const std::string deadline = reply.substr(reply.find(key) + key.size(), 20);
  const auto text = [](std::time_t time) {
    char buffer[32];
    std::strftime(buffer, sizeof(buffer), "%Y-%m-%dT%H:%M:%SZ", std::gmtime(&time));
    return std::string(buffer);
  };
  EXPECT_LE(text(before + 3600), deadline);
  EXPECT_LE(deadline, text(after + 3600));
}

TEST_F(AutoStop, EndsTheConnection) {
  ConsoleServer server(After(L"2"));
  BringTunnelUp();
  ASSERT_TRUE(WaitForDisconnection());
  EXPECT_EQ(Ask(kStatus), R"({"ok":true,"phase":"disconnected","tunnel_running":false,)" +
                              kBypassOffWithTimer + "," + kFreshGuard + "}");
}

TEST_F(AutoStop, RemovesTheTunnelServiceAndScrubsTheFile) {
  ConsoleServer server(After(L"2"));
  BringTunnelUp();
  ASSERT_TRUE(WaitForDisconnection());
  EXPECT_TRUE(WaitUntilGone(kTunnelService));
  EXPECT_EQ(ReadFileBytes(ActiveConf()), kScrubbed);
}

TEST_F(AutoStop, LogsTheRemovalOfTheBypassRoutes) {
  ConsoleServer server(After(L"2"));
  const std::string before = server.Error();
  BringTunnelUp();
  ASSERT_TRUE(WaitForDisconnection());
  EXPECT_EQ(server.Error(), before + "[Veltrane][admin_bypass] enabled=0 applied=0 failure=\n");
}

TEST_F(AutoStop, KeepsTheSession) {
  ConsoleServer server(After(L"2"));
  Ask(R"({"op":"register_session","session_nonce":"abc"})");
  BringTunnelUp(Fill(kConnect, R"("op":"connect")", R"("op":"connect","session_nonce":"abc")"));
  ASSERT_TRUE(WaitForDisconnection());
  EXPECT_EQ(Ask(R"({"op":"connect"})"),
            R"({"ok":false,"error":"session_mismatch","message":"invalid session"})");
}

TEST_F(AutoStop, IsEndedByADisconnect) {
  ConsoleServer server(After(L"3600"));
  const std::string before = server.Error();
  BringTunnelUp();
  EXPECT_EQ(Ask(kDisconnect).find(R"({"ok":true,"phase":"disconnected",)"), 0u);
  EXPECT_EQ(server.Error(), before + "[Veltrane][admin_bypass] enabled=0 applied=0 failure=\n");
}

TEST_F(AutoStop, IsStartedAnewByTheNextConnect) {
  ConsoleServer server(After(L"3600"));
  BringTunnelUp();
  EXPECT_NE(BringTunnelUp().find(R"("auto_stop_scheduled":true)"), std::string::npos);
}

TEST_F(AutoStop, IsNotScheduledForAWord) {
  ConsoleServer server(After(L"abc"));
  EXPECT_NE(
      Ask(kConnect).find(
          R"("auto_stop_scheduled":false,"auto_stop_seconds":0,"effective_auto_stop_seconds":0,)"),
      std::string::npos);
}

}  // namespace
}  // namespace veltrane::windows_tests
