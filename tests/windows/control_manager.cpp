#include "tests/windows/control_manager.h"

#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/windows/wait.h"

namespace veltrane::windows_tests {
namespace {

ServiceHandle OpenManager() {
  return ServiceHandle(OpenSCManagerW(nullptr, nullptr, SC_MANAGER_ALL_ACCESS));
}

void WaitForProcessEnd(DWORD id) {
  const HANDLE process = OpenProcess(SYNCHRONIZE, FALSE, id);
  if (process == nullptr) return;
  EXPECT_TRUE(WaitUntil([=] { return WaitForSingleObject(process, 0) == WAIT_OBJECT_0; }));
  CloseHandle(process);
}

std::wstring TextOrEmpty(const wchar_t* text) { return text != nullptr ? text : L""; }

// The dependencies as the registry holds them.
std::vector<std::wstring> RegisteredDependencies(const std::wstring& name) {
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

}  // namespace

ServiceHandle OpenServiceNamed(const std::wstring& name) {
  return ServiceHandle(OpenServiceW(OpenManager().get(), name.c_str(), SERVICE_ALL_ACCESS));
}

ServiceHandle CreateServiceNamed(const std::wstring& name, const std::wstring& command_line) {
  return ServiceHandle(
      CreateServiceW(OpenManager().get(), name.c_str(), name.c_str(), SERVICE_ALL_ACCESS,
                     SERVICE_WIN32_OWN_PROCESS, SERVICE_DEMAND_START, SERVICE_ERROR_NORMAL,
                     command_line.c_str(), nullptr, nullptr, nullptr, nullptr, nullptr));
}

bool WaitUntilGone(const std::wstring& name) {
  return WaitUntil([&] { return OpenServiceNamed(name) == nullptr; });
}

SERVICE_STATUS_PROCESS ServiceStatus(const std::wstring& name) {
  SERVICE_STATUS_PROCESS status{};
  DWORD needed = 0;
  QueryServiceStatusEx(OpenServiceNamed(name).get(), SC_STATUS_PROCESS_INFO,
                       reinterpret_cast<BYTE*>(&status), sizeof(status), &needed);
  return status;
}

bool WaitForServiceState(const std::wstring& name, DWORD state) {
  return WaitUntil([&] { return ServiceStatus(name).dwCurrentState == state; });
}

DWORD StartServiceNamed(const std::wstring& name) {
  const ServiceHandle service = OpenServiceNamed(name);
  return StartServiceW(service.get(), 0, nullptr) ? ERROR_SUCCESS : GetLastError();
}

DWORD SendControl(const std::wstring& name, DWORD control) {
  const ServiceHandle service = OpenServiceNamed(name);
  SERVICE_STATUS status{};
  return ControlService(service.get(), control, &status) ? ERROR_SUCCESS : GetLastError();
}

void StopServiceNamed(const std::wstring& name) {
  EXPECT_TRUE(WaitUntil(
      [&] { return ServiceStatus(name).dwCurrentState != DWORD{SERVICE_START_PENDING}; }));
  const DWORD process_id = ServiceStatus(name).dwProcessId;
  // A busy Wine loses a control now and then.
  EXPECT_TRUE(WaitUntil([&] {
    const DWORD state = ServiceStatus(name).dwCurrentState;
    if (state == SERVICE_RUNNING) SendControl(name, SERVICE_CONTROL_STOP);
    return state == SERVICE_STOPPED;
  }));
  if (process_id != 0) WaitForProcessEnd(process_id);
}

void RemoveService(const std::wstring& name) {
  if (OpenServiceNamed(name) == nullptr) return;
  if (ServiceStatus(name).dwCurrentState != SERVICE_STOPPED) StopServiceNamed(name);
  DeleteService(OpenServiceNamed(name).get());
  EXPECT_TRUE(WaitUntilGone(name));
}

void ExpectRegistration(const std::wstring& name, const std::wstring& command_line) {
  alignas(QUERY_SERVICE_CONFIGW) BYTE buffer[8192];
  const auto& config = *reinterpret_cast<const QUERY_SERVICE_CONFIGW*>(buffer);
  DWORD needed = 0;
  ASSERT_TRUE(QueryServiceConfigW(OpenServiceNamed(name).get(),
                                  reinterpret_cast<QUERY_SERVICE_CONFIGW*>(buffer), sizeof(buffer),
                                  &needed))
      << "error " << GetLastError();
  EXPECT_EQ(config.dwServiceType, 16u);  // SERVICE_WIN32_OWN_PROCESS
  EXPECT_EQ(config.dwStartType, 3u);     // SERVICE_DEMAND_START
  EXPECT_EQ(config.dwErrorControl, 1u);  // SERVICE_ERROR_NORMAL
  EXPECT_EQ(config.dwTagId, 0u);
  EXPECT_EQ(config.lpBinaryPathName, command_line);
  EXPECT_EQ(config.lpDisplayName, name);
  EXPECT_STREQ(config.lpServiceStartName, L"LocalSystem");
  EXPECT_EQ(TextOrEmpty(config.lpLoadOrderGroup), L"");
  EXPECT_THAT(RegisteredDependencies(name), testing::ElementsAre(L"Nsi", L"TcpIp"));
}

}  // namespace veltrane::windows_tests
