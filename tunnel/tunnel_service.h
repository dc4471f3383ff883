#pragma once

namespace veltrane {

// The body of the tunnel service's process: passes the path of the configuration file to the
// WireGuard tunnel library and blocks while the tunnel runs. Returns the exit code: 0 when the
// library's function returns true, 1 when the path is missing or empty, 2 when tunnel.dll cannot be
// loaded, 3 when it does not export WireGuardTunnelService, 4 when that function returns false.
int RunTunnelService(const wchar_t* conf_path);

}  // namespace veltrane
