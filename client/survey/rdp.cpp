#include "client/survey/rdp.h"

#include <algorithm>
#include <iterator>
#include <limits>
#include <string>

#include "bypass/candidates.h"
#include "client/forecast/networks.h"
#include "platform/registry.h"
#include "platform/sessions.h"

namespace veltrane {
namespace {

constexpr wchar_t kListenersKey[] =
    L"SYSTEM\\CurrentControlSet\\Control\\Terminal Server\\WinStations";

void AddNew(const IpAddress& address, std::vector<IpAddress>& addresses) {
  if (std::find(addresses.begin(), addresses.end(), address) == addresses.end()) {
    addresses.push_back(address);
  }
}

std::vector<IpAddress> ListServicePeers(const std::vector<IpConnection>& ipv4_connections) {
  std::vector<IpAddress> peers;
  for (const IpConnection& connection : ipv4_connections) {
    if (connection.local_port == kRdpPort) AddNew(connection.remote, peers);
  }
  return peers;
}

// Reads the sessions that the service reads. Returns how many of them are remote and active;
// nullopt when the list is unreadable.
std::optional<std::size_t> ReadSessionIds(std::set<std::uint32_t>& ids) {
  const std::uint32_t console = ActiveConsoleSession();
  if (console != kNoSession) ids.insert(console);
  const std::optional<std::vector<Session>> sessions = ReadSessions();
  if (!sessions) return std::nullopt;
  std::size_t remote = 0;
  for (const Session& session : *sessions) {
    if (session.state <= kSessionConnected) ids.insert(session.id);
    if (session.state == kSessionActive && session.id != console) ++remote;
  }
  return remote;
}

}  // namespace

RdpPorts ReadRdpPorts() {
  RdpPorts result{.ports = {kRdpPort}, .complete = true};
  const Result<std::vector<std::wstring>> listeners = ListRegistryKeys(kListenersKey);
  if (!listeners) {
    result.complete = listeners.Error() == kErrorFileNotFound;
    return result;
  }
  for (const std::wstring& listener : *listeners) {
    const Result<std::uint32_t> port =
        ReadRegistryNumber(std::wstring(kListenersKey) + L"\\" + listener, L"PortNumber");
    if (!port) {
      result.complete = result.complete && port.Error() == kErrorFileNotFound;
    } else if (*port != 0 && *port <= std::numeric_limits<std::uint16_t>::max()) {
      result.ports.insert(*port);
    }
  }
  return result;
}

RdpConnections SurveyRdpConnections() {
  const RdpPorts rdp = ReadRdpPorts();
  RdpConnections result;
  result.complete = rdp.complete;
  for (const IpFamily family : {IpFamily::kIpv4, IpFamily::kIpv6}) {
    const auto connections = ReadEstablishedConnections(family);
    if (!connections) {
      result.complete = false;
      continue;
    }
    std::copy_if(connections->begin(), connections->end(), std::back_inserter(result.connections),
                 [&rdp](const IpConnection& each) { return rdp.ports.contains(each.local_port); });
    if (family == IpFamily::kIpv4) result.service_peers = ListServicePeers(*connections);
  }
  return result;
}

SessionClients SurveySessionClients() {
  SessionClients result;
  std::set<std::uint32_t> ids;
  result.remote = ReadSessionIds(ids);
  result.complete = result.remote.has_value();
  for (const std::uint32_t id : ids) {
    const std::optional<ClientAddress> client = ReadClientAddress(id);
    if (!client) result.complete = false;
    if (!client || client->family != kFamilyIpv4) continue;
    IpAddress address;
    std::copy_n(client->bytes.begin() + 2, 4, address.bytes.begin());
    if (!IsUnspecified(address)) AddNew(address, result.clients);
  }
  return result;
}

}  // namespace veltrane
