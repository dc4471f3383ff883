#include "client/forecast/table.h"

#include <algorithm>
#include <tuple>

namespace veltrane {
namespace {

// The lower, the better.
std::tuple<std::int64_t, bool, std::uint32_t> RankOf(const TableRow& row) {
  return {-std::int64_t{row.network.prefix_length}, !row.new_tunnel, row.metric};
}

// Two addresses on a link are both hosts' (RFC 3021).
constexpr std::uint32_t kLongestWithBroadcast = 30;

bool HasOnesBehind(const IpAddress& address, std::uint32_t prefix_length) {
  for (std::size_t bit = prefix_length; bit < 32; ++bit) {
    if ((address.bytes[bit / 8] >> (7 - bit % 8) & 1) == 0) return false;
  }
  return true;
}

}  // namespace

bool LeadsBy(const Way& way, const LookUp& found) {
  return std::find(found.ways.begin(), found.ways.end(), way) != found.ways.end();
}

LookUp FindBestRow(const std::vector<TableRow>& rows, const IpAddress& address,
                   std::optional<std::uint32_t> only_interface) {
  LookUp found;
  for (const TableRow& row : rows) {
    if (!row.network.Contains(address)) continue;
    if (only_interface && (row.new_tunnel || row.way.interface_index != *only_interface)) continue;
    if (!found.best || RankOf(row) < RankOf(*found.best)) {
      found = {row, {row.way}};
    } else if (RankOf(row) == RankOf(*found.best) && !LeadsBy(row.way, found)) {
      found.ways.push_back(row.way);
    }
  }
  return found;
}

bool IsBroadcastOfLink(const std::vector<TableRow>& rows, const IpAddress& address) {
  if (address.family != IpFamily::kIpv4) return false;
  return std::any_of(rows.begin(), rows.end(), [&address](const TableRow& row) {
    return IsUnspecified(row.way.next_hop) && row.network.prefix_length <= kLongestWithBroadcast &&
           row.network.Contains(address) && HasOnesBehind(address, row.network.prefix_length);
  });
}

std::optional<std::vector<TableRow>> RowsToday(const Situation& situation, IpFamily family) {
  const auto& routes = family == IpFamily::kIpv4 ? situation.ipv4_routes : situation.ipv6_routes;
  if (!routes) return std::nullopt;
  std::vector<TableRow> rows;
  for (const IpRoute& route : *routes) {
    rows.push_back({.network = {.address = route.destination, .prefix_length = route.prefix_length},
                    .way = {.interface_index = route.interface_index, .next_hop = route.next_hop},
                    .metric = route.metric});
  }
  return rows;
}

}  // namespace veltrane
