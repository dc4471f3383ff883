#pragma once

// Libraries loaded at run time, and this program's own file.

#include <optional>
#include <string>

#include "platform/owner.h"

namespace veltrane {

// An exported function of unknown type; the caller casts it to what the library documents.
using LibraryFunction = void (*)();

void FreeLoadedLibrary(void* handle) noexcept;  // for Library alone

// A loaded library, freed with the object.
class Library {
 public:
  // Loads a library by the system's normal search; nullopt when that fails.
  static std::optional<Library> Load(const std::wstring& name);

  // The exported function of this name, or null.
  LibraryFunction Find(const std::string& name) const;

 private:
  explicit Library(void* handle) : handle_(handle) {}

  Owner<void, FreeLoadedLibrary> handle_;
};

// The path of the running executable, cut to what fits a buffer of 260 wide characters with its
// terminating zero (GetModuleFileNameW).
std::wstring ExecutablePath();

}  // namespace veltrane
