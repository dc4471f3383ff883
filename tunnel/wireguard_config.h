#pragma once

#include <string>

#include "ipc/connection_profile.h"

namespace veltrane {

// Renders a profile as the text of a WireGuard configuration file with bare line feeds. Values are
// copied as they are: nothing is trimmed, bracketed or checked. Pure function.
std::string RenderWireGuardConfig(const ConnectionProfile& profile);

}  // namespace veltrane
