#include "client/forecast/table.h"

#include <algorithm>
#include <tuple>

namespace veltrane {
namespace {

// The lower, the better.
std::tuple<std::int64_t, bool, std::uint32_t> RankOf(const TableRow& row) {
  return {-std::int64_t{row.network.prefix_length}, !row.new_tunnel, row.metric};
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
