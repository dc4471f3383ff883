#pragma once

// The folder "Veltrane" that the folder of the configuration file is in. As Windows comes, every
// user may make it, and who makes it before the first connect can read what the service puts into
// it.

#include <string>

#include "platform/installer.h"

namespace veltrane {

// Makes the folder above that of this configuration file, closed to all but Local System and
// Administrators. Where it is there already, changes nothing, and notes in the log who else could
// write to it or to the folder in it; the user of this process, Local System, may. Notes also when
// it cannot be made; the first connect makes it then.
void MakeConfigurationFolder(const std::wstring& conf, InstallerSession& session);

}  // namespace veltrane
