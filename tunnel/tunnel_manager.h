#pragma once

#include <string>

namespace veltrane {

inline constexpr wchar_t kTunnelServiceName[] = L"VeltraneVpnTunnel$Active";

// The tunnel service, kTunnelServiceName: a second Windows service that runs this executable with
// "/service" and the path of the configuration file. Every call opens and closes its own handles.
// Nothing is locked: a connect and an expiring auto-stop timer may call at the same time.
class TunnelManager {
 public:
  // Removes an earlier tunnel service as Stop does, then creates the service, or reconfigures one
  // whose deletion is still pending, and starts it. Returns true when it has been started or was
  // already running; does not wait for the running state. On failure returns false and, unless
  // `error` is null, sets it to "OpenSCManager failed", "CreateService tunnel failed" or
  // "StartService tunnel failed".
  static bool Start(const std::wstring& conf_path, std::string* error);

  // Stops the tunnel service, waits at most about 15 seconds, and deletes it whether or not it has
  // stopped. Ignores every error and always returns true.
  static bool Stop();

  // Returns true only when the tunnel service exists and reports the running state.
  static bool IsRunning();
};

}  // namespace veltrane
