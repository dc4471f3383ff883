#include "client/screens/forecast_texts.h"

#include <algorithm>

#include <nlohmann/json.hpp>

#include "bypass/candidates.h"

namespace veltrane {
namespace {

constexpr char kLibraryBlocks[] = "the WireGuard library blocks everything outside the tunnel";
constexpr char kAskWithProfile[] = ".\\veltranectl doctor PROFILE";

std::string Joined(const std::vector<std::string>& items, const std::string& separator) {
  std::string text;
  for (const std::string& item : items) text += (text.empty() ? "" : separator) + item;
  return text;
}

std::string NetworksText(const std::vector<IpNetwork>& networks) {
  std::vector<std::string> texts;
  for (const IpNetwork& network : networks) {
    const std::string text = NetworkText(network);
    if (std::find(texts.begin(), texts.end(), text) == texts.end()) texts.push_back(text);
  }
  return Joined(texts, ", ");
}

std::string WayText(const KnownWay& way) {
  if (way.kind == KnownWay::Kind::kNone) return "no route";
  const std::string interface = "interface " + std::to_string(way.way.interface_index);
  const std::string place = IsUnspecified(way.way.next_hop)
                                ? interface + ", on the link"
                                : AddressText(way.way.next_hop) + " on " + interface;
  return way.kind == KnownWay::Kind::kTunnel ? place + ", another tunnel" : place;
}

bool CanBePinned(const IpAddress& address) {
  return address.family == IpFamily::kIpv4 && IsPublicIpv4(AddressText(address));
}

std::vector<std::string> NamesOf(const std::vector<Setting>& settings) {
  std::vector<std::string> names;
  for (const Setting setting : settings) {
    names.emplace_back(kSettingNames[static_cast<std::size_t>(setting)]);
  }
  return names;
}

std::string RefusalText(const Outlook& outlook) {
  return outlook.error == outlook.failure_reason
             ? outlook.error
             : outlook.error + " (" + outlook.failure_reason + ")";
}

std::string MoveText(const Outlook& outlook, const std::string& why) {
  return why + WayText(*outlook.after) + ", today by " + WayText(outlook.now);
}

std::string UnknownText(const Outlook& outlook) {
  const std::string interface = "interface " + std::to_string(outlook.now.way.interface_index);
  switch (outlook.cause) {
    case Cause::kTableUnread:
      return "the routes cannot be read";
    case Cause::kOwnAddressesUnread:
      return "the machine's own addresses cannot be read";
    case Cause::kOlderTunnel:
      return "a tunnel is up, or perhaps is, and a connect would replace it";
    case Cause::kNoWayToday:
      return "no route leads to it today";
    case Cause::kArrivalUnclear:
      return "the connection's own interface has no route back to it";
    case Cause::kWaysAreEqual:
      return "two different routes to it are equally good";
    case Cause::kOtherTunnel:
      return "it is reached through another tunnel, " + interface +
             ", whose own packets the connect may take";
    case Cause::kInterfaceUnproved:
      return "an interface that decides is not known to be hardware; it may be another tunnel, "
             "whose own packets the connect may take";
    case Cause::kLoopback:
      return "a program of this machine connects on behalf of somebody: ask for the address that "
             "this comes from";
    case Cause::kOwnAddress:
      return "the machine's own address: ask for the one from which somebody comes";
    case Cause::kZoneMissing:
      return "a link-local address leads nowhere without its interface";
    case Cause::kGuardNetworkUnknown:
      return "the default-route guard puts the client's own network in the place of a catch-all, "
             "and only the profile says which one that is";
    case Cause::kAddressCatchesAll:
      return "Address has a network of length /0";
    case Cause::kProfileUnread:
      return "the profile's networks cannot be told";
    default:
      return "whether the service can pin it is not known";
  }
}

// Why it comes to this verdict.
std::string CauseText(const Outlook& outlook) {
  switch (outlook.cause) {
    case Cause::kProved:
      return "by " + WayText(outlook.now) + ", as today";
    case Cause::kSlashZero:
      return "AllowedIPs has " + NetworksText(outlook.networks) +
             " and one peer: " + kLibraryBlocks;
    case Cause::kAssumedCatchAll:
      return "a catch-all stands in for a profile";
    case Cause::kNetworkTaken:
      return "its packets would leave by the tunnel, which takes " + NetworksText(outlook.networks);
    case Cause::kPinnedElsewhere:
      return MoveText(outlook, "it would be pinned through ");
    case Cause::kLeftElsewhere:
      return MoveText(outlook, "it would be left to ");
    case Cause::kNowhere:
      return "no route to it would be left, today by " + WayText(outlook.now);
    case Cause::kTunnelDefaultRoute:
      return "the tunnel would be started, and taken down again because of a default route through "
             "another tunnel (" +
             RefusalText(outlook) + "); a connection may break in that time";
    case Cause::kRefusal:
      return "nothing would be started: " + RefusalText(outlook) +
             (outlook.replaces_tunnel
                  ? "; the tunnel that is up would lose its phase and its pinned routes even so"
                  : "");
    default:
      return UnknownText(outlook);
  }
}

std::string BlockedFix(const Outlook& outlook) {
  std::vector<std::string> halves;
  const auto has = [&outlook](IpFamily family) {
    return std::any_of(
        outlook.networks.begin(), outlook.networks.end(),
        [family](const IpNetwork& network) { return network.address.family == family; });
  };
  if (has(IpFamily::kIpv4)) halves.emplace_back("0.0.0.0/1, 128.0.0.0/1");
  if (has(IpFamily::kIpv6)) halves.emplace_back("::/1, 8000::/1");
  return "With " + Joined(halves, ", ") + " it does not, but DNS and IPv6 may then leak";
}

std::string UnknownFix(const Outlook& outlook) {
  switch (outlook.cause) {
    case Cause::kOlderTunnel:
      return ".\\veltranectl disconnect";
    case Cause::kGuardNetworkUnknown:
      return kAskWithProfile;
    case Cause::kPinUnclear:
      return CanBePinned(outlook.subject.address) ? "look again in an elevated prompt" : "";
    default:
      return {};
  }
}

const char* KindWord(KnownWay::Kind kind) {
  switch (kind) {
    case KnownWay::Kind::kPhysical:
      return "physical";
    case KnownWay::Kind::kTunnel:
      return "tunnel";
    case KnownWay::Kind::kNone:
      break;
  }
  return "none";
}

// The interface of a tunnel that does not exist yet has no number.
nlohmann::ordered_json WayJson(const KnownWay& way) {
  nlohmann::ordered_json json;
  json["kind"] = KindWord(way.kind);
  if (way.kind == KnownWay::Kind::kNone || way.way == Way()) return json;
  json["interface"] = way.way.interface_index;
  if (!IsUnspecified(way.way.next_hop)) json["next_hop"] = AddressText(way.way.next_hop);
  return json;
}

}  // namespace

const char* VerdictWord(ForecastVerdict verdict) {
  constexpr const char* kWords[] = {"blocked", "tunnel",  "moves", "unknown",
                                    "undone",  "refused", "stays"};
  return kWords[static_cast<std::size_t>(verdict)];
}

const char* ReasonWord(SubjectReason reason) {
  constexpr const char* kWords[] = {"rdp_connection", "setting", "asked", "rdp_session"};
  return kWords[static_cast<std::size_t>(reason)];
}

bool Endangers(const Outlook& outlook) {
  return outlook.subject.reason == SubjectReason::kRdpConnection &&
         outlook.verdict != ForecastVerdict::kStays && outlook.verdict != ForecastVerdict::kRefused;
}

std::vector<Outlook> WorstFirst(std::vector<Outlook> outlooks) {
  std::stable_sort(outlooks.begin(), outlooks.end(), [](const Outlook& left, const Outlook& right) {
    return left.verdict < right.verdict;
  });
  return outlooks;
}

std::string SummaryOf(const Outlook& outlook) {
  const std::string connected = "connected over Remote Desktop";
  const std::string reasons[] = {
      outlook.subject.local ? connected + " to " + AddressText(*outlook.subject.local) : connected,
      "named by the settings", "asked about", "what the client of a session says of itself"};
  constexpr const char* kVerdicts[] = {
      "would be blocked",     "would be lost to the tunnel",  "would move", "not known",
      "would be interrupted", "the connect would be refused", "stays"};
  return reasons[static_cast<std::size_t>(outlook.subject.reason)] + ": " +
         kVerdicts[static_cast<std::size_t>(outlook.verdict)];
}

std::string DetailOf(const Outlook& outlook, bool assumed) {
  std::string text = CauseText(outlook);
  if (outlook.may_survive) {
    text += "; on Windows an established connection may survive all the same, a new one would not";
  }
  if (!outlook.settled_by.empty()) {
    text += "; that depends on " + Joined(NamesOf(outlook.settled_by), ", ") +
            ", of which the value that the service has is not known";
  }
  if (assumed) text += "; assuming that the service has this process's environment";
  return text;
}

std::string FixOf(const Outlook& outlook) {
  if (!outlook.settled_by.empty()) {
    return "look again in an elevated prompt, or set " + Joined(NamesOf(outlook.settled_by), ", ") +
           " in the service's own environment and restart the service (docs/limits.md)";
  }
  switch (outlook.cause) {
    case Cause::kSlashZero:
      return BlockedFix(outlook);
    case Cause::kAssumedCatchAll:
      return kAskWithProfile;
    case Cause::kNetworkTaken:
      return CanBePinned(outlook.subject.address)
                 ? "name it in ADMIN_BYPASS_IP, with the default-route guard off, or keep its "
                   "network out of AllowedIPs"
                 : "keep its network out of AllowedIPs: only public IPv4 addresses are pinned";
    case Cause::kPinnedElsewhere:
      return "come in through the other interface, or turn the bypass off and keep its network "
             "out of AllowedIPs";
    default:
      return UnknownFix(outlook);
  }
}

nlohmann::ordered_json ForecastJson(const std::vector<Outlook>& outlooks, bool assumed) {
  auto json = nlohmann::ordered_json::array();
  for (const Outlook& outlook : outlooks) {
    nlohmann::ordered_json item;
    item["address"] = AddressText(outlook.subject.address);
    item["reason"] = ReasonWord(outlook.subject.reason);
    if (outlook.subject.local) item["local"] = AddressText(*outlook.subject.local);
    item["now"] = WayJson(outlook.now);
    if (outlook.after) item["after"] = WayJson(*outlook.after);
    item["verdict"] = VerdictWord(outlook.verdict);
    const std::string detail = DetailOf(outlook, assumed);
    if (!detail.empty()) item["detail"] = detail;
    const std::string fix = FixOf(outlook);
    if (!fix.empty()) item["fix"] = fix;
    json.push_back(item);
  }
  return json;
}

}  // namespace veltrane
