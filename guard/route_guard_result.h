#pragma once

#include <cstdint>
#include <string>

namespace veltrane {

// The account of the default-route guard for one connect. Members carry the names under which the
// report prints them.
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

}  // namespace veltrane
