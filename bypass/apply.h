#pragma once

#include "bypass/records.h"

namespace veltrane {

// A public address whose best route is taken for the physical default route: host routes are pinned
// through the same gateway.
inline constexpr char kProbeAddress[] = "8.8.8.8";

// Before the tunnel starts, pins a host route outside the tunnel for every administrator's address:
// forgets the routes of an earlier call, which stay, collects the candidates, finds the physical
// gateway, adds and verifies the routes. With `safe_mode` (the default-route guard is in force) it
// only collects the candidates. Stores the outcome as the current state and returns it. A refusal
// has a failure_reason ("no_admin_bypass_ips", "physical_gateway_missing", "route_add_failed" or
// "route_verify_before_tunnel_failed") and a message; the routes that this call added are deleted
// again. Pipe thread only.
AdminBypassState ApplyAdminBypass(bool safe_mode);

}  // namespace veltrane
