#include "tests/client/forecast/withheld_pieces.h"

#include <algorithm>

namespace veltrane {
namespace {

// Does something to the facts of one interface, if they are still there.
Piece OfInterface(std::uint32_t index, const std::string& what,
                  const std::function<void(InterfaceFacts&)>& blank) {
  return {what + " of interface " + std::to_string(index), [index, blank](RandomCase& known) {
            for (InterfaceFacts& facts : known.situation.interfaces) {
              if (facts.index == index) blank(facts);
            }
          }};
}

void AddInterface(std::vector<Piece>& pieces, std::uint32_t index) {
  pieces.push_back({"interface " + std::to_string(index), [index](RandomCase& known) {
                      std::erase_if(
                          known.situation.interfaces,
                          [index](const InterfaceFacts& facts) { return facts.index == index; });
                    }});
  pieces.push_back(
      OfInterface(index, "label", [](InterfaceFacts& facts) { facts.labelled_tunnel.reset(); }));
  pieces.push_back(
      OfInterface(index, "hardware", [](InterfaceFacts& facts) { facts.hardware.reset(); }));
  pieces.push_back(
      OfInterface(index, "metric", [](InterfaceFacts& facts) { facts.ipv4_metric.reset(); }));
}

void AddSettings(std::vector<Piece>& pieces) {
  for (std::size_t i = 0; i < kSettingNames.size(); ++i) {
    pieces.push_back({kSettingNames[i], [i](RandomCase& known) {
                        known.settings.values[i].reset();
                        known.situation.worlds = ListWorlds(known.settings);
                      }});
  }
}

}  // namespace

std::vector<Piece> PiecesOf(const RandomCase& full) {
  std::vector<Piece> pieces = {
      {"IPv4 routes", [](RandomCase& known) { known.situation.ipv4_routes.reset(); }},
      {"IPv6 routes", [](RandomCase& known) { known.situation.ipv6_routes.reset(); }},
      {"own addresses", [](RandomCase& known) { known.situation.own_addresses.reset(); }},
      {"gateway", [](RandomCase& known) { known.situation.gateway.reset(); }},
      {"older tunnel",
       [](RandomCase& known) { known.situation.tunnel_today = TunnelToday::kUnknown; }},
      {"interface of the older tunnel",
       [](RandomCase& known) { known.situation.tunnel_interface.reset(); }},
      {"Remote Desktop peers", [](RandomCase& known) { known.situation.rdp_peers.reset(); }},
      {"sessions",
       [](RandomCase& known) {
         known.situation.session_clients.clear();
         known.situation.all_sessions_read = false;
       }},
      {"AllowedIPs", [](RandomCase& known) { known.situation.allowed_ips.reset(); }},
      {"Address", [](RandomCase& known) { known.situation.address.reset(); }},
      {"profile",
       [](RandomCase& known) {
         known.situation.allowed_ips.reset();
         known.situation.address.reset();
       }},
      {"local addresses",
       [](RandomCase& known) {
         for (Subject& subject : known.situation.subjects) subject.local.reset();
       }},
      {"zones", [](RandomCase& known) {
         for (Subject& subject : known.situation.subjects) subject.scope_id = 0;
       }}};
  for (const InterfaceFacts& facts : full.situation.interfaces) AddInterface(pieces, facts.index);
  AddSettings(pieces);
  return pieces;
}

}  // namespace veltrane
