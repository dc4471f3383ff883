#pragma once

// The fixture of tests that run a watchdog, or what it does, on a simulated machine.

#include <cstdint>
#include <string>
#include <vector>

#include "client/watchdog/undoing.h"
#include "client/watchdog/watchdog.h"
#include "tests/client/on_client_machine.h"
#include "tests/support/steps.h"

namespace veltrane {

inline const std::wstring kTunnel = L"VeltraneVpnTunnel$Active";
inline const std::wstring kConfirmPipeName = L"\\\\.\\pipe\\VeltraneVpnConfirm";

class OnWatchedMachine : public OnClientMachine {
 protected:
  // Somebody brings the tunnel to this node up.
  void ConnectTo(const std::string& node_id) {
    simulated::Exchange(R"({"op":"connect","client_private_key":"x","node_id":")" + node_id +
                        "\"}");
  }

  // The service, as one that has been stopped, or started again.
  void StopService() {
    machine.pipes.WaitUntilServerWaits();
    server.Stop();
    side.ExpectServer(false);
    machine.services.SetState(L"VeltraneVpnTunnel", simulated::kStopped);
  }
  void StartServiceAgain() {
    machine.services.SetState(L"VeltraneVpnTunnel", simulated::kRunning);
    server.SetPhase(kPhaseDisconnected);
    ServePipe();
  }

  bool TunnelRuns() const {
    const auto tunnel = machine.services.Find(kTunnel);
    return tunnel && tunnel->state == simulated::kRunning;
  }

  // How many seconds have passed since the test began.
  double Seconds() const { return static_cast<double>(machine.clock.Uptime() - began_) / 1000; }

  void At(double seconds, std::function<void()> hook) {
    const double passed = Seconds();
    machine.clock.At(static_cast<std::uint32_t>((seconds - passed) * 1000 + 0.5), std::move(hook));
  }

  // The client says this then.
  void Say(double seconds, const std::string& line) {
    At(seconds, [this, line] { side.watchdogs.ClientSays(line); });
  }

  std::uint64_t began_ = machine.clock.Uptime();
};

}  // namespace veltrane
