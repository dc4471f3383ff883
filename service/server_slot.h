#pragma once

// The process-wide slot that holds the control channel server, shared by the console mode and the
// service host.

#include "service/ipc_server.h"

namespace veltrane {

// The registered server, or null. May be called on any thread; the handlers call it on theirs.
IpcServer* RegisteredServer();

// Creates a server, destroys and frees the one that is registered, if any, registers the new one
// and returns it. The new server is not started.
IpcServer& RegisterNewServer();

// Takes the registered server out of the slot, destroys and frees it; does nothing when there is
// none.
void ReleaseServer();

}  // namespace veltrane
