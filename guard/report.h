#pragma once

#include <string>

#include "guard/route_guard_result.h"

namespace veltrane {

// Returns "poc_route_guard":{...}. Flags, numbers and the six raw environment values are always
// there, the other strings only when they are not empty. Pure function.
std::string FormatRouteGuardReport(const RouteGuardResult& result);

}  // namespace veltrane
