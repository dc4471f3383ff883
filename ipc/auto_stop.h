#pragma once

// The teardown that undoes a connection, and the timer that runs it by itself.

#include <cstdint>

#include "guard/route_guard_result.h"
#include "service/ipc_server.h"

namespace veltrane {

// Stops and deletes the tunnel service, removes the bypass routes that the service added, and
// deletes active.conf, in this order; every error is ignored. The phase is left to the caller. Runs
// on the pipe thread or on the auto-stop thread.
void Teardown();

// Starts the timer that tears the connection down after `seconds` and sets the phase back to
// "disconnected"; an earlier timer is cancelled first. Does nothing for 0 or less. When `result` is
// given, stores the schedule and its deadline (UTC, whole seconds) in it. The delay is counted in
// sleeps of 100 ms, not against the clock. Throws std::system_error when the thread cannot be
// created. Pipe thread only.
void ScheduleAutoStop(IpcServer& server, std::int32_t seconds, RouteGuardResult* result);

// Tells the timer to give up, which it does within about 100 ms, and joins it. Throws
// std::system_error when called on the timer's own thread.
void CancelAutoStop(IpcServer& server);

}  // namespace veltrane
