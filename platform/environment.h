#pragma once

// Environment variables of the process, and the stored environments in the registry. May be called
// on any thread.

#include <cstddef>
#include <string>

namespace veltrane {

enum class RegistryRoot { kLocalMachine, kCurrentUser };

// Reads a variable of the process environment through a buffer of `capacity` wide characters, the
// terminating zero included (GetEnvironmentVariableW). Empty when the variable is absent or empty,
// when it cannot be read, and when the value does not fit.
std::wstring ReadProcessVariable(const std::wstring& name, std::size_t capacity);

// Reads a registry value of type REG_SZ or REG_EXPAND_SZ through a buffer of `capacity_bytes` bytes
// (RegGetValueW with RRF_RT_REG_SZ | RRF_RT_REG_EXPAND_SZ and no other flag). Empty when the call
// reports any error, a value that is too long included.
std::wstring ReadRegistryText(RegistryRoot root, const std::wstring& key, const std::wstring& name,
                              std::size_t capacity_bytes);

}  // namespace veltrane
