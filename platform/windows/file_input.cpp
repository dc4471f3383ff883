#include "platform/file_input.h"

#include <windows.h>

#include <array>

#include "platform/result.h"
#include "platform/windows/handles.h"
#include "platform/windows/utf16.h"

namespace veltrane {
namespace {

static_assert(kErrorFileNotFound == ERROR_FILE_NOT_FOUND);
static_assert(kErrorPathNotFound == ERROR_PATH_NOT_FOUND);
static_assert(kErrorAccessDenied == ERROR_ACCESS_DENIED);
static_assert(kErrorFileTooLarge == ERROR_FILE_TOO_LARGE);
static_assert(kErrorBadFileType == ERROR_BAD_FILE_TYPE);

// When standard input is a pipe, its end is reported as an error.
bool MeansEnd(DWORD error) { return error == ERROR_BROKEN_PIPE || error == ERROR_HANDLE_EOF; }

DWORD ReadHandle(HANDLE handle, std::size_t limit, const ByteSink& sink) {
  std::array<char, 16384> piece{};
  std::size_t total = 0;
  DWORD status = ERROR_SUCCESS;
  while (status == ERROR_SUCCESS) {
    DWORD read = 0;
    if (!ReadFile(handle, piece.data(), static_cast<DWORD>(piece.size()), &read, nullptr)) {
      if (!MeansEnd(GetLastError())) status = GetLastError();
      break;
    }
    if (read == 0) break;
    total += read;
    if (total > limit) {
      status = ERROR_FILE_TOO_LARGE;
    } else {
      sink({piece.data(), read});
    }
  }
  SecureZeroMemory(piece.data(), piece.size());
  return status;
}

}  // namespace

std::uint32_t ReadFileBytes(const std::string& path, std::size_t limit, const ByteSink& sink) {
  const HANDLE handle =
      CreateFileW(ToUtf16(path).c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                  OPEN_EXISTING,
                  FILE_ATTRIBUTE_NORMAL | SECURITY_SQOS_PRESENT | SECURITY_IDENTIFICATION, nullptr);
  if (handle == INVALID_HANDLE_VALUE) return GetLastError();
  const UniqueHandle file(handle);
  if (GetFileType(file.get()) != FILE_TYPE_DISK) return ERROR_BAD_FILE_TYPE;
  return ReadHandle(file.get(), limit, sink);
}

std::uint32_t ReadStandardInput(std::size_t limit, const ByteSink& sink) {
  return ReadHandle(GetStdHandle(STD_INPUT_HANDLE), limit, sink);
}

}  // namespace veltrane
