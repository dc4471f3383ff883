// Sends one request to the service and prints the reply:  minimal_client "{\"op\":\"status\"}"
// Exit code: 0 when a reply came, otherwise 1. Needs nothing but Windows.
#include <windows.h>

#include <cstdio>
#include <cstring>

int main(int argc, char** argv) {
  const char* const request = argc > 1 ? argv[1] : "{\"op\":\"status\"}";
  const wchar_t* const name = L"\\\\.\\pipe\\VeltraneVpn";

  // The pipe serves one client at a time: it is busy while another client is served, and for a
  // moment after that it does not exist. The flags keep the pipe's server from impersonating this
  // user. A client that sends a key must first compare GetNamedPipeServerProcessId with the process
  // id of the service.
  HANDLE pipe = INVALID_HANDLE_VALUE;
  for (int attempt = 0; attempt < 20 && pipe == INVALID_HANDLE_VALUE; ++attempt) {
    pipe = CreateFileW(name, GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING,
                       SECURITY_SQOS_PRESENT | SECURITY_IDENTIFICATION, nullptr);
    if (pipe == INVALID_HANDLE_VALUE && !WaitNamedPipeW(name, 5000)) Sleep(100);
  }
  if (pipe == INVALID_HANDLE_VALUE) {
    std::fprintf(stderr, "the service cannot be reached (error %lu)\n", GetLastError());
    return 1;
  }

  // One message out, one message back; then the service ends the connection.
  DWORD written = 0;
  WriteFile(pipe, request, static_cast<DWORD>(std::strlen(request)), &written, nullptr);
  static char reply[65536];
  DWORD size = 0;
  size_t total = 0;
  while (ReadFile(pipe, reply, sizeof(reply), &size, nullptr) ||
         GetLastError() == ERROR_MORE_DATA) {
    std::fwrite(reply, 1, size, stdout);
    total += size;
  }
  CloseHandle(pipe);
  return total > 0 ? 0 : 1;
}
