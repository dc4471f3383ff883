#include "setup/folder.h"

#include <algorithm>
#include <optional>

#include "client/doctor/access_findings.h"
#include "client/doctor/findings.h"
#include "platform/files.h"
#include "platform/security.h"
#include "setup/registration.h"

namespace veltrane {
namespace {

// The SID in string form: "S-1-5-32-544".
std::string SidText(const Sid& sid) {
  constexpr std::size_t kHeadBytes = 8;
  if (sid.bytes.size() < kHeadBytes) return {};
  std::string text = "S-" + std::to_string(sid.bytes[0]) + "-" + std::to_string(sid.bytes[7]);
  for (std::size_t i = kHeadBytes; i + 4 <= sid.bytes.size(); i += 4) {
    std::uint32_t part = 0;
    for (std::size_t byte = 4; byte > 0; --byte) part = part << 8 | sid.bytes[i + byte - 1];
    text += "-" + std::to_string(part);
  }
  return text;
}

std::wstring NearestExisting(std::wstring folder) {
  while (!IsThere(folder)) {
    const std::size_t separator = folder.find_last_of(L'\\');
    if (separator == std::wstring::npos) break;
    folder.resize(separator);
  }
  // "C:" alone would be the current folder of the drive.
  return folder.ends_with(L":") ? folder + L"\\" : folder;
}

}  // namespace

std::string OwnUser() {
  const std::optional<Sid> sid = ReadOwnUserSid();
  return sid ? SidText(*sid) : "";
}

std::string FindOtherWriters(const std::wstring& folder) {
  const std::string user = OwnUser();
  Findings findings;
  CheckWriters("folder", NearestExisting(folder), true, Readers::kUsers, findings, user);
  for (const wchar_t* file : {kServiceProgram, L"tunnel.dll", L"wireguard.dll"}) {
    CheckWriters("file", folder + L"\\" + file, false, Readers::kUsers, findings, user);
  }
  const auto found = std::ranges::find_if(
      findings.All(), [](const Finding& finding) { return finding.mark != Mark::kOk; });
  if (found == findings.All().end()) return {};
  return found->text + (found->fix.empty() ? "" : "; to fix it: " + found->fix);
}

}  // namespace veltrane
