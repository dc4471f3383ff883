#include "tunnel/tunnel_manager.h"

#include <cstdint>
#include <optional>
#include <utility>

#include "platform/clock.h"
#include "platform/library.h"
#include "platform/service_codes.h"
#include "platform/services.h"
#include "service/startup_guard.h"
#include "text/fail.h"
#include "tunnel/own_service.h"

namespace veltrane {
namespace {

constexpr int kStopPolls = 15;
constexpr std::uint32_t kStopPollMilliseconds = 1000;

std::wstring TunnelCommandLine(const std::wstring& conf_path) {
  return L"\"" + ExecutablePath() + L"\" /service \"" + conf_path + L"\"";
}

// Reconfigures the service if it still exists, otherwise creates it. nullopt when the creation
// fails. A reconfigured service keeps its SID type.
std::optional<Service> InstallTunnelService(ServiceManager& manager, const std::wstring& name,
                                            const std::wstring& command_line) {
  std::optional<Service> existing = manager.OpenExisting(name, kServiceAllAccess);
  if (existing) {
    existing->ChangeCommandLine(command_line);
    return existing;
  }
  Result<Service> created = manager.Create(OwnServiceSettings(name, command_line));
  if (!created) return std::nullopt;
  created->SetSidType(kServiceSidUnrestricted);
  return std::move(*created);
}

void AwaitStopped(Service& service) {
  for (int poll = 0; poll < kStopPolls; ++poll) {
    if (service.QueryState() == kServiceStopped) return;
    SleepMilliseconds(kStopPollMilliseconds);
  }
}

}  // namespace

bool TunnelManager::Start(const std::wstring& conf_path, std::string* error) {
  CheckStartupMutation("TunnelManager::Start");
  NoteTunnelStarted();
  Stop();
  std::optional<ServiceManager> manager = ServiceManager::Open(kManagerAllAccess);
  if (!manager) return Fail(error, "OpenSCManager failed");
  std::optional<Service> service =
      InstallTunnelService(*manager, kTunnelServiceName, TunnelCommandLine(conf_path));
  if (!service) return Fail(error, "CreateService tunnel failed");
  const std::uint32_t status = service->Start();
  if (status != 0 && status != kErrorServiceAlreadyRunning) {
    return Fail(error, "StartService tunnel failed");
  }
  return true;
}

bool TunnelManager::Stop() {
  CheckStartupMutation("TunnelManager::Stop");
  std::optional<ServiceManager> manager = ServiceManager::Open(kManagerAllAccess);
  if (!manager) return true;
  std::optional<Service> service =
      manager->OpenExisting(kTunnelServiceName, kDelete | kServiceStop | kServiceQueryStatus);
  if (!service) return true;
  service->SendStop();
  AwaitStopped(*service);
  service->Delete();
  return true;
}

bool TunnelManager::IsRunning() {
  std::optional<ServiceManager> manager = ServiceManager::Open(kManagerConnect);
  if (!manager) return false;
  std::optional<Service> service = manager->OpenExisting(kTunnelServiceName, kServiceQueryStatus);
  return service && service->QueryState() == kServiceRunning;
}

}  // namespace veltrane
