#pragma once

// The WireGuard configuration file that the tunnel runs from. It contains the private key, so only
// Local System and the Administrators group have access to its folder and files.

#include <string>

#include "ipc/connection_profile.h"

namespace veltrane {

// Returns the folder "Veltrane\tunnels" under the process's ProgramData, or under C:\ProgramData
// when that variable is absent or longer than 259 characters.
std::wstring TunnelsFolder();

// Returns the path of active.conf in that folder.
std::wstring ActiveConfPath();

// Renders the profile into a temporary file and moves that to active.conf. On failure returns false
// and, unless `error` is null, sets it to "create_directories failed", "open tmp failed", "write
// tmp failed" or "rename active.conf failed"; after the last two the temporary file remains. A
// failure to restrict access is not reported.
bool WriteActiveConf(const ConnectionProfile& profile, std::string* error);

// Opens active.conf, which empties it, tries to delete it, and writes 4096 zero bytes with the
// close. Returns true when the file has been deleted or did not exist. When the deletion fails,
// returns false and, unless `error` is null, sets it to "delete active.conf failed"; on Windows
// that happens whenever the file could be opened, and a file of zeros remains. Throws
// std::filesystem::filesystem_error ("exists") when it cannot be determined whether the file
// exists.
bool DeleteActiveConf(std::string* error);

// Gives Local System and the Administrators group full access to a file or folder, and no one else
// any; the access list inherits nothing. Returns false on any failure.
bool ApplyTunnelsAcl(const std::wstring& path);

}  // namespace veltrane
