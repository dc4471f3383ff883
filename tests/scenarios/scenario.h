#pragma once

// What the scenarios share: a service on a machine in an ordinary office, the requests of its
// client, and the passages that many replies have in common.

#include <chrono>
#include <mutex>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "ipc/dispatcher.h"
#include "service/ipc_server.h"
#include "tests/simulated/machine.h"
#include "tests/support/on_machine.h"

namespace veltrane {

inline const std::string kConnect =
    R"({"op":"connect","node_id":"fra-1","device_id":"dev-9","address_cidr":"10.7.3.9/32",)"
    R"("endpoint_host":"198.51.100.20","endpoint_port":"51820","server_public_key":"SERVERKEY=",)"
    R"("client_private_key":"CLIENTKEY=","client_public_key":"CLIENTPUB=",)"
    R"("dns_csv":"10.7.3.1","allowed_ips_csv":"0.0.0.0/0, ::/0"})";
inline const std::string kConnectElsewhere =
    R"({"op":"connect","node_id":"ams-2","address_cidr":"10.8.0.4/32",)"
    R"("endpoint_host":"198.51.100.30","endpoint_port":"443","server_public_key":"OTHERKEY=",)"
    R"("client_private_key":"CLIENTKEY2=","allowed_ips_csv":"10.8.0.0/24"})";
inline const std::string kDisconnect = R"({"op":"disconnect"})";
inline const std::string kStatus = R"({"op":"status"})";

// The file that kConnect leads to, and the one that kConnectElsewhere leads to.
inline const std::string kConf =
    "[Interface]\n"
    "PrivateKey = CLIENTKEY=\n"
    "Address = 10.7.3.9/32\n"
    "DNS = 10.7.3.1\n"
    "\n"
    "[Peer]\n"
    "PublicKey = SERVERKEY=\n"
    "AllowedIPs = 0.0.0.0/0, ::/0\n"
    "Endpoint = 198.51.100.20:51820\n"
    "PersistentKeepalive = 25\n";
inline const std::string kConfElsewhere =
    "[Interface]\n"
    "PrivateKey = CLIENTKEY2=\n"
    "Address = 10.8.0.4/32\n"
    "\n"
    "[Peer]\n"
    "PublicKey = OTHERKEY=\n"
    "AllowedIPs = 10.8.0.0/24\n"
    "Endpoint = 198.51.100.30:443\n"
    "PersistentKeepalive = 25\n";

// What the scrub leaves of a file that it could open and therefore not delete.
inline const std::string kScrubbed(4096, '\0');

inline const std::wstring kTunnelsFolder = L"C:\\ProgramData\\Veltrane\\tunnels";
inline const std::wstring kActiveConf = L"C:\\ProgramData\\Veltrane\\tunnels\\active.conf";
inline const std::wstring kTemporaryConf = L"C:\\ProgramData\\Veltrane\\tunnels\\active.conf.tmp";
inline const std::wstring kTunnelService = L"VeltraneVpnTunnel$Active";

// The routes of the office, and the one that pins the administrator 203.0.113.5.
inline const std::string kDefaultRoute = "0.0.0.0/0 via 192.168.1.1 if 12 metric 25";
inline const std::string kLocalRoute = "192.168.1.0/24 via 0.0.0.0 if 12 metric 281";
inline const std::string kPinnedRoute = "203.0.113.5/32 via 192.168.1.1 if 12 metric 1";

// Passages of replies. The bypass is off, and no guard is in force.
inline const std::string kBypassOff =
    R"("admin_bypass":{"enabled":false,"attempted":false,"applied":false,)"
    R"("routes_ready_before_tunnel":false,"route_readded_after_tunnel":false,)"
    R"("required_enforced":true,"skipped_for_safe_mode":false,"auto_stop_seconds":0,)"
    R"("message":"admin bypass disabled for this build/config"})";
// A bypass record of default values.
inline const std::string kFreshBypass =
    R"("admin_bypass":{"enabled":false,"attempted":false,"applied":false,)"
    R"("routes_ready_before_tunnel":false,"route_readded_after_tunnel":false,)"
    R"("required_enforced":false,"skipped_for_safe_mode":false,"auto_stop_seconds":0})";
// A guard record of default values.
inline const std::string kFreshGuard =
    R"("poc_route_guard":{"effective_disable_default_route":false,"poc_route_guard_failed":false,)"
    R"("poc_default_route_detected":false,"poc_env_read_failed":false,"rdp_session_active":false,)"
    R"("auto_stop_scheduled":false,"auto_stop_seconds":0,"effective_auto_stop_seconds":0,)"
    R"("process_env_VELTRANE_POC_DISABLE_DEFAULT_ROUTE":"",)"
    R"("machine_env_VELTRANE_POC_DISABLE_DEFAULT_ROUTE":"",)"
    R"("user_env_VELTRANE_POC_DISABLE_DEFAULT_ROUTE":"",)"
    R"("process_env_VELTRANE_POC_AUTO_STOP_SECONDS":"",)"
    R"("machine_env_VELTRANE_POC_AUTO_STOP_SECONDS":"",)"
    R"("user_env_VELTRANE_POC_AUTO_STOP_SECONDS":""})";
// The members before the snapshots, of a connect with kConnect and no guard in force.
inline const std::string kGuardOff =
    R"("poc_route_guard":{"effective_disable_default_route":false,"poc_route_guard_failed":false,)"
    R"("poc_default_route_detected":false,"poc_env_read_failed":false,"rdp_session_active":false,)"
    R"("auto_stop_scheduled":false,"auto_stop_seconds":0,"effective_auto_stop_seconds":0,)"
    R"("process_env_VELTRANE_POC_DISABLE_DEFAULT_ROUTE":"",)"
    R"("machine_env_VELTRANE_POC_DISABLE_DEFAULT_ROUTE":"",)"
    R"("user_env_VELTRANE_POC_DISABLE_DEFAULT_ROUTE":"",)"
    R"("process_env_VELTRANE_POC_AUTO_STOP_SECONDS":"",)"
    R"("machine_env_VELTRANE_POC_AUTO_STOP_SECONDS":"",)"
    R"("user_env_VELTRANE_POC_AUTO_STOP_SECONDS":"",)"
    R"("generated_allowed_ips_before":"0.0.0.0/0, ::/0")";
// The same with the guard in force.
inline const std::string kGuardOn =
    R"("poc_route_guard":{"effective_disable_default_route":true,"poc_route_guard_failed":false,)"
    R"("poc_default_route_detected":false,"poc_env_read_failed":false,"rdp_session_active":false,)"
    R"("auto_stop_scheduled":false,"auto_stop_seconds":0,"effective_auto_stop_seconds":0,)"
    R"("process_env_VELTRANE_POC_DISABLE_DEFAULT_ROUTE":"",)"
    R"("machine_env_VELTRANE_POC_DISABLE_DEFAULT_ROUTE":"1",)"
    R"("user_env_VELTRANE_POC_DISABLE_DEFAULT_ROUTE":"",)"
    R"("process_env_VELTRANE_POC_AUTO_STOP_SECONDS":"",)"
    R"("machine_env_VELTRANE_POC_AUTO_STOP_SECONDS":"",)"
    R"("user_env_VELTRANE_POC_AUTO_STOP_SECONDS":"",)"
    R"("generated_allowed_ips_before":"0.0.0.0/0, ::/0",)"
    R"("generated_allowed_ips_after":"10.7.3.0/24")";
// The default routes of the office before the tunnel and after, when the tunnel leaves them alone.
inline const std::string kDefaultRoutesKept =
    R"("default_routes_before_tunnel":"0.0.0.0/0->192.168.1.1@if12:Ethernet:metric=25",)"
    R"("default_routes_after_tunnel":"0.0.0.0/0->192.168.1.1@if12:Ethernet:metric=25")";
// The administrator 203.0.113.5 of ADMIN_BYPASS_IP, gathered; then pinned to the office's gateway.
inline const std::string kGathered =
    R"("rdp_tcp_remote_addresses":[],"admin_env_ips":["203.0.113.5"],)"
    R"("selected_admin_bypass_ips":["203.0.113.5"],)"
    R"("selected_bypass_ip_entries":[)"
    R"({"ip":"203.0.113.5","source":"ADMIN_BYPASS_IP","required":true}])";
inline const std::string kPhysical = R"("physical_default_gateway_before_tunnel":"192.168.1.1",)"
                                     R"("physical_interface_index_before_tunnel":"12")";
inline const std::string kAddedDetail =
    R"("route_add_results_detail":[{"ip":"203.0.113.5","source":"ADMIN_BYPASS_IP","required":true,)"
    R"("add_attempted":true,"already_exists":false,"add_success":true,"win32_error_code":0,)"
    R"("error_message":"","gateway":"192.168.1.1","interface_index":"12",)"
    R"("existing_route_gateway":"","existing_route_interface_index":"",)"
    R"("route_verify_success":true,"failure_reason":""}])";

// The lines of the bypass log.
inline const std::wstring kLogOff = L"[Veltrane][admin_bypass] enabled=0 applied=0 failure=\n";
inline const std::wstring kLogApplied = L"[Veltrane][admin_bypass] enabled=1 applied=1 failure=\n";
inline const std::wstring kLogNotApplied =
    L"[Veltrane][admin_bypass] enabled=1 applied=0 failure=\n";

// A machine in an ordinary office, on which nothing is configured, and a service that has just
// started there. No pipe thread runs: Handle stands for it.
class Scenario : public OnMachine {
 protected:
  Scenario() { machine.routes.AddPhysicalNetwork(); }

