#pragma once

// The one WireGuard configuration file that the tunnel runs from. It holds the private key, so its
// folder and its files are open to Local System and the Administrators group alone.

#include <string>

#include "ipc/connection_profile.h"

namespace veltrane {

// The folder "Veltrane\tunnels" below the process's ProgramData, or below C:\ProgramData when that
// variable is absent or has more than 259 characters.
std::wstring TunnelsFolder();

// The path of active.conf in that folder.
std::wstring ActiveConfPath();

// Renders the profile and installs it as active.conf through a temporary file. Returns false on
// failure and, when `error` is given, sets it to "create_directories failed", "open tmp failed",
// "write tmp failed" (the temporary file stays) or "rename active.conf failed". A failure to
// restrict access is not reported.
bool WriteActiveConf(const ConnectionProfile& profile, std::string* error);

// Overwrites active.conf with zeros and deletes it. Returns true when the file is gone or was never
// there; false, with `error` set to "delete active.conf failed" when it is given, when the deletion
// failed. Throws std::filesystem::filesystem_error ("exists") when it cannot be told whether the
// file is there.
bool DeleteActiveConf(std::string* error);

// Replaces the access list of a file or folder by full access for Local System and the
// Administrators group, cut off from inheritance. Returns false on any failure.
bool ApplyTunnelsAcl(const std::wstring& path);

}  // namespace veltrane
