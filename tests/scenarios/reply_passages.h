#pragma once

// Passages of the replies to kConnect (see connection.h): their beginnings, and what the two
// reports say.

#include <string>

#include "tests/support/report_texts.h"
#include "tests/support/steps.h"

namespace veltrane {

inline const std::string kConnected = R"({"ok":true,"phase":"connected","node_id":"fra-1")";
inline const std::string kDisconnected = R"({"ok":true,"phase":"disconnected")";
inline const std::string kIdle = kDisconnected + R"(,"tunnel_running":false)";
inline const std::string kRunning = kConnected + R"(,"tunnel_running":true)";
inline const std::string kMismatch =
    R"({"ok":false,"error":"session_mismatch","message":"invalid session"})";

// The bypass is off; the guard is not in force, or is.
inline const std::string kBypassOff =
    With(kFreshBypass,
         {"required_enforced", R"("message":"admin bypass disabled for this build/config")"});
inline const std::string kBypassOffUnderGuard =
    With(kFreshBypass,
         {"skipped_for_safe_mode", R"("message":"admin bypass disabled for this build/config")"});

// The administrator 203.0.113.5 of ADMIN_BYPASS_IP, gathered; then pinned to the office's gateway.
inline const std::string kGathered =
    R"("rdp_tcp_remote_addresses":[],"admin_env_ips":["203.0.113.5"],)"
    R"("selected_admin_bypass_ips":["203.0.113.5"],)"
    R"("selected_bypass_ip_entries":[)"
    R"({"ip":"203.0.113.5","source":"ADMIN_BYPASS_IP","required":true}])";
inline const std::string kPhysical = R"("physical_default_gateway_before_tunnel":"192.168.1.1",)"
                                     R"("physical_interface_index_before_tunnel":"12")";
// The detail of a route that was added, as one of several.
inline std::string AddedDetail(const std::string& ip = "203.0.113.5",
                               const std::string& source = "ADMIN_BYPASS_IP",
                               const std::string& required = "true") {
  return R"({"ip":")" + ip + R"(","source":")" + source + R"(","required":)" + required +
         R"(,"add_attempted":true,"already_exists":false,"add_success":true,)"
         R"("win32_error_code":0,"error_message":"","gateway":"192.168.1.1",)"
         R"("interface_index":"12","existing_route_gateway":"",)"
         R"("existing_route_interface_index":"","route_verify_success":true,)"
         R"("failure_reason":""})";
}

// The bypass is on: with the guard in force; with its route applied; as the check after the start
// leaves it, with these flags and message.
inline const std::string kBypassSkipped = With(
    kFreshBypass,
    {"enabled", "attempted", "routes_ready_before_tunnel", "skipped_for_safe_mode",
     R"j("message":"admin bypass skipped for POC safe mode (disable-default-route)")j", kGathered});
inline const std::string kBypassOn =
    With(kFreshBypass, {"enabled", "attempted", "required_enforced",
                        R"("client_ip":"203.0.113.5","gateway":"192.168.1.1")"});
inline std::string BypassApplied(const Texts& flags_and_message,
                                 const std::string& added = "added") {
  return With(With(kBypassOn, flags_and_message),
              {kGathered, kPhysical, R"("route_add_results":"203.0.113.5:)" + added + ";\"",
               R"("route_add_results_detail":[)" + AddedDetail() + "]",
               R"("route_verify_before_tunnel":"203.0.113.5:ok(metric=1);")"});
}
inline const std::string kBypassApplied =
    BypassApplied({"applied", "routes_ready_before_tunnel",
                   R"("message":"required admin bypass host routes verified before tunnel")"});
inline std::string BypassChecked(const Texts& flags_and_message, const std::string& added = "added",
                                 const std::string& verified = "ok(metric=1)") {
  return With(BypassApplied(flags_and_message, added),
              {R"("route_verify_after_tunnel":"203.0.113.5:)" + verified + ";\""});
}
inline const Texts kVerified = {"applied", "routes_ready_before_tunnel",
                                R"("message":"admin bypass routes verified after tunnel")"};
inline const std::string kBypassVerified = BypassChecked(kVerified);
// A record after the routes were removed.
inline std::string Removed(const std::string& bypass) {
  return With(bypass, {R"("applied":false)", R"("routes_ready_before_tunnel":false)"});
}

// The four snapshots of a connect, and those of a tunnel that leaves the routes of the office
// alone, without and with the pinned one.
inline std::string Snapshots(const std::string& defaults_before, const std::string& defaults_after,
                             const std::string& hosts_before, const std::string& hosts_after) {
  return R"("default_routes_before_tunnel":")" + defaults_before +
         R"(","default_routes_after_tunnel":")" + defaults_after +
         R"(","rdp_routes_before_tunnel":")" + hosts_before + R"(","rdp_routes_after_tunnel":")" +
         hosts_after + "\"";
}
inline const std::string kOffice = "0.0.0.0/0->192.168.1.1@if12:Ethernet:metric=25";
inline const std::string kPinned = "203.0.113.5/32->192.168.1.1@if12";
inline const std::string kRoutesKept = Snapshots(kOffice, kOffice, "none", "none");
inline const std::string kPinnedKept = Snapshots(kOffice, kOffice, kPinned, kPinned);

// The guard's members before the snapshots, and what it says behind them: not in force, or in
// force.
inline const std::string kGuardOff =
    With(kFreshGuard, {R"("generated_allowed_ips_before":"0.0.0.0/0, ::/0")"});
inline const std::string kNotActive = R"("message":"disable-default-route not active")";
inline const std::string kGuardOn =
    With(kFreshGuard, {"effective_disable_default_route",
                       R"("machine_env_VELTRANE_POC_DISABLE_DEFAULT_ROUTE":"1")",
                       R"("generated_allowed_ips_before":"0.0.0.0/0, ::/0",)"
                       R"("generated_allowed_ips_after":"10.7.3.0/24")"});
inline const std::string kSafe = R"j("message":"POC safe AllowedIPs applied (no catch-all)")j";

}  // namespace veltrane
