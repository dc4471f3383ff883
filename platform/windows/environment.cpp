#include "platform/environment.h"

#include <windows.h>

#include <vector>

#include "platform/registry.h"

namespace veltrane {

std::wstring ReadProcessVariable(const std::wstring& name, std::size_t capacity) {
  std::vector<wchar_t> buffer(capacity);
  const DWORD length =
      GetEnvironmentVariableW(name.c_str(), buffer.data(), static_cast<DWORD>(capacity));
  if (length == 0 || length >= capacity) return {};
  return std::wstring(buffer.data(), length);
}

std::wstring ReadRegistryText(RegistryRoot root, const std::wstring& key, const std::wstring& name,
                              std::size_t capacity_bytes) {
  const Result<std::wstring> text = FindRegistryText(root, key, name, capacity_bytes);
  return text ? *text : std::wstring();
}

Result<std::vector<std::wstring>> ReadRegistryTexts(const std::wstring& key,
                                                    const std::wstring& name) {
  using Texts = std::vector<std::wstring>;
  constexpr DWORD kMostBytes = 1 << 20;
  std::vector<wchar_t> buffer(kMostBytes / sizeof(wchar_t) + 2);  // ends with an empty text
  DWORD size = kMostBytes;
  const LSTATUS status = RegGetValueW(HKEY_LOCAL_MACHINE, key.c_str(), name.c_str(),
                                      RRF_RT_REG_MULTI_SZ, nullptr, buffer.data(), &size);
  if (status != ERROR_SUCCESS) return Result<Texts>::Failure(static_cast<DWORD>(status));
  Texts texts;
  for (const wchar_t* text = buffer.data(); *text != L'\0'; text += texts.back().size() + 1) {
    texts.emplace_back(text);
  }
  return texts;
}

}  // namespace veltrane
