#pragma once

// Looking up where packets leave. Pure functions.

#include <cstdint>
#include <optional>
#include <vector>

#include "client/forecast/networks.h"
#include "client/forecast/situation.h"

namespace veltrane {

// A row of a forward table.
struct TableRow {
  IpNetwork network;
  Way way;
  std::uint32_t metric = 0;
  bool new_tunnel = false;  // of the tunnel that the connect starts; it has no way yet
  bool pin = false;         // a host route that the service has pinned
};

struct LookUp {
  std::optional<TableRow> best;
  std::vector<Way> ways;  // of all rows that are as good; with more than one the best is a guess
};

// Finds the row for an address, of all or of one interface: the longest prefix, then the new
// tunnel, then the lowest metric. The first of equal ones is the best.
LookUp FindBestRow(const std::vector<TableRow>& rows, const IpAddress& address,
                   std::optional<std::uint32_t> only_interface = std::nullopt);

// Whether one of the rows that are as good as the best leads by this way.
bool LeadsBy(const Way& way, const LookUp& found);

// Whether packets to this IPv4 address go to everybody on the link of one of these rows.
bool IsBroadcastOfLink(const std::vector<TableRow>& rows, const IpAddress& address);

// Returns the rows of today's table of this family; nullopt when it could not be read.
std::optional<std::vector<TableRow>> RowsToday(const Situation& situation, IpFamily family);

}  // namespace veltrane
