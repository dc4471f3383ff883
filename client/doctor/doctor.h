#pragma once

#include "client/doctor/findings.h"

namespace veltrane {

// The preflight: would a connect work now, and would the administrator stay connected? Reads only.
// With `any_server` the service is one in console mode.
Findings Examine(bool any_server);

}  // namespace veltrane
