#pragma once

// What a row of a table does to the machine before the code under test runs.

#include <functional>
#include <string>
#include <vector>

#include "tests/simulated/machine.h"

namespace veltrane {

using Arrange = std::function<void(simulated::Machine&)>;

inline Arrange Nothing() {
  return [](simulated::Machine&) {};
}

// Every call with this name, or whose text also holds the fragment, fails with status 5.
inline Arrange Failing(const std::string& name, const std::string& fragment = {}) {
  return [=](simulated::Machine& machine) { machine.FailWhere(name, fragment, 5); };
}

// No output stream can be opened on this path.
inline Arrange Denying(const std::wstring& path) {
  return [=](simulated::Machine& machine) { machine.files.DenyOpen(path); };
}

inline Arrange All(const std::vector<Arrange>& arrangements) {
  return [=](simulated::Machine& machine) {
    for (const Arrange& arrange : arrangements) arrange(machine);
  };
}

}  // namespace veltrane
