#pragma once

// Builds what a forecast is made from, so that each test states only what matters to it, and writes
// answers on one line.
//
// The office: interface 12 is hardware, has 192.168.1.10/24 and 2001:db8:1::10/64, and leads to the
// gateways 192.168.1.1 and fe80::1. Interface 13 exists and has no routes. No tunnel is up, nobody
// is connected, the bypass and the guard are off, and everything is known. The profile takes
// 10.66.66.0/24 and has the address 10.66.66.7/32.

#include <cstdint>
#include <string>
#include <vector>

#include "client/forecast/forecast.h"
#include "client/forecast/plan.h"

namespace veltrane {

inline constexpr std::uint32_t kLoopback = 1;
inline constexpr std::uint32_t kLan = 12;
inline constexpr std::uint32_t kSecond = 13;
inline constexpr std::uint32_t kTunnel = 40;

inline IpAddress Ip(const std::string& text) { return ParseAddress(text).value(); }
inline IpNetwork Net(const std::string& text) { return ParseNetwork(text).value(); }

// A row of today's table; "" as the next hop for one on the link.
inline IpRoute RouteTo(const std::string& network, const std::string& next_hop,
                       std::uint32_t interface_index, std::uint32_t metric = 25) {
  IpRoute route;
  route.destination = Net(network).address;
  route.prefix_length = Net(network).prefix_length;
  route.next_hop.family = route.destination.family;
  if (!next_hop.empty()) route.next_hop = Ip(next_hop);
  route.interface_index = interface_index;
  route.metric = metric;
  return route;
}

inline InterfaceFacts Hardware(std::uint32_t index, std::uint32_t metric = 1) {
  InterfaceFacts facts;
  facts.index = index;
  facts.labelled_tunnel = false;
  facts.hardware = true;
  facts.ipv4_metric = metric;
  return facts;
}

inline InterfaceFacts LabelledTunnel(std::uint32_t index) {
  InterfaceFacts facts = Hardware(index);
  facts.labelled_tunnel = true;
  facts.hardware = false;
  return facts;
}

inline Situation Office() {
  Situation office;
  office.ipv4_routes = {{RouteTo("0.0.0.0/0", "192.168.1.1", kLan, 25),
                         RouteTo("127.0.0.0/8", "", kLoopback, 331),
                         RouteTo("192.168.1.0/24", "", kLan, 257)}};
  office.ipv6_routes = {
      {RouteTo("::/0", "fe80::1", kLan, 25), RouteTo("::1/128", "", kLoopback, 331),
       RouteTo("2001:db8:1::/64", "", kLan, 257), RouteTo("fe80::/64", "", kLan, 257)}};
  office.interfaces = {Hardware(kLan), Hardware(kSecond)};
  office.own_addresses = {{{Ip("127.0.0.1"), kLoopback},
                           {Ip("192.168.1.10"), kLan},
                           {Ip("::1"), kLoopback},
                           {Ip("2001:db8:1::10"), kLan},
                           {Ip("fe80::10"), kLan}}};
  office.gateway = Way{kLan, Ip("192.168.1.1")};
  office.tunnel_today = TunnelToday::kNone;
  office.rdp_peers.emplace();
  office.all_sessions_read = true;
  office.worlds = {World()};
  office.allowed_ips = "10.66.66.0/24";
  office.address = "10.66.66.7/32";
  return office;
}

// A second adapter of hardware, 192.168.2.10/24 with the gateway 192.168.2.1. Its default route has
// the metric 50, so that the first one is the better.
inline void AddSecondAdapter(Situation& situation) {
  situation.ipv4_routes->push_back(RouteTo("0.0.0.0/0", "192.168.2.1", kSecond, 50));
  situation.ipv4_routes->push_back(RouteTo("192.168.2.0/24", "", kSecond, 257));
  situation.own_addresses->push_back({Ip("192.168.2.10"), kSecond});
}

// The tunnel of an earlier connect, which takes both halves.
inline void AddOlderTunnel(Situation& situation) {
  situation.tunnel_today = TunnelToday::kUp;
  situation.tunnel_interface = kTunnel;
  situation.ipv4_routes->push_back(RouteTo("0.0.0.0/1", "", kTunnel, 5));
  situation.ipv4_routes->push_back(RouteTo("128.0.0.0/1", "", kTunnel, 5));
}

inline World GuardWorld() {
  World world;
  world.guard = true;
  return world;
}

// A world in which the bypass is on and the settings name these.
inline World BypassWorld(const std::vector<std::string>& named) {
  World world;
  world.bypass = true;
  world.named = named;
  return world;
}

inline Subject Asked(const std::string& address, std::uint32_t scope_id = 0) {
  Subject subject;
  subject.address = Ip(address);
  subject.scope_id = scope_id;
  return subject;
}

// Somebody who is connected over Remote Desktop to this address of the machine.
inline Subject Connected(const std::string& address, const std::string& local) {
  Subject subject = Asked(address);
  subject.reason = SubjectReason::kRdpConnection;
  subject.local = Ip(local);
  return subject;
}

// "stays", "tunnel", ...; apart from the function of the screens, which is tested elsewhere.
inline std::string NameOf(ForecastVerdict verdict) {
  constexpr const char* kNames[] = {"blocked", "tunnel",  "moves", "unknown",
                                    "undone",  "refused", "stays"};
  return kNames[static_cast<std::size_t>(verdict)];
}

// The name of the enumerator in words: "table unread".
inline std::string NameOf(Cause cause) {
  constexpr const char* kNames[] = {"proved",
                                    "slash zero",
                                    "assumed catch-all",
                                    "network taken",
                                    "pinned elsewhere",
                                    "left elsewhere",
                                    "nowhere",
                                    "table unread",
                                    "own addresses unread",
                                    "older tunnel",
                                    "no way today",
                                    "arrival unclear",
                                    "ways are equal",
                                    "other tunnel",
                                    "interface unproved",
                                    "loopback",
                                    "own address",
                                    "nobody's",
                                    "zone missing",
                                    "guard network unknown",
                                    "Address catches all",
                                    "Address taken",
                                    "profile unread",
                                    "pin unclear",
                                    "tunnel default route",
                                    "refusal"};
  return kNames[static_cast<std::size_t>(cause)];
}

// "12 through 192.168.1.1", "12 on the link", "tunnel 40 on the link", "the new tunnel" or "none".
inline std::string Told(const KnownWay& way) {
  if (way.kind == KnownWay::Kind::kNone) return "none";
  const bool tunnel = way.kind == KnownWay::Kind::kTunnel;
  if (tunnel && way.way == Way()) return "the new tunnel";
  return (tunnel ? "tunnel " : "") + std::to_string(way.way.interface_index) +
         (IsUnspecified(way.way.next_hop) ? " on the link"
                                          : " through " + AddressText(way.way.next_hop));
}

// Everything that an outlook says but its subject: "tunnel, network taken 0.0.0.0/1; now 12 through
// 192.168.1.1; after the new tunnel; settled by ADMIN_BYPASS_IP; may survive; replaces a tunnel".
// What an outlook does not have is left out.
inline std::string Told(const Outlook& outlook) {
  std::string text = NameOf(outlook.verdict) + ", " + NameOf(outlook.cause);
  for (const std::string& network : outlook.networks) text += " " + network;
  if (!outlook.error.empty()) text += " " + outlook.error;
  if (!outlook.failure_reason.empty()) text += " (" + outlook.failure_reason + ")";
  text += "; now " + (outlook.now ? Told(*outlook.now) : "unread");
  if (outlook.after) text += "; after " + Told(*outlook.after);
  for (const Setting setting : outlook.settled_by) {
    text += std::string("; settled by ") + kSettingNames[static_cast<std::size_t>(setting)];
  }
  if (outlook.may_survive) text += "; may survive";
  if (outlook.replaces_tunnel) text += "; replaces a tunnel";
  return text;
}

// The answer for one subject, in words.
inline std::string Forecast(Situation situation, const Subject& subject) {
  situation.subjects = {subject};
  return Told(MakeForecast(situation).at(0));
}

// The answer for an address that the command line names.
inline std::string Forecast(const Situation& situation, const std::string& address) {
  return Forecast(situation, Asked(address));
}

// "connected", "connected, pinned", "connected, perhaps pinned", "refused: ERROR (REASON)" or
// "undone: ERROR (REASON)", followed by what is unclear.
inline std::string Told(const Plan& plan) {
  const std::string reply = plan.error + " (" + plan.failure_reason + ")";
  std::string text = plan.end == Plan::End::kRefused  ? "refused: " + reply
                     : plan.end == Plan::End::kUndone ? "undone: " + reply
                                                      : "connected";
  if (plan.pin == Pin::kYes) text += ", pinned";
  if (plan.pin == Pin::kPerhaps) text += ", perhaps pinned";
  if (plan.unclear) text += ", unclear: " + NameOf(*plan.unclear);
  return text;
}

}  // namespace veltrane
