// Whether an administrator who has to be reachable is.

#include <algorithm>
#include <string>

#include "tests/faults/judges.h"
#include "tests/faults/last_word.h"
#include "tests/simulated/calls.h"

namespace veltrane::faults {
namespace {

using Json = nlohmann::json;

bool IsPinned(const std::string& ip, const Machinery& machinery) {
  return std::any_of(machinery.routes.begin(), machinery.routes.end(),
                     [&ip](const std::string& route) {
                       if (!route.starts_with(ip + "/32 via 192.168.1.1 if 12 ")) return false;
                       return std::stoul(route.substr(route.rfind(' ') + 1)) <= 15;
                     });
}

// Each of these turns the bypass on: docs/operations.md.
bool TurnsBypassOn(const Setting& setting) {
  return setting.read_by == "VELTRANE_POC_ADMIN_BYPASS" ||
         setting.read_by == "HKLM ADMIN_BYPASS_IP" || setting.read_by == "HKLM ADMIN_BYPASS_IPS";
}

// Everything that turns the bypass on has been lost.
bool MayBeOff(const Account& account) {
  return std::none_of(
      account.settings.begin(), account.settings.end(),
      [&](const Setting& setting) { return TurnsBypassOn(setting) && !HasLost(account, setting); });
}

// The setting that names this administrator has been lost.
bool IsForgotten(const Account& account, const std::string& ip) {
  return std::any_of(account.settings.begin(), account.settings.end(), [&](const Setting& setting) {
    return setting.value.find(ip) != std::string::npos && HasLost(account, setting);
  });
}

// The list of connections that the program has got did not have this one.
bool IsNotListed(const Account& account, const Fault& fault, const std::string& ip) {
  const auto& connections = account.connections;
  const auto place = std::find(connections.begin(), connections.end(), ip);
  if (fault.kind.call != "ReadTcpConnections" || place == connections.end()) return false;
  const std::size_t half = connections.size() / 2;
  return fault.kind.status != simulated::kOnlyHalf ||
         static_cast<std::size_t>(place - connections.begin()) >= half;
}

// docs/limits.md, "Kept by design": what cannot be read counts as empty. The reply says so.
bool MayBeUnpinned(const Account& account, const std::optional<Fault>& fault,
                   const std::string& ip) {
  if (!fault) return false;
  const Json bypass = LastReply(account).value("admin_bypass", Json::object());
  if (!bypass.value("enabled", true)) return MayBeOff(account);
  const Json selected = bypass.value("selected_admin_bypass_ips", Json::array());
  if (std::find(selected.begin(), selected.end(), ip) != selected.end()) return false;
  const bool not_understood =
      (account.struck.name == "ParseIpv4" || account.struck.name == "FormatIpv4") &&
      account.struck.details == ip;
  return not_understood || IsForgotten(account, ip) || IsNotListed(account, *fault, ip);
}

}  // namespace

Complaints JudgeProtection(const Account& account, const std::optional<Fault>& fault) {
  if (LastWord(account) != "connected") return {};
  Complaints complaints;
  if (account.guard && KnowsOfMachine(account, "VELTRANE_POC_DISABLE_DEFAULT_ROUTE")) {
    const auto& files = account.after.files;
    if (std::find(files.begin(), files.end(), "active.conf for fra-1 under the guard") ==
        files.end()) {
      complaints.emplace_back("the guard is on, and the file is another");
    }
    return complaints;
  }
  for (const std::string& ip : account.administrators) {
    if (!IsPinned(ip, account.after) && !MayBeUnpinned(account, fault, ip)) {
      complaints.push_back("connected, and not pinned: " + ip);
    }
  }
  return complaints;
}

}  // namespace veltrane::faults
