#pragma once

// The records that the files of the bypass exchange, and the process-wide objects that outlive a
// request. The objects have no lock: the pipe thread uses them, and so does the auto-stop thread
// during its teardown. They are never destroyed, because the pipe thread may still be serving while
// the process ends.

#include <cstdint>
#include <string>
#include <vector>

#include "platform/routing.h"

namespace veltrane {

// An address to keep outside the tunnel.
struct BypassIpEntry {
  std::string ip;  // dotted quad as found; also the key by which duplicates are merged
  const char* source = "";
  bool required = false;
};

// The outcome of adding one host route. The members have the names that they have in the report.
struct HostRouteResult {
  std::string ip;
  std::string source;  // the entry's source, or "legacy" for a route that is added again
  bool required = false;
  bool add_attempted = false;
  bool already_exists = false;
  bool add_success = false;
  std::uint32_t win32_error_code = 0;  // result of the create call; 0 when none was made
  std::string error_message;
  std::string gateway;
  std::string interface_index;
  std::string existing_route_gateway;
  std::string existing_route_interface_index;
  bool route_verify_success = false;
  std::string failure_reason;
};

// Passes every member of a result to `members`, in report order, by calling
// members.Flag(name, value), .Number or .Text.
template <typename Record, typename Members>
void ListRouteMembers(Record& result, Members& members) {
  members.Text("ip", result.ip);
  members.Text("source", result.source);
  members.Flag("required", result.required);
  members.Flag("add_attempted", result.add_attempted);
  members.Flag("already_exists", result.already_exists);
  members.Flag("add_success", result.add_success);
  members.Number("win32_error_code", result.win32_error_code);
  members.Text("error_message", result.error_message);
  members.Text("gateway", result.gateway);
  members.Text("interface_index", result.interface_index);
  members.Text("existing_route_gateway", result.existing_route_gateway);
  members.Text("existing_route_interface_index", result.existing_route_interface_index);
  members.Flag("route_verify_success", result.route_verify_success);
  members.Text("failure_reason", result.failure_reason);
}

// The outcome of the whole bypass. Members marked "JSON array" hold JSON that is copied verbatim
// into the report.
struct AdminBypassState {
  bool enabled = false;
  bool attempted = false;
  bool applied = false;
  bool routes_ready_before_tunnel = false;
  bool route_readded_after_tunnel = false;
  bool required_enforced = false;
  bool skipped_for_safe_mode = false;
  std::string client_ip;
  std::string gateway;
  std::string message;
  std::string failure_reason;
  std::string rdp_tcp_remote_addresses;    // JSON array
  std::string admin_env_ips;               // JSON array
  std::string selected_admin_bypass_ips;   // JSON array
  std::string selected_bypass_ip_entries;  // JSON array
  std::string physical_default_gateway_before_tunnel;
  std::string physical_interface_index_before_tunnel;
  std::string route_add_results;
  std::string route_add_results_detail;  // JSON array
  std::string route_verify_before_tunnel;
  std::string route_verify_after_tunnel;
  std::int32_t auto_stop_seconds = 0;
};

// Passes every member of a state to `members`, in report order, by calling members.Flag(name,
// value), .Number, and .OptionalText or .OptionalArray for a string that the report omits when it
// is empty.
template <typename Record, typename Members>
void ListBypassMembers(Record& state, Members& members) {
  members.Flag("enabled", state.enabled);
  members.Flag("attempted", state.attempted);
  members.Flag("applied", state.applied);
  members.Flag("routes_ready_before_tunnel", state.routes_ready_before_tunnel);
  members.Flag("route_readded_after_tunnel", state.route_readded_after_tunnel);
  members.Flag("required_enforced", state.required_enforced);
  members.Flag("skipped_for_safe_mode", state.skipped_for_safe_mode);
  members.Number("auto_stop_seconds", state.auto_stop_seconds);
  members.OptionalText("client_ip", state.client_ip);
  members.OptionalText("gateway", state.gateway);
  members.OptionalText("message", state.message);
  members.OptionalText("failure_reason", state.failure_reason);
  members.OptionalArray("rdp_tcp_remote_addresses", state.rdp_tcp_remote_addresses);
  members.OptionalArray("admin_env_ips", state.admin_env_ips);
  members.OptionalArray("selected_admin_bypass_ips", state.selected_admin_bypass_ips);
  members.OptionalArray("selected_bypass_ip_entries", state.selected_bypass_ip_entries);
  members.OptionalText("physical_default_gateway_before_tunnel",
                       state.physical_default_gateway_before_tunnel);
  members.OptionalText("physical_interface_index_before_tunnel",
                       state.physical_interface_index_before_tunnel);
  members.OptionalText("route_add_results", state.route_add_results);
  members.OptionalArray("route_add_results_detail", state.route_add_results_detail);
  members.OptionalText("route_verify_before_tunnel", state.route_verify_before_tunnel);
  members.OptionalText("route_verify_after_tunnel", state.route_verify_after_tunnel);
}

// The gateway (network byte order) and interface index of the default route that the machine used
// before the tunnel; zeros when unknown.
struct PhysicalRoute {
  std::uint32_t gateway = 0;
  std::uint32_t interface_index = 0;
};

// The addresses of all candidates, and of the required ones, in candidate order.
std::vector<std::string>& SelectedBypassIps();
std::vector<std::string>& RequiredBypassIps();

// The outcome of the latest bypass; default values until the first one.
AdminBypassState& CurrentAdminBypassState();

// The route through which the current bypass pins its host routes.
PhysicalRoute& CurrentPhysicalRoute();

// The rows that the current bypass has created, in the order of creation. The service deletes no
// others.
std::vector<ForwardRow>& AddedRouteList();

// Writes one line about the bypass to the debugger, then to standard error:
// "[Veltrane][admin_bypass] enabled=1 applied=0 failure=<reason>".
void LogAdminBypass(const AdminBypassState& state);

// Makes `state` the current state, logs it and returns it.
AdminBypassState StoreAndLogBypass(const AdminBypassState& state);

}  // namespace veltrane
