#include "tests/simulated/registry.h"

#include "platform/registry.h"
#include "tests/simulated/machine.h"

namespace veltrane {
namespace simulated {
namespace {

constexpr std::uint32_t kMoreData = 234;          // ERROR_MORE_DATA
constexpr std::uint32_t kUnsupportedType = 1630;  // ERROR_UNSUPPORTED_TYPE
constexpr std::size_t kBytesPerUnit = 2;
constexpr std::int64_t kLongAgo = 15'778'368'000'000'000;  // 2020-01-01 00:00:00
constexpr wchar_t kServicesKey[] = L"SYSTEM\\CurrentControlSet\\Services\\";

constexpr RegistryRoot kHklm = RegistryRoot::kLocalMachine;

}  // namespace

std::string PlaceText(RegistryRoot root, const std::wstring& path) {
  switch (root) {
    case RegistryRoot::kLocalMachine:
      return "HKLM " + Narrow(path);
    case RegistryRoot::kCurrentUser:
      return "HKCU " + Narrow(path);
    case RegistryRoot::kUsers:
      return "HKU " + Narrow(path);
  }
  Die("there is no such root");
}

Registry::Registry(Core& core) : core_(core) {
  AddKey(kHklm, kMachineEnvironmentKey);
  AddKey(RegistryRoot::kCurrentUser, kUserEnvironmentKey);
  AddKey(RegistryRoot::kUsers, kSystemEnvironmentKey);
  AddKey(kHklm, kListenersKey + std::wstring(L"\\Console"));
  SetNumber(kHklm, kListenersKey + std::wstring(L"\\RDP-Tcp"), L"PortNumber", 3389);
}

Registry::Key& Registry::Make(RegistryRoot root, const std::wstring& key) {
  const std::size_t separator = key.rfind(L'\\');
  if (separator != std::wstring::npos) Make(root, key.substr(0, separator));
  const std::wstring name = separator == std::wstring::npos ? key : key.substr(separator + 1);
  return keys_.try_emplace({root, FoldCase(key)}, Key{name}).first->second;
}

const Registry::Key* Registry::Find(RegistryRoot root, const std::wstring& key) const {
  const auto found = keys_.find({root, FoldCase(key)});
  return found == keys_.end() ? nullptr : &found->second;
}

void Registry::Set(RegistryRoot root, const std::wstring& key, const std::wstring& name,
                   Value value) {
  const std::lock_guard<std::mutex> lock(core_.mutex);
  Key& place = Make(root, key);
  place.values.insert_or_assign(FoldCase(name), std::move(value));
  place.expandable.erase(FoldCase(name));
}

void Registry::SetText(RegistryRoot root, const std::wstring& key, const std::wstring& name,
                       const std::wstring& text) {
  Set(root, key, name, text);
}

void Registry::SetExpandableText(RegistryRoot root, const std::wstring& key,
                                 const std::wstring& name, const std::wstring& text) {
  Set(root, key, name, text);
  const std::lock_guard<std::mutex> lock(core_.mutex);
  Make(root, key).expandable.insert(FoldCase(name));
}

void Registry::SetTexts(const std::wstring& key, const std::wstring& name,
                        const std::vector<std::wstring>& texts) {
  Set(kHklm, key, name, texts);
}

void Registry::SetNumber(RegistryRoot root, const std::wstring& key, const std::wstring& name,
                         std::uint32_t number) {
  Set(root, key, name, number);
}

void Registry::AddKey(RegistryRoot root, const std::wstring& key) {
  const std::lock_guard<std::mutex> lock(core_.mutex);
  Make(root, key);
}

void Registry::Unset(RegistryRoot root, const std::wstring& key, const std::wstring& name) {
  const std::lock_guard<std::mutex> lock(core_.mutex);
  const auto found = keys_.find({root, FoldCase(key)});
  if (found != keys_.end()) found->second.values.erase(FoldCase(name));
}

void Registry::RemoveKey(RegistryRoot root, const std::wstring& key) {
  const std::wstring folded = FoldCase(key);
  const std::lock_guard<std::mutex> lock(core_.mutex);
  std::erase_if(keys_, [&](const auto& entry) {
    const auto& [other_root, path] = entry.first;
    return other_root == root && (path == folded || path.starts_with(folded + L"\\"));
  });
}

void Registry::SetWriteTime(RegistryRoot root, const std::wstring& key, std::int64_t utc_ticks) {
  const std::lock_guard<std::mutex> lock(core_.mutex);
  Make(root, key).write_time = utc_ticks;
}

template <typename T>
Result<T> Registry::Read(RegistryRoot root, const std::wstring& key,
                         const std::wstring& name) const {
  const std::lock_guard<std::mutex> lock(core_.mutex);
  const Key* found = Find(root, key);
  if (found == nullptr) return Result<T>::Failure(kErrorFileNotFound);
  const auto value = found->values.find(FoldCase(name));
  if (value == found->values.end()) return Result<T>::Failure(kErrorFileNotFound);
  const T* typed = std::get_if<T>(&value->second);
  return typed == nullptr ? Result<T>::Failure(kUnsupportedType) : Result<T>(*typed);
}

template Result<std::vector<std::wstring>> Registry::Read(RegistryRoot, const std::wstring&,
                                                          const std::wstring&) const;

Result<std::wstring> Registry::ReadText(RegistryRoot root, const std::wstring& key,
                                        const std::wstring& name,
                                        std::size_t capacity_bytes) const {
  Result<std::wstring> text = Read<std::wstring>(root, key, name);
  if (text && (text->size() + 1) * kBytesPerUnit > capacity_bytes) {
    return Result<std::wstring>::Failure(kMoreData);
  }
  return text;
}

Result<std::vector<std::wstring>> Registry::Keys(RegistryRoot root, const std::wstring& key) const {
  using Names = std::vector<std::wstring>;
  const std::wstring folder = FoldCase(key) + L"\\";
  const std::lock_guard<std::mutex> lock(core_.mutex);
  if (Find(root, key) == nullptr) return Result<Names>::Failure(kErrorFileNotFound);
  Names names;
  for (const auto& [place, inner] : keys_) {
    const auto& [other_root, path] = place;
    const bool is_inside = other_root == root && path.starts_with(folder);
    if (is_inside && path.find(L'\\', folder.size()) == std::wstring::npos) {
      names.push_back(inner.name);
    }
  }
  return names;
}

Result<bool> Registry::IsExpandable(RegistryRoot root, const std::wstring& key,
                                    const std::wstring& name) const {
  const std::lock_guard<std::mutex> lock(core_.mutex);
  const Key* found = Find(root, key);
  if (found == nullptr || !found->values.contains(FoldCase(name))) {
    return Result<bool>::Failure(kErrorFileNotFound);
  }
  return found->expandable.contains(FoldCase(name));
}

Result<std::int64_t> Registry::WriteTime(RegistryRoot root, const std::wstring& key) const {
  const std::lock_guard<std::mutex> lock(core_.mutex);
  const Key* found = Find(root, key);
  if (found == nullptr) return Result<std::int64_t>::Failure(kErrorFileNotFound);
  return found->write_time.value_or(kLongAgo);
}

namespace {

std::string ListText(const std::vector<std::wstring>& texts) {
  std::string list;
  for (const std::wstring& text : texts) list += (list.empty() ? "" : "; ") + Narrow(text);
  return list;
}

bool IsKeyOfService(RegistryRoot root, const std::wstring& key) {
  const std::wstring services = FoldCase(kServicesKey);
  return root == kHklm && FoldCase(key).starts_with(services) &&
         Machine::Current().services.Find(key.substr(services.size()));
}

}  // namespace

}  // namespace simulated

using simulated::Machine;
using simulated::PlaceText;

Result<std::wstring> FindRegistryText(RegistryRoot root, const std::wstring& key,
                                      const std::wstring& name, std::size_t capacity_bytes) {
  Machine& machine = Machine::Current();
  const auto failure = machine.calls.Begin("FindRegistryText", PlaceText(root, key + L"\\" + name));
  if (failure) return Result<std::wstring>::Failure(*failure);
  return machine.registry.ReadText(root, key, name, capacity_bytes);
}

Result<bool> TestExpandableText(RegistryRoot root, const std::wstring& key,
                                const std::wstring& name) {
  Machine& machine = Machine::Current();
  const auto failure =
      machine.calls.Begin("TestExpandableText", PlaceText(root, key + L"\\" + name));
  if (failure) return Result<bool>::Failure(*failure);
  return machine.registry.IsExpandable(root, key, name);
}

Result<std::uint32_t> ReadRegistryNumber(const std::wstring& key, const std::wstring& name) {
  Machine& machine = Machine::Current();
  const auto failure =
      machine.calls.Begin("ReadRegistryNumber", PlaceText(simulated::kHklm, key + L"\\" + name));
  if (failure) return Result<std::uint32_t>::Failure(*failure);
  return machine.registry.Read<std::uint32_t>(simulated::kHklm, key, name);
}

Result<std::vector<std::wstring>> ListRegistryKeys(const std::wstring& key) {
  Machine& machine = Machine::Current();
  const auto failure = machine.calls.Begin("ListRegistryKeys", PlaceText(simulated::kHklm, key));
  if (failure) return Result<std::vector<std::wstring>>::Failure(*failure);
  return machine.registry.Keys(simulated::kHklm, key);
}

Result<std::int64_t> ReadKeyWriteTime(RegistryRoot root, const std::wstring& key) {
  Machine& machine = Machine::Current();
  const auto failure = machine.calls.Begin("ReadKeyWriteTime", PlaceText(root, key));
  if (failure) return Result<std::int64_t>::Failure(*failure);
  const auto time = machine.registry.WriteTime(root, key);
  return !time && simulated::IsKeyOfService(root, key) ? simulated::kLongAgo : time;
}

std::uint32_t WriteRegistryTexts(const std::wstring& key, const std::wstring& name,
                                 const std::vector<std::wstring>& texts) {
  Machine& machine = Machine::Current();
  const auto failure =
      machine.calls.Begin("WriteRegistryTexts", PlaceText(simulated::kHklm, key + L"\\" + name) +
                                                    ": " + simulated::ListText(texts));
  if (failure) return *failure;
  if (!machine.registry.WriteTime(simulated::kHklm, key) &&
      !simulated::IsKeyOfService(simulated::kHklm, key)) {
    return kErrorFileNotFound;
  }
  machine.registry.SetTexts(key, name, texts);
  return 0;
}

std::uint32_t RemoveRegistryValue(const std::wstring& key, const std::wstring& name) {
  Machine& machine = Machine::Current();
  const auto failure =
      machine.calls.Begin("RemoveRegistryValue", PlaceText(simulated::kHklm, key + L"\\" + name));
  if (failure) return *failure;
  if (!machine.registry.IsExpandable(simulated::kHklm, key, name)) return kErrorFileNotFound;
  machine.registry.Unset(simulated::kHklm, key, name);
  return 0;
}

}  // namespace veltrane
