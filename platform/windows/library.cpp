#include "platform/library.h"

#include <windows.h>

#include <algorithm>
#include <array>

namespace veltrane {

std::optional<Library> Library::Load(const std::wstring& name) {
  const HMODULE module = LoadLibraryW(name.c_str());
  if (module == nullptr) return std::nullopt;
  return Library(module);
}

void FreeLoadedLibrary(void* handle) noexcept { FreeLibrary(static_cast<HMODULE>(handle)); }

LibraryFunction Library::Find(const std::string& name) const {
  return reinterpret_cast<LibraryFunction>(
      GetProcAddress(static_cast<HMODULE>(handle_.get()), name.c_str()));
}

std::wstring ExecutablePath() {
  std::array<wchar_t, MAX_PATH> buffer{};
  const std::size_t length =
      GetModuleFileNameW(nullptr, buffer.data(), static_cast<DWORD>(buffer.size()));
  // The length of a truncated path includes the terminating zero.
  return std::wstring(buffer.data(), std::min(length, buffer.size() - 1));
}

}  // namespace veltrane
