#include "client/doctor/access_findings.h"

#include <algorithm>
#include <string_view>
#include <vector>

#include "client/text/windows_error.h"
#include "platform/access_lists.h"
#include "platform/result.h"
#include "platform/text.h"

namespace veltrane {
namespace {

constexpr char kUsers[] = "S-1-5-32-545";

// Local System, Administrators, TrustedInstaller.
constexpr std::string_view kTrusted[] = {
    kLocalSystemSid, kAdministratorsSid,
    "S-1-5-80-956008885-3418522649-1831038044-1853292631-2271478464"};
constexpr std::string_view kOwnerRights = "S-1-3-4";  // stands for the owner, who is looked at too

// GENERIC_ALL, GENERIC_WRITE, WRITE_OWNER, WRITE_DAC, DELETE, FILE_WRITE_ATTRIBUTES,
// FILE_DELETE_CHILD, FILE_WRITE_EA, FILE_APPEND_DATA, FILE_WRITE_DATA.
constexpr std::uint32_t kWriting =
    0x10000000 | 0x40000000 | 0x80000 | 0x40000 | 0x10000 | 0x100 | 0x40 | 0x10 | 0x4 | 0x2;

bool IsTrusted(const std::string& sid, const std::string& administrator) {
  if (!sid.empty() && sid == administrator) return true;
  return std::find(std::begin(kTrusted), std::end(kTrusted), sid) != std::end(kTrusted);
}

// Everyone else whom an access list lets write.
std::vector<std::string> OtherWriters(const AccessList& list, const std::string& administrator) {
  std::vector<std::string> others;
  for (const AccessListEntry& entry : list.entries) {
    if (!entry.allows || entry.only_inherited || (entry.access_mask & kWriting) == 0) continue;
    if (IsTrusted(entry.sid, administrator) || entry.sid == kOwnerRights) continue;
    if (std::find(others.begin(), others.end(), entry.sid) == others.end()) {
      others.push_back(entry.sid);
    }
  }
  return others;
}

}  // namespace

std::string Joined(const std::vector<std::string>& items) {
  std::string text;
  for (const std::string& item : items) text += (text.empty() ? "" : ", ") + item;
  return text;
}

std::string ClosingCommand(const std::string& path, bool is_folder, Readers readers,
                           const std::vector<std::string>& others) {
  const std::string inside = is_folder ? "(OI)(CI)" : "";
  std::string command = "icacls \"" + path + "\" /inheritance:r /grant:r \"*" + kLocalSystemSid +
                        ":" + inside + "F\" \"*" + kAdministratorsSid + ":" + inside + "F\"";
  if (readers == Readers::kUsers) {
    command += std::string(" \"*") + kUsers + ":" + inside + "RX\"";
  }
  std::string removed;
  for (const std::string& sid : others) {
    if (readers == Readers::kNobody || sid != kUsers) removed += " \"*" + sid + "\"";
  }
  return removed.empty() ? command : command + " /remove:g" + removed;
}

void CheckWriters(const std::string& check, const std::wstring& path, bool is_folder,
                  Readers readers, Findings& findings, const std::string& administrator) {
  const std::string shown = WideToUtf8(path);
  const Result<bool> leads_elsewhere = TestReparsePoint(path);
  const Result<AccessList> list = ReadAccessList(path);
  const std::uint32_t error = list.Error() != 0 ? list.Error() : leads_elsewhere.Error();
  if (error == kErrorFileNotFound || error == kErrorPathNotFound) return;
  if (error == kErrorAccessDenied) {
    findings.NoteDenied(check, shown);
  } else if (error != 0) {
    findings.Warn(check, shown + " cannot be examined" + WindowsError(error),
                  "icacls \"" + shown + "\"");
  } else if (*leads_elsewhere) {
    findings.Warn(check, shown + " is a reparse point, which may lead elsewhere",
                  "fsutil reparsepoint query \"" + shown + "\"");
  } else if (!IsTrusted(list->owner, administrator)) {
    findings.Warn(check,
                  shown + " belongs to " + (list->owner.empty() ? "nobody known" : list->owner) +
                      ", who may give anyone access",
                  "icacls \"" + shown + "\" /setowner \"*" + kAdministratorsSid + "\"");
  } else if (!list->has_list) {
    findings.Warn(check, shown + " can be written by everyone",
                  ClosingCommand(shown, is_folder, readers, {}));
  } else if (const std::vector<std::string> others = OtherWriters(*list, administrator);
             !others.empty()) {
    findings.Warn(check, shown + " can be written by " + Joined(others),
                  ClosingCommand(shown, is_folder, readers, others));
  } else {
    findings.Ok(check, shown + " can be written by LocalSystem and Administrators alone");
  }
}

}  // namespace veltrane
