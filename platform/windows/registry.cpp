#include "platform/registry.h"

#include <windows.h>

#include <array>

#include "platform/windows/file_time.h"
#include "platform/windows/handles.h"

namespace veltrane {
namespace {

static_assert(kErrorFileNotFound == ERROR_FILE_NOT_FOUND);
static_assert(kErrorAccessDenied == ERROR_ACCESS_DENIED);

HKEY RootKey(RegistryRoot root) {
  switch (root) {
    case RegistryRoot::kLocalMachine:
      return HKEY_LOCAL_MACHINE;
    case RegistryRoot::kCurrentUser:
      return HKEY_CURRENT_USER;
    case RegistryRoot::kUsers:
      return HKEY_USERS;
  }
  return nullptr;
}

template <typename T>
Result<T> Failure(LSTATUS status) {
  return Result<T>::Failure(static_cast<DWORD>(status));
}

Result<RegistryKey> OpenKey(HKEY root, const std::wstring& key, REGSAM access) {
  HKEY handle = nullptr;
  const LSTATUS status = RegOpenKeyExW(root, key.c_str(), 0, access, &handle);
  if (status != ERROR_SUCCESS) return Failure<RegistryKey>(status);
  return RegistryKey(handle);
}

}  // namespace

Result<std::wstring> FindRegistryText(RegistryRoot root, const std::wstring& key,
                                      const std::wstring& name, std::size_t capacity_bytes) {
  std::vector<wchar_t> buffer(capacity_bytes / sizeof(wchar_t));
  DWORD size = static_cast<DWORD>(buffer.size() * sizeof(wchar_t));
  const LSTATUS status =
      RegGetValueW(RootKey(root), key.c_str(), name.c_str(), RRF_RT_REG_SZ | RRF_RT_REG_EXPAND_SZ,
                   nullptr, buffer.data(), &size);
  if (status != ERROR_SUCCESS) return Failure<std::wstring>(status);
  return std::wstring(buffer.data());  // RegGetValueW always terminates the string
}

Result<bool> TestExpandableText(RegistryRoot root, const std::wstring& key,
                                const std::wstring& name) {
  DWORD type = REG_NONE;
  const LSTATUS status = RegGetValueW(RootKey(root), key.c_str(), name.c_str(),
                                      RRF_RT_ANY | RRF_NOEXPAND, &type, nullptr, nullptr);
  if (status != ERROR_SUCCESS) return Failure<bool>(status);
  return type == REG_EXPAND_SZ;
}

Result<std::uint32_t> ReadRegistryNumber(const std::wstring& key, const std::wstring& name) {
  DWORD number = 0;
  DWORD size = sizeof(number);
  const LSTATUS status = RegGetValueW(HKEY_LOCAL_MACHINE, key.c_str(), name.c_str(),
                                      RRF_RT_REG_DWORD, nullptr, &number, &size);
  if (status != ERROR_SUCCESS) return Failure<std::uint32_t>(status);
  return std::uint32_t{number};
}

Result<std::vector<std::wstring>> ListRegistryKeys(const std::wstring& key) {
  using Names = std::vector<std::wstring>;
  constexpr DWORD kLongestName = 255;
  const Result<RegistryKey> opened = OpenKey(HKEY_LOCAL_MACHINE, key, KEY_ENUMERATE_SUB_KEYS);
  if (!opened) return Result<Names>::Failure(opened.Error());
  Names names;
  for (DWORD index = 0;; ++index) {
    std::array<wchar_t, kLongestName + 1> name{};
    DWORD length = static_cast<DWORD>(name.size());
    const LSTATUS status = RegEnumKeyExW(opened->get(), index, name.data(), &length, nullptr,
                                         nullptr, nullptr, nullptr);
    if (status == ERROR_NO_MORE_ITEMS) return names;
    if (status != ERROR_SUCCESS) return Failure<Names>(status);
    names.emplace_back(name.data(), length);
  }
}

Result<std::int64_t> ReadKeyWriteTime(RegistryRoot root, const std::wstring& key) {
  const Result<RegistryKey> opened = OpenKey(RootKey(root), key, KEY_QUERY_VALUE);
  if (!opened) return Result<std::int64_t>::Failure(opened.Error());
  FILETIME time{};
  const LSTATUS status =
      RegQueryInfoKeyW(opened->get(), nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                       nullptr, nullptr, nullptr, &time);
  if (status != ERROR_SUCCESS) return Failure<std::int64_t>(status);
  return UnixTicks(time);
}

std::uint32_t WriteRegistryTexts(const std::wstring& key, const std::wstring& name,
                                 const std::vector<std::wstring>& texts) {
  const Result<RegistryKey> opened = OpenKey(HKEY_LOCAL_MACHINE, key, KEY_SET_VALUE);
  if (!opened) return opened.Error();
  std::wstring list;  // each text ends in a zero, and so does the list
  for (const std::wstring& text : texts) list.append(text).push_back(L'\0');
  list.push_back(L'\0');
  return static_cast<std::uint32_t>(RegSetValueExW(
      opened->get(), name.c_str(), 0, REG_MULTI_SZ, reinterpret_cast<const BYTE*>(list.data()),
      static_cast<DWORD>(list.size() * sizeof(wchar_t))));
}

std::uint32_t RemoveRegistryValue(const std::wstring& key, const std::wstring& name) {
  const Result<RegistryKey> opened = OpenKey(HKEY_LOCAL_MACHINE, key, KEY_SET_VALUE);
  if (!opened) return opened.Error();
  return static_cast<std::uint32_t>(RegDeleteValueW(opened->get(), name.c_str()));
}

}  // namespace veltrane
