#pragma once

// The environment variables of the process, the machine and the user.

#include <cstddef>
#include <map>
#include <optional>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "platform/environment.h"
#include "tests/simulated/core.h"

namespace veltrane::simulated {

// At the start there is one variable: `ProgramData` with the value C:\ProgramData in the process
// environment. A list of texts is readable unless "ReadRegistryTexts" fails. Every member may be
// called on any thread.
class Environment {
 public:
  explicit Environment(Core& core);

  void SetProcess(const std::wstring& name, const std::wstring& value);

  // Values of the stored environments: HKEY_LOCAL_MACHINE,
  // SYSTEM\CurrentControlSet\Control\Session Manager\Environment, and HKEY_CURRENT_USER,
  // Environment. The value is the one the reader gets, variables in it already expanded.
  void SetMachine(const std::wstring& name, const std::wstring& value);
  void SetUser(const std::wstring& name, const std::wstring& value);

  // A text value anywhere in the registry.
  void SetRegistry(RegistryRoot root, const std::wstring& key, const std::wstring& name,
                   const std::wstring& value);

  // A list of texts under HKLM.
  void SetRegistryTexts(const std::wstring& key, const std::wstring& name,
                        const std::vector<std::wstring>& texts);

  // Makes the variable absent; no matter whether it is there.
  void UnsetProcess(const std::wstring& name);
  void UnsetMachine(const std::wstring& name);
  void UnsetUser(const std::wstring& name);

  // For the boundary functions.
  std::wstring Process(const std::wstring& name, std::size_t capacity) const;
  std::wstring Registry(RegistryRoot root, const std::wstring& key, const std::wstring& name,
                        std::size_t capacity_bytes) const;
  std::optional<std::vector<std::wstring>> RegistryTexts(const std::wstring& key,
                                                         const std::wstring& name) const;

 private:
  using RegistryPlace = std::tuple<RegistryRoot, std::wstring, std::wstring>;

  Core& core_;
  std::map<std::wstring, std::wstring> process_;
  std::map<RegistryPlace, std::wstring> registry_;
  std::map<std::pair<std::wstring, std::wstring>, std::vector<std::wstring>> registry_texts_;
};

}  // namespace veltrane::simulated
