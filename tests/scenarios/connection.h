#pragma once

// The connection of the scenarios: the requests of its client, the files and routes that they lead
// to, and the steps of the stories about it.

#include <string>

#include "tests/support/steps.h"

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
inline const std::string kRegister = R"({"op":"register_session","session_nonce":"abc"})";

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

inline const std::wstring kActiveConf = L"C:\\ProgramData\\Veltrane\\tunnels\\active.conf";
inline const std::wstring kTemporaryConf = L"C:\\ProgramData\\Veltrane\\tunnels\\active.conf.tmp";
inline const std::wstring kTunnelService = L"VeltraneVpnTunnel$Active";

// The routes of the office, and the one that pins the administrator 203.0.113.5.
inline const std::string kDefaultRoute = "0.0.0.0/0 via 192.168.1.1 if 12 metric 25";
inline const std::string kLocalRoute = "192.168.1.0/24 via 0.0.0.0 if 12 metric 281";
inline const std::string kPinnedRoute = "203.0.113.5/32 via 192.168.1.1 if 12 metric 1";

// The state of a machine (see Scenario::State) with a connection of kConnect, without and with that
// route.
inline const std::string kTunnelUp = "VeltraneVpnTunnel$Active running; active.conf for fra-1";
inline const std::string kUp = "connected fra-1; " + kTunnelUp;
inline const std::string kUpAndPinned = "connected fra-1; " + kPinnedRoute + "; " + kTunnelUp;

// Steps of a story. The lines of the bypass log, alone and behind the change that they end.
inline const Texts kLogsOff = {"PrintError [Veltrane][admin_bypass] enabled=0 applied=0 failure="};
inline const Texts kLogsApplied = {
    "PrintError [Veltrane][admin_bypass] enabled=1 applied=1 failure="};
inline const Texts kLogsRemoved = {
    "PrintError [Veltrane][admin_bypass] enabled=1 applied=0 failure="};
inline const Texts kPins =
    Steps({{"CreateForwardRow 203.0.113.5/32 via 192.168.1.1 if 12 metric 1"}, kLogsApplied});
inline const Texts kUnpins =
    Steps({{"DeleteForwardRow 203.0.113.5/32 via 192.168.1.1 if 12 metric 1"}, kLogsRemoved});

inline Texts WritesConf(const std::string& size = "189 bytes") {
  return {R"(CreateFolders C:\ProgramData\Veltrane\tunnels)",
          R"(SetProtectedAccess C:\ProgramData\Veltrane\tunnels)",
          R"(OutputFile.Open C:\ProgramData\Veltrane\tunnels\active.conf.tmp)",
          R"(OutputFile.Write C:\ProgramData\Veltrane\tunnels\active.conf.tmp )" + size,
          R"(OutputFile.Close C:\ProgramData\Veltrane\tunnels\active.conf.tmp)",
          R"(SetProtectedAccess C:\ProgramData\Veltrane\tunnels\active.conf.tmp)",
          R"(MoveFileWithFlags C:\ProgramData\Veltrane\tunnels\active.conf.tmp )"
          R"(to C:\ProgramData\Veltrane\tunnels\active.conf flags 9)",
          R"(SetProtectedAccess C:\ProgramData\Veltrane\tunnels\active.conf)"};
}
inline const Texts kStartsTunnel = {"ServiceManager.Create VeltraneVpnTunnel$Active",
                                    "Service.SetSidType VeltraneVpnTunnel$Active 1",
                                    "Service.Start VeltraneVpnTunnel$Active"};
inline const Texts kStopsTunnel = {"Service.SendStop VeltraneVpnTunnel$Active",
                                   "Service.Delete VeltraneVpnTunnel$Active"};
inline const Texts kScrubsConf = {
    R"(OutputFile.Open C:\ProgramData\Veltrane\tunnels\active.conf)",
    R"(OutputFile.Write C:\ProgramData\Veltrane\tunnels\active.conf 4096 bytes)",
    R"(RemoveFile C:\ProgramData\Veltrane\tunnels\active.conf)",
    R"(OutputFile.Close C:\ProgramData\Veltrane\tunnels\active.conf)"};
// The same when the file cannot be opened.
inline const Texts kDeletesConf = {R"(OutputFile.Open C:\ProgramData\Veltrane\tunnels\active.conf)",
                                   R"(RemoveFile C:\ProgramData\Veltrane\tunnels\active.conf)"};

}  // namespace veltrane
