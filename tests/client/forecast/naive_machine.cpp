#include "tests/client/forecast/naive_machine.h"

#include <algorithm>
#include <cstdio>
#include <optional>
#include <tuple>
#include <utility>

#include "tests/client/forecast/naive_bits.h"

namespace veltrane::naive {
namespace {

constexpr char kTunnel[] = "tunnel";

bool NamesEverything(const std::vector<std::string>& networks) {
  return std::any_of(networks.begin(), networks.end(),
                     [](const std::string& network) { return network.size() == 2; });
}

// The guard looks for two texts, and knows no other way to write them.
bool HasCatchAllText(const std::string& text) {
  return text.find("0.0.0.0/0") != std::string::npos || text.find("::/0") != std::string::npos;
}

std::string WhatTheGuardPutsIn(const std::string& address) {
  unsigned octets[4];
  char network[64] = "10.66.66.0/24";
  if (std::sscanf(address.c_str(), "%u.%u.%u.%u", &octets[0], &octets[1], &octets[2], &octets[3]) ==
      4) {
    std::snprintf(network, sizeof(network), "%u.%u.%u.0/24", octets[0], octets[1], octets[2]);
  }
  return network;
}

bool IsOwn(const Machine& machine, const std::string& address) {
  return std::any_of(machine.own.begin(), machine.own.end(),
                     [&address](const auto& own) { return own.first == address; });
}

// Whether the service accepts an address as a candidate.
bool MayBePinned(const Machine& machine, const std::string& address) {
  static const char* const kPrivate[] = {
      "4:00001010",                          // 10/8
      "4:01111111",                          // 127/8
      "4:101011000001",                      // 172.16/12
      "4:1100000010101000",                  // 192.168/16
      "4:1010100111111110",                  // 169.254/16
      "4:00000000000000000000000000000000",  // 0.0.0.0
  };
  if (address[0] != '4' || IsOwn(machine, address)) return false;
  return std::none_of(std::begin(kPrivate), std::end(kPrivate),
                      [&address](const char* network) { return StartsWith(address, network); });
}

// Plays the service's side of one connect.
class Play {
 public:
  Play(const Machine& machine, const World& world, const Subject& subject)
      : machine_(machine), world_(world), subject_(Bits(subject.address)) {}

  bool IsRefused() {
    if (world_.guard_overridden) return true;
    if (world_.guard && HasCatchAllText(machine_.address)) return true;
    if (world_.in_remote_session && !world_.guard) return true;
    return !world_.guard && world_.bypass && !PinsAreReady();
  }

  // Whether the tunnel, once started, is found to have taken the default route.
  bool IsUndone() const {
    const std::vector<Line> lines = LinesWithoutOlderTunnel();
    return world_.guard && std::any_of(lines.begin(), lines.end(), [this](const Line& line) {
             const auto label = machine_.labelled.find(line.interface_index);
             return line.network == "4:" && label != machine_.labelled.end() && label->second;
           });
  }

  std::string AllowedIps() const {
    const bool replaced = world_.guard && HasCatchAllText(machine_.allowed_ips);
    return replaced ? WhatTheGuardPutsIn(machine_.address) : machine_.allowed_ips;
  }

  std::vector<Line> LinesWithoutOlderTunnel() const {
    std::vector<Line> left;
    for (const Line& line : lines_) {
      const bool gone = machine_.older_tunnel && line.interface_index == machine_.older_interface;
      if (!gone) left.push_back(line);
    }
    return left;
  }

 private:
  bool PinsAreReady() {
    if (world_.names_unpinnable) return false;
    std::set<std::string> wanted = machine_.peers;
    for (const std::string& token : world_.named) {
      if (const auto bits = BitsOfText(token)) wanted.insert(*bits);
    }
    if (world_.names_subject) wanted.insert(subject_);
    for (const std::string& address : wanted) {
      if (MayBePinned(machine_, address)) required_.insert(address);
    }
    if (required_.empty() && !world_.names_other) return false;
    if (IsAllZeros(machine_.gateway)) return false;
    bool all_pinned = true;
    for (const std::string& address : required_) all_pinned = Pin(address) && all_pinned;
    for (const std::string& address : machine_.session_clients) {
      if (MayBePinned(machine_, address)) Pin(address);
    }
    return all_pinned;
  }

  bool IsPinOf(const Line& line, const std::string& address) const {
    return line.network == address && line.next_hop == machine_.gateway &&
           line.interface_index == machine_.gateway_interface;
  }

  bool Pin(const std::string& address) {
    for (const Line& line : lines_) {
      if (IsPinOf(line, address)) return line.metric <= 15;
    }
    if (address == machine_.unpinnable || machine_.metrics.at(machine_.gateway_interface) > 1) {
      return false;
    }
    lines_.push_back({.network = address,
                      .next_hop = machine_.gateway,
                      .interface_index = machine_.gateway_interface,
                      .metric = 1});
    return true;
  }

