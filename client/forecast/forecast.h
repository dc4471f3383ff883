#pragma once

// What a connect would do to those who administer the machine: a pure function of values.
//
// The table after the connect is today's without the rows of a tunnel that is replaced, with the
// host routes that the service would pin, and with the tunnel's own: each network of AllowedIPs as
// the guard would leave it, and the network of Address. The longest prefix wins, with equal
// prefixes the tunnel, then the lowest metric. A network of length /0 in AllowedIPs blocks
// everything outside the tunnel, IPv4 and IPv6 (docs/limits.md, "The kill switch").

#include <optional>
#include <string>
#include <vector>

#include "client/forecast/networks.h"
#include "client/forecast/situation.h"

namespace veltrane {

// From the worst to the best.
enum class ForecastVerdict {
  kBlocked,  // the library's firewall drops its packets
  kTunnel,   // its packets would leave by the tunnel
  kMoves,    // by another interface or next hop than today, or by none
  kUnknown,  // something that decides it is not known
  kUndone,   // the tunnel would be started, found wrong and taken down again
  kRefused,  // the connect would be refused before anything is started
  kStays,    // proved: by the same interface and next hop as today, whatever the settings
};

// What decides a verdict. Each belongs to the verdict in whose block it stands.
enum class Cause {
  kProved,  // stays

  kSlashZero,        // blocked: a /0 in AllowedIPs
  kAssumedCatchAll,  // blocked: there is no profile

  kNetworkTaken,  // tunnel

  kPinnedElsewhere,  // moves: the host route leads through another gateway than today's way
  kLeftElsewhere,    // moves: another row of the table is the best one
  kNowhere,          // moves: no route is left

  kTableUnread,          // unknown: the routes of its family, or those that decide about pins
  kOwnAddressesUnread,   // unknown
  kOlderTunnel,          // unknown: a tunnel is up, or may be
  kNoWayToday,           // unknown: no route leads to it now
  kArrivalUnclear,       // unknown: the interface of the local address has no way back to it
  kWaysAreEqual,         // unknown: two routes are equally good
  kOtherTunnel,          // unknown: it is reached through another tunnel
  kInterfaceUnproved,    // unknown: ... or through an interface that may be one
  kLoopback,             // unknown: a program of this machine, whose own client is elsewhere
  kOwnAddress,           // unknown: the machine's own address, or the tunnel's
  kNobodys,              // unknown: an address that no machine can have
  kZoneMissing,          // unknown: a link-local address without its interface
  kGuardNetworkUnknown,  // unknown: without a profile, which network the guard would put in
  kAddressCatchesAll,    // unknown: a /0 in Address
  kAddressTaken,         // unknown: Address is the gateway's, or the machine's own already
  kProfileUnread,        // unknown: AllowedIPs or Address is not a list of networks
  kPinUnclear,  // unknown: whether the service can pin it, or whom it must pin, is not known

  kTunnelDefaultRoute,  // undone: poc_default_route_detected

  kRefusal,  // refused: see `error`
};

// A way, and what kind of interface it uses.
struct KnownWay {
  enum class Kind { kPhysical, kTunnel, kNone };
  Kind kind = Kind::kNone;
  Way way;  // meaningless for the new tunnel, whose interface does not exist yet, and for kNone

  bool operator==(const KnownWay&) const = default;
};

// The answer for one subject: the worst over all worlds.
struct Outlook {
  Subject subject;
  ForecastVerdict verdict = ForecastVerdict::kUnknown;
  Cause cause = Cause::kPinUnclear;
  std::optional<KnownWay> now;        // nullopt when the routes could not be read
  std::optional<KnownWay> after;      // of kTunnel, kMoves and kStays
  std::vector<std::string> networks;  // as they are written: of kNetworkTaken the one, of
                                      // kSlashZero all of length /0
  std::string error;                  // of kRefused and kUndone: the error of the reply
  std::string failure_reason;         // of kRefused and kUndone: from the reply's report
  std::vector<Setting> settled_by;    // settings that are not known, and that change the verdict
  bool may_survive = false;      // of kTunnel and kMoves: an established connection may survive
                                 // all the same, because Windows sends from the interface of
                                 // the connection's own address
  bool replaces_tunnel = false;  // a tunnel is up, or may be: even a refusal loses its phase,
                                 // and its pins are forgotten
};

// Returns the outlooks of the subjects in their order. An established connection is at best unknown
// when its local address is missing, or is not that of exactly one interface. A link-local address
// is looked up on one interface alone: that of the connection, otherwise that of its scope.
std::vector<Outlook> MakeForecast(const Situation& situation);

}  // namespace veltrane
