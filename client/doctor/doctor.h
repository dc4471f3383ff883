#pragma once

#include "client/doctor/findings.h"

namespace veltrane {

// The preflight: would connecting work now, and would the administrator stay connected? Changes
// nothing. With `any_server` it looks at a service in console mode.
Findings Examine(bool any_server);

}  // namespace veltrane
