#pragma once

#include <string>

#include "guard/route_guard_result.h"

namespace veltrane {

// "poc_route_guard":{...}: flags, counts and the six raw environment texts always, the other texts
// only when they are not empty. Pure function.
std::string FormatRouteGuardReport(const RouteGuardResult& result);

}  // namespace veltrane
