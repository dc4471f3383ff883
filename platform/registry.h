#pragma once

// The registry, where it matters why there is no value, and writing to it.
// Errors: Win32 errors: 2 when the key or the value does not exist, 5 when the caller may not read
// or write it, 1630 for a value of another type.
// Threads: any.
// Windows: "Registry Functions".

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "platform/environment.h"
#include "platform/result.h"

namespace veltrane {

// Reads a value as ReadRegistryText does, by the same call with the same flags. Fails also with 234
// when the value does not fit.
Result<std::wstring> FindRegistryText(RegistryRoot root, const std::wstring& key,
                                      const std::wstring& name, std::size_t capacity_bytes);

// Returns whether a value is of type REG_EXPAND_SZ (RegGetValueW with RRF_RT_ANY and RRF_NOEXPAND):
// what a reader gets then depends on the environment of its own process.
Result<bool> TestExpandableText(RegistryRoot root, const std::wstring& key,
                                const std::wstring& name);

// Reads a value of type REG_DWORD (RegGetValueW with RRF_RT_REG_DWORD) under HKEY_LOCAL_MACHINE.
Result<std::uint32_t> ReadRegistryNumber(const std::wstring& key, const std::wstring& name);

// Lists the names of the keys inside a key under HKEY_LOCAL_MACHINE, in the system's order
// (RegEnumKeyExW).
Result<std::vector<std::wstring>> ListRegistryKeys(const std::wstring& key);

// Returns when a key or one of its values was last written (RegQueryInfoKeyW), in ticks of clock.h
// since 1970-01-01 00:00:00 UTC.
Result<std::int64_t> ReadKeyWriteTime(RegistryRoot root, const std::wstring& key);

// Sets a value of type REG_MULTI_SZ in an existing key under HKEY_LOCAL_MACHINE (RegSetValueExW).
// No text may be empty: an empty one ends the list. Returns 0, or the error.
std::uint32_t WriteRegistryTexts(const std::wstring& key, const std::wstring& name,
                                 const std::vector<std::wstring>& texts);

// Deletes a value of a key under HKEY_LOCAL_MACHINE (RegDeleteValueW). Returns 0, or the error.
std::uint32_t RemoveRegistryValue(const std::wstring& key, const std::wstring& name);

}  // namespace veltrane
