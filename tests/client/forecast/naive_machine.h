#pragma once

// One connect on a machine of which everything is known, played through step by step. Nothing here
// shares code with the forecast or the service.

#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "client/forecast/forecast.h"

namespace veltrane::naive {

// A row of a table, with addresses as naive_bits.h has them.
struct Line {
  std::string network;
  std::string next_hop;  // "tunnel" for a row of the new tunnel, whose interface has no index yet
  std::uint32_t interface_index = 0;
  std::uint32_t metric = 0;

  bool operator==(const Line&) const = default;
};

// What is taken for granted about one machine: what could be read, and invented values for all the
// rest.
struct Machine {
  std::vector<Line> lines;                 // of both families
  std::set<char> unread_families;          // '4', '6': their lines are invented
  std::map<std::uint32_t, bool> labelled;  // no entry: not known, and of no interest to the service
  std::set<std::uint32_t> proved_physical;
  std::map<std::uint32_t, std::uint32_t> metrics;
  std::vector<std::pair<std::string, std::uint32_t>> own;  // an address, and its interface
  std::string gateway;                                     // its bits; all zeros when there is none
  std::uint32_t gateway_interface = 0;
  bool older_tunnel = false;
  std::uint32_t older_interface = 0;
  std::set<std::string> peers;
  std::set<std::string> session_clients;
  std::string unpinnable;  // an invented address for which no host route can be created
  std::string allowed_ips;
  std::string address;

  bool operator==(const Machine&) const = default;
};

// Ways as pairs of an interface and a next hop.
using Ways = std::set<std::pair<std::uint32_t, std::string>>;

// The ways that are equally the best to an address; `interface_index` 0 for any.
Ways BestWays(const std::vector<Line>& lines, const std::string& address,
              std::uint32_t interface_index);

// What becomes of the subject when the connect is made on this machine in this world.
ForecastVerdict PlayConnect(const Machine& machine, const World& world, const Subject& subject);

}  // namespace veltrane::naive
