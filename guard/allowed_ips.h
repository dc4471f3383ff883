#pragma once

#include <string_view>

#include "guard/route_guard_result.h"
#include "ipc/connection_profile.h"

namespace veltrane {

// True when the text holds "0.0.0.0/0" or "::/0" as a substring, so that 10.0.0.0/0 counts, too.
bool ContainsCatchAll(std::string_view text);

// With the guard in force, replaces AllowedIPs that hold a catch-all by the client's own /24 and
// drops the DNS servers, then proves on the list and on the whole rendered configuration that no
// catch-all is left; otherwise sets poc_route_guard_failed. Runs after ReadGuardSettings unless
// that failed.
void PatchAllowedIps(ConnectionProfile& profile, RouteGuardResult& result);

}  // namespace veltrane
