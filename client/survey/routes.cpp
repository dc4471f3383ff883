#include "client/survey/routes.h"

#include <algorithm>
#include <bit>
#include <iterator>
#include <limits>
#include <map>
#include <set>

#include "bypass/apply.h"
#include "client/forecast/networks.h"
#include "guard/route_snapshots.h"
#include "platform/interface_metric.h"
#include "platform/ipv4.h"
#include "platform/routing.h"

namespace veltrane {
namespace {

// The length of the prefix that a mask in network byte order stands for; nullopt for one with a 0
// before a 1.
std::optional<std::uint32_t> PrefixLength(std::uint32_t mask) {
  std::uint32_t bits = 0;  // the mask with the first octet as the most significant byte
  for (int shift = 0; shift < 32; shift += 8) bits = bits << 8 | (mask >> shift & 0xFF);
  const int length = std::countl_one(bits);
  if (std::popcount(bits) != length) return std::nullopt;
  return static_cast<std::uint32_t>(length);
}

// Whether a row is there to stay: not an invalid one, nor one that a router's redirect has made,
// which Windows drops after some minutes.
bool IsKept(const ForwardRow& row) {
  return row.type != kRouteTypeInvalid && row.proto != kRouteProtoIcmp;
}

std::uint32_t AddMetrics(std::uint32_t route, std::uint32_t interface) {
  constexpr std::uint32_t kHighest = std::numeric_limits<std::uint32_t>::max();
  return route > kHighest - interface ? kHighest : route + interface;
}

InterfaceFacts ReadInterfaceFacts(std::uint32_t index) {
  InterfaceFacts facts;
  facts.index = index;
  if (ReadInterfaceNames(index)) facts.labelled_tunnel = IsTunnelInterface(index);
  facts.hardware = IsHardwareInterface(index);
  facts.ipv4_metric = ReadInterfaceMetric(index);
  return facts;
}

}  // namespace

IpAddress Ipv4Address(std::uint32_t address) {
  IpAddress result;
  for (std::size_t i = 0; i < 4; ++i) {
    result.bytes[i] = static_cast<std::uint8_t>(address >> 8 * i & 0xFF);
  }
  return result;
}

std::optional<std::vector<IpRoute>> SurveyIpv4Routes() {
  const std::optional<std::vector<ForwardRow>> table = ReadForwardTable();
  if (!table) return std::nullopt;
  std::vector<IpRoute> routes;
  for (const ForwardRow& row : *table) {
    if (!IsKept(row)) continue;
    const std::optional<std::uint32_t> length = PrefixLength(row.mask);
    if (!length) return std::nullopt;
    routes.push_back({.destination = Ipv4Address(row.dest),
                      .prefix_length = *length,
                      .next_hop = Ipv4Address(row.next_hop),
                      .interface_index = row.interface_index,
                      .metric = row.metric1});
  }
  return routes;
}

std::optional<std::vector<IpRoute>> SurveyIpv6Routes() {
  std::optional<std::vector<IpRoute>> routes = ReadIpv6Routes();
  if (!routes) return std::nullopt;
  std::map<std::uint32_t, std::optional<std::uint32_t>> metrics;
  for (IpRoute& route : *routes) {
    const auto [metric, is_new] = metrics.try_emplace(route.interface_index);
    if (is_new) metric->second = ReadIpv6InterfaceMetric(route.interface_index);
    if (!metric->second) return std::nullopt;
    route.metric = AddMetrics(route.metric, *metric->second);
  }
  return routes;
}

std::optional<Way> SurveyGateway(const std::optional<std::vector<IpRoute>>& ipv4_routes) {
  const std::uint32_t probe = ParseIpv4(kProbeAddress).value_or(0);
  const Result<BestRoute> route = FindBestRoute(probe);
  if (route) {
    return Way{.interface_index = route->interface_index, .next_hop = Ipv4Address(route->next_hop)};
  }
  const auto leads_there = [address = Ipv4Address(probe)](const IpRoute& row) {
    return IpNetwork{.address = row.destination, .prefix_length = row.prefix_length}.Contains(
        address);
  };
  if (!ipv4_routes || std::any_of(ipv4_routes->begin(), ipv4_routes->end(), leads_there)) {
    return std::nullopt;
  }
  return Way();
}

std::vector<InterfaceFacts> SurveyInterfaces(const Situation& situation) {
  std::set<std::uint32_t> indexes;
  for (const auto* routes : {&situation.ipv4_routes, &situation.ipv6_routes}) {
    if (!*routes) continue;
    for (const IpRoute& route : **routes) indexes.insert(route.interface_index);
  }
  if (situation.own_addresses) {
    for (const OwnAddress& own : *situation.own_addresses) indexes.insert(own.interface_index);
  }
  std::vector<InterfaceFacts> interfaces;
  std::transform(indexes.begin(), indexes.end(), std::back_inserter(interfaces),
                 ReadInterfaceFacts);
  return interfaces;
}

}  // namespace veltrane
