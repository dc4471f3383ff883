#pragma once

// What the forecast is made from: values that somebody has read from the machine. Whatever could
// not be read is nullopt.

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "client/forecast/worlds.h"
#include "platform/ip_network.h"

namespace veltrane {

// Why an address is asked about.
enum class SubjectReason {
  kRdpConnection,    // an established Remote Desktop connection comes from it
  kSetting,          // ADMIN_BYPASS_IP or ADMIN_BYPASS_IPS names it
  kAsked,            // the command line names it
  kRdpSession,       // the client of a session says that it has it
  kSshConnection,    // this prompt's SSH connection comes from it
  kWinRmConnection,  // an established WinRM connection comes from it, perhaps this prompt's
};

// An address from which the machine is administered.
struct Subject {
  IpAddress address;
  SubjectReason reason = SubjectReason::kAsked;
  std::optional<IpAddress> local;  // the machine's address that the connection came to
  std::uint32_t scope_id = 0;      // of a link-local IPv6 address: its interface

  bool operator==(const Subject&) const = default;
};

// Whether it is about an established connection.
inline bool IsConnection(const Subject& subject) {
  return subject.reason == SubjectReason::kRdpConnection ||
         subject.reason == SubjectReason::kSshConnection ||
         subject.reason == SubjectReason::kWinRmConnection;
}

// The subject of an established connection.
inline Subject ConnectedSubject(const IpConnection& connection, SubjectReason reason) {
  return {.address = connection.remote,
          .reason = reason,
          .local = connection.local,
          .scope_id = connection.scope_id};
}

struct InterfaceFacts {
  std::uint32_t index = 0;
  // Whether the service takes it for a tunnel by its label (IsTunnelInterface).
  std::optional<bool> labelled_tunnel;
  std::optional<bool> hardware;  // ... that is up
  std::optional<std::uint32_t> ipv4_metric;
};

// A way to send packets: all zeros as the next hop for a route without a gateway.
struct Way {
  std::uint32_t interface_index = 0;
  IpAddress next_hop;

  bool operator==(const Way&) const = default;
};

// The tunnel that the service has up now and that a connect would replace.
enum class TunnelToday { kNone, kUp, kUnknown };

struct Situation {
  // The metrics include those of the interfaces.
  std::optional<std::vector<IpRoute>> ipv4_routes;
  std::optional<std::vector<IpRoute>> ipv6_routes;
  std::vector<InterfaceFacts> interfaces;  // one that is missing is unknown in every respect
  std::optional<std::vector<OwnAddress>> own_addresses;

  // The answer to the service's question for the way to 8.8.8.8; all zeros when there is none.
  std::optional<Way> gateway;

  TunnelToday tunnel_today = TunnelToday::kUnknown;
  std::optional<std::uint32_t> tunnel_interface;  // of that tunnel

  // IPv4 peers of established connections to local port 3389, which the service pins.
  std::optional<std::vector<IpAddress>> rdp_peers;
  // IPv4 clients of sessions, which the service pins if it can.
  std::vector<IpAddress> session_clients;
  bool all_sessions_read = false;

  std::vector<World> worlds;

  // Of the profile; nullopt when there is none, so that the forecast is made for a catch-all.
  std::optional<std::string> allowed_ips;
  std::optional<std::string> address;

  std::vector<Subject> subjects;
};

}  // namespace veltrane
