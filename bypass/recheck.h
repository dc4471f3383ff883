#pragma once

// Verifies the pinned host routes, before and after the tunnel starts.

#include <string>
#include <vector>

#include "bypass/records.h"

namespace veltrane {

// Returns whether every address has a host route through the physical gateway and interface with a
// metric of 15 or less; false for an empty list. Unless `summary` is null, sets it to one element
// per address: "<ip>:ok(metric=<m>);", "<ip>:metric_high(<m>);", "<ip>:missing;" or
// "<ip>:invalid;".
bool VerifyBypassRoutes(const std::vector<std::string>& ips, std::string* summary);

// Verifies the required routes after the tunnel service has been started. If that fails, adds every
// selected route again and verifies once more. Updates and logs the current state and returns a
// copy. If the bypass was not enabled or attempted, or selected no address, returns the state
// unchanged. Does not wait for the forward table to settle.
AdminBypassState RecheckBypassAfterTunnel();

}  // namespace veltrane
