#include "setup/leftovers.h"

#include <optional>

#include "platform/access_lists.h"
#include "platform/files.h"
#include "platform/text.h"
#include "setup/paths.h"

namespace veltrane {
namespace {

constexpr std::size_t kScrubBytes = 4096;

bool LeadsElsewhere(const std::wstring& path) {
  const Result<bool> reparse_point = TestReparsePoint(path);
  return reparse_point && *reparse_point;
}

void ScrubAndRemove(const std::wstring& path) {
  if (!IsThere(path)) return;
  std::optional<OutputFile> scrub = OutputFile::Open(path);
  if (scrub) {
    scrub->Write(std::string(kScrubBytes, '\0'));
    scrub->Close();
  }
  RemoveFile(path);
}

}  // namespace

void RemoveLeftovers(const std::wstring& conf, InstallerSession& session) {
  const std::wstring folder = FolderOf(conf);
  const std::wstring folder_above = FolderOf(folder);
  const std::wstring temporary = conf + L".tmp";
  for (const std::wstring& path : {folder_above, folder, conf, temporary}) {
    if (!LeadsElsewhere(path)) continue;
    session.Note("Veltrane VPN: " + WideToUtf8(path) + " is a reparse point; what is in it stays.");
    return;
  }
  ScrubAndRemove(conf);
  ScrubAndRemove(temporary);
  for (const std::wstring& path : {folder, folder_above}) {
    if (IsThere(path) && !RemoveFolder(path)) {
      session.Note("Veltrane VPN: " + WideToUtf8(path) +
                   " stays, because something else is in it.");
      return;
    }
  }
}

}  // namespace veltrane
