#include "bypass/report.h"

#include "text/json_text.h"

namespace veltrane {
namespace {

// Renders each item and joins the texts in brackets.
template <typename Item, typename Render>
std::string FormatArray(const std::vector<Item>& items, Render render) {
  std::string text = "[";
  for (const Item& item : items) {
    if (text.size() > 1) text += ",";
    text += render(item);
  }
  return text + "]";
}

std::string FormatEntry(const BypassIpEntry& entry) {
  return "{" + JsonText("ip", entry.ip) + "," + JsonText("source", entry.source) + "," +
         JsonBool("required", entry.required) + "}";
}

std::string FormatDetail(const HostRouteResult& result) {
  std::string text = "{" + JsonText("ip", result.ip);
  text += "," + JsonText("source", result.source);
  text += "," + JsonBool("required", result.required);
  text += "," + JsonBool("add_attempted", result.add_attempted);
  text += "," + JsonBool("already_exists", result.already_exists);
  text += "," + JsonBool("add_success", result.add_success);
  text += "," + JsonRaw("win32_error_code", std::to_string(result.win32_error_code));
  text += "," + JsonText("error_message", result.error_message);
  text += "," + JsonText("gateway", result.gateway);
  text += "," + JsonText("interface_index", result.interface_index);
  text += "," + JsonText("existing_route_gateway", result.existing_route_gateway);
  text += "," + JsonText("existing_route_interface_index", result.existing_route_interface_index);
  text += "," + JsonBool("route_verify_success", result.route_verify_success);
  text += "," + JsonText("failure_reason", result.failure_reason);
  return text + "}";
}

}  // namespace

std::string FormatStringArray(const std::vector<std::string>& items) {
  return FormatArray(items, [](const std::string& item) { return '"' + EscapeJson(item) + '"'; });
}

std::string FormatBypassEntries(const std::vector<BypassIpEntry>& entries) {
  return FormatArray(entries, FormatEntry);
}

std::string FormatRouteAddDetails(const std::vector<HostRouteResult>& results) {
  return FormatArray(results, FormatDetail);
}

std::string FormatAdminBypassReport(const AdminBypassState& state) {
  std::string text = "\"admin_bypass\":{";
  text += JsonBool("enabled", state.enabled);
  text += "," + JsonBool("attempted", state.attempted);
  text += "," + JsonBool("applied", state.applied);
  text += "," + JsonBool("routes_ready_before_tunnel", state.routes_ready_before_tunnel);
  text += "," + JsonBool("route_readded_after_tunnel", state.route_readded_after_tunnel);
  text += "," + JsonBool("required_enforced", state.required_enforced);
  text += "," + JsonBool("skipped_for_safe_mode", state.skipped_for_safe_mode);
  text += "," + JsonRaw("auto_stop_seconds", std::to_string(state.auto_stop_seconds));
  text += OptionalJsonText("client_ip", state.client_ip);
  text += OptionalJsonText("gateway", state.gateway);
  text += OptionalJsonText("message", state.message);
  text += OptionalJsonText("failure_reason", state.failure_reason);
  text += OptionalJsonRaw("rdp_tcp_remote_addresses", state.rdp_tcp_remote_addresses);
  text += OptionalJsonRaw("admin_env_ips", state.admin_env_ips);
  text += OptionalJsonRaw("selected_admin_bypass_ips", state.selected_admin_bypass_ips);
  text += OptionalJsonRaw("selected_bypass_ip_entries", state.selected_bypass_ip_entries);
  text += OptionalJsonText("physical_default_gateway_before_tunnel",
                           state.physical_default_gateway_before_tunnel);
  text += OptionalJsonText("physical_interface_index_before_tunnel",
                           state.physical_interface_index_before_tunnel);
  text += OptionalJsonText("route_add_results", state.route_add_results);
  text += OptionalJsonRaw("route_add_results_detail", state.route_add_results_detail);
  text += OptionalJsonText("route_verify_before_tunnel", state.route_verify_before_tunnel);
  text += OptionalJsonText("route_verify_after_tunnel", state.route_verify_after_tunnel);
  return text + "}";
}

}  // namespace veltrane
