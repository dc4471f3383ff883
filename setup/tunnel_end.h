#pragma once

// Bringing a tunnel down.

#include <string>

#include "platform/installer.h"

namespace veltrane {

enum class TunnelState { kDown, kUp, kUnknown };

// Returns whether the tunnel's service has not stopped; unknown when Windows does not say.
TunnelState ReadTunnelState();

// Whether the tunnel's service, up or not, runs this program.
bool TunnelRuns(const std::wstring& program);

// Brings the tunnel down: asks the control service to disconnect, unless that has been told to
// change nothing before the first connect, which would end it; then, or when the tunnel is still
// there, stops its service and waits up to 30 s. Notes in the log what it does. Returns what
// failed, for people and without a full stop, or an empty text.
std::string BringTunnelDown(InstallerSession& session);

}  // namespace veltrane
