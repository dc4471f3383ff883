#include "client/screens/advice.h"

namespace veltrane {
namespace {

constexpr char kDoctor[] = "run veltranectl doctor for details";

std::string BypassAdvice(const Reply& reply) {
  const std::string reason = reply.bypass ? reply.bypass->state.failure_reason : "";
  if (reason == "no_admin_bypass_ips") {
    return "run veltranectl doctor for the command that sets ADMIN_BYPASS_IP";
  }
  if (reason == "physical_gateway_missing") {
    return "route print -4: the machine needs a default route with a gateway";
  }
  if (reason == "route_add_failed" || reason == "route_verify_before_tunnel_failed") {
    return "run veltranectl doctor to check the interface metric";
  }
  return kDoctor;
}

std::string GuardAdvice(const Reply& reply) {
  const std::string reason = reply.guard ? reply.guard->failure_reason : "";
  if (reason == "rdp_requires_disable_default_route") {
    return "setx VELTRANE_POC_DISABLE_DEFAULT_ROUTE 1 /M";
  }
  return "remove 0.0.0.0/0 and ::/0 from every value of the profile";
}

}  // namespace

std::string AdviceFor(const Reply& reply) {
  const std::string& error = reply.error;
  if (error == "session_mismatch") return "pass the registered nonce with --session";
  if (error == "forbidden_path") return "rename the value that mentions a configuration path";
  if (error == "unknown_op") return "the service and veltranectl have different versions";
  if (error == "invalid_profile") return "give the profile a node_id and a client_private_key";
  if (error == "poc_env_read_failed") {
    return "remove VELTRANE_POC_DISABLE_DEFAULT_ROUTE from the process and user environments";
  }
  if (error == "admin_bypass_failed") return BypassAdvice(reply);
  if (error == "poc_route_guard_failed") return GuardAdvice(reply);
  if (error == "config_write_failed") {
    return "make sure that the service can write to ProgramData\\Veltrane\\tunnels";
  }
  if (error == "tunnel_start_failed") {
    return "run veltranectl doctor to check tunnel.dll and the tunnel service";
  }
  if (error == "poc_default_route_detected") {
    return "look whose adapter has the offending route: disconnect another VPN, or "
           "remove 0.0.0.0/0 and ::/0 from the profile's AllowedIPs";
  }
  return kDoctor;
}

}  // namespace veltrane
