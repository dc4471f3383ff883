#include "tests/faults/machinery.h"

#include "tests/scenarios/connection.h"

namespace veltrane::faults {
namespace {

using simulated::Machine;
using simulated::Narrow;

// kConf as the guard changes it: the client's own network, and no name servers.
const std::string kConfUnderGuard =
    "[Interface]\n"
    "PrivateKey = CLIENTKEY=\n"
    "Address = 10.7.3.9/32\n"
    "\n"
    "[Peer]\n"
    "PublicKey = SERVERKEY=\n"
    "AllowedIPs = 10.7.3.0/24\n"
    "Endpoint = 198.51.100.20:51820\n"
    "PersistentKeepalive = 25\n";

// A profile whose endpoint has the text of a catch-all.
const std::string kConfWithCatchAll =
    "[Interface]\n"
    "PrivateKey = CLIENTKEY=\n"
    "Address = 10.7.3.9/32\n"
    "\n"
    "[Peer]\n"
    "PublicKey = SERVERKEY=\n"
    "AllowedIPs = \n"
    "Endpoint = ::/0:51820\n"
    "PersistentKeepalive = 25\n";

// The program has moved since the service was configured.
bool HasOldCommandLine(const Machine& machine, const ServiceSettings& settings) {
  const std::wstring own =
      L"\"" + machine.libraries.ExecutablePath() + L"\" /service \"" + kActiveConf + L"\"";
  return !settings.command_line.empty() && settings.command_line != own;
}

std::string ServiceText(const Machine& machine, const std::wstring& name,
                        const std::string& loaded) {
  static const Texts kStates = {"?", "stopped", "starting", "stopping", "running"};
  const auto service = machine.services.Find(name);
  const bool is_tunnel = name == kTunnelService;
  const bool knows = is_tunnel && service->state == simulated::kRunning;
  return Narrow(name) + " " + kStates.at(service->state) +
         (knows && !loaded.empty() ? " " + loaded : "") +
         (service->marked_for_delete ? ", marked for deletion" : "") +
         (is_tunnel && HasOldCommandLine(machine, service->settings) ? ", old command line" : "");
}

}  // namespace

std::string Contents(const std::string& bytes) {
  if (bytes.empty()) return "empty";
  if (bytes == kConf) return "for fra-1";
  if (bytes == kConfUnderGuard) return "for fra-1 under the guard";
  if (bytes == kConfElsewhere) return "for ams-2";
  if (bytes == kConfWithCatchAll) return "for fra-1 with a catch-all";
  if (bytes == kScrubbed) return "of zeros";
  if (bytes == std::string(bytes.size(), '\0'))
    return "of " + std::to_string(bytes.size()) + " zeros";
  for (const std::string& whole : {kConf, kConfUnderGuard, kConfElsewhere}) {
    if (whole.starts_with(bytes)) return "in part";
  }
  return "unknown";
}

namespace {

// Local System and the administrators, for the file alone or by what it inherits from its folder.
bool IsProtected(const Machine& machine, const std::wstring& path) {
  const auto own = machine.files.Access(path);
  const auto list = own ? own : machine.files.Access(path.substr(0, path.rfind(L'\\')));
  return list && simulated::AccessTexts(*list) == Texts{"group S-1-5-18 0x10000000 inherit 3",
                                                        "group S-1-5-32-544 0x10000000 inherit 3"};
}

std::string FileText(const Machine& machine, const std::wstring& path) {
  return Narrow(path.substr(path.rfind(L'\\') + 1)) + " " + Contents(*machine.files.Bytes(path)) +
         (IsProtected(machine, path) ? "" : ", open to users");
}

}  // namespace

Machinery LeftOn(const Machine& machine, const std::string& loaded) {
  Machinery left;
  left.routes = machine.routes.Texts();
  for (const std::wstring& name : machine.services.Names()) {
    left.services.push_back(ServiceText(machine, name, loaded));
  }
  for (const std::wstring& path : machine.files.AllFiles()) {
    left.files.push_back(FileText(machine, path));
  }
  return left;
}

std::vector<std::string> AdmittedBy(const Machine& machine) {
  std::vector<std::string> sids;
  const auto created = machine.pipes.Created();
  if (created.empty() || !created.back().access) return sids;
  for (const AccessEntry& entry : *created.back().access) {
    sids.push_back(simulated::SidText(entry.sid));
  }
  return sids;
}

std::vector<std::string> OpenOn(const Machine& machine) {
  std::vector<std::string> open;
  const auto note = [&open](std::size_t count, const char* what) {
    if (count != 0) open.push_back(std::to_string(count) + " " + what);
  };
  note(machine.pipes.OpenInstances(), "pipes");
  note(machine.security.LiveRecords(), "security records");
  note(static_cast<std::size_t>(machine.services.OpenHandles()), "service handles");
  note(static_cast<std::size_t>(machine.files.OpenStreams()), "files");
  note(machine.libraries.Loads(L"tunnel.dll") - machine.libraries.Frees(L"tunnel.dll"),
       "libraries");
  return open;
}

}  // namespace veltrane::faults
