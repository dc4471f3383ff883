#include <algorithm>

#include "client/doctor/access_findings.h"
#include "client/doctor/checks.h"
#include "client/text/windows_error.h"
#include "platform/access_lists.h"
#include "platform/result.h"
#include "platform/text.h"

namespace veltrane {
namespace {

// Everyone other than LocalSystem and Administrators whom an access list admits.
std::vector<std::string> OthersAdmitted(const AccessList& list) {
  std::vector<std::string> others;
  for (const AccessListEntry& entry : list.entries) {
    if (!entry.allows || entry.sid == kLocalSystemSid || entry.sid == kAdministratorsSid) continue;
    if (std::find(others.begin(), others.end(), entry.sid) == others.end()) {
      others.push_back(entry.sid);
    }
  }
  return others;
}

// Who may open the folder. Returns whether it could be looked at.
bool CheckOpening(const std::wstring& path, Findings& findings) {
  const std::string folder = WideToUtf8(path);
  const Result<AccessList> list = ReadAccessList(path);
  if (list.Error() == kErrorFileNotFound || list.Error() == kErrorPathNotFound) {
    findings.Ok("folder", folder + " will be created by the first connect");
    return false;
  }
  if (list.Error() == kErrorAccessDenied) {
    findings.NoteDenied("folder", folder);
    return false;
  }
  if (!list) {
    findings.Warn("folder", folder + " cannot be examined" + WindowsError(list.Error()),
                  "icacls \"" + folder + "\"");
    return false;
  }
  const std::vector<std::string> others = OthersAdmitted(*list);
  const std::string fix = ClosingCommand(folder, true, Readers::kNobody, others);
  if (!list->has_list) {
    findings.Warn("folder", folder + " is open to everyone", fix);
  } else if (!others.empty()) {
    findings.Warn("folder", folder + " is open to " + Joined(others), fix);
  } else if (!list->is_protected) {
    findings.Warn("folder", folder + " inherits access rights from its parent folder", fix);
  } else {
    findings.Ok("folder", folder + " is open only to LocalSystem and Administrators");
  }
  return true;
}

std::wstring Above(const std::wstring& path) { return path.substr(0, path.find_last_of(L'\\')); }

}  // namespace

void CheckConfigurationFolder(const Preflight& preflight, Findings& findings) {
  findings.Begin("configuration");
  const std::wstring folder = Above(preflight.conf);
  if (CheckOpening(folder, findings)) {
    CheckWriters("owner", folder, true, Readers::kNobody, findings);
  }
  CheckWriters("folder above", Above(folder), true, Readers::kNobody, findings);
}

}  // namespace veltrane
