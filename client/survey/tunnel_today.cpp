#include "client/survey/tunnel_today.h"

#include <string>

#include "platform/routing.h"
#include "platform/service_codes.h"
#include "platform/service_facts.h"
#include "text/ascii.h"
#include "tunnel/active_conf.h"
#include "tunnel/tunnel_manager.h"

namespace veltrane {
namespace {

std::wstring AdapterName() {
  const std::wstring path = ActiveConfPath();
  const std::wstring file = path.substr(path.find_last_of(L'\\') + 1);
  return file.substr(0, file.rfind(L'.'));
}

TunnelToday FindTunnelService() {
  const Result<ServiceFacts> service = ReadServiceFacts(kTunnelServiceName);
  if (service) return service->state == kServiceStopped ? TunnelToday::kNone : TunnelToday::kUp;
  return service.Error() == kErrorServiceDoesNotExist ? TunnelToday::kNone : TunnelToday::kUnknown;
}

}  // namespace

TunnelFacts SurveyTunnel(const std::vector<InterfaceFacts>& interfaces) {
  TunnelFacts tunnel{.today = FindTunnelService(), .interface_index = std::nullopt};
  const std::wstring adapter = AdapterName();
  bool all_read = true;
  for (const InterfaceFacts& interface : interfaces) {
    const std::optional<InterfaceNames> names = ReadInterfaceNames(interface.index);
    if (!names) {
      all_read = false;
    } else if (EqualsIgnoreCase(names->alias, adapter)) {
      return {.today = TunnelToday::kUp, .interface_index = interface.index};
    }
  }
  if (tunnel.today == TunnelToday::kNone && !all_read) tunnel.today = TunnelToday::kUnknown;
  return tunnel;
}

}  // namespace veltrane
