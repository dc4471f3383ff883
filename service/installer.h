#pragma once

// Registers and unregisters the control service with the service control manager.

#include <string>

namespace veltrane {

// Registers the service with the command line `"<exe_path>" --run-as-service`, without starting it.
// Returns true when the service exists afterwards; a service that is already registered is not
// changed at all, not even its command line. On failure returns false and, unless `error` is null,
// sets it to "OpenSCManager failed" or "CreateService failed".
bool InstallService(const std::wstring& exe_path, std::wstring* error);

// Sends the service a stop, without waiting for it, and marks the service for deletion. A missing
// service is not an error. Returns false, with `error` set to "OpenSCManager failed", only when the
// manager cannot be opened for the deletion.
bool UninstallService(std::wstring* error);

}  // namespace veltrane
