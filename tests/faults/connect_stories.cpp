// Connects that succeed.

#include "tests/faults/story.h"
#include "tests/scenarios/connection.h"

namespace veltrane::faults {
namespace {

void Connect(Scene& scene) { scene.Ask(kConnect); }

void ConnectElsewhere(Scene& scene) { scene.Ask(kConnectElsewhere); }

}  // namespace

std::vector<Story> ConnectStories() {
  return {
      {"connect-bypass-off", "A connect with the bypass off", [](Scene&) {}, Connect, "connected"},
      {"connect-addresses-created",
       "A connect with two administrators whose routes must be created, beside another's route to "
       "one of them",
       [](Scene& scene) {
         scene.SetAdministrators();
         scene.machine.routes.Add("198.51.100.7/32", "192.168.1.254", 12, 30);
       },
       Connect, "connected"},
      {"connect-addresses-exist", "A connect with two administrators whose routes are there",
       [](Scene& scene) {
         scene.SetAdministrators();
         scene.machine.routes.Add("203.0.113.5/32", "192.168.1.1", 12, 10);
         scene.machine.routes.Add("198.51.100.7/32", "192.168.1.1", 12, 15);
       },
       Connect, "connected"},
      {"connect-guard-on", "A connect with the guard on, and an administrator",
       [](Scene& scene) {
         scene.SetAdministrator();
         scene.SetGuard();
       },
       Connect, "connected"},
      {"connect-over-remote-desktop",
       "A connect with two administrators on Remote Desktop, beside two whose client addresses "
       "alone are known, one of them at the console",
       [](Scene& scene) {
         scene.SetOfProcess(L"VELTRANE_POC_ADMIN_BYPASS", L"1");
         scene.AddRemoteDesktop("203.0.113.5");
         scene.AddConnection("192.168.1.44");
         scene.AddRemoteDesktop("203.0.113.77");
         scene.machine.sessions.AddActive(2, "203.0.113.5");
         scene.machine.sessions.AddActive(3, "198.51.100.7");
         scene.machine.sessions.SetConsoleSession(4);
         scene.machine.sessions.SetClientAddress(4, "198.51.100.9");
       },
       Connect, "connected"},
      {"connect-auto-stop", "A connect that starts an auto-stop timer",
       [](Scene& scene) { scene.Set(L"VELTRANE_POC_AUTO_STOP_SECONDS", L"60"); }, Connect,
       "connected"},
      {"connect-routes-added-again",
       "A connect whose tunnel takes a pinned route away, which is added again",
       [](Scene& scene) {
         scene.SetAdministrators();
         scene.OnTunnelStart(
             [](simulated::Machine& machine) { machine.routes.Remove("203.0.113.5/32"); });
       },
       Connect, "connected"},
      {"connect-again", "A second connect over the first",
       [](Scene& scene) {
         scene.SetAdministrators();
         scene.Ask(kConnect);
       },
       ConnectElsewhere, "connected"},
      {"connect-service-survives",
       "A second connect of a program that has moved, while another one holds the tunnel service, "
       "which is reconfigured",
       [](Scene& scene) {
         scene.Ask(kConnect);
         scene.HoldTunnelService();
         scene.machine.services.LetMarkedServicesWork();
         scene.machine.libraries.SetExecutablePath(L"D:\\Veltrane\\VeltraneVpnService.exe");
       },
       ConnectElsewhere, "connected"},
  };
}

}  // namespace veltrane::faults
