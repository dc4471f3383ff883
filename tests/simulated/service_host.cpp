#include "tests/simulated/service_host.h"

#include <algorithm>
#include <thread>

#include "tests/simulated/machine.h"
#include "tests/simulated/threads.h"

namespace veltrane {
namespace simulated {

bool ServiceHost::SendControl(std::uint32_t control) {
  std::unique_lock<std::mutex> lock(core_.mutex);
  if (handler_ == nullptr) return false;
  const auto sent = controls_.insert(controls_.end(), {control, false});
  core_.changed.notify_all();
  core_.Await(lock, "a control to be handled", [&] { return sent->handled; });
  controls_.erase(sent);
  return true;
}

void ServiceHost::WaitForState(std::uint32_t state) {
  std::unique_lock<std::mutex> lock(core_.mutex);
  core_.Await(lock, "service state " + std::to_string(state), [&] {
    return std::any_of(statuses_.begin(), statuses_.end(),
                       [state](const ServiceStatus& status) { return status.state == state; });
  });
}

std::vector<ServiceStatus> ServiceHost::Statuses() const {
  const std::lock_guard<std::mutex> lock(core_.mutex);
  return statuses_;
}

std::vector<std::uint32_t> ServiceHost::States() const {
  std::vector<std::uint32_t> states;
  for (const ServiceStatus& status : Statuses()) states.push_back(status.state);
  return states;
}

std::wstring ServiceHost::DispatchedName() const {
  const std::lock_guard<std::mutex> lock(core_.mutex);
  return dispatched_name_;
}

std::wstring ServiceHost::HandlerName() const {
  const std::lock_guard<std::mutex> lock(core_.mutex);
  return handler_name_;
}

void ServiceHost::Run(const std::wstring& name, void (*service_main)()) {
  {
    const std::lock_guard<std::mutex> lock(core_.mutex);
    dispatched_name_ = name;
    dispatching_ = true;
  }
  bool ended = false;
  std::thread service = [&] {
    const NotOfTheProgram threads;
    return std::thread([&] {
      service_main();
      const std::lock_guard<std::mutex> lock(core_.mutex);
      ended = true;
      core_.changed.notify_all();
    });
  }();
  HandleControls(ended);
  service.join();
  const std::lock_guard<std::mutex> lock(core_.mutex);
  dispatching_ = false;
  handler_ = nullptr;
}

void ServiceHost::EndProcess() {
  const std::lock_guard<std::mutex> lock(core_.mutex);
  dispatching_ = false;
  handler_ = nullptr;
}

void ServiceHost::HandleControls(const bool& ended) {
  std::unique_lock<std::mutex> lock(core_.mutex);
  for (;;) {
    const auto due = [this] {
      return std::find_if(controls_.begin(), controls_.end(),
                          [](const Control& control) { return !control.handled; });
    };
    core_.changed.wait(lock, [&] { return ended || due() != controls_.end(); });
    const auto control = due();
    if (control == controls_.end()) return;
    const auto handler = handler_;
    lock.unlock();
    handler(control->code);
    lock.lock();
    control->handled = true;
    core_.changed.notify_all();
  }
}

ServiceStatusHandle ServiceHost::Register(const std::wstring& name,
                                          void (*handler)(std::uint32_t)) {
  const std::lock_guard<std::mutex> lock(core_.mutex);
  if (!dispatching_) return nullptr;
  handler_name_ = name;
  handler_ = handler;
  return this;
}

void ServiceHost::Report(ServiceStatusHandle handle, const ServiceStatus& status) {
  if (handle != this) return;
  const std::lock_guard<std::mutex> lock(core_.mutex);
  statuses_.push_back(status);
  core_.changed.notify_all();
}

}  // namespace simulated

using simulated::Machine;

std::uint32_t RunServiceDispatcher(const std::wstring& name, void (*service_main)()) {
  Machine& machine = Machine::Current();
  const auto failure = machine.calls.Begin("RunServiceDispatcher", simulated::Narrow(name));
  if (failure) return *failure;
  machine.service_host.Run(name, service_main);
  return 0;
}

ServiceStatusHandle RegisterControlHandler(const std::wstring& name,
                                           void (*handler)(std::uint32_t control)) {
  Machine& machine = Machine::Current();
  if (machine.calls.Begin("RegisterControlHandler", simulated::Narrow(name))) return nullptr;
  return machine.service_host.Register(name, handler);
}

void ReportServiceStatus(ServiceStatusHandle handle, const ServiceStatus& status) {
  Machine& machine = Machine::Current();
  if (machine.calls.Begin("ReportServiceStatus", std::to_string(status.state))) return;
  machine.service_host.Report(handle, status);
}

}  // namespace veltrane
