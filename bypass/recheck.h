#pragma once

// Verification of the pinned host routes, before the tunnel starts and after.

#include <string>
#include <vector>

#include "bypass/records.h"

namespace veltrane {

// Checks that every address has a host route through the physical gateway and interface with a
// metric of 15 or less. `summary`, when given, receives one element for each address:
// "<ip>:ok(metric=<m>);", "<ip>:metric_high(<m>);", "<ip>:missing;" or "<ip>:invalid;". Returns
// false for an empty list.
bool VerifyBypassRoutes(const std::vector<std::string>& ips, std::string* summary);

// Checks the required routes once the tunnel service has started, adds every selected one again
// when they are not all in place, and checks once more. Updates and logs the current state and
// returns a copy; a bypass that was not enabled or attempted, or that selected no address, is
// returned as it is. Does not wait for the routing table to settle.
AdminBypassState RecheckBypassAfterTunnel();

}  // namespace veltrane
