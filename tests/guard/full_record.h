#pragma once

// A guard record in which every member differs from a fresh one, and its report.

#include "guard/route_guard_result.h"

namespace veltrane {

inline RouteGuardResult FullRecord() {
  return {.effective_disable_default_route = true,
          .poc_route_guard_failed = true,
          .poc_default_route_detected = true,
          .poc_env_read_failed = true,
          .rdp_session_active = true,
          .auto_stop_scheduled = true,
          .auto_stop_seconds = 120,
          .effective_auto_stop_seconds = 121,
          .process_env_VELTRANE_POC_DISABLE_DEFAULT_ROUTE = "a",
          .machine_env_VELTRANE_POC_DISABLE_DEFAULT_ROUTE = "b",
          .user_env_VELTRANE_POC_DISABLE_DEFAULT_ROUTE = "c",
          .process_env_VELTRANE_POC_AUTO_STOP_SECONDS = "d",
          .machine_env_VELTRANE_POC_AUTO_STOP_SECONDS = "e",
          .user_env_VELTRANE_POC_AUTO_STOP_SECONDS = "f",
          .generated_allowed_ips_before = "g",
          .generated_allowed_ips_after = "h",
          .default_routes_before_tunnel = "i",
          .default_routes_after_tunnel = "j",
          .rdp_routes_before_tunnel = "k",
          .rdp_routes_after_tunnel = "l",
          .offending_default_route = "m",
          .failure_reason = "n",
          .message = "o",
          .auto_stop_deadline_utc = "p"};
}

inline constexpr char kFullReport[] =
    R"("poc_route_guard":{"effective_disable_default_route":true,"poc_route_guard_failed":true,)"
    R"("poc_default_route_detected":true,"poc_env_read_failed":true,"rdp_session_active":true,)"
    R"("auto_stop_scheduled":true,"auto_stop_seconds":120,"effective_auto_stop_seconds":121,)"
    R"("process_env_VELTRANE_POC_DISABLE_DEFAULT_ROUTE":"a",)"
    R"("machine_env_VELTRANE_POC_DISABLE_DEFAULT_ROUTE":"b",)"
    R"("user_env_VELTRANE_POC_DISABLE_DEFAULT_ROUTE":"c",)"
    R"("process_env_VELTRANE_POC_AUTO_STOP_SECONDS":"d",)"
    R"("machine_env_VELTRANE_POC_AUTO_STOP_SECONDS":"e",)"
    R"("user_env_VELTRANE_POC_AUTO_STOP_SECONDS":"f",)"
    R"("generated_allowed_ips_before":"g","generated_allowed_ips_after":"h",)"
    R"("default_routes_before_tunnel":"i","default_routes_after_tunnel":"j",)"
    R"("rdp_routes_before_tunnel":"k","rdp_routes_after_tunnel":"l",)"
    R"("offending_default_route":"m","failure_reason":"n","message":"o",)"
    R"("auto_stop_deadline_utc":"p"})";

}  // namespace veltrane
