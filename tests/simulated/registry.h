#pragma once

// The registry.

#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "platform/environment.h"
#include "platform/result.h"
#include "tests/simulated/core.h"

namespace veltrane::simulated {

// A key or a value as the log has it: "HKLM SYSTEM\CurrentControlSet".
std::string PlaceText(RegistryRoot root, const std::wstring& path);

// Where the stored environments are.
inline constexpr wchar_t kMachineEnvironmentKey[] =
    L"SYSTEM\\CurrentControlSet\\Control\\Session Manager\\Environment";      // HKLM
inline constexpr wchar_t kUserEnvironmentKey[] = L"Environment";              // HKCU
inline constexpr wchar_t kSystemEnvironmentKey[] = L"S-1-5-18\\Environment";  // HKU, LocalSystem

// Where the listeners of Remote Desktop are (HKLM).
inline constexpr wchar_t kListenersKey[] =
    L"SYSTEM\\CurrentControlSet\\Control\\Terminal Server\\WinStations";

// At the start there are the three keys above without values, and the listeners "Console", without
// values, and "RDP-Tcp", with PortNumber 3389; a registered service has its key. A read fails as
// the calls of boundary_calls.h say; the text of each names the place: "HKU
// S-1-5-18\Environment\ADMIN_BYPASS_IP".
//
// A text is the one that the reader gets, variables in it already expanded. Names keep the case in
// which they were first written, and are found in any. Keys are listed by name. Every member may be
// called on any thread.
class Registry {
 public:
  explicit Registry(Core& core);

  // Set a value; the key and those that it is in are made when they are missing.
  void SetText(RegistryRoot root, const std::wstring& key, const std::wstring& name,
               const std::wstring& text);
  void SetExpandableText(RegistryRoot root, const std::wstring& key, const std::wstring& name,
                         const std::wstring& text);
  void SetTexts(const std::wstring& key, const std::wstring& name,  // HKLM
                const std::vector<std::wstring>& texts);
  void SetNumber(RegistryRoot root, const std::wstring& key, const std::wstring& name,
                 std::uint32_t number);
  void AddKey(RegistryRoot root, const std::wstring& key);

  // Make a value absent, and a key with all that is in it; no matter whether it is there.
  void Unset(RegistryRoot root, const std::wstring& key, const std::wstring& name);
  void RemoveKey(RegistryRoot root, const std::wstring& key);

  // When the key was last written, in UTC ticks since 1970; the key is made when it is missing.
  // Nothing else sets it: the other keys were last written in 2020, whatever has been set in them.
  void SetWriteTime(RegistryRoot root, const std::wstring& key, std::int64_t utc_ticks);

  // For the boundary functions; T is std::wstring, std::uint32_t or a vector of texts.
  template <typename T>
  Result<T> Read(RegistryRoot root, const std::wstring& key, const std::wstring& name) const;
  Result<std::wstring> ReadText(RegistryRoot root, const std::wstring& key,
                                const std::wstring& name, std::size_t capacity_bytes) const;
  Result<bool> IsExpandable(RegistryRoot root, const std::wstring& key,
                            const std::wstring& name) const;
  Result<std::vector<std::wstring>> Keys(RegistryRoot root, const std::wstring& key) const;
  Result<std::int64_t> WriteTime(RegistryRoot root, const std::wstring& key) const;

 private:
  using Value = std::variant<std::wstring, std::uint32_t, std::vector<std::wstring>>;
  struct Key {
    std::wstring name;  // the last part of its path
    std::optional<std::int64_t> write_time = {};
    std::map<std::wstring, Value> values = {};
    std::set<std::wstring> expandable = {};  // names of values
  };
  using Place = std::pair<RegistryRoot, std::wstring>;

  Key& Make(RegistryRoot root, const std::wstring& key);
  const Key* Find(RegistryRoot root, const std::wstring& key) const;
  void Set(RegistryRoot root, const std::wstring& key, const std::wstring& name, Value value);

  Core& core_;
  std::map<Place, Key> keys_;
};

}  // namespace veltrane::simulated