  const Machine& machine_;
  const World& world_;
  const std::string subject_;
  std::vector<Line> lines_ = machine_.lines;
  std::set<std::string> required_;
};

// The interfaces that have the address to which a connection came.
std::set<std::uint32_t> ArrivalInterfaces(const Machine& machine, const Subject& subject) {
  std::set<std::uint32_t> interfaces;
  for (const auto& [address, interface_index] : machine.own) {
    if (subject.local && address == Bits(*subject.local)) interfaces.insert(interface_index);
  }
  return interfaces;
}

// Where a subject's ways are looked up: on one interface, or 0 for any.
struct Places {
  std::uint32_t now = 0;
  std::uint32_t after = 0;
};

// nullopt when it is not clear where the subject is reached now.
std::optional<Places> FindPlaces(const Machine& machine, const Subject& subject, bool link_local) {
  const std::uint32_t zone = link_local ? subject.scope_id : 0;
  const bool connected = subject.reason == SubjectReason::kRdpConnection ||
                         subject.reason == SubjectReason::kSshConnection ||
                         subject.reason == SubjectReason::kWinRmConnection;
  if (!connected) {
    return link_local && zone == 0 ? std::nullopt : std::optional(Places{zone, zone});
  }
  const std::set<std::uint32_t> interfaces = ArrivalInterfaces(machine, subject);
  if (interfaces.size() != 1) return std::nullopt;
  const std::uint32_t arrival = *interfaces.begin();
  if (zone != 0 && zone != arrival) return std::nullopt;
  return Places{arrival, link_local ? arrival : 0};
}

// Whether all who are on the link of some network hear what is sent to this address.
bool IsBroadcast(const Machine& machine, const std::string& address) {
  return std::any_of(machine.lines.begin(), machine.lines.end(), [&address](const Line& line) {
    const std::size_t length = line.network.size() - 2;
    return line.network[0] == '4' && IsAllZeros(line.next_hop) && length <= 30 &&
           address == line.network + std::string(32 - length, '1');
  });
}

// Whether no single machine on a network has this address.
bool IsOfNobodyElse(const Machine& machine, const std::string& address) {
  static const std::string kZeros(128, '0');
  const bool zeros = IsAllZeros(address);
  const bool loopback =
      StartsWith(address, "4:01111111") || address == "6:" + kZeros.substr(1) + "1";
  const bool multicast = StartsWith(address, "4:1110") || StartsWith(address, "6:11111111");
  const bool broadcast = address == "4:" + std::string(32, '1') || IsBroadcast(machine, address);
  return zeros || loopback || multicast || broadcast || IsOwn(machine, address);
}

bool Has(const std::vector<std::string>& texts, const std::string& text) {
  return std::find(texts.begin(), texts.end(), text) != texts.end();
}

// The tunnel is up: what has become of the subject's way.
ForecastVerdict JudgeWay(const Machine& machine, std::vector<Line> lines,
                         const std::vector<std::string>& tunnel_networks,
                         const std::vector<std::string>& tunnel_addresses, const Subject& subject) {
  const std::string address = Bits(subject.address);
  const bool link_local = StartsWith(address, "6:1111111010");
  if (IsOfNobodyElse(machine, address) || Has(tunnel_addresses, address) ||
      machine.unread_families.contains(address[0])) {
    return ForecastVerdict::kUnknown;
  }
  const std::optional<Places> places = FindPlaces(machine, subject, link_local);
  if (link_local && !places) return ForecastVerdict::kUnknown;
  const Ways now = places ? BestWays(machine.lines, address, places->now) : Ways();
  for (const std::string& network : tunnel_networks) lines.push_back({network, kTunnel, 0, 0});
  const Ways after = BestWays(lines, address, places ? places->after : 0);
  if (after.size() == 1 && after.begin()->second == kTunnel) return ForecastVerdict::kTunnel;
  if (now.empty()) return ForecastVerdict::kUnknown;
  const bool may_stay = std::any_of(now.begin(), now.end(),
                                    [&after](const auto& way) { return after.contains(way); });
  if (!may_stay) return ForecastVerdict::kMoves;
  if (now.size() > 1 || after.size() > 1) return ForecastVerdict::kUnknown;
  const auto& [interface_index, next_hop] = *now.begin();
  const bool stolen = Has(tunnel_addresses, next_hop) ||
                      std::any_of(tunnel_addresses.begin(), tunnel_addresses.end(),
                                  [&](const std::string& mine) { return IsOwn(machine, mine); });
  return machine.proved_physical.contains(interface_index) && !stolen ? ForecastVerdict::kStays
                                                                      : ForecastVerdict::kUnknown;
}

}  // namespace

Ways BestWays(const std::vector<Line>& lines, const std::string& address,
              std::uint32_t interface_index) {
  std::vector<Line> best;
  const auto rank = [](const Line& line) {
    return std::tuple(-static_cast<int>(line.network.size()), line.next_hop == kTunnel ? 0 : 1,
                      line.metric);
  };
  for (const Line& line : lines) {
    if (!StartsWith(address, line.network)) continue;
    if (interface_index != 0 && line.interface_index != interface_index) continue;
    if (!best.empty() && rank(best.front()) < rank(line)) continue;
    if (!best.empty() && rank(line) < rank(best.front())) best.clear();
    best.push_back(line);
  }
  Ways ways;
  for (const Line& line : best) ways.insert({line.interface_index, line.next_hop});
  return ways;
}

ForecastVerdict PlayConnect(const Machine& machine, const World& world, const Subject& subject) {
  Play play(machine, world, subject);
  if (play.IsRefused()) return ForecastVerdict::kRefused;
  if (play.IsUndone()) return ForecastVerdict::kUndone;
  const NetworkList allowed = Networks(play.AllowedIps());
  const NetworkList read = Networks(machine.address);
  const NetworkList address = read.complete ? read : NetworkList();
  std::vector<std::string> networks = allowed.networks;
  if (NamesEverything(networks)) return ForecastVerdict::kBlocked;
  networks.insert(networks.end(), address.networks.begin(), address.networks.end());
  const ForecastVerdict verdict =
      JudgeWay(machine, play.LinesWithoutOlderTunnel(), networks, address.hosts, subject);
  const bool doubtful =
      machine.older_tunnel || !allowed.complete || !read.complete || NamesEverything(networks);
  return doubtful ? std::min(verdict, ForecastVerdict::kUnknown) : verdict;
}

}  // namespace veltrane::naive
