#include "platform/library.h"

#include <windows.h>

#include <algorithm>
#include <array>
#include <utility>

#include "platform/windows/handles.h"

namespace veltrane {

std::optional<Library> Library::Load(const std::wstring& name) {
  const HMODULE module = LoadLibraryW(name.c_str());
  if (module == nullptr) return std::nullopt;
  return Library(module);
}

Library::Library(Library&& other) noexcept : handle_(std::exchange(other.handle_, nullptr)) {}

Library::~Library() { LibraryHandle(static_cast<HMODULE>(handle_)).reset(); }

LibraryFunction Library::Find(const std::string& name) const {
  return reinterpret_cast<LibraryFunction>(
      GetProcAddress(static_cast<HMODULE>(handle_), name.c_str()));
}

std::wstring ExecutablePath() {
  std::array<wchar_t, MAX_PATH> buffer{};
  const std::size_t length =
      GetModuleFileNameW(nullptr, buffer.data(), static_cast<DWORD>(buffer.size()));
  // A path that was cut counts its terminating zero too.
  return std::wstring(buffer.data(), std::min(length, buffer.size() - 1));
}

}  // namespace veltrane
