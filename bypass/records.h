#pragma once

// The records that the bypass rooms pass between them, and the process-wide objects that outlive
// one request. The objects have no lock: the pipe thread uses them, and the auto-stop thread's
// teardown. They are never destroyed, because the pipe thread may still serve while the process
// ends.

#include <cstdint>
#include <string>
#include <vector>

#include "platform/routing.h"

namespace veltrane {

// One address to be kept outside the tunnel.
struct BypassIpEntry {
  std::string ip;  // dotted quad as it was found; also the key that merges duplicates
  const char* source = "";
  bool required = false;
};

// The outcome of one /32 host route. Members carry the names under which a report prints them.
struct HostRouteResult {
  std::string ip;
  std::string source;  // the entry's source, or "legacy" for a route that is added again
  bool required = false;
  bool add_attempted = false;
  bool already_exists = false;
  bool add_success = false;
  std::uint32_t win32_error_code = 0;  // status of the create call; 0 when none was made
  std::string error_message;
  std::string gateway;
  std::string interface_index;
  std::string existing_route_gateway;
  std::string existing_route_interface_index;
  bool route_verify_success = false;
  std::string failure_reason;
};

// Tells `members` every member of a result, in the order of a report: calls
// members.Flag(name, value), .Number or .Text for each.
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

// The outcome of the whole bypass. Array texts are ready JSON, built once and printed verbatim.
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
  std::string rdp_tcp_remote_addresses;    // array text
  std::string admin_env_ips;               // array text
  std::string selected_admin_bypass_ips;   // array text
  std::string selected_bypass_ip_entries;  // array text
  std::string physical_default_gateway_before_tunnel;
  std::string physical_interface_index_before_tunnel;
  std::string route_add_results;
  std::string route_add_results_detail;  // array text
  std::string route_verify_before_tunnel;
  std::string route_verify_after_tunnel;
  std::int32_t auto_stop_seconds = 0;
};

// Tells `members` every member of a state, in the order of a report: calls members.Flag(name,
// value), .Number, and for texts that a report leaves out when they are empty .OptionalText and
// .OptionalArray.
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

// The gateway (network byte order) and interface of the default route that the machine used before
// the tunnel; zeros when unknown.
struct PhysicalRoute {
  std::uint32_t gateway = 0;
  std::uint32_t interface_index = 0;
};

// The addresses of every selected candidate, and those of the required ones, in candidate order.
std::vector<std::string>& SelectedBypassIps();
std::vector<std::string>& RequiredBypassIps();

// The outcome of the latest bypass; a fresh record at first.
AdminBypassState& CurrentAdminBypassState();

// The route through which the current bypass pins its host routes.
PhysicalRoute& CurrentPhysicalRoute();

// The rows that the current bypass has created, in the order of creation. The service deletes these
// and no others.
std::vector<ForwardRow>& AddedRouteList();

// Writes one line about the bypass to the debugger output and then to standard error:
// "[Veltrane][admin_bypass] enabled=1 applied=0 failure=<reason>".
void LogAdminBypass(const AdminBypassState& state);

// Makes a record the current one, logs it and returns it.
AdminBypassState StoreAndLogBypass(const AdminBypassState& state);

}  // namespace veltrane
