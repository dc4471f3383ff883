#pragma once

// Settings from three environment scopes: the process, the machine and the user as stored in the
// registry. A service's own environment rarely holds what an administrator set, hence the other
// two. Nothing is cached; a scope that cannot be read is empty.

#include <cstdint>
#include <string>

#include "guard/route_guard_result.h"

namespace veltrane {

// The values of one variable as UTF-8. `effective` is the first that is not empty, in the order of
// the members, whether or not it parses.
struct EnvValue {
  std::string process;
  std::string machine;
  std::string user;
  std::string effective;
};

// Reads a variable in all scopes. A process value of 512 characters or more, and a registry value
// that does not fit 2048 bytes, count as absent.
EnvValue ReadEnvAllScopes(const std::wstring& name);

// The effective value alone.
std::string ReadEnvSetting(const std::wstring& name);

// True for "1", "true", "yes" and "on" in any case; nothing is trimmed.
bool ParseEnvBool(const std::string& text);

// Reads a number as strtol does. Gives `default_value` for a text without digits, a number that
// exceeds 32 bits, and one below 1.
std::int32_t ParseEnvPositiveInt(const std::string& text, std::int32_t default_value);

// The seconds of VELTRANE_POC_AUTO_STOP_SECONDS; 0 when there is to be no auto-stop.
std::int32_t AutoStopSeconds();

// Fills the settings of the guard. When a Remote Desktop session's machine scope switches the guard
// on but an earlier scope overrides it with something false, sets poc_env_read_failed,
// poc_route_guard_failed, failure_reason and message; the AllowedIPs must then not be patched.
void ReadGuardSettings(RouteGuardResult& result);

}  // namespace veltrane
