#pragma once

// The passive phase: until a client asks for a connection, the service changes nothing on the
// machine. This room keeps the record that proves it, and the hook that every operation that
// changes something calls first. Everything here may be called on any thread; the timestamp alone
// has no lock and is set before another thread could read it.

#include <cstdint>
#include <string>

namespace veltrane {

// What happened during the passive phase, which lasts while both markers are false.
struct StartupState {
  bool connect_requested = false;
  bool stop_requested = false;
  std::int32_t route_mutation_count = 0;  // routes created and deleted during the passive phase
  bool tunnel_started = false;            // a tunnel start was entered during the passive phase
  bool config_written = false;            // a configuration write was entered during it
  std::string process_start_timestamp;    // UTC, "%Y-%m-%dT%H:%M:%SZ"
};

// Clears the whole record; nothing else ever clears a marker.
void ResetStartupState();

// Returns a copy of the record.
StartupState ReadStartupState();

// Stores the start timestamp of the process or of the service.
void SetProcessStartTimestamp(const std::string& timestamp);

// Formats a UTC time, given in whole seconds since 1970, as "%Y-%m-%dT%H:%M:%SZ".
std::string FormatUtcTimestamp(std::int64_t seconds);

// The current UTC time, cut to whole seconds, in the same format.
std::string UtcTimestampNow();

// Each ends the passive phase for good.
void MarkConnectRequested();
void MarkStopRequested();

// Called with the name of an operation immediately before it changes the machine. During the
// passive phase it writes a line to standard error and, when the machine forbids such changes
// (IsStartupMutationGuardEnabled), ends the process with abort(). Otherwise it returns.
void CheckStartupMutation(const std::string& operation);

// Record what the passive phase must not see; outside it they do nothing.
void NoteRouteMutation();
void NoteTunnelStarted();
void NoteConfigWritten();

// The boolean of VELTRANE_POC_DISABLE_ALL_NETWORK_MUTATION_ON_STARTUP, read anew on every call.
bool IsStartupMutationGuardEnabled();

}  // namespace veltrane
