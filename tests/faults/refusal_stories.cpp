// Connects that are refused, and requests that are.

#include "platform/routing.h"
#include "tests/faults/last_word.h"
#include "tests/faults/story.h"
#include "tests/scenarios/connection.h"

namespace veltrane::faults {
namespace {

using simulated::Machine;

void Connect(Scene& scene) { scene.Ask(kConnect); }

// kConnect whose endpoint has the text of a catch-all.
const std::string kConnectWithCatchAllElsewhere =
    R"({"op":"connect","node_id":"fra-1","address_cidr":"10.7.3.9/32","endpoint_host":"::/0",)"
    R"("server_public_key":"SERVERKEY=","client_private_key":"CLIENTKEY="})";

}  // namespace

std::vector<Story> RefusalStories() {
  return {
      {"refused-forbidden-path", "A request that names a configuration file", [](Scene&) {},
       [](Scene& scene) { scene.Ask(R"({"op":"status","conf_path":"x"})"); }, "forbidden_path"},
      {"refused-unknown-op", "A request of an unknown operation", [](Scene&) {},
       [](Scene& scene) { scene.Ask(R"({"op":"reconnect"})"); }, "unknown_op"},
      {"refused-session", "A connect of another session than the registered one",
       [](Scene& scene) { scene.Ask(kRegister); }, Connect, "session_mismatch"},
      {"refused-profile", "A connect without a key", [](Scene&) {},
       [](Scene& scene) { scene.Ask(R"({"op":"connect","node_id":"fra-1"})"); }, "invalid_profile"},
      {"refused-settings",
       "A connect in a Remote Desktop session whose machine enables the guard and whose process "
       "disables it",
       [](Scene& scene) {
         scene.machine.sessions.SetRemoteSession(true);
         scene.SetGuard();
         scene.SetOfProcess(L"VELTRANE_POC_DISABLE_DEFAULT_ROUTE", L"0");
       },
       Connect, "poc_env_read_failed"},
      {"refused-remote-desktop-session", "A connect in a Remote Desktop session without the guard",
       [](Scene& scene) {
         scene.machine.sessions.SetRemoteSession(true);
         scene.SetAdministrators();
       },
       Connect, "poc_route_guard_failed"},
      {"refused-guard", "A connect under the guard with a catch-all in another field",
       [](Scene& scene) {
         scene.SetGuard();
         scene.SetAdministrator();
       },
       [](Scene& scene) { scene.Ask(kConnectWithCatchAllElsewhere); }, "poc_route_guard_failed"},
      {"refused-no-address", "A connect with the bypass on and a private address alone",
       [](Scene& scene) {
         scene.Set(L"ADMIN_BYPASS_IP", L"192.168.1.20");
         scene.machine.sessions.AddActive(3, "198.51.100.7");
       },
       Connect, "admin_bypass_failed"},
      {"refused-no-gateway", "A connect whose way to the network has no gateway",
       [](Scene& scene) {
         scene.SetAdministrators();
         scene.machine.routes.OverrideBestRoute({.next_hop = 0, .interface_index = 12});
       },
       Connect, "admin_bypass_failed"},
      {"refused-route-add", "A connect whose second route cannot be created",
       [](Scene& scene) {
         scene.SetAdministrators();
         scene.machine.FailWhere("CreateForwardRow", "203.0.113.5", 160);
       },
       Connect, "admin_bypass_failed"},
      {"refused-route-verify", "A connect whose routes get a high metric",
       [](Scene& scene) {
         scene.SetAdministrators();
         scene.machine.routes.SetMetricOfCreatedRows(26);
       },
       Connect, "admin_bypass_failed"},
      {"refused-file", "A connect whose configuration cannot be written",
       [](Scene& scene) {
         scene.SetAdministrators();
         scene.machine.files.DenyOpen(kTemporaryConf);
       },
       Connect, "config_write_failed"},
      {"refused-tunnel-start", "A connect whose tunnel service cannot be started",
       [](Scene& scene) {
         scene.SetAdministrators();
         scene.machine.FailWhere("Service.Start", "", 1058);
       },
       Connect, "tunnel_start_failed"},
      {"refused-service-survives",
       "A connect that cannot replace the tunnel service, which another program holds",
       [](Scene& scene) {
         scene.SetAdministrators();
         scene.Ask(kConnect);
         scene.HoldTunnelService();
       },
       [](Scene& scene) { scene.Ask(kConnectElsewhere); }, "tunnel_start_failed"},
      {"refused-default-route", "A connect under the guard whose tunnel takes the default route",
       [](Scene& scene) {
         scene.SetGuard();
         scene.SetAdministrator();
         scene.machine.routes.AddInterface(40, L"Veltrane WireGuard");
         scene.OnTunnelStart(
             [](Machine& machine) { machine.routes.Add("0.0.0.0/0", "10.7.3.1", 40, 5); });
       },
       Connect, "poc_default_route_detected"},
      {"refused-routes-lost",
       "A connect whose tunnel takes a pinned route away, which cannot be added again",
       [](Scene& scene) {
         scene.SetAdministrators();
         scene.OnTunnelStart([](Machine& machine) {
           machine.routes.Remove("203.0.113.5/32");
           machine.FailWhere("CreateForwardRow", "", 5);
         });
       },
       Connect, kLostBypass},
  };
}

}  // namespace veltrane::faults