  // A timer that a test has left asleep wakes up and gives up, so that the server can join it.
  ~Scenario() override {
    server.auto_stop_cancel = true;
    machine.clock.RunFreely();
  }

  std::string Handle(const std::string& request) { return HandleRequest(server, request); }

  std::string Phase() {
    const std::lock_guard<std::mutex> lock(server.state_mutex);
    return server.phase;
  }
  std::string NodeId() {
    const std::lock_guard<std::mutex> lock(server.state_mutex);
    return server.node_id;
  }

  // One required administrator address, which switches the bypass on.
  void SetAdministrator() { machine.environment.SetMachine(L"ADMIN_BYPASS_IP", L"203.0.113.5"); }
  void SetGuard() { machine.environment.SetMachine(L"VELTRANE_POC_DISABLE_DEFAULT_ROUTE", L"1"); }
  void SetAutoStop(const std::wstring& seconds) {
    machine.environment.SetMachine(L"VELTRANE_POC_AUTO_STOP_SECONDS", seconds);
  }

  // What was done to the machine and what was logged to standard error, in order.
  std::vector<std::string> Story() const {
    static const std::set<std::string> kTold = {"CreateForwardRow",
                                                "DeleteForwardRow",
                                                "CreateFolders",
                                                "SetProtectedAccess",
                                                "OutputFile.Open",
                                                "OutputFile.Write",
                                                "OutputFile.Close",
                                                "MoveFileWithFlags",
                                                "RemoveFile",
                                                "ServiceManager.Create",
                                                "Service.ChangeCommandLine",
                                                "Service.SetSidType",
                                                "Service.Start",
                                                "Service.SendStop",
                                                "Service.Delete",
                                                "PrintError",
                                                "PrintErrorLine"};
    std::vector<std::string> story;
    for (const std::string& call : machine.calls.All()) {
      if (kTold.contains(call.substr(0, call.find(' ')))) story.push_back(call);
    }
    return story;
  }

