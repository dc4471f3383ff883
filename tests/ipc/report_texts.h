#pragma once

// The reports of a machine on which nothing has happened, as replies carry them.

#include <string>

namespace veltrane {

inline constexpr char kFreshBypassReport[] =
    R"("admin_bypass":{"enabled":false,"attempted":false,"applied":false,)"
    R"("routes_ready_before_tunnel":false,"route_readded_after_tunnel":false,)"
    R"("required_enforced":false,"skipped_for_safe_mode":false,"auto_stop_seconds":0})";

inline constexpr char kFreshGuardReport[] =
    R"("poc_route_guard":{"effective_disable_default_route":false,"poc_route_guard_failed":false,)"
    R"("poc_default_route_detected":false,"poc_env_read_failed":false,"rdp_session_active":false,)"
    R"("auto_stop_scheduled":false,"auto_stop_seconds":0,"effective_auto_stop_seconds":0,)"
    R"("process_env_VELTRANE_POC_DISABLE_DEFAULT_ROUTE":"",)"
    R"("machine_env_VELTRANE_POC_DISABLE_DEFAULT_ROUTE":"",)"
    R"("user_env_VELTRANE_POC_DISABLE_DEFAULT_ROUTE":"",)"
    R"("process_env_VELTRANE_POC_AUTO_STOP_SECONDS":"",)"
    R"("machine_env_VELTRANE_POC_AUTO_STOP_SECONDS":"",)"
    R"("user_env_VELTRANE_POC_AUTO_STOP_SECONDS":""})";

// A reply that ends with the default guard report, or with both default reports, behind the members
// that it begins with.
inline std::string EndWithFreshGuardReport(const std::string& beginning) {
  return beginning + "," + kFreshGuardReport + "}";
}
inline std::string EndWithFreshReports(const std::string& beginning) {
  return EndWithFreshGuardReport(beginning + "," + kFreshBypassReport);
}

}  // namespace veltrane
