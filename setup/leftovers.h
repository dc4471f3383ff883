#pragma once

// What the service leaves on the disk.

#include <string>

#include "platform/installer.h"

namespace veltrane {

// Overwrites the configuration file and its temporary file with zeros and deletes them, then
// removes their folder "tunnels" and the folder above it, "Veltrane", each only when nothing else
// is in it. Where one of these is a reparse point, which may lead elsewhere, nothing is touched.
// Notes in the log what stays.
void RemoveLeftovers(const std::wstring& conf, InstallerSession& session);

}  // namespace veltrane
