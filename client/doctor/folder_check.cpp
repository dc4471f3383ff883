#include <algorithm>

#include "client/doctor/checks.h"
#include "client/text/windows_error.h"
#include "platform/access_lists.h"
#include "platform/text.h"

namespace veltrane {
namespace {

constexpr char kSystem[] = "S-1-5-18";
constexpr char kAdministrators[] = "S-1-5-32-544";
constexpr std::uint32_t kErrorFileNotFound = 2;
constexpr std::uint32_t kErrorPathNotFound = 3;
constexpr std::uint32_t kErrorAccessDenied = 5;

// Everyone other than LocalSystem and Administrators whom an access list admits.
std::vector<std::string> OthersAdmitted(const AccessList& list) {
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

// The command that closes the folder to the others. Granting access to the two takes nothing away
// from anyone, so the others are named too.
std::string Closing(const std::string& folder, const std::vector<std::string>& others) {
  std::string command =
      "icacls \"" + folder +
      "\" /inheritance:r /grant:r \"*S-1-5-18:(OI)(CI)F\" \"*S-1-5-32-544:(OI)(CI)F\"";
  if (!others.empty()) command += " /remove:g";
  for (const std::string& sid : others) command += " \"*" + sid + "\"";
  return command;
}

}  // namespace

void CheckConfigurationFolder(const Preflight& preflight, Findings& findings) {
  findings.Begin("configuration");
  const std::wstring path = preflight.conf.substr(0, preflight.conf.find_last_of(L'\\'));
  const std::string folder = WideToUtf8(path);
  const Result<AccessList> list = ReadAccessList(path);
  if (list.Error() == kErrorFileNotFound || list.Error() == kErrorPathNotFound) {
    findings.Ok("folder", folder + " will be created by the first connect");
    return;
  }
  if (list.Error() == kErrorAccessDenied) {
    findings.Ok("folder", folder + " is not accessible to this user");
    return;
  }
  if (!list) {
    findings.Warn("folder", folder + " cannot be examined" + WindowsError(list.Error()),
                  "icacls \"" + folder + "\"");
    return;
  }
  const std::vector<std::string> others = OthersAdmitted(*list);
  const std::string fix = Closing(folder, others);
  if (!list->has_list) {
    findings.Warn("folder", folder + " is open to everyone", fix);
  } else if (!others.empty()) {
    findings.Warn("folder", folder + " is open to " + Joined(others), fix);
  } else if (!list->is_protected) {
    findings.Warn("folder", folder + " inherits access rights from its parent folder", fix);
  } else {
    findings.Ok("folder", folder + " is open only to LocalSystem and Administrators");
  }
}

}  // namespace veltrane
