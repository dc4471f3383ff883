#pragma once

// Requests, and the passages that many replies have in common.

#include <string>

namespace veltrane::windows_tests {

inline const std::string kStatus = R"({"op":"status"})";
inline const std::string kDisconnect = R"({"op":"disconnect"})";
inline const std::string kConnect =
    R"({"op":"connect","node_id":"fra-1","device_id":"dev-9","address_cidr":"10.7.3.9/32",)"
    R"("endpoint_host":"198.51.100.20","endpoint_port":"443","server_public_key":"SERVERKEY=",)"
    R"("client_private_key":"CLIENTKEY=","client_public_key":"CLIENTPUB=",)"
    R"("pre_shared_key":"SHAREDKEY=","dns_csv":"10.7.3.1, 10.7.3.2",)"
    R"("allowed_ips_csv":"0.0.0.0/0, ::/0","display_name":"Frankfurt"})";

// The file that kConnect leads to.
inline const std::string kConf =
    "[Interface]\n"
    "PrivateKey = CLIENTKEY=\n"
    "Address = 10.7.3.9/32\n"
    "DNS = 10.7.3.1, 10.7.3.2\n"
    "\n"
    "[Peer]\n"
    "PublicKey = SERVERKEY=\n"
    "PresharedKey = SHAREDKEY=\n"
    "AllowedIPs = 0.0.0.0/0, ::/0\n"
    "Endpoint = 198.51.100.20:443\n"
    "PersistentKeepalive = 25\n";

// What the scrub leaves of a file that it could open and therefore not delete.
inline const std::string kScrubbed(4096, '\0');

// A bypass record of default values, and the one of a connect without the bypass.
inline const std::string kFreshBypass =
    R"("admin_bypass":{"enabled":false,"attempted":false,"applied":false,)"
    R"("routes_ready_before_tunnel":false,"route_readded_after_tunnel":false,)"
    R"("required_enforced":false,"skipped_for_safe_mode":false,"auto_stop_seconds":0})";
inline const std::string kBypassOff =
    R"("admin_bypass":{"enabled":false,"attempted":false,"applied":false,)"
    R"("routes_ready_before_tunnel":false,"route_readded_after_tunnel":false,)"
    R"("required_enforced":true,"skipped_for_safe_mode":false,"auto_stop_seconds":0,)"
    R"("message":"admin bypass disabled for this build/config"})";

// A guard record of default values.
inline const std::string kFreshGuard =
    R"("poc_route_guard":{"effective_disable_default_route":false,"poc_route_guard_failed":false,)"
    R"("poc_default_route_detected":false,"poc_env_read_failed":false,"rdp_session_active":false,)"
    R"("auto_stop_scheduled":false,"auto_stop_seconds":0,"effective_auto_stop_seconds":0,)"
    R"("process_env_VELTRANE_POC_DISABLE_DEFAULT_ROUTE":"",)"
    R"("machine_env_VELTRANE_POC_DISABLE_DEFAULT_ROUTE":"",)"
    R"("user_env_VELTRANE_POC_DISABLE_DEFAULT_ROUTE":"",)"
    R"("process_env_VELTRANE_POC_AUTO_STOP_SECONDS":"",)"
    R"("machine_env_VELTRANE_POC_AUTO_STOP_SECONDS":"",)"
    R"("user_env_VELTRANE_POC_AUTO_STOP_SECONDS":""})";

// The guard record of a successful kConnect with the guard off; {routes} stands for the machine's
// default routes.
inline const std::string kGuardOff =
    R"("poc_route_guard":{"effective_disable_default_route":false,"poc_route_guard_failed":false,)"
    R"("poc_default_route_detected":false,"poc_env_read_failed":false,"rdp_session_active":false,)"
    R"("auto_stop_scheduled":false,"auto_stop_seconds":0,"effective_auto_stop_seconds":0,)"
    R"("process_env_VELTRANE_POC_DISABLE_DEFAULT_ROUTE":"",)"
    R"("machine_env_VELTRANE_POC_DISABLE_DEFAULT_ROUTE":"",)"
    R"("user_env_VELTRANE_POC_DISABLE_DEFAULT_ROUTE":"",)"
    R"("process_env_VELTRANE_POC_AUTO_STOP_SECONDS":"",)"
    R"("machine_env_VELTRANE_POC_AUTO_STOP_SECONDS":"",)"
    R"("user_env_VELTRANE_POC_AUTO_STOP_SECONDS":"",)"
    R"("generated_allowed_ips_before":"0.0.0.0/0, ::/0",)"
    R"("default_routes_before_tunnel":"{routes}","default_routes_after_tunnel":"{routes}",)"
    R"("rdp_routes_before_tunnel":"none","rdp_routes_after_tunnel":"none",)"
    R"("message":"disable-default-route not active"})";

// Puts `value` wherever `placeholder` stands in the text.
inline std::string Fill(std::string text, const std::string& placeholder,
                        const std::string& value) {
  for (std::size_t at = text.find(placeholder); at != std::string::npos;
       at = text.find(placeholder, at + value.size())) {
    text.replace(at, placeholder.size(), value);
  }
  return text;
}

// Sends a connect that must succeed and waits until the tunnel service runs; it accepts no stop
// before. Returns the reply.
std::string BringTunnelUp(const std::string& request = kConnect);

// The text with {utc} for every time of the form 2026-11-16T02:25:07Z.
std::string WithoutTimes(const std::string& text);

}  // namespace veltrane::windows_tests
