#pragma once

// The program's own side of the service control manager: dispatcher, control handler and reported
// statuses.

#include <cstdint>
#include <list>
#include <string>
#include <vector>

#include "platform/services.h"
#include "tests/simulated/core.h"

namespace veltrane::simulated {

// The dispatcher runs the service main function on a thread of its own and returns 0 when that has
// returned. Every member may be called on any thread.
class ServiceHost {
 public:
  explicit ServiceHost(Core& core) : core_(core) {}

  // Sends a control code (1 stop, 4 interrogate) to the registered handler, which runs on the
  // dispatcher's thread; returns when the handler has. False when there is none.
  bool SendControl(std::uint32_t control);

  // Waits until a status with this state has been reported (see kPatience).
  void WaitForState(std::uint32_t state);

  // The statuses reported under the handle of the registered handler, in order; their states alone.
  std::vector<ServiceStatus> Statuses() const;
  std::vector<std::uint32_t> States() const;

  // The names that the program gave to the dispatcher and to the handler; empty before that.
  std::wstring DispatchedName() const;
  std::wstring HandlerName() const;

  // For the boundary functions.
  void Run(const std::wstring& name, void (*service_main)());
  ServiceStatusHandle Register(const std::wstring& name, void (*handler)(std::uint32_t));
  void Report(ServiceStatusHandle handle, const ServiceStatus& status);
  void EndProcess();  // see Machine::EndProcess; the same member of other parts too

 private:
  struct Control {
    std::uint32_t code;
    bool handled;
  };

  // Runs the handler for every control that is sent, until the service main function has ended.
  void HandleControls(const bool& ended);

  Core& core_;
  std::list<Control> controls_;
  bool dispatching_ = false;
  std::wstring dispatched_name_;
  std::wstring handler_name_;
  void (*handler_)(std::uint32_t) = nullptr;
  std::vector<ServiceStatus> statuses_;
};

}  // namespace veltrane::simulated
