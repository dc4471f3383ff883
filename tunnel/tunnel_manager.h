#pragma once

#include <string>

namespace veltrane {

inline constexpr wchar_t kTunnelServiceName[] = L"VeltraneVpnTunnel$Active";

// The tunnel's own Windows service, kTunnelServiceName: this executable again, started with
// "/service" and the path of the configuration file. Every call opens and closes its own handles
// and takes no lock; callers serialise.
class TunnelManager {
 public:
  // Removes an earlier instance as Stop does, then creates the service, or reconfigures one whose
  // deletion is still pending, and starts it. Returns true when it was started or ran already,
  // without waiting for the running state. On failure returns false and, when `error` is given,
  // sets it to "OpenSCManager failed", "CreateService tunnel failed" or
  // "StartService tunnel failed".
  static bool Start(const std::wstring& conf_path, std::string* error);

  // Stops the tunnel service, waiting about 15 seconds at most, and deletes it whether or not it
  // stopped. Always returns true; every error is ignored.
  static bool Stop();

  // True only when the tunnel service exists and reports the running state.
  static bool IsRunning();
};

}  // namespace veltrane
