#include "tests/client/on_client_machine.h"

namespace veltrane {
namespace {

using Status = OnClientMachine;

TEST_F(Status, OfAServiceThatHasJustStarted) {
  StartService();
  EXPECT_EQ(Run({"status"}), 0);
  EXPECT_EQ(side.Output(),
            "disconnected\n"
            "  tunnel service  not running\n"
            "\n"
            "Administrator bypass: nothing reported yet\n"
            "\n"
            "Default-route guard: not part of this reply; see the reply to connect, or veltranectl "
            "doctor\n");
  EXPECT_EQ(side.Error(), "");
}

TEST_F(Status, AsJsonIsTheReplyByteForByte) {
  StartService();
  EXPECT_EQ(Run({"status", "--json"}), 0);
  EXPECT_EQ(
      side.Output(),
      R"({"ok":true,"phase":"disconnected","tunnel_running":false,"admin_bypass":{"enabled":false,)"
      R"("attempted":false,"applied":false,"routes_ready_before_tunnel":false,)"
      R"("route_readded_after_tunnel":false,"required_enforced":false,)"
      R"("skipped_for_safe_mode":false,"auto_stop_seconds":0},"poc_route_guard":{)"
      R"("effective_disable_default_route":false,"poc_route_guard_failed":false,)"
      R"("poc_default_route_detected":false,"poc_env_read_failed":false,)"
      R"("rdp_session_active":false,"auto_stop_scheduled":false,"auto_stop_seconds":0,)"
      R"("effective_auto_stop_seconds":0,"process_env_VELTRANE_POC_DISABLE_DEFAULT_ROUTE":"",)"
      R"("machine_env_VELTRANE_POC_DISABLE_DEFAULT_ROUTE":"",)"
      R"("user_env_VELTRANE_POC_DISABLE_DEFAULT_ROUTE":"",)"
      R"("process_env_VELTRANE_POC_AUTO_STOP_SECONDS":"",)"
      R"("machine_env_VELTRANE_POC_AUTO_STOP_SECONDS":"",)"
      R"("user_env_VELTRANE_POC_AUTO_STOP_SECONDS":""}})");
}

TEST_F(Status, AsJsonEndsItsLineOnATerminal) {
  StartService();
  side.SetTerminal(Stream::kOutput, 80);
  EXPECT_EQ(Run({"status", "--json"}), 0);
  EXPECT_EQ(side.Output().substr(side.Output().size() - 3), "}}\n");
}

TEST_F(Status, WatchRefreshes) {
  StartService();
  EXPECT_EQ(Run({"status", "--watch", "--times", "2", "--every", "5"}), 0);
  EXPECT_EQ(side.Output(),
            "disconnected\n"
            "  tunnel service  not running\n"
            "\n"
            "Administrator bypass: nothing reported yet\n"
            "\n"
            "Default-route guard: not part of this reply; see the reply to connect, or veltranectl "
            "doctor\n"
            "\n"
            "every 5 s; press Ctrl+C to stop\n"
            "\n"
            "disconnected\n"
            "  tunnel service  not running\n"
            "\n"
            "Administrator bypass: nothing reported yet\n"
            "\n"
            "Default-route guard: not part of this reply; see the reply to connect, or veltranectl "
            "doctor\n");
  EXPECT_EQ(machine.clock.Sleeps(), std::vector<std::uint32_t>({5000}));
}

TEST_F(Status, WatchOnATerminalStaysInPlace) {
  StartService();
  side.SetTerminal(Stream::kOutput, 80);
  EXPECT_EQ(Run({"status", "--watch", "--times", "1"}), 0);
  EXPECT_EQ(side.Output().substr(0, 24), "\x1b[H\x1b[2J\x1b[1mdisconnected\x1b");
}

TEST_F(Status, WatchGoesOnWhileTheServiceIsAway) {
  EXPECT_EQ(Run({"status", "--watch", "--times", "2"}), 4);
  EXPECT_EQ(side.Error(),
            "veltranectl: the service is not installed: .\\VeltraneVpnService.exe --install\n"
            "veltranectl: the service is not installed: .\\VeltraneVpnService.exe --install\n");
}

TEST_F(Status, WatchAsJsonPrintsOneLinePerRefresh) {
  StartService();
  EXPECT_EQ(Run({"status", "--watch", "--times", "2", "--json"}), 0);
  const std::string output = side.Output();
  const std::string line = output.substr(0, output.find('\n') + 1);
  EXPECT_EQ(line.substr(0, 11), "{\"ok\":true,");
  EXPECT_EQ(output, line + line);
}

}  // namespace
}  // namespace veltrane
