// The runs' client on the control pipe: sends each line of standard input as one request and prints
// the reply as one line. Waits up to 60 seconds for the pipe, which serves one client at a time.
// The client itself handles these lines:
//
//   #usage    prints how many handles and threads the process that serves the pipe has
//   #tunnel   prints the state of the tunnel service (a number of winsvc.h), or "none"
//   #delete   deletes the tunnel service; prints "ok", or "error" and a Win32 error
//
// A request that gets no reply is answered with "no reply" and a Win32 error, and the exit code is
// then 1, else 0.

#include <windows.h>

#include <cstdio>
#include <iostream>
#include <string>

#include "ipc/pipe_name.h"
#include "lab/process_usage.h"
#include "tunnel/tunnel_manager.h"

namespace {

using veltrane::kPipeName;
using veltrane::kTunnelServiceName;

constexpr int kAttempts = 600;
constexpr DWORD kAttemptMilliseconds = 100;

int exit_code = 0;

HANDLE OpenPipe() {
  for (int attempt = 0; attempt < kAttempts; ++attempt) {
    const HANDLE pipe =
        CreateFileW(kPipeName, GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, 0, nullptr);
    if (pipe != INVALID_HANDLE_VALUE) return pipe;
    Sleep(kAttemptMilliseconds);
  }
  return INVALID_HANDLE_VALUE;
}

std::string NoReply(DWORD error) {
  exit_code = 1;
  return "no reply " + std::to_string(error);
}

std::string Send(const std::string& request) {
  const HANDLE pipe = OpenPipe();
  if (pipe == INVALID_HANDLE_VALUE) return NoReply(GetLastError());
  DWORD mode = PIPE_READMODE_MESSAGE;
  SetNamedPipeHandleState(pipe, &mode, nullptr, nullptr);
  DWORD size = 0;
  std::string reply(65536, '\0');
  const bool replied =
      WriteFile(pipe, request.data(), static_cast<DWORD>(request.size()), &size, nullptr) &&
      ReadFile(pipe, reply.data(), static_cast<DWORD>(reply.size()), &size, nullptr) && size > 0;
  const DWORD error = GetLastError();
  CloseHandle(pipe);
  return replied ? reply.substr(0, size) : NoReply(error);
}

// Counts while it holds the pipe: the service then waits for a request. Between two clients it
// closes one handle and opens another.
std::string Usage() {
  const HANDLE pipe = OpenPipe();
  ULONG server = 0;
  if (!GetNamedPipeServerProcessId(pipe, &server)) return NoReply(GetLastError());
  const veltrane::ProcessUsage usage = veltrane::SettledUsageOf(server);
  CloseHandle(pipe);
  return "handles=" + std::to_string(usage.handles) + " threads=" + std::to_string(usage.threads);
}

std::string TunnelState() {
  const SC_HANDLE manager = OpenSCManagerW(nullptr, nullptr, SC_MANAGER_CONNECT);
  const SC_HANDLE service = OpenServiceW(manager, kTunnelServiceName, SERVICE_QUERY_STATUS);
  SERVICE_STATUS status{};
  const bool known = service != nullptr && QueryServiceStatus(service, &status);
  if (service != nullptr) CloseServiceHandle(service);
  CloseServiceHandle(manager);
  return known ? std::to_string(status.dwCurrentState) : "none";
}

std::string DeleteTunnelService() {
  const SC_HANDLE manager = OpenSCManagerW(nullptr, nullptr, SC_MANAGER_CONNECT);
  const SC_HANDLE service = OpenServiceW(manager, kTunnelServiceName, DELETE);
  const bool deleted = service != nullptr && DeleteService(service);
  const DWORD error = GetLastError();
  if (service != nullptr) CloseServiceHandle(service);
  CloseServiceHandle(manager);
  return deleted ? "ok" : "error " + std::to_string(error);
}

std::string Answer(const std::string& line) {
  if (line == "#usage") return Usage();
  if (line == "#tunnel") return TunnelState();
  if (line == "#delete") return DeleteTunnelService();
  return Send(line);
}

}  // namespace

int main() {
  std::string line;
  while (std::getline(std::cin, line)) {
    std::printf("%s\n", Answer(line).c_str());
    std::fflush(stdout);
  }
  return exit_code;
}
