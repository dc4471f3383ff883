#include "client/doctor/checks.h"
#include "guard/route_snapshots.h"
#include "platform/file_input.h"
#include "platform/files.h"
#include "platform/service_codes.h"
#include "platform/text.h"

namespace veltrane {
namespace {

constexpr char kDisconnect[] = "veltranectl disconnect";
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

}  // namespace

void CheckLeftovers(const Preflight& preflight, Findings& findings) {
  findings.Begin("leftovers");
  const Owner owner = FindOwner(preflight);
  CheckTunnelService(preflight.tunnel, owner, findings);
  CheckActiveConf(preflight.conf, owner, findings);
  CheckTunnelRoute(owner, findings);
}

}  // namespace veltrane
