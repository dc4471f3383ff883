#pragma once

// Runs the control service under the service control manager.

#include <cstdint>

namespace veltrane {

// The "--run-as-service" mode: connects this process to the service control manager and blocks
// until the service has stopped. Returns 0, or the Win32 error when the connection fails.
std::uint32_t RunAsService();

// The ServiceMain function, called on a new thread: reports "start pending", starts the control
// channel server, prints the passive startup report, reports "running", and returns after a stop. A
// stop that still waits for the server when this thread destroys it, within 500 ms, ends the
// process.
void ServiceMain();

// The control handler, called on the dispatcher's thread. On a stop it ends the server, then
// reports "stopped"; it ignores every other control code.
void HandleServiceControl(std::uint32_t control);

}  // namespace veltrane
