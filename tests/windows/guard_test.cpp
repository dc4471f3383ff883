// Connects with the default-route guard in force, and how its setting is read.

#include "tests/windows/clean_machine.h"
#include "tests/windows/conversation.h"
#include "tests/windows/pipe_connection.h"

namespace veltrane::windows_tests {
namespace {

constexpr wchar_t kSetting[] = L"VELTRANE_POC_DISABLE_DEFAULT_ROUTE";

class Guard : public CleanMachine {
 protected:
  ConsoleServer server_{Variables{{kSetting, L"1"}}};
};

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

TEST_F(Guard, RefusesACatchAllInAnyOtherField) {
  EXPECT_EQ(Ask(Fill(kConnect, "198.51.100.20", "::/0")),
            R"({"ok":false,"error":"poc_route_guard_failed",)"
            R"("message":"generated WireGuard config still contains catch-all AllowedIPs",)"
            R"("admin_bypass":{"enabled":false,"attempted":false,"applied":false,)"
            R"("routes_ready_before_tunnel":false,"route_readded_after_tunnel":false,)"
            R"("required_enforced":false,"skipped_for_safe_mode":true,"auto_stop_seconds":0,)"
            R"("message":"admin bypass disabled for this build/config"},)"
            R"("poc_route_guard":{"effective_disable_default_route":true,)"
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

class GuardSetting : public CleanMachine {
 protected:
  static void ExpectReported(const std::wstring& value, const std::string& text) {
    const ConsoleServer server(Variables{{kSetting, value}});
    const std::string reply = Ask(kConnect);
    EXPECT_NE(reply.find(R"("process_env_VELTRANE_POC_DISABLE_DEFAULT_ROUTE":")" + text + "\","),
              std::string::npos)
        << reply;
  }
};

TEST_F(GuardSetting, Of511CharactersIsReportedWhole) {
  ExpectReported(std::wstring(511, L'1'), std::string(511, '1'));
}

TEST_F(GuardSetting, Of512CharactersCountsAsUnset) { ExpectReported(std::wstring(512, L'1'), ""); }

TEST_F(GuardSetting, IsReportedInUtf8WithQuotesAndBackslashesEscaped) {
  ExpectReported(L"\u00e4\"\\\u20ac", "\xC3\xA4\\\"\\\\\xE2\x82\xAC");
}

}  // namespace
}  // namespace veltrane::windows_tests
