#pragma once

#include <string_view>

#include "guard/route_guard_result.h"
#include "ipc/connection_profile.h"

namespace veltrane {

// Returns true when "0.0.0.0/0" or "::/0" occurs in the text, even inside a longer one such as
// 10.0.0.0/0.
bool ContainsCatchAll(std::string_view text);

// With the guard in force, replaces AllowedIPs that contain a catch-all with the client's own /24
// and drops the DNS servers. Then checks that neither the list nor the whole rendered configuration
// contains a catch-all, and otherwise sets poc_route_guard_failed, failure_reason and message. Call
// it after ReadGuardSettings, unless that has failed.
void PatchAllowedIps(ConnectionProfile& profile, RouteGuardResult& result);

}  // namespace veltrane
