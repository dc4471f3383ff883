// The functions of platform/services.h that deal with installed services.

#include <cstdio>

#include "platform/services.h"
#include "tests/simulated/machine.h"

namespace veltrane {
namespace {

using simulated::Machine;
using simulated::Services;

using HandleOwner = Owner<void, CloseServiceControlHandle>;

Services::Handle& Open(const HandleOwner& handle) {
  if (handle == nullptr) simulated::Die("a service object was used after it was moved from");
  return *static_cast<Services::Handle*>(handle.get());
}

// Logs a call on an open service.
std::optional<std::uint32_t> Begin(const char* name, const HandleOwner& handle,
                                   const std::string& details = {}) {
  const std::wstring& service = Open(handle).service->record.settings.name;
  return Machine::Current().calls.Begin(name, simulated::Narrow(service) + details);
}

std::string Hex(std::uint32_t number) {
  char text[16];
  std::snprintf(text, sizeof(text), "0x%x", number);
  return text;
}

}  // namespace

void CloseServiceControlHandle(void* handle) noexcept {
  Machine::Current().services.Close(static_cast<Services::Handle*>(handle));
}

bool Service::ChangeCommandLine(const std::wstring& command_line) {
  if (Begin("Service.ChangeCommandLine", handle_)) return false;
  return Machine::Current().services.ChangeCommandLine(Open(handle_), command_line) == 0;
}

bool Service::ChangeSettings(const ServiceSettings& settings) {
  const std::string details = " start type " + std::to_string(settings.start_type);
  if (Begin("Service.ChangeSettings", handle_, details)) return false;
  return Machine::Current().services.ChangeSettings(Open(handle_), settings) == 0;
}

bool Service::SetSidType(std::uint32_t sid_type) {
  if (Begin("Service.SetSidType", handle_, " " + std::to_string(sid_type))) return false;
  return Machine::Current().services.SetSidType(Open(handle_), sid_type) == 0;
}

std::uint32_t Service::Start() {
  const auto failure = Begin("Service.Start", handle_);
  return failure ? *failure : Machine::Current().services.Start(Open(handle_));
}

bool Service::SendStop() {
  if (Begin("Service.SendStop", handle_)) return false;
  return Machine::Current().services.SendStop(Open(handle_)) == 0;
}

std::optional<std::uint32_t> Service::QueryState() {
  if (Begin("Service.QueryState", handle_)) return std::nullopt;
  return Machine::Current().services.QueryState(Open(handle_));
}

bool Service::Delete() {
  if (Begin("Service.Delete", handle_)) return false;
  return Machine::Current().services.Delete(Open(handle_)) == 0;
}

std::optional<ServiceManager> ServiceManager::Open(std::uint32_t access) {
  Machine& machine = Machine::Current();
  if (machine.calls.Begin("ServiceManager.Open", Hex(access))) return std::nullopt;
  Services::Handle* handle = machine.services.OpenManager(access);
  if (handle == nullptr) return std::nullopt;
  return ServiceManager(handle);
}

std::optional<Service> ServiceManager::OpenExisting(const std::wstring& name,
                                                    std::uint32_t access) {
  Machine& machine = Machine::Current();
  const std::string details = simulated::Narrow(name) + " " + Hex(access);
  if (machine.calls.Begin("ServiceManager.OpenExisting", details)) return std::nullopt;
  Services::Handle* handle = machine.services.Open(name, access);
  if (handle == nullptr) return std::nullopt;
  return Service(handle);
}

Result<Service> ServiceManager::Create(const ServiceSettings& settings) {
  Machine& machine = Machine::Current();
  const auto failure =
      machine.calls.Begin("ServiceManager.Create", simulated::Narrow(settings.name));
  if (failure) return Result<Service>::Failure(*failure);
  const auto [handle, error] = machine.services.Create(veltrane::Open(handle_), settings);
  if (handle == nullptr) return Result<Service>::Failure(error);
  return Service(handle);
}

}  // namespace veltrane
