#include "tests/simulation/administrators.h"

#include <netinet/in.h>

#include "tests/simulation/settings.h"
#include "tests/simulation/wire.h"

namespace veltrane::simulation {

Administration AdministrationOf(const simulated::Machine& machine) {
  constexpr std::size_t kWordCapacity = 16;
  Administration administration{.word = simulated::Narrow(machine.environment.Process(
                                    L"VELTRANE_POC_ADMIN_BYPASS", kWordCapacity)),
                                .ip = SettingOf(machine, L"ADMIN_BYPASS_IP"),
                                .ips = SettingOf(machine, L"ADMIN_BYPASS_IPS"),
                                .peers = PeersIn(machine.connections.Rows()),
                                .guests = {}};
  const auto sessions = SessionsThatCount(machine.sessions.Console(), machine.sessions.List());
  for (const std::uint32_t id : sessions) administration.guests.push_back(GuestOf(machine, id));
  return administration;
}

bool BypassIsOn(const Administration& administration) {
  const std::string word = Lower(administration.word);
  if (word == "1" || word == "true" || word == "yes") return true;
  if (word == "0" || word == "false" || word == "no") return false;
  return !administration.ip.empty() || !administration.ips.empty();
}

std::map<std::string, bool> Candidates(const Administration& administration,
                                       const std::set<std::string>& own) {
  std::map<std::string, bool> candidates;
  const auto add = [&](const std::string& address, bool required) {
    if (IsPublic(address) && !own.contains(address)) candidates[address] |= required;
  };
  for (const std::string& setting : {administration.ip, administration.ips}) {
    for (const std::string& address : Addresses(setting)) add(address, true);
  }
  for (const std::string& peer : administration.peers) add(peer, true);
  for (const std::string& guest : administration.guests) add(guest, false);
  return candidates;
}

std::vector<std::string> PeersIn(const std::vector<TcpConnection>& rows) {
  constexpr std::uint32_t kEstablished = 5;
  constexpr std::uint16_t kRemoteDesktop = 3389;
  std::vector<std::string> peers;
  for (const TcpConnection& row : rows) {
    const std::uint16_t port = ntohs(static_cast<std::uint16_t>(row.local_port));
    if (row.state == kEstablished && port == kRemoteDesktop) {
      peers.push_back(simulated::IpText(row.remote_address));
    }
  }
  return peers;
}

std::string GuestOf(const simulated::Machine& machine, std::uint32_t session) {
  constexpr std::uint32_t kIpv4 = 2;
  const auto client = machine.sessions.Address(session);
  if (!client || client->family != kIpv4) return "";
  std::string text;
  for (std::size_t i = 2; i < 6; ++i) {
    text += (text.empty() ? "" : ".") + std::to_string(client->bytes[i]);
  }
  return text;
}

std::vector<std::uint32_t> SessionsThatCount(std::uint32_t console,
                                             const std::vector<Session>& sessions) {
  constexpr std::uint32_t kNoConsole = 0xFFFFFFFF;
  constexpr std::uint32_t kConnected = 1;
  std::vector<std::uint32_t> ids;
  if (console != kNoConsole) ids.push_back(console);
  for (const Session& session : sessions) {
    if (session.state <= kConnected) ids.push_back(session.id);
  }
  return ids;
}

}  // namespace veltrane::simulation
