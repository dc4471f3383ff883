#include "guard/report.h"

#include "text/json_text.h"

namespace veltrane {
namespace {

std::string FormatSettings(const RouteGuardResult& result) {
  std::string text =
      JsonBool("effective_disable_default_route", result.effective_disable_default_route);
  text += "," + JsonBool("poc_route_guard_failed", result.poc_route_guard_failed);
  text += "," + JsonBool("poc_default_route_detected", result.poc_default_route_detected);
  text += "," + JsonBool("poc_env_read_failed", result.poc_env_read_failed);
  text += "," + JsonBool("rdp_session_active", result.rdp_session_active);
  text += "," + JsonBool("auto_stop_scheduled", result.auto_stop_scheduled);
  text += "," + JsonRaw("auto_stop_seconds", std::to_string(result.auto_stop_seconds));
  text += "," + JsonRaw("effective_auto_stop_seconds",
                        std::to_string(result.effective_auto_stop_seconds));
  text += "," + JsonText("process_env_VELTRANE_POC_DISABLE_DEFAULT_ROUTE",
                         result.process_env_VELTRANE_POC_DISABLE_DEFAULT_ROUTE);
  text += "," + JsonText("machine_env_VELTRANE_POC_DISABLE_DEFAULT_ROUTE",
                         result.machine_env_VELTRANE_POC_DISABLE_DEFAULT_ROUTE);
  text += "," + JsonText("user_env_VELTRANE_POC_DISABLE_DEFAULT_ROUTE",
                         result.user_env_VELTRANE_POC_DISABLE_DEFAULT_ROUTE);
  text += "," + JsonText("process_env_VELTRANE_POC_AUTO_STOP_SECONDS",
                         result.process_env_VELTRANE_POC_AUTO_STOP_SECONDS);
  text += "," + JsonText("machine_env_VELTRANE_POC_AUTO_STOP_SECONDS",
                         result.machine_env_VELTRANE_POC_AUTO_STOP_SECONDS);
  text += "," + JsonText("user_env_VELTRANE_POC_AUTO_STOP_SECONDS",
                         result.user_env_VELTRANE_POC_AUTO_STOP_SECONDS);
  return text;
}

}  // namespace

std::string FormatRouteGuardReport(const RouteGuardResult& result) {
  std::string text = "\"poc_route_guard\":{" + FormatSettings(result);
  text += OptionalJsonText("generated_allowed_ips_before", result.generated_allowed_ips_before);
  text += OptionalJsonText("generated_allowed_ips_after", result.generated_allowed_ips_after);
  text += OptionalJsonText("default_routes_before_tunnel", result.default_routes_before_tunnel);
  text += OptionalJsonText("default_routes_after_tunnel", result.default_routes_after_tunnel);
  text += OptionalJsonText("rdp_routes_before_tunnel", result.rdp_routes_before_tunnel);
  text += OptionalJsonText("rdp_routes_after_tunnel", result.rdp_routes_after_tunnel);
  text += OptionalJsonText("offending_default_route", result.offending_default_route);
  text += OptionalJsonText("failure_reason", result.failure_reason);
  text += OptionalJsonText("message", result.message);
  text += OptionalJsonText("auto_stop_deadline_utc", result.auto_stop_deadline_utc);
  return text + "}";
}

}  // namespace veltrane
