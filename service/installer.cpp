#include "service/installer.h"

#include <optional>

#include "platform/service_codes.h"
#include "platform/services.h"
#include "service/service_name.h"

namespace veltrane {
namespace {

bool Fail(std::wstring* error, const wchar_t* message) {
  if (error != nullptr) *error = message;
  return false;
}

ServiceSettings ControlServiceSettings(const std::wstring& exe_path) {
  return {.name = kServiceName,
          .display_name = kServiceName,
          .access = kServiceAllAccess,
          .type = kServiceOwnProcess,
          .start_type = kServiceDemandStart,
          .error_control = kServiceErrorNormal,
          .command_line = L"\"" + exe_path + L"\" --run-as-service",
          .dependencies = {L"Nsi", L"TcpIp"}};
}

void RequestStop() {
  std::optional<ServiceManager> manager = ServiceManager::Open(kManagerAllAccess);
  if (!manager) return;
  std::optional<Service> service =
      manager->OpenExisting(kServiceName, kServiceStop | kServiceQueryStatus);
  if (service) service->SendStop();
}

}  // namespace

bool InstallService(const std::wstring& exe_path, std::wstring* error) {
  std::optional<ServiceManager> manager = ServiceManager::Open(kManagerAllAccess);
  if (!manager) return Fail(error, L"OpenSCManager failed");
  CreatedService created = manager->Create(ControlServiceSettings(exe_path));
  if (created.service) {
    created.service->SetSidType(kServiceSidUnrestricted);
  } else if (created.error != kErrorServiceExists) {
    return Fail(error, L"CreateService failed");
  }
  return true;
}

bool UninstallService(std::wstring* error) {
  RequestStop();
  std::optional<ServiceManager> manager = ServiceManager::Open(kManagerAllAccess);
  if (!manager) return Fail(error, L"OpenSCManager failed");
  std::optional<Service> service =
      manager->OpenExisting(kServiceName, kDelete | kServiceStop | kServiceQueryStatus);
  if (service) service->Delete();
  return true;
}

}  // namespace veltrane
