#pragma once

// Settings from three environment scopes: the process, and the machine and the user as stored in
// the registry. The last two are read because a service's process environment is as old as the last
// start of Windows. Nothing is cached. A scope that cannot be read is empty.

#include <cstddef>
#include <cstdint>
#include <string>

#include "guard/route_guard_result.h"

namespace veltrane {

// The buffers of ReadEnvAllScopes, terminating zero included.
inline constexpr std::size_t kProcessCapacity = 512;  // wide characters
inline constexpr std::size_t kRegistryCapacityBytes = 2048;

// The keys of the stored environments, the user's in the hive of the user.
inline constexpr wchar_t kMachineEnvironmentKey[] =
    L"SYSTEM\\CurrentControlSet\\Control\\Session Manager\\Environment";
inline constexpr wchar_t kUserEnvironmentKey[] = L"Environment";

// The values of one variable, as UTF-8. `effective` is the first of the other three, in order, that
// is not empty, whether or not it can be parsed.
struct EnvValue {
  std::string process;
  std::string machine;
  std::string user;
  std::string effective;
};

// Reads a variable in all scopes. A process value of 512 characters or more counts as absent, and
// so does a registry value that does not fit into 2048 bytes with its terminating zero.
EnvValue ReadEnvAllScopes(const std::wstring& name);

// Returns only the effective value.
std::string ReadEnvSetting(const std::wstring& name);

// Returns true for "1", "true", "yes" and "on" in any case. Trims nothing.
bool ParseEnvBool(const std::string& text);

// Parses a number as strtol does. Returns `default_value` for a string that does not begin with a
// number, for a number that exceeds 32 bits, and for one below 1.
std::int32_t ParseEnvPositiveInt(const std::string& text, std::int32_t default_value);

// Returns the value of VELTRANE_POC_AUTO_STOP_SECONDS; 0 means no auto-stop.
std::int32_t AutoStopSeconds();

// Stores the guard's settings in `result`. If, in a Remote Desktop session, the machine scope turns
// the guard on and the process scope overrides that with a value that is not true, sets
// poc_env_read_failed, poc_route_guard_failed, failure_reason and message; AllowedIPs must then not
// be patched.
void ReadGuardSettings(RouteGuardResult& result);

}  // namespace veltrane
