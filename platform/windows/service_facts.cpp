#include "platform/service_facts.h"

#include <windows.h>

#include <cstddef>
#include <vector>

#include "platform/windows/file_time.h"
#include "platform/windows/handles.h"

namespace veltrane {
namespace {

static_assert(kErrorServiceDoesNotExist == ERROR_SERVICE_DOES_NOT_EXIST);

constexpr DWORD kMostConfigBytes = 8 * 1024;  // as documented for QueryServiceConfigW

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
  std::vector<std::byte> buffer(kMostConfigBytes);
  auto* config = reinterpret_cast<QUERY_SERVICE_CONFIGW*>(buffer.data());
  if (!QueryServiceConfigW(service.get(), config, kMostConfigBytes, &needed)) return Failure();

  ServiceFacts facts;
  facts.state = status.dwCurrentState;
  facts.process_id = status.dwProcessId;
  facts.start_type = config->dwStartType;
  if (config->lpBinaryPathName != nullptr) facts.command_line = config->lpBinaryPathName;
  if (config->lpServiceStartName != nullptr) facts.account = config->lpServiceStartName;
  return facts;
}

Result<std::int64_t> ReadProcessStart(std::uint32_t process_id) {
  const UniqueHandle process(OpenProcess(PROCESS_QUERY_LIMITED_INFORMATION, FALSE, process_id));
  if (!process) return Result<std::int64_t>::Failure(GetLastError());
  FILETIME start{}, exit{}, kernel{}, user{};
  if (!GetProcessTimes(process.get(), &start, &exit, &kernel, &user)) {
    return Result<std::int64_t>::Failure(GetLastError());
  }
  return UnixTicks(start);
}

}  // namespace veltrane
