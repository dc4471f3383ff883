#pragma once

// The environment variables of the process, the machine and the user.

#include <cstddef>
#include <map>
#include <string>

#include "tests/simulated/core.h"
#include "tests/simulated/registry.h"

namespace veltrane::simulated {

// At the start there is one variable: `ProgramData` with the value C:\ProgramData in the process
// environment. Every member may be called on any thread.
class Environment {
 public:
  Environment(Core& core, Registry& registry);

  void SetProcess(const std::wstring& name, const std::wstring& value);

  // Values of the stored environments, which are in the registry (see registry.h).
  void SetMachine(const std::wstring& name, const std::wstring& value);
  void SetUser(const std::wstring& name, const std::wstring& value);

  // Makes the variable absent; no matter whether it is there.
  void UnsetProcess(const std::wstring& name);
  void UnsetMachine(const std::wstring& name);
  void UnsetUser(const std::wstring& name);

  // For the boundary function.
  std::wstring Process(const std::wstring& name, std::size_t capacity) const;

 private:
  Core& core_;
  Registry& registry_;
  std::map<std::wstring, std::wstring> process_;
};

}  // namespace veltrane::simulated
