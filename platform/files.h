#pragma once

// Files and folders. Paths are wide; errors come back as values. May be called on any thread.

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "platform/owner.h"
#include "platform/result.h"

namespace veltrane {

// Creates a folder with all its missing parents; false on failure. A folder that exists is not a
// failure.
bool CreateFolders(const std::wstring& path);

// Tells whether a file or folder is there. Fails with the Win32 error when that cannot be told, for
// example because a folder above it denies access.
Result<bool> TestExistence(const std::wstring& path);

// True when a file or folder is known to be there.
inline bool IsThere(const std::wstring& path) {
  const Result<bool> exists = TestExistence(path);
  return exists && *exists;
}

void CloseOutputStream(void* stream) noexcept;  // for OutputFile alone

// A buffered output stream over a file, opened in binary mode and truncated; others may open the
// file for reading and writing meanwhile, but not delete it. Closed with the object at the latest.
class OutputFile {
 public:
  // nullopt when the file cannot be opened.
  static std::optional<OutputFile> Open(const std::wstring& path);

  // Hands bytes to the stream. A write of 1024 bytes or more reaches the file at once; smaller ones
  // are kept back until they come to about 4 KB, or until Close.
  void Write(std::string_view bytes);

  // Flushes and closes; false when a write or the close failed. Called once.
  bool Close();

 private:
  explicit OutputFile(void* stream) : stream_(stream) {}

  Owner<void, CloseOutputStream> stream_;
};

// Flags of a move: MOVEFILE_REPLACE_EXISTING, MOVEFILE_WRITE_THROUGH.
inline constexpr std::uint32_t kMoveReplaceExisting = 1;
inline constexpr std::uint32_t kMoveWriteThrough = 8;

// Moves a file (MoveFileExW) with a sum of these flags; false on failure.
bool MoveFileWithFlags(const std::wstring& from, const std::wstring& to, std::uint32_t flags);

// Deletes a file (DeleteFileW); false on failure, for example while it is open without delete
// sharing.
bool RemoveFile(const std::wstring& path);

}  // namespace veltrane
