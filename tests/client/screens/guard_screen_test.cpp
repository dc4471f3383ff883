#include "client/screens/screens.h"

namespace veltrane {
namespace {

const Painter kPlain(false);

TEST(GuardScreen, ADefaultRouteThatTheTunnelInstalled) {
  RouteGuardResult guard;
  guard.effective_disable_default_route = true;
  guard.poc_default_route_detected = true;
  guard.rdp_session_active = true;
  guard.failure_reason = "poc_default_route_detected";
  guard.message = "tunnel installed a default route on WireGuard/Wintun interface";
  guard.process_env_VELTRANE_POC_DISABLE_DEFAULT_ROUTE = "1";
  guard.machine_env_VELTRANE_POC_DISABLE_DEFAULT_ROUTE = "0";
  guard.generated_allowed_ips_before = "0.0.0.0/0";
  guard.generated_allowed_ips_after = "10.66.66.0/24";
  guard.default_routes_before_tunnel = "unavailable";
  guard.default_routes_after_tunnel =
      "0.0.0.0/0->192.168.1.1@if12:Ethernet:metric=25;0.0.0.0/0->10.66.66.1@if23:wg:metric=0";
  guard.offending_default_route = "0.0.0.0/0->10.66.66.1@if23:wg:metric=0";
  EXPECT_EQ(
      GuardScreen(guard, kPlain),
      "Default-route guard: refused (poc_default_route_detected)\n"
      "  message                 tunnel installed a default route on WireGuard/Wintun interface\n"
      "  settings                VELTRANE_POC_DISABLE_DEFAULT_ROUTE  \"1\" from the process "
      "environment; machine environment \"0\" ignored\n"
      "                          VELTRANE_POC_AUTO_STOP_SECONDS      not set\n"
      "  session                 the service runs in a Remote Desktop session\n"
      "  allowed IPs             0.0.0.0/0 replaced by 10.66.66.0/24\n"
      "  default routes before   unavailable\n"
      "  default routes after    0.0.0.0/0->192.168.1.1@if12:Ethernet:metric=25\n"
      "                          0.0.0.0/0->10.66.66.1@if23:wg:metric=0\n"
      "  offending route         0.0.0.0/0->10.66.66.1@if23:wg:metric=0\n");
}

TEST(GuardScreen, AllowedIpsThatTheGuardLeftAlone) {
  RouteGuardResult guard;
  guard.effective_disable_default_route = true;
  guard.message = "m";
  guard.generated_allowed_ips_before = "10.0.0.0/8";
  guard.generated_allowed_ips_after = "10.0.0.0/8";
  EXPECT_EQ(GuardScreen(guard, kPlain),
            "Default-route guard: in force\n"
            "  message                 m\n"
            "  settings                VELTRANE_POC_DISABLE_DEFAULT_ROUTE  not set\n"
            "                          VELTRANE_POC_AUTO_STOP_SECONDS      not set\n"
            "  allowed IPs             10.0.0.0/8, unchanged\n");
}

}  // namespace
}  // namespace veltrane
