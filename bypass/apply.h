#pragma once

#include "bypass/records.h"

namespace veltrane {

// A public address that tells which route leads out of the machine: routes are pinned through the
// gateway by which it is reached.
inline constexpr char kProbeAddress[] = "8.8.8.8";

// Pins a host route outside the tunnel for every administrator's address, before the tunnel starts:
// gathers the candidates, finds the physical gateway, adds and verifies the routes. With
// `safe_mode` (the default-route guard is in force) it only gathers. The outcome is stored as the
// current state and returned. A refusal has a failure_reason ("no_admin_bypass_ips",
// "physical_gateway_missing", "route_add_failed" or "route_verify_before_tunnel_failed") and a
// message, and leaves no route behind. Pipe thread only.
AdminBypassState ApplyAdminBypass(bool safe_mode);

}  // namespace veltrane
