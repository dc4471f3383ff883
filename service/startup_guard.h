#pragma once

// The passive phase: until a client requests a connection, the service is to change nothing on the
// machine. A disconnect is the one request that may do so before. This file keeps the record that
// proves it, and the hook that every operation calls before it changes the machine. Threads: any,
// except that the timestamp has no lock and is set before another thread can read it.

#include <cstdint>
#include <string>

namespace veltrane {

// What happened during the passive phase, which lasts until one of the two markers is set.
struct StartupState {
  bool connect_requested = false;
  bool stop_requested = false;
  std::int32_t route_mutation_count = 0;  // route creates and deletes during the passive phase
  bool tunnel_started = false;            // a tunnel start began during the passive phase
  bool config_written = false;            // a configuration write began during the passive phase
  std::string process_start_timestamp;    // UTC, "%Y-%m-%dT%H:%M:%SZ"
};

// Clears the whole record; nothing else clears a marker.
void ResetStartupState();

// Returns a copy of the record.
StartupState ReadStartupState();

// Sets the start timestamp of the process or of the service.
void SetProcessStartTimestamp(const std::string& timestamp);

// Formats a UTC time, in seconds since 1970-01-01 00:00:00, as "%Y-%m-%dT%H:%M:%SZ".
std::string FormatUtcTimestamp(std::int64_t seconds);

// Returns the current UTC time in the same format, truncated to whole seconds.
std::string UtcTimestampNow();

// Each sets its marker and so ends the passive phase.
void MarkConnectRequested();
void MarkStopRequested();

// Called with the name of an operation immediately before that operation changes the machine.
// During the passive phase it writes a line to standard error and, when the settings forbid such
// changes (IsStartupMutationGuardEnabled), ends the process with abort(). Otherwise it returns.
void CheckStartupMutation(const std::string& operation);

// Record what must not happen during the passive phase; outside it they do nothing.
void NoteRouteMutation();
void NoteTunnelStarted();
void NoteConfigWritten();

// Returns VELTRANE_POC_DISABLE_ALL_NETWORK_MUTATION_ON_STARTUP as a boolean, read on every call.
bool IsStartupMutationGuardEnabled();

}  // namespace veltrane
