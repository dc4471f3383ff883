#pragma once

// Whom the rules keep connected (docs/operations.md, "Keeping administrators connected").

#include <map>
#include <set>
#include <string>
#include <vector>

#include "tests/simulated/machine.h"

namespace veltrane::simulation {

// What decides about that.
struct Administration {
  std::string word;                 // VELTRANE_POC_ADMIN_BYPASS of the process
  std::string ip;                   // ADMIN_BYPASS_IP
  std::string ips;                  // ADMIN_BYPASS_IPS
  std::vector<std::string> peers;   // of established connections to port 3389
  std::vector<std::string> guests;  // the clients of Remote Desktop sessions
};

// As the machine would show it now.
Administration AdministrationOf(const simulated::Machine& machine);

// Whether the settings turn the bypass on.
bool BypassIsOn(const Administration& administration);

// The addresses to be pinned, and whether each is required. `own` has the machine's own public
// addresses.
std::map<std::string, bool> Candidates(const Administration& administration,
                                       const std::set<std::string>& own);

// The remote addresses of the rows that are established connections to port 3389.
std::vector<std::string> PeersIn(const std::vector<TcpConnection>& rows);

// The address of a session's client; empty when it is no IPv4 address.
std::string GuestOf(const simulated::Machine& machine, std::uint32_t session);

// The sessions whose clients count: that of the console, and those that are active or connected.
std::vector<std::uint32_t> SessionsThatCount(std::uint32_t console,
                                             const std::vector<Session>& sessions);

}  // namespace veltrane::simulation
