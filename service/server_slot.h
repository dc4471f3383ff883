#pragma once

// The process-wide slot for the control channel server, shared by console mode and the service
// host.

#include "service/ipc_server.h"

namespace veltrane {

// Returns the registered server, or null. Any thread, including those of the two handlers.
IpcServer* RegisteredServer();

// Creates a server, destroys the registered one if there is one, and registers and returns the new
// one, which is not started.
IpcServer& RegisterNewServer();

// Removes the registered server from the slot and destroys it; does nothing when there is none.
void ReleaseServer();

}  // namespace veltrane
