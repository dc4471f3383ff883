// Stands in for the WireGuard tunnel library: it connects to the service control manager as the
// real one does, and has the agent on the Linux side bring a real WireGuard interface up and down.
// It writes what happens to tunnel.log in the folder of the executable.

// clang-format off
#include "agent.h"
// clang-format on

#include <cstdio>
#include <memory>
#include <string>

namespace {

SERVICE_STATUS_HANDLE status_handle = nullptr;
HANDLE stop_event = nullptr;
std::unique_ptr<lab::Agent> agent;
DWORD crash_milliseconds = INFINITE;
bool up = false;

std::wstring LogFile() {
  wchar_t program[MAX_PATH];
  const DWORD length = GetModuleFileNameW(nullptr, program, MAX_PATH);
  const std::wstring path(program, length);
  return path.substr(0, path.rfind(L'\\') + 1) + L"tunnel.log";
}

void Log(const std::string& text) {
  if (std::FILE* file = _wfopen(LogFile().c_str(), L"a")) {
    std::fprintf(file, "%s\n", text.c_str());
    std::fclose(file);
  }
}

bool ReadFileText(const wchar_t* path, std::string& text) {
  std::FILE* file = _wfopen(path, L"rb");
  if (file == nullptr) return false;
  char buffer[4096];
  std::size_t size = 0;
  while ((size = std::fread(buffer, 1, sizeof(buffer), file)) > 0) text.append(buffer, size);
  std::fclose(file);
  return true;
}

// Returns the number after "name=" in the agent's line of knobs; 0 when the name is missing.
int Knob(const std::string& knobs, const char* name) {
  const std::size_t found = knobs.find(name);
  return found == std::string::npos ? 0 : std::stoi(knobs.substr(knobs.find('=', found) + 1));
}

void Report(DWORD state, DWORD controls_accepted, DWORD exit_code = NO_ERROR) {
  SERVICE_STATUS status{};
  status.dwServiceType = SERVICE_WIN32_OWN_PROCESS;
  status.dwCurrentState = state;
  status.dwControlsAccepted = controls_accepted;
  status.dwWin32ExitCode = exit_code;
  SetServiceStatus(status_handle, &status);
}

DWORD WINAPI HandleControl(DWORD control, DWORD, void*, void*) {
  if (control != SERVICE_CONTROL_STOP) return NO_ERROR;
  Report(SERVICE_STOP_PENDING, 0);
  SetEvent(stop_event);
  return NO_ERROR;
}

void BringUp() {
  const std::string answer = agent->Ask("start");
  up = answer == "up";
  Log(answer.empty() ? "there is no agent" : answer);
}

void WINAPI RunTunnel(DWORD, wchar_t** arguments) {
  status_handle = RegisterServiceCtrlHandlerExW(arguments[0], HandleControl, nullptr);
  if (status_handle == nullptr) return;
  Report(SERVICE_START_PENDING, 0);
  if (!up) BringUp();
  if (!up) {
    Report(SERVICE_STOPPED, 0, ERROR_INVALID_PARAMETER);
    return;
  }
  Report(SERVICE_RUNNING, SERVICE_ACCEPT_STOP);
  if (WaitForSingleObject(stop_event, crash_milliseconds) == WAIT_TIMEOUT) {
    Log("crash");
    TerminateProcess(GetCurrentProcess(), 99);
  }
  Log(agent->Ask("stop"));
  Report(SERVICE_STOPPED, 0);
}

}  // namespace

// Blocks while the tunnel runs. Returns false when the configuration file cannot be read, when
// WireGuard refuses it, or when this process is not a service.
extern "C" __declspec(dllexport) bool WireGuardTunnelService(const wchar_t* conf_path) {
  std::string conf;
  if (!ReadFileText(conf_path, conf)) {
    Log("the configuration file cannot be read");
    return false;
  }
  stop_event = CreateEventW(nullptr, TRUE, FALSE, nullptr);
  if (stop_event == nullptr) return false;
  agent = std::make_unique<lab::Agent>();
  // The length counts the line feed that Ask appends.
  const std::string knobs = agent->Ask("tunnel " + std::to_string(conf.size() + 1) + '\n' + conf);
  if (const int seconds = Knob(knobs, "crash=")) {
    crash_milliseconds = static_cast<DWORD>(seconds) * 1000;
  }
  // StartService does not return to its caller before the dispatcher is connected, so an early
  // tunnel is up by then.
  if (Knob(knobs, "early=") != 0) BringUp();
  wchar_t name[] = L"";  // ignored in a process with one service
  const SERVICE_TABLE_ENTRYW services[] = {{name, RunTunnel}, {nullptr, nullptr}};
  const bool ran = StartServiceCtrlDispatcherW(services) != FALSE;
  CloseHandle(stop_event);
  return ran && up;
}
