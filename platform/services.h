#pragma once

// The service control manager: managing services, and being one. Access rights, types, states and
// control codes are the numbers of service_codes.h.
// Errors: Win32 errors; a function that returns bool returns false on failure.
// Threads: any.
// Windows: "Service Control Manager", "Service ServiceMain Function".

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "platform/owner.h"
#include "platform/result.h"

namespace veltrane {

// The settings of a new service. It runs as LocalSystem, without a load-order group or tag.
struct ServiceSettings {
  std::wstring name;
  std::wstring display_name;
  std::uint32_t access = 0;  // access rights of the handle that Create returns
  std::uint32_t type = 0;
  std::uint32_t start_type = 0;
  std::uint32_t error_control = 0;
  std::wstring command_line;
  std::vector<std::wstring> dependencies;
};

void CloseServiceControlHandle(void* handle) noexcept;  // for the two classes below only

// An open service; the destructor closes its handle.
class Service {
 public:
  // Changes the command line and nothing else (ChangeServiceConfigW).
  bool ChangeCommandLine(const std::wstring& command_line);

  // Gives the service these settings but for the name and the access (ChangeServiceConfigW). The
  // account stays.
  bool ChangeSettings(const ServiceSettings& settings);

  // Sets the service SID type (ChangeServiceConfig2W with SERVICE_CONFIG_SERVICE_SID_INFO).
  bool SetSidType(std::uint32_t sid_type);

  // Starts the service without arguments and does not wait for it to run (StartServiceW). Returns
  // 0, or the Win32 error.
  std::uint32_t Start();

  // Sends SERVICE_CONTROL_STOP and does not wait for the service to stop (ControlService).
  bool SendStop();

  // Returns the current state (QueryServiceStatusEx). nullopt on failure.
  std::optional<std::uint32_t> QueryState();

  // Marks the service for deletion (DeleteService).
  bool Delete();

 private:
  friend class ServiceManager;
  explicit Service(void* handle) : handle_(handle) {}

  Owner<void, CloseServiceControlHandle> handle_;
};

// An open connection to the service control manager of this machine; the destructor closes it.
class ServiceManager {
 public:
  // Connects with these access rights (OpenSCManagerW). nullopt on failure.
  static std::optional<ServiceManager> Open(std::uint32_t access);

  // Opens a service with these access rights (OpenServiceW). nullopt when it does not exist, or on
  // any other failure.
  std::optional<Service> OpenExisting(const std::wstring& name, std::uint32_t access);

  // Creates a service (CreateServiceW). Fails with kErrorServiceExists when the name is taken.
  Result<Service> Create(const ServiceSettings& settings);

 private:
  explicit ServiceManager(void* handle) : handle_(handle) {}

  Owner<void, CloseServiceControlHandle> handle_;
};

// SERVICE_STATUS (winsvc.h).
struct ServiceStatus {
  std::uint32_t type = 0;
  std::uint32_t state = 0;
  std::uint32_t controls_accepted = 0;
  std::uint32_t exit_code = 0;
  std::uint32_t specific_exit_code = 0;
  std::uint32_t check_point = 0;
  std::uint32_t wait_hint_ms = 0;
};

// The handle with which a service reports its status; null when registration failed. It must not be
// closed.
using ServiceStatusHandle = void*;

// Connects this process to the service control manager as the one service of this name, and blocks
// until the service has stopped (StartServiceCtrlDispatcherW). `service_main` is called on a new
// thread; an exception that escapes it ends the process. Returns 0, or the Win32 error.
std::uint32_t RunServiceDispatcher(const std::wstring& name, void (*service_main)());

// Registers the control handler, which is called with each control code on the thread that runs the
// dispatcher (RegisterServiceCtrlHandlerW). An exception that escapes it ends the process. Null on
// failure.
ServiceStatusHandle RegisterControlHandler(const std::wstring& name,
                                           void (*handler)(std::uint32_t control));

// Reports a status to the service control manager (SetServiceStatus). A failure is not reported.
void ReportServiceStatus(ServiceStatusHandle handle, const ServiceStatus& status);

}  // namespace veltrane
