#pragma once

// Who is connected over Remote Desktop.

#include <cstddef>
#include <cstdint>
#include <optional>
#include <set>
#include <vector>

#include "client/forecast/situation.h"

namespace veltrane {

// The local ports of Remote Desktop.
struct RdpPorts {
  std::set<std::uint32_t> ports;  // those of all listeners that could be read, and 3389
  bool complete = false;          // all could be read
};

// Reads them (HKLM\SYSTEM\CurrentControlSet\Control\Terminal Server\WinStations\*, PortNumber). A
// listener without a number has no port, and a number that is not a port does not count.
RdpPorts ReadRdpPorts();

struct RdpConnections {
  std::vector<IpConnection> connections;  // to any of the ports, over IPv4 and then over IPv6
  bool complete = false;                  // the ports and the connections of both families are read
  // The IPv4 peers of port 3389, each once; nullopt when the connections cannot be read.
  std::optional<std::vector<IpAddress>> service_peers;
};

RdpConnections SurveyRdpConnections();

struct SessionClients {
  std::vector<IpAddress> clients;  // the IPv4 addresses of clients, each once
  bool complete = false;           // the sessions and the clients of all could be read
  // How many sessions are active without being that of the console: somebody is connected to each,
  // by whatever protocol. nullopt when the sessions cannot be read.
  std::optional<std::size_t> remote;
};

// Reads the sessions that the service reads: that of the console, and those in a state up to
// kSessionConnected. The session of a user at the console has no client address.
SessionClients SurveySessionClients();

}  // namespace veltrane
