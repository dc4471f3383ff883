#pragma once

// What the service control manager knows of the services of this product.

#include <windows.h>

#include <memory>
#include <string>
#include <type_traits>

#include "service/service_name.h"
#include "tunnel/tunnel_manager.h"

namespace veltrane::windows_tests {

struct CloseServiceFunction {
  void operator()(SC_HANDLE handle) const { CloseServiceHandle(handle); }
};
using ServiceHandle = std::unique_ptr<std::remove_pointer_t<SC_HANDLE>, CloseServiceFunction>;

// Opens a service with all rights; null when it does not exist.
ServiceHandle OpenServiceNamed(const std::wstring& name);

// Registers an own-process service that is started on demand.
ServiceHandle CreateServiceNamed(const std::wstring& name, const std::wstring& command_line);

// Waits until a deleted service is gone, which it is once its process has ended.
bool WaitUntilGone(const std::wstring& name);

// The last reported status; all zeros when there is no such service.
SERVICE_STATUS_PROCESS ServiceStatus(const std::wstring& name);

bool WaitForServiceState(const std::wstring& name, DWORD state);

// Starts the service. Returns 0, or the Win32 error.
DWORD StartServiceNamed(const std::wstring& name);

// Sends a control code. Returns 0, or the Win32 error.
DWORD SendControl(const std::wstring& name, DWORD control);

// Stops the service once it has started, and waits until its process has ended.
void StopServiceNamed(const std::wstring& name);

// Stops and deletes the service, if it is there, and waits until it is gone.
void RemoveService(const std::wstring& name);

// Expects that the service is registered with this command line and otherwise as both services of
// this product are: displayed by its name, a process of its own, started on demand in the account
// of the system, after the network.
void ExpectRegistration(const std::wstring& name, const std::wstring& command_line);

}  // namespace veltrane::windows_tests
