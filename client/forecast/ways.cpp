#include "client/forecast/ways.h"

#include "bypass/host_routes.h"

namespace veltrane {
namespace {

using Kind = KnownWay::Kind;

// Marks the host route that is there, or adds the one that the service creates.
void AddPin(const IpAddress& address, const Way& gateway, std::vector<TableRow>& rows) {
  const IpNetwork host{.address = address, .prefix_length = 32};
  for (TableRow& row : rows) {
    if (row.network == host && row.way == gateway) {
      row.pin = true;
      return;
    }
  }
  rows.push_back({.network = host, .way = gateway, .metric = kPinnedMetric, .pin = true});
}

void AddTunnel(const std::vector<IpNetwork>& networks, std::vector<TableRow>& rows) {
  for (const IpNetwork& network : networks) {
    rows.push_back({.network = network, .way = {}, .metric = 0, .new_tunnel = true});
  }
}

}  // namespace

std::optional<std::uint32_t> InterfaceOf(const std::optional<IpAddress>& address,
                                         const Situation& situation) {
  if (!address || !situation.own_addresses) return std::nullopt;
  std::optional<std::uint32_t> found;
  for (const OwnAddress& own : *situation.own_addresses) {
    if (own.address != *address || own.interface_index == found) continue;
    if (found) return std::nullopt;
    found = own.interface_index;
  }
  return found;
}

std::optional<std::uint32_t> ZoneOf(const Situation& situation, const Subject& subject) {
  if (!IsIpv6LinkLocal(subject.address)) return std::nullopt;
  const std::optional<std::uint32_t> scope =
      subject.scope_id == 0 ? std::nullopt : std::optional(subject.scope_id);
  if (!IsConnection(subject)) return scope;
  const std::optional<std::uint32_t> arrival = InterfaceOf(subject.local, situation);
  return !scope || scope == arrival ? arrival : std::nullopt;
}

LookUp FindWayToday(const Situation& situation, const Subject& subject,
                    const std::vector<TableRow>& rows) {
  const std::optional<std::uint32_t> arrival = InterfaceOf(subject.local, situation);
  if (IsConnection(subject) && !arrival) return {};
  return FindBestRow(rows, subject.address,
                     IsConnection(subject) ? arrival : ZoneOf(situation, subject));
}

LookUp FindWayAfter(const Situation& situation, const Subject& subject, const Plan& plan, Pin pin,
                    std::vector<TableRow> rows) {
  if (pin == Pin::kYes) AddPin(subject.address, *situation.gateway, rows);
  std::erase_if(rows, [&](const TableRow& row) {
    return IsOfTunnelToday(situation, row.way.interface_index);
  });
  AddTunnel(plan.allowed, rows);
  if (const auto own = ParseNetworks(situation.address.value_or(""))) AddTunnel(*own, rows);
  return FindBestRow(rows, subject.address, ZoneOf(situation, subject));
}

bool IsOfTunnelToday(const Situation& situation, std::uint32_t interface_index) {
  return situation.tunnel_today != TunnelToday::kNone &&
         situation.tunnel_interface == interface_index;
}

KnownWay DescribeWay(const std::optional<TableRow>& row, const Situation& situation) {
  if (!row) return {};
  if (row->new_tunnel) return {.kind = Kind::kTunnel, .way = {}};
  const std::uint32_t index = row->way.interface_index;
  const bool tunnel =
      IsOfTunnelToday(situation, index) || FactsOf(situation, index).labelled_tunnel == true;
  return {.kind = tunnel ? Kind::kTunnel : Kind::kPhysical, .way = row->way};
}

}  // namespace veltrane
