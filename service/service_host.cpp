#include "service/service_host.h"

#include <atomic>

#include "platform/clock.h"
#include "platform/service_codes.h"
#include "platform/services.h"
#include "service/server_slot.h"
#include "service/service_name.h"
#include "service/startup_guard.h"
#include "service/startup_report.h"

namespace veltrane {
namespace {

constexpr std::uint32_t kPollMilliseconds = 500;

std::atomic<bool> service_running = false;
std::atomic<ServiceStatusHandle> status_handle = nullptr;

void ReportState(std::uint32_t state, std::uint32_t controls_accepted) {
  const ServiceStatusHandle handle = status_handle;
  if (handle == nullptr) return;
  ReportServiceStatus(
      handle, {.type = kServiceOwnProcess, .state = state, .controls_accepted = controls_accepted});
}

}  // namespace

std::uint32_t RunAsService() { return RunServiceDispatcher(kServiceName, ServiceMain); }

void ServiceMain() {
  status_handle = RegisterControlHandler(kServiceName, HandleServiceControl);
  if (status_handle == nullptr) return;
  ReportState(kServiceStartPending, 0);
  SetProcessStartTimestamp(UtcTimestampNow());
  RegisterNewServer().Start();
  PrintPassiveStartupReport();
  service_running = true;
  ReportState(kServiceRunning, kAcceptStop);
  while (service_running) SleepMilliseconds(kPollMilliseconds);
  if (IpcServer* server = RegisteredServer()) {
    server->Stop();
    ReleaseServer();
  }
}

void HandleServiceControl(std::uint32_t control) {
  if (control != kControlStop) return;
  ReportState(kServiceStopPending, 0);
  service_running = false;
  if (IpcServer* server = RegisteredServer()) server->Stop();
  ReportState(kServiceStopped, 0);
}

}  // namespace veltrane
