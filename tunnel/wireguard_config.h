#pragma once

#include <string>

#include "ipc/connection_profile.h"

namespace veltrane {

// Renders a profile as a WireGuard configuration file with line feeds as line ends. Copies values
// unchanged: trims, brackets and checks nothing. Pure function.
std::string RenderWireGuardConfig(const ConnectionProfile& profile);

}  // namespace veltrane
