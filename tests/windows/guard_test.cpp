// Connects with the default-route guard in force.

#include "tests/windows/clean_machine.h"
#include "tests/windows/control_manager.h"
#include "tests/windows/conversation.h"
#include "tests/windows/network.h"
#include "tests/windows/pipe_connection.h"

namespace veltrane::windows_tests {
namespace {

class Guard : public CleanMachine {
 protected:
  ConsoleServer server_{Variables{{L"VELTRANE_POC_DISABLE_DEFAULT_ROUTE", L"1"}}};
};

const std::string kBypassOffInSafeMode =
    R"("admin_bypass":{"enabled":false,"attempted":false,"applied":false,)"
    R"("routes_ready_before_tunnel":false,"route_readded_after_tunnel":false,)"
    R"("required_enforced":false,"skipped_for_safe_mode":true,"auto_stop_seconds":0,)"
    R"("message":"admin bypass disabled for this build/config"})";

TEST_F(Guard, IsReportedInTheReply) {
  EXPECT_EQ(
      Ask(kConnect),
      Fill(
          R"({"ok":true,"phase":"connected","node_id":"fra-1",)" + kBypassOffInSafeMode +
              R"(,"poc_route_guard":{"effective_disable_default_route":true,)"
              R"("poc_route_guard_failed":false,"poc_default_route_detected":false,)"
              R"("poc_env_read_failed":false,"rdp_session_active":false,)"
              R"("auto_stop_scheduled":false,"auto_stop_seconds":0,"effective_auto_stop_seconds":0,)"
              R"("process_env_VELTRANE_POC_DISABLE_DEFAULT_ROUTE":"1",)"
              R"("machine_env_VELTRANE_POC_DISABLE_DEFAULT_ROUTE":"",)"
              R"("user_env_VELTRANE_POC_DISABLE_DEFAULT_ROUTE":"",)"
              R"("process_env_VELTRANE_POC_AUTO_STOP_SECONDS":"",)"
              R"("machine_env_VELTRANE_POC_AUTO_STOP_SECONDS":"",)"
              R"("user_env_VELTRANE_POC_AUTO_STOP_SECONDS":"",)"
              R"("generated_allowed_ips_before":"0.0.0.0/0, ::/0",)"
              R"("generated_allowed_ips_after":"10.7.3.0/24",)"
              R"("default_routes_before_tunnel":"{routes}","default_routes_after_tunnel":"{routes}",)"
              R"("rdp_routes_before_tunnel":"none","rdp_routes_after_tunnel":"none",)"
              R"x("message":"POC safe AllowedIPs applied (no catch-all)"}})x",
          "{routes}", DefaultRoutes()));
}

TEST_F(Guard, WritesTheReplacementNetworkAndNoDnsServers) {
  BringTunnelUp();
  EXPECT_EQ(ReadFileBytes(ActiveConf()),
            "[Interface]\n"
            "PrivateKey = CLIENTKEY=\n"
            "Address = 10.7.3.9/32\n"
            "\n"
            "[Peer]\n"
            "PublicKey = SERVERKEY=\n"
            "PresharedKey = SHAREDKEY=\n"
            "AllowedIPs = 10.7.3.0/24\n"
            "Endpoint = 198.51.100.20:443\n"
            "PersistentKeepalive = 25\n");
}

TEST_F(Guard, WritesTheFixedNetworkForAnAddressThatIsNoDottedQuad) {
  Ask(Fill(kConnect, "10.7.3.9/32", "fd00::5/128"));
  EXPECT_NE(ReadFileBytes(ActiveConf()).find("\nAllowedIPs = 10.66.66.0/24\n"), std::string::npos);
}

TEST_F(Guard, LeavesAListWithoutACatchAllAsItIs) {
  Ask(Fill(kConnect, "0.0.0.0/0, ::/0", "10.0.0.0/8,192.168.1.0/24"));
  EXPECT_NE(ReadFileBytes(ActiveConf()).find("\nAllowedIPs = 10.0.0.0/8,192.168.1.0/24\n"),
            std::string::npos);
}

TEST_F(Guard, RefusesACatchAllInAnyOtherField) {
  EXPECT_EQ(
      Ask(Fill(kConnect, "198.51.100.20", "::/0")),
      R"({"ok":false,"error":"poc_route_guard_failed",)"
      R"("message":"generated WireGuard config still contains catch-all AllowedIPs",)" +
          kBypassOffInSafeMode +
          R"(,"poc_route_guard":{"effective_disable_default_route":true,)"
          R"("poc_route_guard_failed":true,"poc_default_route_detected":false,)"
          R"("poc_env_read_failed":false,"rdp_session_active":false,)"
          R"("auto_stop_scheduled":false,"auto_stop_seconds":0,"effective_auto_stop_seconds":0,)"
          R"("process_env_VELTRANE_POC_DISABLE_DEFAULT_ROUTE":"1",)"
          R"("machine_env_VELTRANE_POC_DISABLE_DEFAULT_ROUTE":"",)"
          R"("user_env_VELTRANE_POC_DISABLE_DEFAULT_ROUTE":"",)"
          R"("process_env_VELTRANE_POC_AUTO_STOP_SECONDS":"",)"
          R"("machine_env_VELTRANE_POC_AUTO_STOP_SECONDS":"",)"
          R"("user_env_VELTRANE_POC_AUTO_STOP_SECONDS":"",)"
          R"("generated_allowed_ips_before":"0.0.0.0/0, ::/0",)"
          R"("generated_allowed_ips_after":"10.7.3.0/24",)"
          R"("failure_reason":"poc_route_guard_failed",)"
          R"("message":"generated WireGuard config still contains catch-all AllowedIPs"}})");
}

TEST_F(Guard, StartsNoTunnelAndWritesNoFileWhenItRefuses) {
  Ask(Fill(kConnect, "198.51.100.20", "::/0"));
  EXPECT_FALSE(ServiceExists(kTunnelService));
  EXPECT_FALSE(std::filesystem::exists(TunnelsFolder()));
}

TEST_F(Guard, RefusesAndLeavesTheServerServing) {
  Ask(Fill(kConnect, "198.51.100.20", "::/0"));
  EXPECT_EQ(Ask(kStatus),
            R"({"ok":true,"phase":"disconnected","tunnel_running":false,)"
            R"("admin_bypass":{"enabled":false,"attempted":false,"applied":false,)"
            R"("routes_ready_before_tunnel":false,"route_readded_after_tunnel":false,)"
            R"("required_enforced":false,"skipped_for_safe_mode":true,"auto_stop_seconds":0,)"
            R"("message":"admin bypass disabled for this build/config"},)" +
                kFreshGuard + "}");
}

class GuardSetting : public CleanMachine {};

TEST_F(GuardSetting, IsNotTrimmed) {
  ConsoleServer server(Variables{{L"VELTRANE_POC_DISABLE_DEFAULT_ROUTE", L"true "}});
  BringTunnelUp();
  EXPECT_EQ(ReadFileBytes(ActiveConf()), kConf);
}

TEST_F(GuardSetting, OnMayBeWrittenInAnyCase) {
  ConsoleServer server(Variables{{L"VELTRANE_POC_DISABLE_DEFAULT_ROUTE", L"On"}});
  BringTunnelUp();
  EXPECT_NE(ReadFileBytes(ActiveConf()).find("\nAllowedIPs = 10.7.3.0/24\n"), std::string::npos);
}

TEST_F(GuardSetting, Of512CharactersCountsAsUnset) {
  ConsoleServer server(Variables{{L"VELTRANE_POC_DISABLE_DEFAULT_ROUTE", std::wstring(512, L'1')}});
  EXPECT_NE(Ask(kConnect).find(R"("process_env_VELTRANE_POC_DISABLE_DEFAULT_ROUTE":"",)"),
            std::string::npos);
}

TEST_F(GuardSetting, Of511CharactersIsReportedWhole) {
  ConsoleServer server(Variables{{L"VELTRANE_POC_DISABLE_DEFAULT_ROUTE", std::wstring(511, L'1')}});
  EXPECT_NE(Ask(kConnect).find(R"("process_env_VELTRANE_POC_DISABLE_DEFAULT_ROUTE":")" +
                               std::string(511, '1') + "\","),
            std::string::npos);
}

TEST_F(GuardSetting, IsReportedInUtf8WithQuotesAndBackslashesEscaped) {
  ConsoleServer server(Variables{{L"VELTRANE_POC_DISABLE_DEFAULT_ROUTE", L"\u00e4\"\\\u20ac"}});
  EXPECT_NE(Ask(kConnect).find("\"process_env_VELTRANE_POC_DISABLE_DEFAULT_ROUTE\":"
                               "\"\xC3\xA4\\\"\\\\\xE2\x82\xAC\","),
            std::string::npos);
}

}  // namespace
}  // namespace veltrane::windows_tests
