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

std::string NetworksText(const std::vector<std::string>& networks) {
  std::vector<std::string> texts;
  for (const std::string& network : networks) {
    if (std::find(texts.begin(), texts.end(), network) == texts.end()) texts.push_back(network);
  }
  return Joined(texts, ", ");
}

std::string PlaceText(const Way& way) {
  const std::string interface = "interface " + std::to_string(way.interface_index);
  return IsUnspecified(way.next_hop) ? interface + ", on the link"
                                     : AddressText(way.next_hop) + " on " + interface;
}

std::string WayText(const KnownWay& way) {
  if (way.kind == KnownWay::Kind::kNone) return "no route";
  return PlaceText(way.way) + (way.kind == KnownWay::Kind::kTunnel ? ", another tunnel" : "");
}

bool CanBePinned(const IpAddress& address) {
  return address.family == IpFamily::kIpv4 && IsPublicIpv4(AddressText(address));
}

std::vector<std::string> NamesOf(const std::vector<Setting>& settings) {
  std::vector<std::string> names;
  names.reserve(settings.size());
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

std::string NowText(const Outlook& outlook) { return WayText(outlook.now.value_or(KnownWay())); }

std::string UnknownText(const Outlook& outlook) {
  switch (outlook.cause) {
    case Cause::kTableUnread:
      return "the routes cannot be read";
    case Cause::kOwnAddressesUnread:
      return "the machine's own addresses cannot be read";
    case Cause::kOlderTunnel:
      return "a tunnel is up, or may be; a connect would replace it";
    case Cause::kNoWayToday:
      return "no route leads to it today";
    case Cause::kArrivalUnclear:
      return "by which interface the connection came is not clear, or that interface has no route "
             "back";
    case Cause::kWaysAreEqual:
      return "two different routes to it are equally good";
    case Cause::kOtherTunnel:
      return "it is reached through another tunnel, " +
             PlaceText(outlook.now.value_or(KnownWay()).way) +
             ", whose own packets the connect may take";
    case Cause::kInterfaceUnproved:
      return "an interface that decides is not known to be hardware that is up; it may be another "
             "tunnel, whose own packets the connect may take";
    case Cause::kLoopback:
      return "a program on this machine relays the connection: ask about the address that its "
             "client comes from";
    case Cause::kOwnAddress:
      return "the machine's own address: ask about the address that the administrator comes from";
    case Cause::kNobodys:
      return "not an address that a machine can have";
    case Cause::kZoneMissing:
      return "a link-local address leads nowhere without its interface";
    case Cause::kGuardNetworkUnknown:
      return "the default-route guard puts the client's own network in the place of a catch-all, "
             "and only the profile says which one that is";
    case Cause::kAddressCatchesAll:
      return "Address has a network of length /0";
    case Cause::kAddressTaken:
      return "Address is the gateway's or one that the machine has already";
    case Cause::kProfileUnread:
      return "AllowedIPs or Address is not a list of networks";
    default:
      return CanBePinned(outlook.subject.address) ? "whether it would be pinned is not known"
                                                  : "whether the connect would go on is not known";
  }
}

// Why it comes to this verdict.
std::string CauseText(const Outlook& outlook) {
  switch (outlook.cause) {
    case Cause::kProved:
      return "by " + NowText(outlook) + ", as today";
    case Cause::kSlashZero:
      return "AllowedIPs has " + NetworksText(outlook.networks) +
             " and one peer: " + kLibraryBlocks;
    case Cause::kAssumedCatchAll:
      return "a catch-all stands in for a profile";
    case Cause::kNetworkTaken:
      return "its packets would leave by the tunnel, which takes " + NetworksText(outlook.networks);
    case Cause::kPinnedElsewhere:
      return "it would be pinned through " + WayText(*outlook.after) + "; today it is reached by " +
             NowText(outlook);
    case Cause::kLeftElsewhere:
      return "its packets would go by " + WayText(*outlook.after) + "; today they go by " +
             NowText(outlook);
    case Cause::kNowhere:
      return "no route to it would be left; today its packets go by " + NowText(outlook);
    case Cause::kTunnelDefaultRoute:
      return "the tunnel would be started, and taken down again because of a default route through "
             "another tunnel (" +
             RefusalText(outlook) + "); a connection may break in that time" +
             (outlook.replaces_tunnel ? "; the tunnel that is up now would be gone" : "");
    case Cause::kRefusal:
      return "nothing would be started: " + RefusalText(outlook) +
             (outlook.replaces_tunnel
                  ? "; the tunnel that is up now would run on, but the service would call it "
                    "disconnected and forget its pinned routes"
                  : "");
    default:
      return UnknownText(outlook);
  }
}

std::string BlockedFix(const Outlook& outlook) {
  std::vector<std::string> halves;
  const auto has = [&outlook](bool colons) {
    return std::any_of(outlook.networks.begin(), outlook.networks.end(),
                       [colons](const std::string& network) {
                         return (network.find(':') != std::string::npos) == colons;
                       });
  };
  if (has(false)) halves.emplace_back("0.0.0.0/1, 128.0.0.0/1");
  if (has(true)) halves.emplace_back("::/1, 8000::/1");
  return "With " + Joined(halves, ", ") +
         " it does not, but DNS and IPv6 may then leak, and whoever is not pinned is lost to the "
         "tunnel";
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

// What to do about the cause.
std::string CauseFix(const Outlook& outlook) {
  switch (outlook.cause) {
    case Cause::kSlashZero:
      return BlockedFix(outlook);
    case Cause::kAssumedCatchAll:
      return kAskWithProfile;
    case Cause::kNetworkTaken:
      return CanBePinned(outlook.subject.address)
                 ? "pin it, by naming it in ADMIN_BYPASS_IP with the default-route guard off, or "
                   "keep its network out of AllowedIPs and Address"
                 : "keep its network out of AllowedIPs and Address: only public IPv4 addresses are "
                   "pinned";
    case Cause::kPinnedElsewhere:
      return "come in by the way that leads to the default gateway, or turn the bypass off and "
             "keep "
             "its network out of AllowedIPs";
    case Cause::kTunnelDefaultRoute:
      return "disconnect the other tunnel first";
    default:
      return UnknownFix(outlook);
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
  constexpr const char* kWords[] = {"rdp_connection", "setting",        "asked",
                                    "rdp_session",    "ssh_connection", "winrm_connection"};
  return kWords[static_cast<std::size_t>(reason)];
}

bool Endangers(const Outlook& outlook) {
  return IsConnection(outlook.subject) && outlook.verdict != ForecastVerdict::kStays &&
         outlook.verdict != ForecastVerdict::kRefused;
}

std::vector<Outlook> WorstFirst(std::vector<Outlook> outlooks) {
  std::stable_sort(outlooks.begin(), outlooks.end(), [](const Outlook& left, const Outlook& right) {
    return left.verdict < right.verdict;
  });
  return outlooks;
}

std::string SummaryOf(const Outlook& outlook) {
  constexpr const char* kReasons[] = {
      "connected over Remote Desktop",          "named by the settings", "asked about",
      "address that a session's client claims", "connected over SSH",    "connected over WinRM"};
  constexpr const char* kVerdicts[] = {
      "would be blocked",     "would be lost to the tunnel",  "would move", "not known",
      "would be interrupted", "the connect would be refused", "stays"};
  std::string text = kReasons[static_cast<std::size_t>(outlook.subject.reason)];
  if (outlook.subject.local) text += " to " + AddressText(*outlook.subject.local);
  return text + ": " + kVerdicts[static_cast<std::size_t>(outlook.verdict)];
}

std::string DetailOf(const Outlook& outlook, bool assumed) {
  std::string text = CauseText(outlook);
  if (outlook.may_survive) {
    text += "; on Windows an established connection may survive all the same, a new one would not";
  }
  if (!outlook.settled_by.empty()) {
    text += "; that depends on " + Joined(NamesOf(outlook.settled_by), ", ") +
            ", whose value in the service is not known";
  }
  if (outlook.subject.reason == SubjectReason::kRdpSession) {
    text += "; the address is what the client says of itself and proves nothing about the person";
  }
  if (assumed) text += "; assuming that the service has this process's environment and session";
  return text;
}

std::string FixOf(const Outlook& outlook) {
  std::string fix = CauseFix(outlook);
  if (outlook.settled_by.empty()) return fix;
  if (!fix.empty()) fix += "\n";
  return fix + "look again in an elevated prompt, or set " +
         Joined(NamesOf(outlook.settled_by), ", ") +
         " in the service's own environment and restart the service (docs/limits.md)";
}

nlohmann::ordered_json ForecastJson(const std::vector<Outlook>& outlooks, bool assumed) {
  auto json = nlohmann::ordered_json::array();
  for (const Outlook& outlook : outlooks) {
    nlohmann::ordered_json item;
    item["address"] = AddressText(outlook.subject.address);
    item["reason"] = ReasonWord(outlook.subject.reason);
    if (outlook.subject.local) item["local"] = AddressText(*outlook.subject.local);
    if (outlook.now) item["now"] = WayJson(*outlook.now);
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
