#pragma once

// Bypass records in which every member differs from a fresh one, and their texts in the report.

#include "bypass/records.h"

namespace veltrane {

inline HostRouteResult FullResult() {
  return {.ip = "203.0.113.5",
          .source = "legacy",
          .required = true,
          .add_attempted = true,
          .already_exists = true,
          .add_success = true,
          .win32_error_code = 4294967295,
          .error_message = "a message",
          .gateway = "192.168.1.1",
          .interface_index = "12",
          .existing_route_gateway = "192.168.1.2",
          .existing_route_interface_index = "13",
          .route_verify_success = true,
          .failure_reason = "a_reason"};
}

inline constexpr char kFullDetail[] =
    R"({"ip":"203.0.113.5","source":"legacy","required":true,"add_attempted":true,)"
    R"("already_exists":true,"add_success":true,"win32_error_code":4294967295,)"
    R"("error_message":"a message","gateway":"192.168.1.1","interface_index":"12",)"
    R"("existing_route_gateway":"192.168.1.2","existing_route_interface_index":"13",)"
    R"("route_verify_success":true,"failure_reason":"a_reason"})";

inline AdminBypassState FullState() {
  return {.enabled = true,
          .attempted = true,
          .applied = true,
          .routes_ready_before_tunnel = true,
          .route_readded_after_tunnel = true,
          .required_enforced = true,
          .skipped_for_safe_mode = true,
          .client_ip = "203.0.113.5",
          .gateway = "192.168.1.1",
          .message = "a message",
          .failure_reason = "a_reason",
          .rdp_tcp_remote_addresses = R"(["203.0.113.5"])",
          .admin_env_ips = R"(["198.51.100.7"])",
          .selected_admin_bypass_ips = R"(["198.51.100.7","203.0.113.5"])",
          .selected_bypass_ip_entries =
              R"([{"ip":"203.0.113.5","source":"RDP_TCP_ESTABLISHED","required":true}])",
          .physical_default_gateway_before_tunnel = "192.168.1.254",
          .physical_interface_index_before_tunnel = "12",
          .route_add_results = "203.0.113.5:added;",
          .route_add_results_detail = R"([{"ip":"203.0.113.5"}])",
          .route_verify_before_tunnel = "203.0.113.5:ok(metric=1);",
          .route_verify_after_tunnel = "203.0.113.5:ok(metric=2);",
          .auto_stop_seconds = 45};
}

inline constexpr char kFullReport[] =
    R"("admin_bypass":{"enabled":true,"attempted":true,"applied":true,)"
    R"("routes_ready_before_tunnel":true,"route_readded_after_tunnel":true,)"
    R"("required_enforced":true,"skipped_for_safe_mode":true,"auto_stop_seconds":45,)"
    R"("client_ip":"203.0.113.5","gateway":"192.168.1.1","message":"a message",)"
    R"("failure_reason":"a_reason","rdp_tcp_remote_addresses":["203.0.113.5"],)"
    R"("admin_env_ips":["198.51.100.7"],)"
    R"("selected_admin_bypass_ips":["198.51.100.7","203.0.113.5"],)"
    R"("selected_bypass_ip_entries":)"
    R"([{"ip":"203.0.113.5","source":"RDP_TCP_ESTABLISHED","required":true}],)"
    R"("physical_default_gateway_before_tunnel":"192.168.1.254",)"
    R"("physical_interface_index_before_tunnel":"12","route_add_results":"203.0.113.5:added;",)"
    R"("route_add_results_detail":[{"ip":"203.0.113.5"}],)"
    R"("route_verify_before_tunnel":"203.0.113.5:ok(metric=1);",)"
    R"("route_verify_after_tunnel":"203.0.113.5:ok(metric=2);"})";

}  // namespace veltrane
