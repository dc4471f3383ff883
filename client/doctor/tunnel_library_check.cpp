#include "client/doctor/checks.h"
#include "client/doctor/pe_exports.h"
#include "client/text/windows_error.h"
#include "platform/file_input.h"
#include "platform/library.h"
#include "platform/text.h"

namespace veltrane {
namespace {

constexpr std::size_t kLargestLibrary = std::size_t{256} << 20;

std::wstring FolderOf(const std::wstring& path) {
  const std::size_t separator = path.find_last_of(L"\\/");
  return separator == std::wstring::npos ? std::wstring() : path.substr(0, separator);
}

}  // namespace

void CheckTunnelLibrary(const Preflight& preflight, Findings& findings) {
  findings.Begin("tunnel library");
  const std::wstring& program = preflight.program.empty() ? ExecutablePath() : preflight.program;
  const std::string path = WideToUtf8(FolderOf(program) + L"\\tunnel.dll");
  std::string bytes;
  const std::uint32_t status = ReadFileBytes(
      path, kLargestLibrary, [&bytes](std::string_view piece) { bytes.append(piece); });
  const std::string copy = "copy tunnel.dll \"" + path + "\"";
  if (status != 0) {
    findings.Fail("tunnel.dll", path + " cannot be read" + WindowsError(status), copy);
    return;
  }
  switch (FindExport(bytes, "WireGuardTunnelService")) {
    case ExportState::kNotALibrary:
      findings.Fail("tunnel.dll", path + " is not a Windows library", copy);
      break;
    case ExportState::kOtherMachine:
      findings.Fail("tunnel.dll", path + " is not for 64-bit x86", copy);
      break;
    case ExportState::kMissing:
      findings.Fail("tunnel.dll", path + " does not export WireGuardTunnelService", copy);
      break;
    case ExportState::kPresent:
      findings.Ok("tunnel.dll", path + " exports WireGuardTunnelService");
      break;
  }
}

}  // namespace veltrane
