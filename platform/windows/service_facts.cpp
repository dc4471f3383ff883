#include "platform/service_facts.h"

#include <windows.h>

#include <cstddef>
#include <vector>

#include "platform/windows/handles.h"

namespace veltrane {
namespace {

static_assert(kErrorServiceDoesNotExist == ERROR_SERVICE_DOES_NOT_EXIST);

Result<ServiceFacts> Failure() { return Result<ServiceFacts>::Failure(GetLastError()); }

}  // namespace

Result<ServiceFacts> ReadServiceFacts(const std::wstring& name) {
  const ServiceHandle manager(OpenSCManagerW(nullptr, nullptr, SC_MANAGER_CONNECT));
  if (!manager) return Failure();
  const ServiceHandle service(
      OpenServiceW(manager.get(), name.c_str(), SERVICE_QUERY_STATUS | SERVICE_QUERY_CONFIG));
  if (!service) return Failure();

  SERVICE_STATUS_PROCESS status{};
  DWORD needed = 0;
  if (!QueryServiceStatusEx(service.get(), SC_STATUS_PROCESS_INFO, reinterpret_cast<BYTE*>(&status),
                            sizeof(status), &needed)) {
    return Failure();
  }
  QueryServiceConfigW(service.get(), nullptr, 0, &needed);
  if (GetLastError() != ERROR_INSUFFICIENT_BUFFER) return Failure();
  std::vector<std::byte> buffer(needed);
  auto* config = reinterpret_cast<QUERY_SERVICE_CONFIGW*>(buffer.data());
  if (!QueryServiceConfigW(service.get(), config, needed, &needed)) return Failure();

  ServiceFacts facts;
  facts.state = status.dwCurrentState;
  facts.process_id = status.dwProcessId;
  if (config->lpBinaryPathName != nullptr) facts.command_line = config->lpBinaryPathName;
  if (config->lpServiceStartName != nullptr) facts.account = config->lpServiceStartName;
  return facts;
}

}  // namespace veltrane
