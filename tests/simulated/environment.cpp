#include "tests/simulated/environment.h"

#include "tests/simulated/machine.h"

namespace veltrane {
namespace simulated {
namespace {

constexpr wchar_t kMachineKey[] =
    L"SYSTEM\\CurrentControlSet\\Control\\Session Manager\\Environment";
constexpr wchar_t kUserKey[] = L"Environment";
constexpr std::size_t kBytesPerUnit = 2;

}  // namespace

Environment::Environment(Core& core) : core_(core) {
  SetProcess(L"ProgramData", L"C:\\ProgramData");
}

void Environment::SetProcess(const std::wstring& name, const std::wstring& value) {
  const std::lock_guard<std::mutex> lock(core_.mutex);
  process_[FoldCase(name)] = value;
}

void Environment::SetMachine(const std::wstring& name, const std::wstring& value) {
  SetRegistry(RegistryRoot::kLocalMachine, kMachineKey, name, value);
}

void Environment::SetUser(const std::wstring& name, const std::wstring& value) {
  SetRegistry(RegistryRoot::kCurrentUser, kUserKey, name, value);
}

void Environment::SetRegistry(RegistryRoot root, const std::wstring& key, const std::wstring& name,
                              const std::wstring& value) {
  const std::lock_guard<std::mutex> lock(core_.mutex);
  registry_[{root, FoldCase(key), FoldCase(name)}] = value;
}

void Environment::UnsetProcess(const std::wstring& name) {
  const std::lock_guard<std::mutex> lock(core_.mutex);
  process_.erase(FoldCase(name));
}

void Environment::UnsetMachine(const std::wstring& name) {
  const std::lock_guard<std::mutex> lock(core_.mutex);
  registry_.erase({RegistryRoot::kLocalMachine, FoldCase(kMachineKey), FoldCase(name)});
}

void Environment::UnsetUser(const std::wstring& name) {
  const std::lock_guard<std::mutex> lock(core_.mutex);
  registry_.erase({RegistryRoot::kCurrentUser, FoldCase(kUserKey), FoldCase(name)});
}

std::wstring Environment::Process(const std::wstring& name, std::size_t capacity) const {
  const std::lock_guard<std::mutex> lock(core_.mutex);
  const auto variable = process_.find(FoldCase(name));
  if (variable == process_.end() || variable->second.size() >= capacity) return {};
  return variable->second;
}

std::wstring Environment::Registry(RegistryRoot root, const std::wstring& key,
                                   const std::wstring& name, std::size_t capacity_bytes) const {
  const std::lock_guard<std::mutex> lock(core_.mutex);
  const auto value = registry_.find({root, FoldCase(key), FoldCase(name)});
  if (value == registry_.end()) return {};
  if ((value->second.size() + 1) * kBytesPerUnit > capacity_bytes) return {};
  return value->second;
}

void Environment::SetRegistryTexts(const std::wstring& key, const std::wstring& name,
                                   const std::vector<std::wstring>& texts) {
  const std::lock_guard<std::mutex> lock(core_.mutex);
  registry_texts_[{FoldCase(key), FoldCase(name)}] = texts;
}

std::optional<std::vector<std::wstring>> Environment::RegistryTexts(
    const std::wstring& key, const std::wstring& name) const {
  const std::lock_guard<std::mutex> lock(core_.mutex);
  const auto texts = registry_texts_.find({FoldCase(key), FoldCase(name)});
  if (texts == registry_texts_.end()) return std::nullopt;
  return texts->second;
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
  const std::string hive = root == RegistryRoot::kLocalMachine ? "HKLM " : "HKCU ";
  if (machine.calls.Begin("ReadRegistryText", hive + simulated::Narrow(name))) return {};
  return machine.environment.Registry(root, key, name, capacity_bytes);
}

Result<std::vector<std::wstring>> ReadRegistryTexts(const std::wstring& key,
                                                    const std::wstring& name) {
  using Texts = std::vector<std::wstring>;
  simulated::Machine& machine = simulated::Machine::Current();
  if (const auto error = machine.calls.Begin("ReadRegistryTexts", simulated::Narrow(name))) {
    return Result<Texts>::Failure(*error);
  }
  const std::optional<Texts> texts = machine.environment.RegistryTexts(key, name);
  return texts ? Result<Texts>(*texts) : Result<Texts>::Failure(2);
}

}  // namespace veltrane
