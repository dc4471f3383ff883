#pragma once

// Windows Installer, as a custom action sees it.

#include <map>
#include <string>
#include <vector>

#include "tests/simulated/core.h"

namespace veltrane::simulated {

// At the start no property is set. Every member may be called on any thread.
class Installer {
 public:
  explicit Installer(Core& core) : core_(core) {}

  // Sets a property, or removes it with an empty value.
  void Set(const std::wstring& name, const std::wstring& value);

  // A property; empty when it is not set.
  std::wstring Get(const std::wstring& name) const;

  // What actions have written to the log, line by line; explanations begin with "error: ".
  std::vector<std::string> Log() const;

  // For the boundary functions.
  void Write(const std::string& line);

 private:
  Core& core_;
  std::map<std::wstring, std::wstring> properties_;
  std::vector<std::string> log_;
};

}  // namespace veltrane::simulated
