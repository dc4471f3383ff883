#include "client/doctor/checks.h"
#include "client/text/windows_error.h"
#include "guard/route_snapshots.h"
#include "platform/file_input.h"
#include "platform/files.h"
#include "platform/result.h"
#include "platform/service_codes.h"
#include "platform/text.h"

namespace veltrane {
namespace {

constexpr char kDisconnect[] = ".\\veltranectl disconnect";
constexpr std::size_t kLargestConf = std::size_t{1} << 20;

constexpr char kUnasked[] = "only the service can tell whose it is, and it did not answer";

// Whose, according to the service, the traces of a connection on the machine are.
enum class Claimant { kConnection, kNobody, kUnknown };

// A running service that did not answer may well be connected, and nobody must be told to "fix" a
// connection that somebody is working over. A stopped service has no connection.
Claimant FindClaimant(const Preflight& preflight) {
  if (preflight.status && preflight.status->ok) {
    return preflight.status->phase == "connected" ? Claimant::kConnection : Claimant::kNobody;
  }
  const bool serves_nobody =
      !preflight.any_server && (preflight.service.Error() == kErrorServiceDoesNotExist ||
                                (preflight.service && preflight.service->state == kServiceStopped));
  return serves_nobody ? Claimant::kNobody : Claimant::kUnknown;
}

void CheckTunnelService(const Result<ServiceFacts>& tunnel, Claimant claimant, Findings& findings) {
  if (!tunnel) {
    if (claimant == Claimant::kConnection) {
      findings.Warn("tunnel service", "connected, but VeltraneVpnTunnel$Active does not exist",
                    kDisconnect);
    } else {
      findings.Ok("tunnel service", "none");
    }
  } else if (claimant == Claimant::kConnection) {
    findings.Ok("tunnel service", "VeltraneVpnTunnel$Active belongs to the connection");
  } else if (claimant == Claimant::kUnknown) {
    findings.Note("tunnel service", std::string("VeltraneVpnTunnel$Active exists; ") + kUnasked);
  } else {
    findings.Warn("tunnel service", "VeltraneVpnTunnel$Active is left over from an earlier run",
                  kDisconnect);
  }
}

// True for a file of zeros: what disconnect leaves when Windows does not let it delete the file.
bool IsScrubbed(const std::string& path) {
  bool zeros = true;
  const std::uint32_t status = ReadFileBytes(path, kLargestConf, [&zeros](std::string_view piece) {
    zeros = zeros && piece.find_first_not_of('\0') == std::string_view::npos;
  });
  return status == 0 && zeros;
}

void CheckActiveConf(const std::wstring& active, Claimant claimant, Findings& findings) {
  const Result<bool> exists = TestExistence(active);
  if (exists.Error() == kErrorAccessDenied) {
    findings.NoteDenied("active.conf", WideToUtf8(active));
  } else if (!exists) {
    findings.Note("active.conf",
                  WideToUtf8(active) + " cannot be looked at" + WindowsError(exists.Error()));
  } else if (!*exists) {
    findings.Ok("active.conf", "none");
  } else if (claimant == Claimant::kConnection) {
    findings.Ok("active.conf", "belongs to the connection");
  } else if (IsScrubbed(WideToUtf8(active))) {
    findings.Note("active.conf", "left over from an earlier run, overwritten with zeros");
  } else if (claimant == Claimant::kUnknown) {
    findings.Note("active.conf", WideToUtf8(active) + " exists; " + kUnasked);
  } else {
    findings.Warn(
        "active.conf",
        WideToUtf8(active) + " is left over from an earlier run and may still contain a key",
        kDisconnect);
  }
  const std::wstring temporary = active + L".tmp";
  if (IsThere(temporary)) {
    findings.Warn("active.conf.tmp", "left by an interrupted write; it may contain a key",
                  "del \"" + WideToUtf8(temporary) + "\"");
  }
}

void CheckTunnelRoute(Claimant claimant, Findings& findings) {
  std::string route;
  if (!FindTunnelDefaultRoute(&route)) {
    findings.Ok("tunnel default route", "none");
  } else if (claimant == Claimant::kConnection) {
    findings.Note("tunnel default route", route);
  } else if (claimant == Claimant::kUnknown) {
    findings.Note("tunnel default route", route + "; " + kUnasked);
  } else {
    findings.Warn("tunnel default route", route + ", but there is no connection", kDisconnect);
  }
}

}  // namespace

void CheckLeftovers(const Preflight& preflight, Findings& findings) {
  findings.Begin("leftovers");
  const Claimant claimant = FindClaimant(preflight);
  CheckTunnelService(preflight.tunnel, claimant, findings);
  CheckActiveConf(preflight.conf, claimant, findings);
  CheckTunnelRoute(claimant, findings);
}

}  // namespace veltrane
