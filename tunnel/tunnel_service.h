#pragma once

namespace veltrane {

// The tunnel service's process: hands the configuration file to the WireGuard tunnel library and
// blocks while the tunnel runs. Returns the exit code: 0 when the tunnel ended well, 1 without a
// path, 2 when tunnel.dll cannot be loaded, 3 when it does not export WireGuardTunnelService, 4
// when that returned false.
int RunTunnelService(const wchar_t* conf_path);

}  // namespace veltrane
