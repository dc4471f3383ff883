#include <iterator>

#include "client/doctor/checks.h"
#include "client/text/windows_error.h"
#include "platform/files.h"
#include "platform/service_codes.h"
#include "platform/text.h"
#include "text/ascii.h"

namespace veltrane {
namespace {

constexpr char kReinstall[] =
    ".\\VeltraneVpnService.exe --uninstall\n.\\VeltraneVpnService.exe --install";

const char* StateWord(std::uint32_t state) {
  constexpr const char* kWords[] = {"in an unknown state",
                                    "stopped",
                                    "starting",
                                    "stopping",
                                    "running",
                                    "resuming",
                                    "pausing",
                                    "paused"};
  return state < std::size(kWords) ? kWords[state] : kWords[0];
}

void CheckCommandLine(const Preflight& preflight, Findings& findings) {
  const std::wstring& line = preflight.service->command_line;
  const std::string shown = WideToUtf8(line);
  if (!IsThere(preflight.program)) {
    findings.Fail("command line", shown + ", whose program does not exist", kReinstall);
  } else if (line != L"\"" + preflight.program + L"\" --run-as-service") {
    findings.Warn("command line", shown + ", which is not what --install registers", kReinstall);
  } else {
    findings.Ok("command line", shown);
  }
}

void CheckAccount(const ServiceFacts& service, Findings& findings) {
  if (EqualsIgnoreCase(service.account, L"LocalSystem")) {
    findings.Ok("account", "LocalSystem");
  } else {
    findings.Warn("account", WideToUtf8(service.account) + ", which may lack the rights it needs",
                  "sc.exe config VeltraneVpnTunnel obj= LocalSystem");
  }
}

void CheckInstalledService(const Preflight& preflight, Findings& findings) {
  const ServiceFacts& service = *preflight.service;
  findings.Ok("installed", "as VeltraneVpnTunnel");
  if (service.state == kServiceRunning) {
    findings.Ok("running", "as process " + std::to_string(service.process_id));
  } else if (preflight.any_server) {
    findings.Note("running", StateWord(service.state));
  } else {
    findings.Fail("running", StateWord(service.state), "sc.exe start VeltraneVpnTunnel");
  }
  CheckCommandLine(preflight, findings);
  CheckAccount(service, findings);
}

}  // namespace

void CheckService(const Preflight& preflight, Findings& findings) {
  findings.Begin("service");
  const std::uint32_t error = preflight.service.Error();
  if (error == 0) {
    CheckInstalledService(preflight, findings);
  } else if (preflight.any_server && error == kErrorServiceDoesNotExist) {
    findings.Note("installed", "no, but console mode does not need it");
  } else if (error == kErrorServiceDoesNotExist) {
    findings.Fail("installed", "no", ".\\VeltraneVpnService.exe --install");
  } else {
    findings.Fail("installed", "the service's state cannot be read" + WindowsError(error),
                  "sc.exe qc VeltraneVpnTunnel");
  }
}

}  // namespace veltrane
