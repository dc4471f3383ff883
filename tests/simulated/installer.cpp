#include "platform/installer.h"

#include "tests/simulated/machine.h"

namespace veltrane {
namespace simulated {

void Installer::Set(const std::wstring& name, const std::wstring& value) {
  const std::lock_guard<std::mutex> lock(core_.mutex);
  if (value.empty()) {
    properties_.erase(name);
  } else {
    properties_[name] = value;
  }
}

std::wstring Installer::Get(const std::wstring& name) const {
  const std::lock_guard<std::mutex> lock(core_.mutex);
  const auto property = properties_.find(name);
  return property == properties_.end() ? L"" : property->second;
}

std::vector<std::string> Installer::Log() const {
  const std::lock_guard<std::mutex> lock(core_.mutex);
  return log_;
}

void Installer::Write(const std::string& line) {
  const std::lock_guard<std::mutex> lock(core_.mutex);
  log_.push_back(line);
}

}  // namespace simulated

using simulated::Machine;

std::wstring InstallerSession::Property(const std::wstring& name) const {
  Machine& machine = Machine::Current();
  if (machine.calls.Begin("InstallerSession.Property", simulated::Narrow(name))) return {};
  return machine.installer.Get(name);
}

bool InstallerSession::SetProperty(const std::wstring& name, const std::wstring& value) {
  Machine& machine = Machine::Current();
  if (machine.calls.Begin("InstallerSession.SetProperty", simulated::Narrow(name))) return false;
  machine.installer.Set(name, value);
  return true;
}

void InstallerSession::Note(const std::string& line) { Machine::Current().installer.Write(line); }

void InstallerSession::Explain(const std::string& line) {
  Machine::Current().installer.Write("error: " + line);
}

}  // namespace veltrane
