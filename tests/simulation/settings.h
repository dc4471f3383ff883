#pragma once

// The settings as the machine has them now (docs/operations.md, "Settings").

#include <string>

#include "tests/simulated/machine.h"

namespace veltrane::simulation {

// How many characters of a variable of the process the program can take, with the zero at its end.
inline constexpr std::size_t kSettingCapacity = 512;

// The value of a setting in one scope, and the value that counts: of the process, else of the
// machine, else of the user.
std::string ProcessSettingOf(const simulated::Machine& machine, const std::wstring& name);
std::string MachineSettingOf(const simulated::Machine& machine, const std::wstring& name);
std::string UserSettingOf(const simulated::Machine& machine, const std::wstring& name);
std::string SettingOf(const simulated::Machine& machine, const std::wstring& name);

}  // namespace veltrane::simulation
