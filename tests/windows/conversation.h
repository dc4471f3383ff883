#pragma once

// Requests, and the passages that many replies have in common.

#include <string>

#include "tests/support/report_texts.h"

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

inline constexpr char kUnknownOp[] =
    R"({"ok":false,"error":"unknown_op","message":"unsupported operation"})";
// What a connect without a profile answers once it is past the session check.
inline constexpr char kInvalidProfile[] =
    R"({"ok":false,"error":"invalid_profile","message":"missing required fields"})";

// The bypass record of a connect without the bypass.
inline const std::string kBypassOff =
    R"("admin_bypass":{"enabled":false,"attempted":false,"applied":false,)"
    R"("routes_ready_before_tunnel":false,"route_readded_after_tunnel":false,)"
    R"("required_enforced":true,"skipped_for_safe_mode":false,"auto_stop_seconds":0,)"
    R"("message":"admin bypass disabled for this build/config"})";

// The guard record of kConnect without the guard, up to the snapshots of the routes.
inline const std::string kGuardOff = kFreshGuard.substr(0, kFreshGuard.size() - 1) +
                                     R"(,"generated_allowed_ips_before":"0.0.0.0/0, ::/0")";

// What a teardown without bypass routes logs.
inline constexpr char kTeardownLine[] = "[Veltrane][admin_bypass] enabled=0 applied=0 failure=\n";

// Puts `value` wherever `placeholder` stands in the text.
std::string Fill(std::string text, const std::string& placeholder, const std::string& value);

// Sends a connect that must succeed and waits until the tunnel service runs; it accepts no stop
// before. Returns the reply.
std::string BringTunnelUp(const std::string& request = kConnect);

}  // namespace veltrane::windows_tests
