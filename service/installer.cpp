#include "service/installer.h"

#include <optional>

#include "platform/service_codes.h"
#include "platform/services.h"
#include "service/service_name.h"
#include "text/fail.h"
#include "tunnel/own_service.h"

namespace veltrane {
namespace {

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
  Result<Service> created =
      manager->Create(OwnServiceSettings(kServiceName, L"\"" + exe_path + L"\" --run-as-service"));
  if (created) {
    created->SetSidType(kServiceSidUnrestricted);
  } else if (created.Error() != kErrorServiceExists) {
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
