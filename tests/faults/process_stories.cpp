// The modes of the program.

#include "tests/faults/story.h"
#include "tests/scenarios/connection.h"

namespace veltrane::faults {
namespace {

bool RunsUntilStopped(const wchar_t*) { return true; }

void AddTunnelLibrary(Scene& scene) {
  scene.machine.libraries.AddExport(L"tunnel.dll", "WireGuardTunnelService",
                                    reinterpret_cast<LibraryFunction>(&RunsUntilStopped));
}

void AddConsoleUser(Scene& scene) {
  scene.machine.sessions.SetConsoleSession(1);
  scene.machine.sessions.SetUser(1, simulated::NtSid({21, 1, 2, 3, 1001}));
}

// What an earlier process has left behind.
void LeaveATunnel(Scene& scene) {
  scene.LeaveTunnelRunning();
  const AccessEntry system = {.sid = simulated::NtSid({18}),
                              .trustee_type = TrusteeType::kGroup,
                              .access_mask = kGenericAll,
                              .inheritance = kObjectAndContainerInherit};
  AccessEntry administrators = system;
  administrators.sid = simulated::NtSid({32, 544});
  scene.machine.files.SetAccess(kActiveConf, {system, administrators});
  scene.machine.routes.AddInterface(40, L"Veltrane WireGuard");
  scene.machine.routes.Add("0.0.0.0/0", "10.7.3.1", 40, 5);
}

void StartAndConnect(Scene& scene, const std::wstring& mode) {
  AddConsoleUser(scene);
  scene.Start(mode);
  scene.SetAdministrator();
  scene.Set(L"VELTRANE_POC_AUTO_STOP_SECONDS", L"60");
  scene.Ask(kConnect);
}

void StartAndAsk(Scene& scene, const std::wstring& mode) {
  scene.Start(mode);
  scene.Ask(kStatus);
}

void Install(Scene& scene) { scene.Run({L"--install"}); }

}  // namespace

std::vector<Story> ProcessStories() {
  return {
      {"service-start", "The start of the service over a leftover tunnel, and a status",
       [](Scene& scene) {
         AddConsoleUser(scene);
         LeaveATunnel(scene);
       },
       [](Scene& scene) { StartAndAsk(scene, L"--run-as-service"); }},
      {"service-stop", "A stop of the service with a connection and a timer",
       [](Scene& scene) { StartAndConnect(scene, L"--run-as-service"); },
       [](Scene& scene) { scene.StopService(); }},
      {"console-start", "The start of the console mode, and a status", AddConsoleUser,
       [](Scene& scene) { StartAndAsk(scene, L"--console"); }},
      {"console-stop", "Ctrl+C in the console mode with a connection and a timer",
       [](Scene& scene) { StartAndConnect(scene, L"--console"); },
       [](Scene& scene) { scene.PressCtrlC(); }},
      {"install", "An installation", [](Scene&) {}, Install},
      {"install-again", "An installation over an earlier one",
       [](Scene& scene) { scene.machine.services.Add(L"VeltraneVpnTunnel"); }, Install},
      {"uninstall", "A removal of the running service",
       [](Scene& scene) { scene.machine.services.Add(L"VeltraneVpnTunnel", simulated::kRunning); },
       [](Scene& scene) { scene.Run({L"--uninstall"}); }},
      {"dry-run", "A dry run over a leftover tunnel", LeaveATunnel,
       [](Scene& scene) { scene.Run({L"--dry-run-startup"}); }},
      {"tunnel-service", "The tunnel service", AddTunnelLibrary,
       [](Scene& scene) {
         scene.Run({L"/service", kActiveConf});
       }},
  };
}

}  // namespace veltrane::faults
