#include "tunnel/active_conf.h"

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <system_error>

#include "platform/environment.h"
#include "platform/files.h"
#include "platform/security.h"
#include "service/startup_guard.h"
#include "text/fail.h"
#include "tunnel/wireguard_config.h"

namespace veltrane {
namespace {

constexpr std::size_t kPathCapacity = 260;  // MAX_PATH
constexpr std::size_t kScrubBytes = 4096;

AccessEntry FullAccess(const Sid& group) {
  return {.sid = group,
          .trustee_type = TrusteeType::kGroup,
          .access_mask = kGenericAll,
          .inheritance = kObjectAndContainerInherit};
}

}  // namespace

std::wstring TunnelsFolder() {
  std::wstring program_data = ReadProcessVariable(L"ProgramData", kPathCapacity);
  if (program_data.empty()) program_data = L"C:\\ProgramData";
  return program_data + L"\\Veltrane\\tunnels";
}

std::wstring ActiveConfPath() { return TunnelsFolder() + L"\\active.conf"; }

bool WriteActiveConf(const ConnectionProfile& profile, std::string* error) {
  CheckStartupMutation("WriteActiveConf");
  NoteConfigWritten();
  const std::wstring folder = TunnelsFolder();
  if (!CreateFolders(folder)) return Fail(error, "create_directories failed");
  ApplyTunnelsAcl(folder);

  const std::wstring temporary = folder + L"\\active.conf.tmp";
  const std::wstring active = folder + L"\\active.conf";
  const std::string text = RenderWireGuardConfig(profile);
  std::optional<OutputFile> file = OutputFile::Open(temporary);
  if (!file) return Fail(error, "open tmp failed");
  file->Write(text);
  if (!file->Close()) return Fail(error, "write tmp failed");
  ApplyTunnelsAcl(temporary);

  if (!MoveFileWithFlags(temporary, active, kMoveReplaceExisting | kMoveWriteThrough)) {
    return Fail(error, "rename active.conf failed");
  }
  ApplyTunnelsAcl(active);
  return true;
}

bool DeleteActiveConf(std::string* error) {
  const std::wstring active = ActiveConfPath();
  const Result<bool> exists = TestExistence(active);
  if (!exists) {
    throw std::filesystem::filesystem_error(
        "exists", active,
        std::error_code(static_cast<int>(exists.Error()), std::system_category()));
  }
  if (!*exists) return true;
  // Opening the stream empties the file, and closing it writes the zeros, after the deletion was
  // tried. Windows does not delete a file that is open without delete sharing, so a file of zeros
  // remains.
  std::optional<OutputFile> scrub = OutputFile::Open(active);
  if (scrub) scrub->Write(std::string(kScrubBytes, '\0'));
  if (!RemoveFile(active)) return Fail(error, "delete active.conf failed");
  return true;
}

bool ApplyTunnelsAcl(const std::wstring& path) {
  const std::optional<Sid> system = MakeSystemSid();
  const std::optional<Sid> administrators = MakeAdministratorsSid();
  if (!system || !administrators) return false;
  return SetProtectedAccess(path, {FullAccess(*system), FullAccess(*administrators)});
}

}  // namespace veltrane
