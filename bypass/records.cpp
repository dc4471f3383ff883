#include "bypass/records.h"

#include "platform/console.h"
#include "text/ascii.h"

namespace veltrane {

std::vector<std::string>& SelectedBypassIps() {
  static auto& ips = *new std::vector<std::string>();
  return ips;
}

std::vector<std::string>& RequiredBypassIps() {
  static auto& ips = *new std::vector<std::string>();
  return ips;
}

AdminBypassState& CurrentAdminBypassState() {
  static auto& state = *new AdminBypassState();
  return state;
}

PhysicalRoute& CurrentPhysicalRoute() {
  static auto& route = *new PhysicalRoute();
  return route;
}

std::vector<ForwardRow>& AddedRouteList() {
  static auto& rows = *new std::vector<ForwardRow>();
  return rows;
}

void LogAdminBypass(const AdminBypassState& state) {
  std::wstring line = L"[Veltrane][admin_bypass] enabled=";
  line += state.enabled ? L"1" : L"0";
  line += L" applied=";
  line += state.applied ? L"1" : L"0";
  line += L" failure=" + WidenBytes(state.failure_reason) + L"\n";
  PrintDebugger(line);
  PrintError(line);
}

AdminBypassState StoreAndLogBypass(const AdminBypassState& state) {
  CurrentAdminBypassState() = state;
  LogAdminBypass(state);
  return state;
}

}  // namespace veltrane