  // Forgets what was done and logged so far.
  void StartStory() {
    machine.calls.Clear();
    machine.console.Clear();
  }

  // Waits for a state that another thread brings about; ends the test process when it does not.
  template <typename Condition>
  static void Await(const std::string& what, Condition holds) {
    const auto deadline = std::chrono::steady_clock::now() + simulated::kPatience;
    while (!holds()) {
      if (std::chrono::steady_clock::now() > deadline)
        simulated::Die("gave up waiting for " + what);
      std::this_thread::yield();
    }
  }

  IpcServer server;
};

// Steps of a story that many scenarios share.
inline const std::vector<std::string> kWritesConf = {
    R"(CreateFolders C:\ProgramData\Veltrane\tunnels)",
    R"(SetProtectedAccess C:\ProgramData\Veltrane\tunnels)",
    R"(OutputFile.Open C:\ProgramData\Veltrane\tunnels\active.conf.tmp)",
    R"(OutputFile.Write C:\ProgramData\Veltrane\tunnels\active.conf.tmp 189 bytes)",
    R"(OutputFile.Close C:\ProgramData\Veltrane\tunnels\active.conf.tmp)",
    R"(SetProtectedAccess C:\ProgramData\Veltrane\tunnels\active.conf.tmp)",
    R"(MoveFileWithFlags C:\ProgramData\Veltrane\tunnels\active.conf.tmp )"
    R"(to C:\ProgramData\Veltrane\tunnels\active.conf flags 9)",
    R"(SetProtectedAccess C:\ProgramData\Veltrane\tunnels\active.conf)"};
inline const std::vector<std::string> kStartsTunnel = {
    "ServiceManager.Create VeltraneVpnTunnel$Active",
    "Service.SetSidType VeltraneVpnTunnel$Active 1", "Service.Start VeltraneVpnTunnel$Active"};
inline const std::vector<std::string> kStopsTunnel = {"Service.SendStop VeltraneVpnTunnel$Active",
                                                      "Service.Delete VeltraneVpnTunnel$Active"};
inline const std::vector<std::string> kScrubsConf = {
    R"(OutputFile.Open C:\ProgramData\Veltrane\tunnels\active.conf)",
    R"(OutputFile.Write C:\ProgramData\Veltrane\tunnels\active.conf 4096 bytes)",
    R"(RemoveFile C:\ProgramData\Veltrane\tunnels\active.conf)",
    R"(OutputFile.Close C:\ProgramData\Veltrane\tunnels\active.conf)"};

// The steps of several passages one after another.
inline std::vector<std::string> Steps(std::initializer_list<std::vector<std::string>> passages) {
  std::vector<std::string> steps;
  for (const std::vector<std::string>& passage : passages) {
    steps.insert(steps.end(), passage.begin(), passage.end());
  }
  return steps;
}

}  // namespace veltrane
