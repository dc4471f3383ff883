#pragma once

// The teardown that undoes a connection, and the auto-stop timer that runs it.

#include <cstdint>

#include "guard/route_guard_result.h"
#include "service/ipc_server.h"

namespace veltrane {

// Stops and deletes the tunnel service, removes the bypass routes that the service added, and
// deletes active.conf, in this order. Ignores every error except an exception of DeleteActiveConf.
// The caller sets the phase. Runs on the pipe thread or on the auto-stop thread.
void Teardown();

// Starts the timer that, after `seconds`, tears the connection down and sets the phase to
// "disconnected". Cancels an earlier timer first. Does nothing when `seconds` is 0 or less. Unless
// `result` is null, stores the schedule and its deadline (UTC, whole seconds) in it. The delay is
// counted in sleeps of 100 ms, not by the clock. Throws std::system_error when the thread cannot be
// created. Pipe thread only.
void ScheduleAutoStop(IpcServer& server, std::int32_t seconds, RouteGuardResult* result);

// Cancels the timer and joins its thread: within about 100 ms while the timer is counting, after
// the teardown once that has begun. Throws std::system_error when called on the timer's own thread.
void CancelAutoStop(IpcServer& server);

}  // namespace veltrane
