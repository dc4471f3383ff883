#include "guard/report.h"

#include "text/json_text.h"

namespace veltrane {

std::string FormatRouteGuardReport(const RouteGuardResult& result) {
  JsonObject object;
  ListGuardMembers(result, object);
  return "\"poc_route_guard\":" + object.Written();
}

}  // namespace veltrane
