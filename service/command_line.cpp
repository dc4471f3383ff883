#include "service/command_line.h"

#include <string>
#include <string_view>

#include "platform/console.h"
#include "platform/library.h"
#include "service/console_host.h"
#include "service/installer.h"
#include "service/service_host.h"
#include "service/startup_guard.h"
#include "service/startup_report.h"
#include "text/ascii.h"
#include "tunnel/tunnel_service.h"

namespace veltrane {
namespace {

constexpr wchar_t kUsage[] =
    L"VeltraneVpnService\n"
    L"  --dry-run-startup      Passive startup check only (no IPC)\n"
    L"  --console              Run IPC server in foreground\n"
    L"  --console --dry-run-startup  Same as --dry-run-startup\n"
    L"  --run-as-service       SCM entry (used by installer)\n"
    L"  --install              Register Windows service (admin)\n"
    L"  --uninstall            Remove Windows service (admin)\n"
    L"  /service <conf>        WireGuard tunnel entry (W1-C)\n";

int PrintUsage() {
  PrintOutput(kUsage);
  return 1;
}

bool HasSwitch(int argc, const wchar_t* const* argv, std::wstring_view name) {
  for (int i = 1; i < argc; ++i) {
    if (EqualsIgnoreCase(argv[i], name)) return true;
  }
  return false;
}

int Install() {
  std::wstring error;
  if (!InstallService(ExecutablePath(), &error)) {
    PrintError(L"install failed: " + error + L"\n");
    return 1;
  }
  PrintOutput(L"service installed\n");
  return 0;
}

// Prints "service uninstalled" and returns 0, even when the removal has failed.
int Uninstall() {
  std::wstring error;
  UninstallService(&error);
  PrintOutput(L"service uninstalled\n");
  return 0;
}

}  // namespace

int RunCommandLine(int argc, const wchar_t* const* argv) {
  ResetStartupState();
  SetProcessStartTimestamp(UtcTimestampNow());

  const std::wstring_view mode = argc > 1 ? argv[1] : L"";
  if (argc > 2 && mode == L"/service") return RunTunnelService(argv[2]);
  if (HasSwitch(argc, argv, L"--dry-run-startup") || HasSwitch(argc, argv, L"-dry-run-startup")) {
    PrintPassiveStartupReport();
    return 0;
  }
  if (mode == L"--install") return Install();
  if (mode == L"--uninstall") return Uninstall();
  if (mode == L"--run-as-service") return static_cast<int>(RunAsService());
  if (mode == L"--console" || mode == L"-console") return RunConsole();
  return PrintUsage();
}

}  // namespace veltrane
