#include "tests/simulated/environment.h"

#include "tests/simulated/machine.h"

namespace veltrane {
namespace simulated {

Environment::Environment(Core& core, Registry& registry) : core_(core), registry_(registry) {
  SetProcess(L"ProgramData", L"C:\\ProgramData");
}

void Environment::SetProcess(const std::wstring& name, const std::wstring& value) {
  const std::lock_guard<std::mutex> lock(core_.mutex);
  process_[FoldCase(name)] = value;
}

void Environment::SetMachine(const std::wstring& name, const std::wstring& value) {
  registry_.SetText(RegistryRoot::kLocalMachine, kMachineEnvironmentKey, name, value);
}

void Environment::SetUser(const std::wstring& name, const std::wstring& value) {
  registry_.SetText(RegistryRoot::kCurrentUser, kUserEnvironmentKey, name, value);
}

void Environment::UnsetProcess(const std::wstring& name) {
  const std::lock_guard<std::mutex> lock(core_.mutex);
  process_.erase(FoldCase(name));
}

void Environment::UnsetMachine(const std::wstring& name) {
  registry_.Unset(RegistryRoot::kLocalMachine, kMachineEnvironmentKey, name);
}

void Environment::UnsetUser(const std::wstring& name) {
  registry_.Unset(RegistryRoot::kCurrentUser, kUserEnvironmentKey, name);
}

std::wstring Environment::Process(const std::wstring& name, std::size_t capacity) const {
  const std::lock_guard<std::mutex> lock(core_.mutex);
  const auto variable = process_.find(FoldCase(name));
  if (variable == process_.end() || variable->second.size() >= capacity) return {};
  return variable->second;
}

}  // namespace simulated

std::wstring ReadProcessVariable(const std::wstring& name, std::size_t capacity) {
  simulated::Machine& machine = simulated::Machine::Current();
  if (machine.calls.Begin("ReadProcessVariable", simulated::Narrow(name))) return {};
  return machine.environment.Process(name, capacity);
}

std::wstring ReadRegistryText(RegistryRoot root, const std::wstring& key, const std::wstring& name,
                              std::size_t capacity_bytes) {
  simulated::Machine& machine = simulated::Machine::Current();
  if (machine.calls.Begin("ReadRegistryText", simulated::PlaceText(root, name))) return {};
  const auto text = machine.registry.ReadText(root, key, name, capacity_bytes);
  return text ? *text : std::wstring();
}

Result<std::vector<std::wstring>> ReadRegistryTexts(const std::wstring& key,
                                                    const std::wstring& name) {
  using Texts = std::vector<std::wstring>;
  simulated::Machine& machine = simulated::Machine::Current();
  if (const auto error = machine.calls.Begin("ReadRegistryTexts", simulated::Narrow(name))) {
    return Result<Texts>::Failure(*error);
  }
  return machine.registry.Read<Texts>(RegistryRoot::kLocalMachine, key, name);
}

}  // namespace veltrane
