#pragma once

// The control service under the service control manager.

#include <cstdint>

namespace veltrane {

// The mode "--run-as-service": hands this process to the service control manager and blocks until
// the service has stopped. Returns 0, or the Win32 error when the dispatcher refused.
std::uint32_t RunAsService();

// The service's main function, called by the service control manager on a thread of its own:
// reports start pending, starts the control channel server, prints the passive startup report,
// reports running, and returns after a stop.
void ServiceMain();

// The control handler, called on the dispatcher's thread. A stop ends the server before it reports
// the stopped state; every other control is ignored.
void HandleServiceControl(std::uint32_t control);

}  // namespace veltrane
