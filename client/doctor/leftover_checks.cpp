#include <algorithm>

#include "client/doctor/checks.h"
#include "guard/route_snapshots.h"
#include "platform/access_lists.h"
#include "platform/file_input.h"
#include "platform/files.h"
#include "platform/service_codes.h"
#include "platform/text.h"

namespace veltrane {
namespace {

constexpr char kDisconnect[] = "veltranectl disconnect";
constexpr char kSystem[] = "S-1-5-18";
constexpr char kAdministrators[] = "S-1-5-32-544";
constexpr std::uint32_t kErrorFileNotFound = 2;
constexpr std::uint32_t kErrorPathNotFound = 3;
constexpr std::uint32_t kErrorAccessDenied = 5;
constexpr std::size_t kLargestConf = std::size_t{1} << 20;

constexpr char kUnasked[] = "whose it is only the service can tell, and it has not answered";

// What the service says of the things that a connection leaves on the machine while it lasts.
enum class Owner { kConnection, kNobody, kUnknown };

// A service that runs and was not heard may well be connected, and a connection that somebody works
// over must not be mended away. One that is stopped has no connection.
Owner FindOwner(const Preflight& preflight) {
  if (preflight.status && preflight.status->ok) {
    return preflight.status->phase == "connected" ? Owner::kConnection : Owner::kNobody;
  }
  const bool serves_nobody =
      !preflight.any_server && (preflight.service.error == kErrorServiceDoesNotExist ||
                                preflight.service.state == kServiceStopped);
  return serves_nobody ? Owner::kNobody : Owner::kUnknown;
}

void CheckTunnelService(const ServiceFacts& tunnel, Owner owner, Findings& findings) {
  if (tunnel.error != 0) {
    if (owner == Owner::kConnection) {
      findings.Warn("tunnel service", "connected, but VeltraneVpnTunnel$Active is not there",
                    kDisconnect);
    } else {
      findings.Ok("tunnel service", "none");
    }
  } else if (owner == Owner::kConnection) {
    findings.Ok("tunnel service", "VeltraneVpnTunnel$Active is that of the connection");
  } else if (owner == Owner::kUnknown) {
    findings.Note("tunnel service", std::string("VeltraneVpnTunnel$Active is there; ") + kUnasked);
  } else {
    findings.Warn("tunnel service", "VeltraneVpnTunnel$Active of an earlier run is still there",
                  kDisconnect);
  }
}

// What disconnect leaves on purpose where Windows does not let it delete the file: zeros.
bool IsScrubbed(const std::string& path) {
  bool zeros = true;
  const std::uint32_t status = ReadFileBytes(path, kLargestConf, [&zeros](std::string_view piece) {
    zeros = zeros && piece.find_first_not_of('\0') == std::string_view::npos;
  });
  return status == 0 && zeros;
}

void CheckActiveConf(const std::wstring& active, Owner owner, Findings& findings) {
  if (!TestExistence(active).exists) {
    findings.Ok("active.conf", "none");
  } else if (owner == Owner::kConnection) {
    findings.Ok("active.conf", "that of the connection");
  } else if (IsScrubbed(WideToUtf8(active))) {
    findings.Note("active.conf", "of an earlier run, overwritten with zeros");
  } else if (owner == Owner::kUnknown) {
    findings.Note("active.conf", WideToUtf8(active) + " is there; " + kUnasked);
  } else {
    findings.Warn("active.conf", WideToUtf8(active) + " of an earlier run may still hold a key",
                  kDisconnect);
  }
  const std::wstring temporary = active + L".tmp";
  if (TestExistence(temporary).exists) {
    findings.Warn("active.conf.tmp", "a write that was cut off; it may hold a key",
                  "del \"" + WideToUtf8(temporary) + "\"");
  }
}

void CheckTunnelRoute(Owner owner, Findings& findings) {
  std::string route;
  if (!FindTunnelDefaultRoute(&route)) {
    findings.Ok("tunnel default route", "none");
  } else if (owner == Owner::kConnection) {
    findings.Note("tunnel default route", route);
  } else if (owner == Owner::kUnknown) {
    findings.Note("tunnel default route", route + "; " + kUnasked);
  } else {
    findings.Warn("tunnel default route", route + " without a connection", kDisconnect);
  }
}

// Those besides LocalSystem and the Administrators whom an access list admits.
std::vector<std::string> OthersAdmitted(const AccessListReading& list) {
  std::vector<std::string> others;
  for (const AccessListEntry& entry : list.entries) {
    if (!entry.allows || entry.sid == kSystem || entry.sid == kAdministrators) continue;
    if (std::find(others.begin(), others.end(), entry.sid) == others.end()) {
      others.push_back(entry.sid);
    }
  }
  return others;
}

std::string Joined(const std::vector<std::string>& items) {
  std::string text;
  for (const std::string& item : items) text += (text.empty() ? "" : ", ") + item;
  return text;
}

// Leaves the folder to the two. A grant takes nothing from others, so that they are named too.
std::string Closing(const std::string& folder, const std::vector<std::string>& others) {
  std::string command = "icacls \"" + folder +
                        "\" /inheritance:r /grant:r \"*S-1-5-18:(OI)(CI)F\" "
                        "\"*S-1-5-32-544:(OI)(CI)F\"";
  if (!others.empty()) command += " /remove:g";
  for (const std::string& sid : others) command += " \"*" + sid + "\"";
  return command;
}

}  // namespace

void CheckLeftovers(const Preflight& preflight, Findings& findings) {
  findings.Begin("leftovers");
  const Owner owner = FindOwner(preflight);
  CheckTunnelService(preflight.tunnel, owner, findings);
  CheckActiveConf(preflight.conf, owner, findings);
  CheckTunnelRoute(owner, findings);
}

void CheckConfigurationFolder(const Preflight& preflight, Findings& findings) {
  findings.Begin("configuration");
  const std::wstring path = preflight.conf.substr(0, preflight.conf.find_last_of(L'\\'));
  const std::string folder = WideToUtf8(path);
  const AccessListReading list = ReadAccessList(path);
  if (list.error == kErrorFileNotFound || list.error == kErrorPathNotFound) {
    findings.Ok("folder", folder + " is made by the first connect");
    return;
  }
  if (list.error == kErrorAccessDenied) {
    findings.Ok("folder", folder + " is closed to this user");
    return;
  }
  if (list.error != 0) {
    findings.Warn(
        "folder",
        folder + " cannot be looked at (Windows error " + std::to_string(list.error) + ")",
        "icacls \"" + folder + "\"");
    return;
  }
  const std::vector<std::string> others = OthersAdmitted(list);
  const std::string mend = Closing(folder, others);
  if (!list.has_list) {
    findings.Warn("folder", folder + " is open to everybody", mend);
  } else if (!others.empty()) {
    findings.Warn("folder", folder + " is open to " + Joined(others), mend);
  } else if (!list.is_protected) {
    findings.Warn("folder", folder + " inherits rights from the folder above", mend);
  } else {
    findings.Ok("folder", folder + " is open to LocalSystem and Administrators alone");
  }
}

}  // namespace veltrane
