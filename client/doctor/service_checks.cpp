#include <algorithm>

#include "client/doctor/checks.h"
#include "client/doctor/pe_exports.h"
#include "client/exchange/exchange.h"
#include "client/exchange/request.h"
#include "client/text/quoting.h"
#include "platform/file_input.h"
#include "platform/files.h"
#include "platform/library.h"
#include "platform/service_codes.h"
#include "platform/text.h"
#include "service/service_name.h"
#include "text/ascii.h"
#include "tunnel/active_conf.h"
#include "tunnel/tunnel_manager.h"

namespace veltrane {
namespace {

constexpr std::uint32_t kPipeBusySeconds = 2;
constexpr std::size_t kLargestLibrary = std::size_t{256} << 20;

// The last argument of a command line that stands in quotes; empty when there is none.
std::wstring LastQuoted(const std::wstring& command_line) {
  const std::size_t end = command_line.rfind(L'"');
  if (end == std::wstring::npos || end == 0) return {};
  const std::size_t begin = command_line.rfind(L'"', end - 1);
  return begin == std::wstring::npos ? L"" : command_line.substr(begin + 1, end - begin - 1);
}

// The program of a command line: what stands in quotes at its beginning, or up to the first blank.
std::wstring ProgramOf(const std::wstring& command_line) {
  if (command_line.substr(0, 1) == L"\"") {
    return command_line.substr(1, command_line.find(L'"', 1) - 1);
  }
  return command_line.substr(0, command_line.find(L' '));
}

std::wstring FolderOf(const std::wstring& path) {
  const std::size_t separator = path.find_last_of(L"\\/");
  return separator == std::wstring::npos ? std::wstring() : path.substr(0, separator);
}

const char* StateWord(std::uint32_t state) {
  constexpr const char* kWords[] = {"in no known state", "stopped", "starting",
                                    "stopping",          "running", "about to continue",
                                    "about to pause",    "paused"};
  return state < std::size(kWords) ? kWords[state] : kWords[0];
}

void CheckCommandLine(const Preflight& preflight, Findings& findings) {
  const std::wstring& line = preflight.service.command_line;
  const std::string shown = WideToUtf8(line);
  if (!TestExistence(preflight.program).exists) {
    findings.Fail("command line", shown + ", whose program is not there",
                  "VeltraneVpnService.exe --uninstall, then VeltraneVpnService.exe --install");
  } else if (line != L"\"" + preflight.program + L"\" --run-as-service") {
    findings.Warn("command line", shown + ", which is not what --install registers",
                  "VeltraneVpnService.exe --uninstall, then VeltraneVpnService.exe --install");
  } else {
    findings.Ok("command line", shown);
  }
}

void CheckAccount(const ServiceFacts& service, Findings& findings) {
  if (EqualsIgnoreCase(service.account, L"LocalSystem")) {
    findings.Ok("account", "LocalSystem");
  } else {
    findings.Warn("account",
                  WideToUtf8(service.account) + ", which may not have the rights that it needs",
                  "sc config VeltraneVpnTunnel obj= LocalSystem");
  }
}

void CheckInstalledService(const Preflight& preflight, Findings& findings) {
  const ServiceFacts& service = preflight.service;
  findings.Ok("installed", "as VeltraneVpnTunnel");
  if (service.state == kServiceRunning) {
    findings.Ok("running", "as process " + std::to_string(service.process_id));
  } else if (preflight.any_server) {
    findings.Note("running", StateWord(service.state));
  } else {
    findings.Fail("running", StateWord(service.state), "sc start VeltraneVpnTunnel");
  }
  CheckCommandLine(preflight, findings);
  CheckAccount(service, findings);
}

// Why the pipe cannot be talked over.
void AddUnserved(const Preflight& preflight, const ExchangeFailure& failure, Findings& findings) {
  if (failure.busy) {
    findings.Warn("served", failure.what, "veltranectl doctor, when that is done");
  } else if (failure.exit_code == kExitUntrusted) {
    findings.Fail("served", failure.what,
                  "veltranectl doctor --any-server, if that is the service in console mode");
  } else if (!preflight.any_server && preflight.service.state != kServiceRunning) {
    // That the service does not run is a finding of its own, which its pipe does not repeat.
    findings.Note("served", "there is none while the service does not run");
  } else {
    findings.Fail("served", failure.what, failure.next);
  }
}

}  // namespace

Preflight BeginPreflight(bool any_server) {
  Preflight preflight;
  preflight.any_server = any_server;
  preflight.service = ReadServiceFacts(kServiceName);
  if (preflight.service.error == 0) preflight.program = ProgramOf(preflight.service.command_line);
  preflight.tunnel = ReadServiceFacts(kTunnelServiceName);
  preflight.conf = LastQuoted(preflight.tunnel.command_line);
  if (preflight.conf.empty()) preflight.conf = ActiveConfPath();
  ReadEffectiveSettings(preflight);
  return preflight;
}

void CheckService(const Preflight& preflight, Findings& findings) {
  findings.Begin("service");
  const std::uint32_t error = preflight.service.error;
  if (error == 0) {
    CheckInstalledService(preflight, findings);
  } else if (preflight.any_server && error == kErrorServiceDoesNotExist) {
    findings.Note("installed", "no, which console mode does not need");
  } else if (error == kErrorServiceDoesNotExist) {
    findings.Fail("installed", "no", "VeltraneVpnService.exe --install");
  } else {
    findings.Fail(
        "installed",
        "the service's state cannot be read (Windows error " + std::to_string(error) + ")",
        "sc qc VeltraneVpnTunnel");
  }
}

void CheckPipe(Preflight& preflight, Findings& findings) {
  findings.Begin("pipe");
  Dialling dialling = DialService(preflight.any_server, kPipeBusySeconds, [](std::uint32_t) {});
  if (!dialling.pipe) {
    AddUnserved(preflight, dialling.failure, findings);
    return;
  }
  findings.Ok("served", preflight.any_server ? "by a program that is not checked"
                                             : "by the service's process");
  const ExchangeResult result =
      ExchangeOver(*dialling.pipe, PlainRequest("status"), [](std::uint32_t) {});
  if (result.reply) preflight.status = ReadReply(*result.reply);
  if (!preflight.status || !preflight.status->ok) {
    findings.Fail("answers", "a status request got no reply that can be read",
                  "sc query VeltraneVpnTunnel");
  } else {
    findings.Ok(
        "answers",
        Shown(preflight.status->phase) +
            (preflight.status->node_id.empty() ? "" : " to " + Shown(preflight.status->node_id)));
  }
}

void CheckTunnelLibrary(const Preflight& preflight, Findings& findings) {
  findings.Begin("tunnel library");
  const std::wstring& program = preflight.program.empty() ? ExecutablePath() : preflight.program;
  const std::string path = WideToUtf8(FolderOf(program) + L"\\tunnel.dll");
  std::string bytes;
  const std::uint32_t status = ReadFileBytes(
      path, kLargestLibrary, [&bytes](std::string_view piece) { bytes.append(piece); });
  const std::string copy = "copy tunnel.dll \"" + path + "\"";
  if (status != 0) {
    findings.Fail("tunnel.dll",
                  path + " cannot be read (Windows error " + std::to_string(status) + ")", copy);
    return;
  }
  switch (FindExport(bytes, "WireGuardTunnelService")) {
    case ExportState::kNotALibrary:
      findings.Fail("tunnel.dll", path + " is no Windows library", copy);
      break;
    case ExportState::kOtherMachine:
      findings.Fail("tunnel.dll", path + " is not for 64-bit x86", copy);
      break;
    case ExportState::kMissing:
      findings.Fail("tunnel.dll", path + " does not export WireGuardTunnelService", copy);
      break;
    case ExportState::kPresent:
      findings.Ok("tunnel.dll", path + " exports WireGuardTunnelService");
      break;
  }
}

}  // namespace veltrane
