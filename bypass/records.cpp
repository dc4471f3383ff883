#include "bypass/records.h"

namespace veltrane {

std::vector<std::string>& SelectedBypassIps() {
  static std::vector<std::string> ips;
  return ips;
}

std::vector<std::string>& RequiredBypassIps() {
  static std::vector<std::string> ips;
  return ips;
}

AdminBypassState& CurrentAdminBypassState() {
  static AdminBypassState state;
  return state;
}

PhysicalRoute& CurrentPhysicalRoute() {
  static PhysicalRoute route;
  return route;
}

std::vector<ForwardRow>& AddedRouteList() {
  static std::vector<ForwardRow> rows;
  return rows;
}

}  // namespace veltrane
