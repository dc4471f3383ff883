#include "client/exchange/reply.h"

#include <nlohmann/json.hpp>

#include "client/text/utf8.h"

namespace veltrane {
namespace {

using Json = nlohmann::json;

// Escapes control characters as JSON requires. The service writes none between members.
std::string EscapeControls(const std::string& text) {
  constexpr char kHex[] = "0123456789abcdef";
  std::string escaped;
  escaped.reserve(text.size());
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte >= 0x20) {
      escaped += c;
    } else {
      escaped += "\\u00";
      escaped += kHex[byte >> 4];
      escaped += kHex[byte & 0xF];
    }
  }
  return escaped;
}

// Each reads a member of an object into a variable, and leaves that unchanged when the member is
// missing or has another type.
void Read(const Json& object, const char* key, std::string& text) {
  const auto found = object.find(key);
  if (found != object.end() && found->is_string()) text = found->get<std::string>();
}

void Read(const Json& object, const char* key, bool& value) {
  const auto found = object.find(key);
  if (found != object.end() && found->is_boolean()) value = found->get<bool>();
}

template <typename Number>
void ReadNumber(const Json& object, const char* key, Number& value) {
  const auto found = object.find(key);
  if (found != object.end() && found->is_number_integer()) value = found->get<Number>();
}

std::vector<std::string> ReadTexts(const Json& object, const char* key) {
  std::vector<std::string> texts;
  for (const Json& item : object.value(key, Json::array())) {
    if (item.is_string()) texts.push_back(item.get<std::string>());
  }
  return texts;
}

SelectedAddress ReadSelected(const Json& object) {
  SelectedAddress address;
  Read(object, "ip", address.ip);
  Read(object, "source", address.source);
  Read(object, "required", address.required);
  return address;
}

HostRouteResult ReadRoute(const Json& object) {
  HostRouteResult route;
  Read(object, "ip", route.ip);
  Read(object, "source", route.source);
  Read(object, "required", route.required);
  Read(object, "add_attempted", route.add_attempted);
  Read(object, "already_exists", route.already_exists);
  Read(object, "add_success", route.add_success);
  ReadNumber(object, "win32_error_code", route.win32_error_code);
  Read(object, "error_message", route.error_message);
  Read(object, "gateway", route.gateway);
  Read(object, "interface_index", route.interface_index);
  Read(object, "existing_route_gateway", route.existing_route_gateway);
  Read(object, "existing_route_interface_index", route.existing_route_interface_index);
  return route;
}

BypassReport ReadBypass(const Json& object) {
  BypassReport report;
  AdminBypassState& state = report.state;
  Read(object, "enabled", state.enabled);
  Read(object, "attempted", state.attempted);
  Read(object, "applied", state.applied);
  Read(object, "route_readded_after_tunnel", state.route_readded_after_tunnel);
  Read(object, "skipped_for_safe_mode", state.skipped_for_safe_mode);
  ReadNumber(object, "auto_stop_seconds", state.auto_stop_seconds);
  Read(object, "message", state.message);
  Read(object, "failure_reason", state.failure_reason);
  Read(object, "physical_default_gateway_before_tunnel",
       state.physical_default_gateway_before_tunnel);
  Read(object, "physical_interface_index_before_tunnel",
       state.physical_interface_index_before_tunnel);
  Read(object, "route_add_results", state.route_add_results);
  Read(object, "route_verify_before_tunnel", state.route_verify_before_tunnel);
  Read(object, "route_verify_after_tunnel", state.route_verify_after_tunnel);
  report.admin_tokens = ReadTexts(object, "admin_env_ips");
  for (const Json& item : object.value("selected_bypass_ip_entries", Json::array())) {
    if (item.is_object()) report.selected.push_back(ReadSelected(item));
  }
  for (const Json& item : object.value("route_add_results_detail", Json::array())) {
    if (item.is_object()) report.routes.push_back(ReadRoute(item));
  }
  return report;
}

void ReadGuardScopes(const Json& object, RouteGuardResult& guard) {
  Read(object, "process_env_VELTRANE_POC_DISABLE_DEFAULT_ROUTE",
       guard.process_env_VELTRANE_POC_DISABLE_DEFAULT_ROUTE);
  Read(object, "machine_env_VELTRANE_POC_DISABLE_DEFAULT_ROUTE",
       guard.machine_env_VELTRANE_POC_DISABLE_DEFAULT_ROUTE);
  Read(object, "user_env_VELTRANE_POC_DISABLE_DEFAULT_ROUTE",
       guard.user_env_VELTRANE_POC_DISABLE_DEFAULT_ROUTE);
  Read(object, "process_env_VELTRANE_POC_AUTO_STOP_SECONDS",
       guard.process_env_VELTRANE_POC_AUTO_STOP_SECONDS);
  Read(object, "machine_env_VELTRANE_POC_AUTO_STOP_SECONDS",
       guard.machine_env_VELTRANE_POC_AUTO_STOP_SECONDS);
  Read(object, "user_env_VELTRANE_POC_AUTO_STOP_SECONDS",
       guard.user_env_VELTRANE_POC_AUTO_STOP_SECONDS);
}

RouteGuardResult ReadGuard(const Json& object) {
  RouteGuardResult guard;
  Read(object, "effective_disable_default_route", guard.effective_disable_default_route);
  Read(object, "rdp_session_active", guard.rdp_session_active);
  Read(object, "auto_stop_scheduled", guard.auto_stop_scheduled);
  ReadNumber(object, "auto_stop_seconds", guard.auto_stop_seconds);
  ReadGuardScopes(object, guard);
  Read(object, "generated_allowed_ips_before", guard.generated_allowed_ips_before);
  Read(object, "generated_allowed_ips_after", guard.generated_allowed_ips_after);
  Read(object, "default_routes_before_tunnel", guard.default_routes_before_tunnel);
  Read(object, "default_routes_after_tunnel", guard.default_routes_after_tunnel);
  Read(object, "rdp_routes_before_tunnel", guard.rdp_routes_before_tunnel);
  Read(object, "rdp_routes_after_tunnel", guard.rdp_routes_after_tunnel);
  Read(object, "offending_default_route", guard.offending_default_route);
  Read(object, "failure_reason", guard.failure_reason);
  Read(object, "message", guard.message);
  Read(object, "auto_stop_deadline_utc", guard.auto_stop_deadline_utc);
  return guard;
}

}  // namespace

std::optional<Reply> ReadReply(std::string_view text) {
  const Json json = Json::parse(EscapeControls(RepairUtf8(text)), nullptr, false);
  if (!json.is_object()) return std::nullopt;
  Reply reply;
  Read(json, "ok", reply.ok);
  Read(json, "phase", reply.phase);
  Read(json, "node_id", reply.node_id);
  Read(json, "error", reply.error);
  Read(json, "message", reply.message);
  const auto running = json.find("tunnel_running");
  if (running != json.end() && running->is_boolean()) reply.tunnel_running = running->get<bool>();
  const auto bypass = json.find("admin_bypass");
  if (bypass != json.end() && bypass->is_object()) reply.bypass = ReadBypass(*bypass);
  const auto guard = json.find("poc_route_guard");
  if (guard != json.end() && guard->is_object()) reply.guard = ReadGuard(*guard);
  return reply;
}

}  // namespace veltrane
