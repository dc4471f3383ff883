// The modes of the program.

#include "tests/faults/story.h"
#include "tests/scenarios/connection.h"

namespace veltrane::faults {
namespace {

bool RunsUntilStopped(const wchar_t*) { return true; }

bool Fails(const wchar_t*) { return false; }

template <bool run(const wchar_t*)>
void AddTunnelLibrary(Scene& scene) {
  scene.machine.libraries.AddExport(L"tunnel.dll", "WireGuardTunnelService",
                                    reinterpret_cast<LibraryFunction>(run));
}

void RunTunnel(Scene& scene) { scene.Run({L"/service", kActiveConf}); }

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
       [](Scene& scene) { StartAndAsk(scene, L"--run-as-service"); }, "status"},
      {"service-stop", "A stop of the service with a connection and a timer",
       [](Scene& scene) { StartAndConnect(scene, L"--run-as-service"); },
       [](Scene& scene) { scene.StopService(); }, "exit 0"},
      {"console-start", "The start of the console mode, and a status", AddConsoleUser,
       [](Scene& scene) { StartAndAsk(scene, L"--console"); }, "status"},
      {"console-start-and-stop", "The console mode from its start to Ctrl+C", AddConsoleUser,
       [](Scene& scene) {
         scene.Start(L"--console");
         scene.PressCtrlC();
       },
       "exit 0"},
      {"console-stop", "Ctrl+C in the console mode with a connection and a timer",
       [](Scene& scene) { StartAndConnect(scene, L"--console"); },
       [](Scene& scene) { scene.PressCtrlC(); }, "exit 0"},
      {"install", "An installation", [](Scene&) {}, Install, "exit 0"},
      {"install-again", "An installation over an earlier one",
       [](Scene& scene) { scene.machine.services.Add(L"VeltraneVpnTunnel"); }, Install, "exit 0"},
      {"uninstall", "A removal of the running service",
       [](Scene& scene) { scene.machine.services.Add(L"VeltraneVpnTunnel", simulated::kRunning); },
       [](Scene& scene) { scene.Run({L"--uninstall"}); }, "exit 0"},
      {"dry-run", "A dry run over a leftover tunnel", LeaveATunnel,
       [](Scene& scene) { scene.Run({L"--dry-run-startup"}); }, "exit 0"},
      {"tunnel-service", "The tunnel service", AddTunnelLibrary<RunsUntilStopped>, RunTunnel,
       "exit 0"},
      {"tunnel-service-fails", "The tunnel service, whose tunnel library says that it failed",
       AddTunnelLibrary<Fails>, RunTunnel, "exit 4"},
      {"tunnel-service-empty-path", "The tunnel service with an empty path",
       AddTunnelLibrary<RunsUntilStopped>,
       [](Scene& scene) {
         scene.Run({L"/service", L""});
       },
       "exit 1"},
      {"tunnel-service-no-path", "The tunnel service without a path, which prints the usage",
       AddTunnelLibrary<RunsUntilStopped>, [](Scene& scene) { scene.Run({L"/service"}); },
       "exit 1"},
  };
}

}  // namespace veltrane::faults
