#pragma once

// Libraries loaded at run time, and the path of the running executable.
// Threads: any.
// Windows: "Dynamic-Link Library Search Order".

#include <optional>
#include <string>

#include "platform/owner.h"

namespace veltrane {

// An exported function of unknown type; the caller casts it to the type that the library documents.
using LibraryFunction = void (*)();

void FreeLoadedLibrary(void* handle) noexcept;  // for Library only

// A loaded library; the destructor frees it.
class Library {
 public:
  // Loads a library by the system's standard search order (LoadLibraryW). nullopt on failure.
  static std::optional<Library> Load(const std::wstring& name);

  // Returns the exported function of this name, or null (GetProcAddress).
  LibraryFunction Find(const std::string& name) const;

 private:
  explicit Library(void* handle) : handle_(handle) {}

  Owner<void, FreeLoadedLibrary> handle_;
};

// Returns the path of the running executable, truncated to 259 wide characters (GetModuleFileNameW
// with a buffer of MAX_PATH).
std::wstring ExecutablePath();

}  // namespace veltrane
