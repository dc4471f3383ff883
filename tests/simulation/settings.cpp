#include "tests/simulation/settings.h"

namespace veltrane::simulation {
namespace {

using simulated::Machine;

std::string StoredSettingOf(const Machine& machine, RegistryRoot root, const wchar_t* key,
                            const std::wstring& name) {
  constexpr std::size_t kBytes = 2048;
  const auto text = machine.registry.ReadText(root, key, name, kBytes);
  return text ? simulated::Narrow(*text) : "";
}

}  // namespace

std::string ProcessSettingOf(const Machine& machine, const std::wstring& name) {
  return simulated::Narrow(machine.environment.Process(name, kSettingCapacity));
}

std::string MachineSettingOf(const Machine& machine, const std::wstring& name) {
  return StoredSettingOf(machine, RegistryRoot::kLocalMachine, simulated::kMachineEnvironmentKey,
                         name);
}

std::string UserSettingOf(const Machine& machine, const std::wstring& name) {
  return StoredSettingOf(machine, RegistryRoot::kCurrentUser, simulated::kUserEnvironmentKey, name);
}

std::string SettingOf(const Machine& machine, const std::wstring& name) {
  for (const auto& scope : {ProcessSettingOf, MachineSettingOf, UserSettingOf}) {
    const std::string value = scope(machine, name);
    if (!value.empty()) return value;
  }
  return "";
}

}  // namespace veltrane::simulation
