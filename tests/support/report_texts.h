#pragma once

// The two reports as replies carry them, written out once with their default values. Tests say what
// differs from there.

#include <string>
#include <vector>

namespace veltrane {

inline const std::string kFreshBypass =
    R"("admin_bypass":{"enabled":false,"attempted":false,"applied":false,)"
    R"("routes_ready_before_tunnel":false,"route_readded_after_tunnel":false,)"
    R"("required_enforced":false,"skipped_for_safe_mode":false,"auto_stop_seconds":0})";

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

// The report with these differences. A bare name is a flag that is true: "enabled". A member in
// full replaces the one of its name, or stands at the end when there is none:
// R"("auto_stop_seconds":90)"; such an addition may be several members at once.
inline std::string With(std::string report, const std::vector<std::string>& differences) {
  for (const std::string& difference : differences) {
    const std::string member =
        difference.starts_with('"') ? difference : "\"" + difference + "\":true";
    const std::size_t begin = report.find(member.substr(0, member.find(':') + 1));
    if (begin == std::string::npos) {
      report.insert(report.size() - 1, "," + member);
    } else {
      report.replace(begin, report.find_first_of(",}", begin) - begin, member);
    }
  }
  return report;
}

// A reply that begins like this and ends with the two reports.
inline std::string Reply(const std::string& beginning, const std::string& bypass = kFreshBypass,
                         const std::string& guard = kFreshGuard) {
  return beginning + "," + bypass + "," + guard + "}";
}

}  // namespace veltrane
