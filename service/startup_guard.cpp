#include "service/startup_guard.h"

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>

#include "guard/settings.h"
#include "platform/clock.h"
#include "platform/console.h"

namespace veltrane {
namespace {

// The pipe thread, the auto-stop thread and the handlers' threads write the flags, which are
// therefore atomic. The main thread and the ServiceMain thread write the timestamp before any of
// those threads runs.
struct LiveState {
  std::atomic<bool> connect_requested = false;
  std::atomic<bool> stop_requested = false;
  std::atomic<std::int32_t> route_mutation_count = 0;
  std::atomic<bool> tunnel_started = false;
  std::atomic<bool> config_written = false;
  std::string process_start_timestamp;
};

LiveState& State() {
  static auto& state = *new LiveState();  // a thread may still use it while the process ends
  return state;
}

bool InPassivePhase() { return !State().connect_requested && !State().stop_requested; }

}  // namespace

void ResetStartupState() {
  LiveState& state = State();
  state.connect_requested = false;
  state.stop_requested = false;
  state.route_mutation_count = 0;
  state.tunnel_started = false;
  state.config_written = false;
  state.process_start_timestamp.clear();
}

StartupState ReadStartupState() {
  const LiveState& state = State();
  return {.connect_requested = state.connect_requested,
          .stop_requested = state.stop_requested,
          .route_mutation_count = state.route_mutation_count,
          .tunnel_started = state.tunnel_started,
          .config_written = state.config_written,
          .process_start_timestamp = state.process_start_timestamp};
}

void SetProcessStartTimestamp(const std::string& timestamp) {
  State().process_start_timestamp = timestamp;
}

std::string FormatUtcTimestamp(std::int64_t seconds) {
  using std::chrono::days;
  const std::chrono::sys_seconds time{std::chrono::seconds(seconds)};
  const auto midnight = std::chrono::floor<days>(time);
  const std::chrono::year_month_day date(midnight);
  const std::chrono::hh_mm_ss clock(time - midnight);
  char text[32];
  std::snprintf(text, sizeof(text), "%04d-%02u-%02uT%02d:%02d:%02dZ", static_cast<int>(date.year()),
                static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()),
                static_cast<int>(clock.hours().count()), static_cast<int>(clock.minutes().count()),
                static_cast<int>(clock.seconds().count()));
  return text;
}

std::string UtcTimestampNow() { return FormatUtcTimestamp(UtcTicks() / kTicksPerSecond); }

void MarkConnectRequested() { State().connect_requested = true; }

void MarkStopRequested() { State().stop_requested = true; }

void CheckStartupMutation(const std::string& operation) {
  if (!InPassivePhase()) return;
  PrintErrorLine(L"[Veltrane][startup_guard] forbidden during passive startup: ", operation);
  if (IsStartupMutationGuardEnabled()) {
    PrintError(
        L"[Veltrane][startup_guard] abort "
        L"VELTRANE_POC_DISABLE_ALL_NETWORK_MUTATION_ON_STARTUP=1\n");
    std::abort();
  }
}

void NoteRouteMutation() {
  if (InPassivePhase()) ++State().route_mutation_count;
}

void NoteTunnelStarted() {
  if (InPassivePhase()) State().tunnel_started = true;
}

void NoteConfigWritten() {
  if (InPassivePhase()) State().config_written = true;
}

bool IsStartupMutationGuardEnabled() {
  return ParseEnvBool(ReadEnvSetting(L"VELTRANE_POC_DISABLE_ALL_NETWORK_MUTATION_ON_STARTUP"));
}

}  // namespace veltrane
