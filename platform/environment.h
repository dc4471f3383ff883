#pragma once

// Environment variables of the process, and those stored in the registry.
// Errors: an empty string, except where a result carries the Win32 error.
// Threads: any.
// Windows: "Environment Variables", "Registry".

#include <cstddef>
#include <string>
#include <vector>

#include "platform/result.h"

namespace veltrane {

enum class RegistryRoot { kLocalMachine, kCurrentUser, kUsers };

// Reads a variable of the process environment into a buffer of `capacity` wide characters,
// including the terminating zero (GetEnvironmentVariableW). Empty when the variable is absent,
// empty or unreadable, and when its value does not fit.
std::wstring ReadProcessVariable(const std::wstring& name, std::size_t capacity);

// Reads a registry value of type REG_SZ, or REG_EXPAND_SZ with its variables expanded, into a
// buffer of `capacity_bytes` bytes (RegGetValueW with RRF_RT_REG_SZ | RRF_RT_REG_EXPAND_SZ and no
// other flag). Empty on any error, including a value that does not fit.
std::wstring ReadRegistryText(RegistryRoot root, const std::wstring& key, const std::wstring& name,
                              std::size_t capacity_bytes);

// Reads the texts of a registry value of type REG_MULTI_SZ under HKEY_LOCAL_MACHINE (RegGetValueW
// with RRF_RT_REG_MULTI_SZ), in order. Fails with the Win32 error: 2 when the key or the value does
// not exist, 5 when the caller may not read it, 1630 for a value of another type.
Result<std::vector<std::wstring>> ReadRegistryTexts(const std::wstring& key,
                                                    const std::wstring& name);

}  // namespace veltrane
