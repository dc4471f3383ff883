#include "setup/configuration_folder.h"

#include <cstdint>

#include "client/doctor/access_findings.h"
#include "client/doctor/findings.h"
#include "client/text/windows_error.h"
#include "platform/security.h"
#include "platform/text.h"
#include "setup/folder.h"
#include "setup/paths.h"

namespace veltrane {
namespace {

constexpr std::uint32_t kErrorAlreadyExists = 183;  // ERROR_ALREADY_EXISTS

}  // namespace

void MakeConfigurationFolder(const std::wstring& conf, InstallerSession& session) {
  const std::wstring folder = FolderOf(conf);
  const std::wstring folder_above = FolderOf(folder);
  const std::uint32_t error = CreateClosedFolder(folder_above);
  if (error == 0) return;
  if (error != kErrorAlreadyExists) {
    session.Note("Veltrane VPN: " + WideToUtf8(folder_above) + " cannot be made" +
                 WindowsError(error) + ".");
    return;
  }
  const std::string user = OwnUser();
  Findings findings;
  CheckWriters("folder above", folder_above, true, Readers::kNobody, findings, user);
  CheckWriters("folder", folder, true, Readers::kNobody, findings, user);
  for (const Finding& finding : findings.All()) {
    if (finding.mark == Mark::kOk) continue;
    session.Note("Veltrane VPN: Private keys are to be kept here: " + finding.text +
                 (finding.fix.empty() ? "" : "; to fix it: " + finding.fix));
  }
}

}  // namespace veltrane
