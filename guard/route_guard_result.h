#pragma once

#include <cstdint>
#include <string>

namespace veltrane {

// What the default-route guard found and did in one connect. The members have the names that they
// have in the report.
struct RouteGuardResult {
  bool effective_disable_default_route = false;
  bool poc_route_guard_failed = false;
  bool poc_default_route_detected = false;
  bool poc_env_read_failed = false;
  bool rdp_session_active = false;
  bool auto_stop_scheduled = false;
  std::int32_t auto_stop_seconds = 0;
  std::int32_t effective_auto_stop_seconds = 0;
  std::string process_env_VELTRANE_POC_DISABLE_DEFAULT_ROUTE;
  std::string machine_env_VELTRANE_POC_DISABLE_DEFAULT_ROUTE;
  std::string user_env_VELTRANE_POC_DISABLE_DEFAULT_ROUTE;
  std::string process_env_VELTRANE_POC_AUTO_STOP_SECONDS;
  std::string machine_env_VELTRANE_POC_AUTO_STOP_SECONDS;
  std::string user_env_VELTRANE_POC_AUTO_STOP_SECONDS;
  std::string generated_allowed_ips_before;
  std::string generated_allowed_ips_after;
  std::string default_routes_before_tunnel;
  std::string default_routes_after_tunnel;
  std::string rdp_routes_before_tunnel;
  std::string rdp_routes_after_tunnel;
  std::string offending_default_route;
  std::string failure_reason;
  std::string message;
  std::string auto_stop_deadline_utc;
};

// Passes every member of a result to `members`, in report order, by calling members.Flag(name,
// value), .Number, .Text, and .OptionalText for a string that the report omits when it is empty.
template <typename Record, typename Members>
void ListGuardMembers(Record& result, Members& members) {
  members.Flag("effective_disable_default_route", result.effective_disable_default_route);
  members.Flag("poc_route_guard_failed", result.poc_route_guard_failed);
  members.Flag("poc_default_route_detected", result.poc_default_route_detected);
  members.Flag("poc_env_read_failed", result.poc_env_read_failed);
  members.Flag("rdp_session_active", result.rdp_session_active);
  members.Flag("auto_stop_scheduled", result.auto_stop_scheduled);
  members.Number("auto_stop_seconds", result.auto_stop_seconds);
  members.Number("effective_auto_stop_seconds", result.effective_auto_stop_seconds);
  members.Text("process_env_VELTRANE_POC_DISABLE_DEFAULT_ROUTE",
               result.process_env_VELTRANE_POC_DISABLE_DEFAULT_ROUTE);
  members.Text("machine_env_VELTRANE_POC_DISABLE_DEFAULT_ROUTE",
               result.machine_env_VELTRANE_POC_DISABLE_DEFAULT_ROUTE);
  members.Text("user_env_VELTRANE_POC_DISABLE_DEFAULT_ROUTE",
               result.user_env_VELTRANE_POC_DISABLE_DEFAULT_ROUTE);
  members.Text("process_env_VELTRANE_POC_AUTO_STOP_SECONDS",
               result.process_env_VELTRANE_POC_AUTO_STOP_SECONDS);
  members.Text("machine_env_VELTRANE_POC_AUTO_STOP_SECONDS",
               result.machine_env_VELTRANE_POC_AUTO_STOP_SECONDS);
  members.Text("user_env_VELTRANE_POC_AUTO_STOP_SECONDS",
               result.user_env_VELTRANE_POC_AUTO_STOP_SECONDS);
  members.OptionalText("generated_allowed_ips_before", result.generated_allowed_ips_before);
  members.OptionalText("generated_allowed_ips_after", result.generated_allowed_ips_after);
  members.OptionalText("default_routes_before_tunnel", result.default_routes_before_tunnel);
  members.OptionalText("default_routes_after_tunnel", result.default_routes_after_tunnel);
  members.OptionalText("rdp_routes_before_tunnel", result.rdp_routes_before_tunnel);
  members.OptionalText("rdp_routes_after_tunnel", result.rdp_routes_after_tunnel);
  members.OptionalText("offending_default_route", result.offending_default_route);
  members.OptionalText("failure_reason", result.failure_reason);
  members.OptionalText("message", result.message);
  members.OptionalText("auto_stop_deadline_utc", result.auto_stop_deadline_utc);
}

}  // namespace veltrane
