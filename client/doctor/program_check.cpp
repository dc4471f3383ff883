#include "client/doctor/access_findings.h"
#include "client/doctor/checks.h"
#include "platform/library.h"

namespace veltrane {

void CheckProgramAccess(const Preflight& preflight, Findings& findings) {
  findings.Begin("program");
  // A service that is not registered is expected beside this program.
  const std::wstring here = preflight.program.empty() ? ExecutablePath() : preflight.program;
  const std::size_t separator = here.find_last_of(L"\\/");
  if (separator == std::wstring::npos) return;
  const std::wstring folder = here.substr(0, separator);
  const std::wstring program =
      preflight.program.empty() ? folder + L"\\VeltraneVpnService.exe" : preflight.program;
  CheckWriters("folder", folder, true, Readers::kUsers, findings);
  CheckWriters("executable", program, false, Readers::kUsers, findings);
  CheckWriters("tunnel.dll", folder + L"\\tunnel.dll", false, Readers::kUsers, findings);
  CheckWriters("wireguard.dll", folder + L"\\wireguard.dll", false, Readers::kUsers, findings);
}

}  // namespace veltrane
