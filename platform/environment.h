#pragma once

// Environment variables of the process, and those stored in the registry.
// Errors: an empty string.
// Threads: any.
// Windows: "Environment Variables", "Registry".

#include <cstddef>
#include <string>

namespace veltrane {

enum class RegistryRoot { kLocalMachine, kCurrentUser };

// Reads a variable of the process environment into a buffer of `capacity` wide characters,
// including the terminating zero (GetEnvironmentVariableW). Empty when the variable is absent,
// empty or unreadable, and when its value does not fit.
std::wstring ReadProcessVariable(const std::wstring& name, std::size_t capacity);

// Reads a registry value of type REG_SZ, or REG_EXPAND_SZ with its variables expanded, into a
// buffer of `capacity_bytes` bytes (RegGetValueW with RRF_RT_REG_SZ | RRF_RT_REG_EXPAND_SZ and no
// other flag). Empty on any error, including a value that does not fit.
std::wstring ReadRegistryText(RegistryRoot root, const std::wstring& key, const std::wstring& name,
                              std::size_t capacity_bytes);

}  // namespace veltrane
