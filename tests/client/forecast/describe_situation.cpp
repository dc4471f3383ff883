#include <sstream>

#include "tests/client/forecast/random_situation.h"

namespace veltrane {
namespace {

template <typename Value, typename Print>
std::string OrUnknown(const std::optional<Value>& value, Print print) {
  return value ? print(*value) : "unknown";
}

std::string Quoted(const std::optional<std::string>& text) {
  return OrUnknown(text, [](const std::string& known) { return '"' + known + '"'; });
}

std::string YesOrNo(const std::optional<bool>& flag) {
  return OrUnknown(flag, [](bool known) { return known ? "yes" : "no"; });
}

std::string WayText(const Way& way) {
  return AddressText(way.next_hop) + " if " + std::to_string(way.interface_index);
}

std::string RoutesText(const std::vector<IpRoute>& routes) {
  std::string text;
  for (const IpRoute& route : routes) {
    text += "\n    " + AddressText(route.destination) + "/" + std::to_string(route.prefix_length) +
            " -> " + WayText({route.interface_index, route.next_hop}) + " metric " +
            std::to_string(route.metric);
  }
  return text;
}

std::string AddressesText(const std::vector<IpAddress>& addresses) {
  std::string text;
  for (const IpAddress& address : addresses) text += AddressText(address) + " ";
  return text;
}

std::string OwnText(const std::vector<OwnAddress>& addresses) {
  std::string text;
  for (const OwnAddress& own : addresses) {
    text += AddressText(own.address) + "%" + std::to_string(own.interface_index) + " ";
  }
  return text;
}

std::string WorldText(const World& world) {
  std::string text =
      "\n    guard " + YesOrNo(world.guard) + ", bypass " + YesOrNo(world.bypass) + ", named \"";
  for (const std::string& token : world.named) text += token + " ";
  text += "\"";
  if (world.names_other) text += ", names somebody else";
  if (world.names_subject) text += ", names subject";
  if (world.names_unpinnable) text += ", names unpinnable";
  if (world.in_remote_session) text += ", remote session";
  if (world.guard_overridden) text += ", guard overridden";
  return text;
}

}  // namespace

std::string Describe(const Subject& subject) {
  static constexpr const char* kReasons[] = {
      "rdp_connection", "setting", "asked", "rdp_session", "ssh_connection", "winrm_connection"};
  return AddressText(subject.address) + "%" + std::to_string(subject.scope_id) + " (" +
         kReasons[static_cast<std::size_t>(subject.reason)] + ", to " +
         OrUnknown(subject.local, AddressText) + ")";
}

std::string Describe(ForecastVerdict verdict) {
  static constexpr const char* kNames[] = {"blocked", "tunnel",  "moves", "unknown",
                                           "undone",  "refused", "stays"};
  return kNames[static_cast<std::size_t>(verdict)];
}

std::string Describe(const Situation& situation) {
  static constexpr const char* kTunnelStates[] = {"none", "up", "unknown"};
  std::ostringstream text;
  text << "  ipv4: " << OrUnknown(situation.ipv4_routes, RoutesText)
       << "\n  ipv6: " << OrUnknown(situation.ipv6_routes, RoutesText) << "\n  interfaces:";
  for (const InterfaceFacts& facts : situation.interfaces) {
    text << "\n    " << facts.index << ": labelled " << YesOrNo(facts.labelled_tunnel)
         << ", hardware " << YesOrNo(facts.hardware) << ", metric "
         << OrUnknown(facts.ipv4_metric, [](std::uint32_t known) { return std::to_string(known); });
  }
  text << "\n  own: " << OrUnknown(situation.own_addresses, OwnText)
       << "\n  gateway: " << OrUnknown(situation.gateway, WayText)
       << "\n  tunnel today: " << kTunnelStates[static_cast<std::size_t>(situation.tunnel_today)]
       << ", interface " << situation.tunnel_interface.value_or(0)
       << "\n  peers: " << OrUnknown(situation.rdp_peers, AddressesText)
       << "\n  sessions: " << AddressesText(situation.session_clients) << "(all "
       << YesOrNo(situation.all_sessions_read)
       << ")\n  AllowedIPs: " << Quoted(situation.allowed_ips)
       << ", Address: " << Quoted(situation.address) << "\n  worlds:";
  for (const World& world : situation.worlds) text << WorldText(world);
  text << "\n  subjects:";
  for (const Subject& subject : situation.subjects) text << "\n    " << Describe(subject);
  return text.str() + "\n";
}

}  // namespace veltrane
