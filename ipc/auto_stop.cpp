#include "ipc/auto_stop.h"

#include "bypass/host_routes.h"
#include "platform/clock.h"
#include "service/startup_guard.h"
#include "tunnel/active_conf.h"
#include "tunnel/tunnel_manager.h"

namespace veltrane {
namespace {

constexpr std::uint32_t kStepMilliseconds = 100;
constexpr std::int64_t kStepsPerSecond = 10;

std::string DeadlineText(std::int32_t seconds) {
  return FormatUtcTimestamp((UtcTicks() + seconds * kTicksPerSecond) / kTicksPerSecond);
}

void RunAutoStop(IpcServer& server, std::int32_t seconds) {
  const std::int64_t steps = seconds * kStepsPerSecond;
  for (std::int64_t step = 0; step < steps; ++step) {
    if (server.auto_stop_cancel) return;
    SleepMilliseconds(kStepMilliseconds);
  }
  if (server.auto_stop_cancel) return;
  Teardown();
  server.SetPhase(kPhaseDisconnected);
}

}  // namespace

void Teardown() {
  TunnelManager::Stop();
  RemoveBypassRoutes();
  DeleteActiveConf(nullptr);
}

void ScheduleAutoStop(IpcServer& server, std::int32_t seconds, RouteGuardResult* result) {
  if (seconds <= 0) return;
  if (result != nullptr) {
    result->auto_stop_scheduled = true;
    result->auto_stop_seconds = seconds;
    result->auto_stop_deadline_utc = DeadlineText(seconds);
  }
  CancelAutoStop(server);
  server.auto_stop_cancel.exchange(false);
  server.auto_stop_thread = std::thread([&server, seconds] { RunAutoStop(server, seconds); });
}

void CancelAutoStop(IpcServer& server) {
  server.auto_stop_cancel.exchange(true);
  if (server.auto_stop_thread.joinable()) server.auto_stop_thread.join();
}

}  // namespace veltrane
