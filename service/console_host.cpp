#include "service/console_host.h"

#include <atomic>
#include <string>

#include "ipc/pipe_name.h"
#include "platform/clock.h"
#include "platform/console.h"
#include "service/server_slot.h"
#include "service/startup_report.h"

namespace veltrane {
namespace {

constexpr std::uint32_t kPollMilliseconds = 100;

std::atomic<bool> console_running = false;

}  // namespace

int RunConsole() {
  InstallConsoleHandler(HandleConsoleControl);
  PrintPassiveStartupReport();
  RegisterNewServer().Start();
  PrintOutput(L"VeltraneVpnService IPC on " + std::wstring(kPipeName) + L" (passive startup)\n");
  console_running = true;
  while (console_running) SleepMilliseconds(kPollMilliseconds);
  return 0;
}

bool HandleConsoleControl(std::uint32_t control_type) {
  if (control_type > kConsoleClose) return false;
  console_running = false;
  if (IpcServer* server = RegisteredServer()) server->Stop();
  return true;
}

}  // namespace veltrane
