#pragma once

// The service control manager. Access masks, types, states and controls are the numbers of
// winsvc.h. Handles are closed with their objects. May be called on any thread.

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "platform/owner.h"
#include "platform/result.h"

namespace veltrane {

// The settings of a service to be created, which runs as LocalSystem, with no load-order group and
// no tag.
struct ServiceSettings {
  std::wstring name;
  std::wstring display_name;
  std::uint32_t access = 0;  // of the handle that comes back
  std::uint32_t type = 0;
  std::uint32_t start_type = 0;
  std::uint32_t error_control = 0;
  std::wstring command_line;
  std::vector<std::wstring> dependencies;
};

void CloseServiceControlHandle(void* handle) noexcept;  // for the two classes below alone

// An open service.
class Service {
 public:
  // Changes the command line alone (ChangeServiceConfigW, the rest SERVICE_NO_CHANGE).
  bool ChangeCommandLine(const std::wstring& command_line);

  // Sets the service SID type (ChangeServiceConfig2W, information level 5).
  bool SetSidType(std::uint32_t sid_type);

  // Starts the service without arguments. Returns 0, or the Win32 error.
  std::uint32_t Start();

  // Sends SERVICE_CONTROL_STOP without waiting.
  bool SendStop();

  // The current state (QueryServiceStatusEx); nullopt when the query fails.
  std::optional<std::uint32_t> QueryState();

  // Marks the service for deletion (DeleteService).
  bool Delete();

 private:
  friend class ServiceManager;
  explicit Service(void* handle) : handle_(handle) {}

  Owner<void, CloseServiceControlHandle> handle_;
};

// An open connection to the service control manager of this machine.
class ServiceManager {
 public:
  // nullopt when the manager cannot be opened with this access.
  static std::optional<ServiceManager> Open(std::uint32_t access);

  // nullopt when the service does not exist or cannot be opened with this access.
  std::optional<Service> OpenExisting(const std::wstring& name, std::uint32_t access);

  // Fails with the Win32 error of CreateServiceW: 1073 when the service exists.
  Result<Service> Create(const ServiceSettings& settings);

 private:
  explicit ServiceManager(void* handle) : handle_(handle) {}

  Owner<void, CloseServiceControlHandle> handle_;
};

// The SERVICE_STATUS of winsvc.h.
struct ServiceStatus {
  std::uint32_t type = 0;
  std::uint32_t state = 0;
  std::uint32_t controls_accepted = 0;
  std::uint32_t exit_code = 0;
  std::uint32_t specific_exit_code = 0;
  std::uint32_t check_point = 0;
  std::uint32_t wait_hint_ms = 0;
};

// The handle under which a service reports its status; null when none is registered. It is never
// closed (RegisterServiceCtrlHandlerW).
using ServiceStatusHandle = void*;

// Connects this process to the service control manager as one service with this name and blocks
// until the service has stopped; `service_main` is called on a thread of its own, and an exception
// that leaves it ends the process. Returns 0, or the Win32 error of StartServiceCtrlDispatcherW.
std::uint32_t RunServiceDispatcher(const std::wstring& name, void (*service_main)());

// Registers the function that receives control codes, called on the dispatcher's thread; null on
// failure.
ServiceStatusHandle RegisterControlHandler(const std::wstring& name,
                                           void (*handler)(std::uint32_t control));

// Reports a status (SetServiceStatus); a failure is not reported.
void ReportServiceStatus(ServiceStatusHandle handle, const ServiceStatus& status);

}  // namespace veltrane
