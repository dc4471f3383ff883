#pragma once

// The bypass records as texts, one member a line: a comparison then shows the member that differs.

#include <string>
#include <vector>

#include "bypass/records.h"

namespace veltrane {

inline std::string Line(const std::string& name, const std::string& value) {
  return name + "=" + value + "\n";
}

inline std::string Line(const std::string& name, bool value) {
  return Line(name, std::string(value ? "true" : "false"));
}

inline std::string Text(const BypassIpEntry& entry) {
  return entry.ip + " " + entry.source + (entry.required ? " required" : " optional");
}

inline std::vector<std::string> Texts(const std::vector<BypassIpEntry>& entries) {
  std::vector<std::string> texts;
  for (const BypassIpEntry& entry : entries) texts.push_back(Text(entry));
  return texts;
}

inline std::string Text(const HostRouteResult& result) {
  return Line("ip", result.ip) + Line("source", result.source) + Line("required", result.required) +
         Line("add_attempted", result.add_attempted) +
         Line("already_exists", result.already_exists) + Line("add_success", result.add_success) +
         Line("win32_error_code", std::to_string(result.win32_error_code)) +
         Line("error_message", result.error_message) + Line("gateway", result.gateway) +
         Line("interface_index", result.interface_index) +
         Line("existing_route_gateway", result.existing_route_gateway) +
         Line("existing_route_interface_index", result.existing_route_interface_index) +
         Line("route_verify_success", result.route_verify_success) +
         Line("failure_reason", result.failure_reason);
}

inline std::string Text(const AdminBypassState& state) {
  return Line("enabled", state.enabled) + Line("attempted", state.attempted) +
         Line("applied", state.applied) +
         Line("routes_ready_before_tunnel", state.routes_ready_before_tunnel) +
         Line("route_readded_after_tunnel", state.route_readded_after_tunnel) +
         Line("required_enforced", state.required_enforced) +
         Line("skipped_for_safe_mode", state.skipped_for_safe_mode) +
         Line("client_ip", state.client_ip) + Line("gateway", state.gateway) +
         Line("message", state.message) + Line("failure_reason", state.failure_reason) +
         Line("rdp_tcp_remote_addresses", state.rdp_tcp_remote_addresses) +
         Line("admin_env_ips", state.admin_env_ips) +
         Line("selected_admin_bypass_ips", state.selected_admin_bypass_ips) +
         Line("selected_bypass_ip_entries", state.selected_bypass_ip_entries) +
         Line("physical_default_gateway_before_tunnel",
              state.physical_default_gateway_before_tunnel) +
         Line("physical_interface_index_before_tunnel",
              state.physical_interface_index_before_tunnel) +
         Line("route_add_results", state.route_add_results) +
         Line("route_add_results_detail", state.route_add_results_detail) +
         Line("route_verify_before_tunnel", state.route_verify_before_tunnel) +
         Line("route_verify_after_tunnel", state.route_verify_after_tunnel) +
         Line("auto_stop_seconds", std::to_string(state.auto_stop_seconds));
}

}  // namespace veltrane
