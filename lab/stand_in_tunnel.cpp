// A stand-in for the WireGuard tunnel library: it connects to the service control manager as the
// real one does and runs until the service is stopped, but it carries no traffic.

#include <windows.h>

namespace {

SERVICE_STATUS_HANDLE status_handle = nullptr;
HANDLE stop_event = nullptr;

void Report(DWORD state, DWORD controls_accepted) {
  SERVICE_STATUS status{};
  status.dwServiceType = SERVICE_WIN32_OWN_PROCESS;
  status.dwCurrentState = state;
  status.dwControlsAccepted = controls_accepted;
  SetServiceStatus(status_handle, &status);
}

DWORD WINAPI HandleControl(DWORD control, DWORD, void*, void*) {
  if (control != SERVICE_CONTROL_STOP) return NO_ERROR;
  Report(SERVICE_STOP_PENDING, 0);
  SetEvent(stop_event);
  return NO_ERROR;
}

void WINAPI RunTunnel(DWORD, wchar_t** arguments) {
  status_handle = RegisterServiceCtrlHandlerExW(arguments[0], HandleControl, nullptr);
  if (status_handle == nullptr) return;
  Report(SERVICE_RUNNING, SERVICE_ACCEPT_STOP);
  WaitForSingleObject(stop_event, INFINITE);
  Report(SERVICE_STOPPED, 0);
}

}  // namespace

// Blocks while the tunnel runs. Returns false when the configuration file does not exist or this
// process is not a service.
extern "C" __declspec(dllexport) bool WireGuardTunnelService(const wchar_t* conf_path) {
  if (GetFileAttributesW(conf_path) == INVALID_FILE_ATTRIBUTES) return false;
  stop_event = CreateEventW(nullptr, TRUE, FALSE, nullptr);
  if (stop_event == nullptr) return false;
  wchar_t name[] = L"";  // ignored in a process with one service
  const SERVICE_TABLE_ENTRYW services[] = {{name, RunTunnel}, {nullptr, nullptr}};
  const bool ran = StartServiceCtrlDispatcherW(services) != FALSE;
  CloseHandle(stop_event);
  return ran;
}
