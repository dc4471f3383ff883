#pragma once

// The control service as it is registered, and its settings.

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "platform/result.h"

namespace veltrane {

inline constexpr wchar_t kServiceProgram[] = L"VeltraneVpnService.exe";

struct Registration {
  bool exists = false;  // without it the other members say nothing
  std::wstring command_line;
  std::uint32_t start_type = 0;           // of service_codes.h
  bool runs = false;                      // has not stopped, or is to be started
  std::vector<std::wstring> environment;  // its own Environment value; empty also without one

  bool operator==(const Registration&) const = default;
};

// Reads it. Fails when that cannot be told, with 1630 when the Environment value is not a
// REG_MULTI_SZ.
Result<Registration> ReadRegistration();

// Whether a command line runs this program, also without the quotes that a path with spaces needs.
bool RunsProgram(const std::wstring& command_line, const std::wstring& program);

// Returns the command line with which `--install` registers this program.
std::wstring CommandLineOf(const std::wstring& program);

// Registers the service as `--install` does, if it is not registered, waiting up to 10 s for an
// earlier one to go that is marked for deletion, and gives it the command line, start type and
// environment that are wanted; what is right already is not touched, and an empty environment is no
// value. Starts nothing. Returns what failed, for people and without a full stop, or an empty text.
std::string RegisterService(const Registration& wanted);

}  // namespace veltrane
