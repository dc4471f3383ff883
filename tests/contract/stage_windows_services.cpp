// The stage over Windows: services.

#include <map>

#include "tests/contract/stage_windows.h"

namespace veltrane::contract {
namespace {

UniqueService OpenByName(const std::wstring& name) {
  const UniqueService manager(OpenSCManagerW(nullptr, nullptr, SC_MANAGER_ALL_ACCESS));
  return UniqueService(OpenServiceW(manager.get(), name.c_str(), SERVICE_ALL_ACCESS));
}

SERVICE_STATUS_PROCESS StatusOf(SC_HANDLE service) {
  SERVICE_STATUS_PROCESS status{};
  DWORD needed = 0;
  QueryServiceStatusEx(service, SC_STATUS_PROCESS_INFO, reinterpret_cast<BYTE*>(&status),
                       sizeof(status), &needed);
  return status;
}

UniqueHandle OpenProcessOf(SC_HANDLE service) {
  return UniqueHandle(OpenProcess(SYNCHRONIZE | PROCESS_QUERY_LIMITED_INFORMATION, FALSE,
                                  StatusOf(service).dwProcessId));
}

// Stops and deletes what is installed under this name. The control manager of Wine does not notice
// that a process has crashed, and keeps its service.
void Remove(const std::wstring& name) {
  UniqueService service = OpenByName(name);
  if (service == nullptr) return;
  const auto stopped = [&] { return StatusOf(service.get()).dwCurrentState == SERVICE_STOPPED; };
  const auto crashed = [&] { return !stopped() && OpenProcessOf(service.get()) == nullptr; };
  EXPECT_TRUE(Eventually([&] {
    SERVICE_STATUS status{};
    ControlService(service.get(), SERVICE_CONTROL_STOP, &status);
    return stopped() || crashed();
  }));
  DeleteService(service.get());
  if (crashed()) return;
  service.reset();
  EXPECT_TRUE(Eventually([&] { return OpenByName(name) == nullptr; }));
}

std::wstring TextOrEmpty(const wchar_t* text) { return text != nullptr ? text : L""; }

// The control manager of Wine does not tell the dependencies; the registry has them everywhere.
std::vector<std::wstring> ReadDependencies(const std::wstring& name) {
  const std::wstring key = L"SYSTEM\\CurrentControlSet\\Services\\" + name;
  wchar_t list[1024] = {};
  DWORD size = sizeof(list);
  RegGetValueW(HKEY_LOCAL_MACHINE, key.c_str(), L"DependOnService", RRF_RT_REG_MULTI_SZ, nullptr,
               list, &size);
  std::vector<std::wstring> names;
  for (const wchar_t* text = list; *text != L'\0'; text += names.back().size() + 1) {
    names.emplace_back(text);
  }
  return names;
}

std::map<std::wstring, UniqueService>& HeldServices() {
  static std::map<std::wstring, UniqueService> held;
  return held;
}

// What a service at a pace shares with its functions.
struct {
  SERVICE_STATUS_HANDLE handle = nullptr;
  HANDLE stop = nullptr;
  HANDLE go_on = nullptr;
  std::wstring pace;
} served;

void Report(DWORD state) {
  SERVICE_STATUS status{};
  status.dwServiceType = SERVICE_WIN32_OWN_PROCESS;
  status.dwCurrentState = state;
  status.dwControlsAccepted = state == SERVICE_RUNNING ? SERVICE_ACCEPT_STOP : 0;
  SetServiceStatus(served.handle, &status);
}

void WINAPI HandleControl(DWORD control) {
  if (control != SERVICE_CONTROL_STOP) return;
  Report(SERVICE_STOP_PENDING);
  SetEvent(served.stop);
}

void WINAPI ServiceMain(DWORD, wchar_t**) {
  served.handle = RegisterServiceCtrlHandlerW(L"", HandleControl);
  Report(SERVICE_START_PENDING);
  if (served.pace == L"slow-start") WaitForSingleObject(served.go_on, INFINITE);
  Report(SERVICE_RUNNING);
  WaitForSingleObject(served.stop, INFINITE);
  if (served.pace == L"slow-stop") WaitForSingleObject(served.go_on, INFINITE);
  Report(SERVICE_STOPPED);
}

}  // namespace

void ServeAtPace(const std::wstring& pace, const std::wstring& event) {
  served.pace = pace;
  served.go_on = OpenEventW(SYNCHRONIZE, FALSE, event.c_str());
  served.stop = CreateEventW(nullptr, TRUE, FALSE, nullptr);
  wchar_t name[] = L"";
  const SERVICE_TABLE_ENTRYW table[] = {{name, ServiceMain}, {nullptr, nullptr}};
  StartServiceCtrlDispatcherW(table);
}

std::wstring Stage::NewServiceName() {
  const std::wstring name = L"VeltraneContract-" + UniqueNumber();
  Remove(name);  // of a run that did not come to its end
  state_->undo.push_back([this, name] {
    LetServicesGoOn();
    HeldServices().erase(name);
    Remove(name);
  });
  return name;
}

std::wstring Stage::ServiceProgram(Pace pace) {
  const std::wstring event_name = L"Global\\VeltraneContract-" + UniqueNumber();
  const HANDLE event = CreateEventW(nullptr, TRUE, FALSE, event_name.c_str());
  state_->let_services_go_on = [event] { SetEvent(event); };
  state_->undo.insert(state_->undo.begin(), [event] { CloseHandle(event); });
  const wchar_t* const text = pace == Pace::kSlowStart  ? L"slow-start"
                              : pace == Pace::kSlowStop ? L"slow-stop"
                                                        : L"prompt";
  return L"\"" + OwnProgram() + L"\" --serve " + text + L" " + event_name;
}

void Stage::LetServicesGoOn() {
  if (state_->let_services_go_on) state_->let_services_go_on();
}

std::optional<InstalledService> Stage::FindService(const std::wstring& name) {
  const UniqueService service = OpenByName(name);
  if (service == nullptr) return std::nullopt;
  alignas(QUERY_SERVICE_CONFIGW) BYTE buffer[8192];
  auto* config = reinterpret_cast<QUERY_SERVICE_CONFIGW*>(buffer);
  DWORD needed = 0;
  EXPECT_TRUE(QueryServiceConfigW(service.get(), config, sizeof(buffer), &needed));
  EXPECT_EQ(TextOrEmpty(config->lpLoadOrderGroup), L"");
  EXPECT_EQ(config->dwTagId, 0U);
  InstalledService installed{.settings = {.name = name,
                                          .display_name = TextOrEmpty(config->lpDisplayName),
                                          .access = 0,
                                          .type = config->dwServiceType,
                                          .start_type = config->dwStartType,
                                          .error_control = config->dwErrorControl,
                                          .command_line = TextOrEmpty(config->lpBinaryPathName),
                                          .dependencies = ReadDependencies(name)},
                             .account = TextOrEmpty(config->lpServiceStartName),
                             .sid_type = std::nullopt};
  SERVICE_SID_INFO info{};
  if (QueryServiceConfig2W(service.get(), SERVICE_CONFIG_SERVICE_SID_INFO,
                           reinterpret_cast<BYTE*>(&info), sizeof(info), &needed)) {
    installed.sid_type = info.dwServiceSidType;
  }
  return installed;
}

void Stage::HoldService(const std::wstring& name) { HeldServices()[name] = OpenByName(name); }

void Stage::LetGoOfService(const std::wstring& name) { HeldServices().erase(name); }

struct RunningService::State {
  std::wstring told;
  UniqueService service;
  UniqueHandle process;

