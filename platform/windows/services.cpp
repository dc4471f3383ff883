#include "platform/services.h"

#include <windows.h>

#include "platform/service_codes.h"

namespace veltrane {
namespace {

static_assert(kManagerConnect == SC_MANAGER_CONNECT);
static_assert(kManagerAllAccess == SC_MANAGER_ALL_ACCESS);
static_assert(kServiceQueryStatus == SERVICE_QUERY_STATUS);
static_assert(kServiceStop == SERVICE_STOP);
static_assert(kServiceAllAccess == SERVICE_ALL_ACCESS);
static_assert(kDelete == DELETE);
static_assert(kServiceOwnProcess == SERVICE_WIN32_OWN_PROCESS);
static_assert(kServiceAutoStart == SERVICE_AUTO_START);
static_assert(kServiceDemandStart == SERVICE_DEMAND_START);
static_assert(kServiceErrorNormal == SERVICE_ERROR_NORMAL);
static_assert(kServiceSidUnrestricted == SERVICE_SID_TYPE_UNRESTRICTED);
static_assert(kServiceStopped == SERVICE_STOPPED);
static_assert(kServiceStartPending == SERVICE_START_PENDING);
static_assert(kServiceStopPending == SERVICE_STOP_PENDING);
static_assert(kServiceRunning == SERVICE_RUNNING);
static_assert(kControlStop == SERVICE_CONTROL_STOP);
static_assert(kAcceptStop == SERVICE_ACCEPT_STOP);
static_assert(kErrorServiceAlreadyRunning == ERROR_SERVICE_ALREADY_RUNNING);
static_assert(kErrorServiceExists == ERROR_SERVICE_EXISTS);

// The system's two callbacks carry no context, and the process is a single service. An exception
// must not unwind into the system.
void (*service_main_function)() = nullptr;
void (*control_function)(std::uint32_t control) = nullptr;

void WINAPI CallServiceMain(DWORD, wchar_t**) noexcept { service_main_function(); }

void WINAPI CallControlFunction(DWORD control) noexcept { control_function(control); }

SC_HANDLE AsServiceHandle(const Owner<void, CloseServiceControlHandle>& handle) {
  return static_cast<SC_HANDLE>(handle.get());
}

// Joins strings that each end in a zero; the terminating zero of the result ends the list.
std::wstring JoinWithZeros(const std::vector<std::wstring>& texts) {
  std::wstring list;
  for (const std::wstring& text : texts) {
    list += text;
    list += L'\0';
  }
  return list;
}

}  // namespace

void CloseServiceControlHandle(void* handle) noexcept {
  CloseServiceHandle(static_cast<SC_HANDLE>(handle));
}

bool Service::ChangeCommandLine(const std::wstring& command_line) {
  return ChangeServiceConfigW(AsServiceHandle(handle_), SERVICE_NO_CHANGE, SERVICE_NO_CHANGE,
                              SERVICE_NO_CHANGE, command_line.c_str(), nullptr, nullptr, nullptr,
                              nullptr, nullptr, nullptr) != 0;
}

bool Service::ChangeSettings(const ServiceSettings& settings) {
  const std::wstring dependencies = JoinWithZeros(settings.dependencies);
  return ChangeServiceConfigW(AsServiceHandle(handle_), settings.type, settings.start_type,
                              settings.error_control, settings.command_line.c_str(), nullptr,
                              nullptr, dependencies.c_str(), nullptr, nullptr,
                              settings.display_name.c_str()) != 0;
}

bool Service::SetSidType(std::uint32_t sid_type) {
  SERVICE_SID_INFO info{sid_type};
  return ChangeServiceConfig2W(AsServiceHandle(handle_), SERVICE_CONFIG_SERVICE_SID_INFO, &info) !=
         0;
}

std::uint32_t Service::Start() {
  return StartServiceW(AsServiceHandle(handle_), 0, nullptr) ? ERROR_SUCCESS : GetLastError();
}

bool Service::SendStop() {
  SERVICE_STATUS status{};
  return ControlService(AsServiceHandle(handle_), SERVICE_CONTROL_STOP, &status) != 0;
}

std::optional<std::uint32_t> Service::QueryState() {
  SERVICE_STATUS_PROCESS status{};
  DWORD needed = 0;
  if (!QueryServiceStatusEx(AsServiceHandle(handle_), SC_STATUS_PROCESS_INFO,
                            reinterpret_cast<BYTE*>(&status), sizeof(status), &needed)) {
    return std::nullopt;
  }
  return status.dwCurrentState;
}

bool Service::Delete() { return DeleteService(AsServiceHandle(handle_)) != 0; }

std::optional<ServiceManager> ServiceManager::Open(std::uint32_t access) {
  const SC_HANDLE handle = OpenSCManagerW(nullptr, nullptr, access);
  if (handle == nullptr) return std::nullopt;
  return ServiceManager(handle);
}

std::optional<Service> ServiceManager::OpenExisting(const std::wstring& name,
                                                    std::uint32_t access) {
  const SC_HANDLE handle = OpenServiceW(AsServiceHandle(handle_), name.c_str(), access);
  if (handle == nullptr) return std::nullopt;
  return Service(handle);
}

Result<Service> ServiceManager::Create(const ServiceSettings& settings) {
  const std::wstring dependencies = JoinWithZeros(settings.dependencies);
  const SC_HANDLE handle = CreateServiceW(
      AsServiceHandle(handle_), settings.name.c_str(), settings.display_name.c_str(),
      settings.access, settings.type, settings.start_type, settings.error_control,
      settings.command_line.c_str(), nullptr, nullptr, dependencies.c_str(), nullptr, nullptr);
  if (handle == nullptr) return Result<Service>::Failure(GetLastError());
  return Service(handle);
}

std::uint32_t RunServiceDispatcher(const std::wstring& name, void (*service_main)()) {
  service_main_function = service_main;
  std::wstring table_name = name;  // the table takes a name that is not const
  const SERVICE_TABLE_ENTRYW table[] = {{table_name.data(), CallServiceMain}, {nullptr, nullptr}};
  return StartServiceCtrlDispatcherW(table) ? ERROR_SUCCESS : GetLastError();
}

ServiceStatusHandle RegisterControlHandler(const std::wstring& name,
                                           void (*handler)(std::uint32_t control)) {
  control_function = handler;
  return RegisterServiceCtrlHandlerW(name.c_str(), CallControlFunction);
}

void ReportServiceStatus(ServiceStatusHandle handle, const ServiceStatus& status) {
  SERVICE_STATUS report{status.type,
                        status.state,
                        status.controls_accepted,
                        status.exit_code,
                        status.specific_exit_code,
                        status.check_point,
                        status.wait_hint_ms};
  SetServiceStatus(static_cast<SERVICE_STATUS_HANDLE>(handle), &report);
}

}  // namespace veltrane
