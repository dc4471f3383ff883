#pragma once

// Registers and unregisters the control service with the service control manager.

#include <string>

namespace veltrane {

// Registers the service with the command line `"<exe_path>" --run-as-service`; it is not started.
// Returns true when the service exists afterwards: one that is registered already stays exactly as
// it is, its command line included. On failure returns false and, when `error` is given, sets it to
// "OpenSCManager failed" or "CreateService failed".
bool InstallService(const std::wstring& exe_path, std::wstring* error);

// Asks the service to stop, without waiting, and marks it for deletion; a service that is not
// there is no error. Returns false, with `error` set to "OpenSCManager failed", only when the
// manager could not be opened for the deletion.
bool UninstallService(std::wstring* error);

}  // namespace veltrane
