#pragma once

// Files and folders.
// Units: paths are wide strings.
// Threads: any; an OutputFile belongs to one thread.
// Windows: "File Management Functions".

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "platform/owner.h"
#include "platform/result.h"

namespace veltrane {

// Creates a folder and all its missing parents (std::filesystem::create_directories). Returns false
// on failure; a folder that already exists is not a failure.
bool CreateFolders(const std::wstring& path);

// Returns whether a file or folder exists (GetFileAttributesExW). Fails with the Win32 error when
// that cannot be determined, for example because a folder above it denies access.
Result<bool> TestExistence(const std::wstring& path);

// Returns true only when the file or folder is known to exist.
inline bool IsThere(const std::wstring& path) {
  const Result<bool> exists = TestExistence(path);
  return exists && *exists;
}

void CloseOutputStream(void* stream) noexcept;  // for OutputFile only

// How many bytes an OutputFile keeps back before it writes to its file.
inline constexpr std::size_t kOutputBufferBytes = 8192;

// A buffered output stream to a file, which is opened in binary mode and truncated. While it is
// open, others may open the file for reading and writing but not delete it. The destructor closes
// it if Close has not.
class OutputFile {
 public:
  // Opens the file; nullopt on failure.
  static std::optional<OutputFile> Open(const std::wstring& path);

  // Appends bytes to the stream. They are kept back until there are more than kOutputBufferBytes,
  // all of which then reach the file, or until Close. Errors show in Close.
  void Write(std::string_view bytes);

  // Flushes and closes the stream. Returns false when any write or the close failed. Call it once.
  bool Close();

 private:
  explicit OutputFile(void* stream) : stream_(stream) {}

  Owner<void, CloseOutputStream> stream_;
};

// MOVEFILE_REPLACE_EXISTING and MOVEFILE_WRITE_THROUGH.
inline constexpr std::uint32_t kMoveReplaceExisting = 1;
inline constexpr std::uint32_t kMoveWriteThrough = 8;

// Moves a file with these flags combined (MoveFileExW). Returns false on failure.
bool MoveFileWithFlags(const std::wstring& from, const std::wstring& to, std::uint32_t flags);

// Deletes a file (DeleteFileW). Returns false on failure, for example while the file is open
// without delete sharing.
bool RemoveFile(const std::wstring& path);

// Removes an empty folder (RemoveDirectoryW). Returns false on failure, for example while anything
// is in it.
bool RemoveFolder(const std::wstring& path);

}  // namespace veltrane