  // Waits for the state, and takes hold of the process meanwhile.
  SERVICE_STATUS_PROCESS WaitFor(DWORD state) {
    SERVICE_STATUS_PROCESS status{};
    EXPECT_TRUE(Eventually([&] {
      status = StatusOf(service.get());
      if (process == nullptr && status.dwProcessId != 0) process = OpenProcessOf(service.get());
      return status.dwCurrentState == state;
    }));
    return status;
  }

  DWORD WaitForExitCode() {
    EXPECT_TRUE(Eventually([&] { return WaitForSingleObject(process.get(), 0) == WAIT_OBJECT_0; }));
    DWORD code = 0;
    GetExitCodeProcess(process.get(), &code);
    return code;
  }
};

RunningService::RunningService(Stage& stage, const Guest& program)
    : state_(std::make_unique<State>()) {
  state_->told = stage.Path(L"told");
  const std::wstring name = stage.NewServiceName();
  const UniqueService manager(OpenSCManagerW(nullptr, nullptr, SC_MANAGER_ALL_ACCESS));
  state_->service.reset(CreateServiceW(
      manager.get(), name.c_str(), name.c_str(), SERVICE_ALL_ACCESS, SERVICE_WIN32_OWN_PROCESS,
      SERVICE_DEMAND_START, SERVICE_ERROR_NORMAL, GuestCommandLine(program, state_->told).c_str(),
      nullptr, nullptr, nullptr, nullptr, nullptr));
  EXPECT_TRUE(StartServiceW(state_->service.get(), 0, nullptr));
}

RunningService::~RunningService() = default;

ServiceStatus RunningService::WaitForState(std::uint32_t state) {
  const SERVICE_STATUS_PROCESS status = state_->WaitFor(state);
  return {status.dwServiceType,
          status.dwCurrentState,
          status.dwControlsAccepted,
          status.dwWin32ExitCode,
          status.dwServiceSpecificExitCode,
          status.dwCheckPoint,
          status.dwWaitHint};
}

void RunningService::Send(std::uint32_t control) {
  SERVICE_STATUS status{};
  EXPECT_TRUE(ControlService(state_->service.get(), control, &status));
}

GuestRun RunningService::WaitForEnd() {
  const DWORD exit_code = state_->WaitForExitCode();
  GuestRun run = ReadTold(state_->told);
  run.exit_code = exit_code;
  return run;
}

bool AbortsWhenStopped(Stage& stage, const Guest& program) {
  RunningService service(stage, program);
  service.WaitForState(SERVICE_RUNNING);
  service.Send(SERVICE_CONTROL_STOP);
  return service.WaitForEnd().exit_code == 3;  // of abort
}

}  // namespace veltrane::contract
