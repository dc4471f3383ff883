#pragma once

// Files and folders. Paths are wide; errors come back as values. May be called on any thread.

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>

namespace veltrane {

// Creates a folder with all its missing parents; a folder that exists is no error.
std::error_code CreateFolders(const std::wstring& path);

struct Existence {
  bool exists = false;    // false when `error` is set
  std::error_code error;  // set when the test failed for a reason other than "not found"
};

// Tests whether a file or folder is there.
Existence TestExistence(const std::wstring& path);

// A buffered output stream over a file, opened in binary mode and truncated; others may open the
// file for reading and writing meanwhile, but not delete it. Closed with the object at the latest.
class OutputFile {
 public:
  // nullopt when the file cannot be opened.
  static std::optional<OutputFile> Open(const std::wstring& path);

  OutputFile(OutputFile&& other) noexcept;
  OutputFile& operator=(OutputFile&&) = delete;
  ~OutputFile();

  // Hands bytes to the stream, which may keep them until Close.
  void Write(std::string_view bytes);

  // Flushes and closes; false when a write or the close failed. Called once.
  bool Close();

 private:
  explicit OutputFile(void* stream) : stream_(stream) {}

  void* stream_;
};

// Moves a file (MoveFileExW) with the flags of winbase.h; false on failure.
bool MoveFileWithFlags(const std::wstring& from, const std::wstring& to, std::uint32_t flags);

// Deletes a file (DeleteFileW); false on failure, for example while it is open without delete
// sharing.
bool RemoveFile(const std::wstring& path);

}  // namespace veltrane
