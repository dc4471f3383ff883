#include "platform/files.h"

#include <windows.h>

#include <filesystem>
#include <fstream>
#include <memory>

#include "platform/windows/handles.h"

namespace veltrane {
namespace {

static_assert(kMoveReplaceExisting == MOVEFILE_REPLACE_EXISTING);
static_assert(kMoveWriteThrough == MOVEFILE_WRITE_THROUGH);

// The library's own stream hands a write of 1024 bytes on at once, whatever the size of its buffer.
struct BufferedStream {
  std::ofstream file;
  std::string kept;

  ~BufferedStream() { Flush(); }

  void Flush() {
    file.write(kept.data(), static_cast<std::streamsize>(kept.size()));
    kept.clear();
  }
};

BufferedStream& AsStream(const Owner<void, CloseOutputStream>& stream) {
  return *static_cast<BufferedStream*>(stream.get());
}

// The errors that mean that the path does not exist, or cannot exist because it is malformed.
bool MeansNotFound(DWORD error) {
  switch (error) {
    case ERROR_FILE_NOT_FOUND:
    case ERROR_PATH_NOT_FOUND:
    case ERROR_BAD_NETPATH:
    case ERROR_BAD_NET_NAME:
    case ERROR_INVALID_NAME:
    case ERROR_BAD_PATHNAME:
    case ERROR_DIRECTORY:
      return true;
    default:
      return false;
  }
}

// Reads the attributes or, for a file that is open without sharing, the directory entry. Returns 0
// when the path exists, otherwise the Win32 error.
DWORD FindPath(const std::wstring& path) {
  WIN32_FILE_ATTRIBUTE_DATA attributes{};
  if (GetFileAttributesExW(path.c_str(), GetFileExInfoStandard, &attributes)) return ERROR_SUCCESS;
  const DWORD error = GetLastError();
  if (error != ERROR_SHARING_VIOLATION) return error;
  WIN32_FIND_DATAW entry{};
  const HANDLE search = FindFirstFileW(path.c_str(), &entry);
  if (search == INVALID_HANDLE_VALUE) return GetLastError();
  FindClose(search);
  return ERROR_SUCCESS;
}

}  // namespace

bool CreateFolders(const std::wstring& path) {
  std::error_code error;
  std::filesystem::create_directories(path, error);
  return !error;
}

Result<bool> TestExistence(const std::wstring& path) {
  const DWORD error = FindPath(path);
  if (error == ERROR_SUCCESS) return true;
  if (MeansNotFound(error)) return false;
  return Result<bool>::Failure(error);
}

std::optional<OutputFile> OutputFile::Open(const std::wstring& path) {
  auto stream = std::make_unique<BufferedStream>();
  // The C library opens the file with read and write sharing.
  stream->file.open(std::filesystem::path(path),
                    std::ios::out | std::ios::binary | std::ios::trunc);
  if (!stream->file.is_open()) return std::nullopt;
  return OutputFile(stream.release());
}

void CloseOutputStream(void* stream) noexcept { delete static_cast<BufferedStream*>(stream); }

void OutputFile::Write(std::string_view bytes) {
  BufferedStream& stream = AsStream(stream_);
  stream.kept += bytes;
  if (stream.kept.size() > kOutputBufferBytes) stream.Flush();
}

bool OutputFile::Close() {
  BufferedStream& stream = AsStream(stream_);
  stream.Flush();
  stream.file.close();
  return !stream.file.fail();
}

bool MoveFileWithFlags(const std::wstring& from, const std::wstring& to, std::uint32_t flags) {
  return MoveFileExW(from.c_str(), to.c_str(), flags) != 0;
}

bool RemoveFile(const std::wstring& path) { return DeleteFileW(path.c_str()) != 0; }

bool RemoveFolder(const std::wstring& path) { return RemoveDirectoryW(path.c_str()) != 0; }

}  // namespace veltrane
