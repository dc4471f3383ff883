// Sends one request to the service and prints the reply:  minimal_client "{\"op\":\"status\"}"
// Exit code 0 when a reply came. Needs nothing but Windows.
#include <windows.h>

#include <cstdio>
#include <cstring>

int main(int argc, char** argv) {
  const char* const request = argc > 1 ? argv[1] : "{\"op\":\"status\"}";
  const wchar_t* const name = L"\\\\.\\pipe\\VeltraneVpn";

  // One client at a time: while another is served the pipe is busy, and for a moment after that
  // there is none. The flags keep whoever serves the pipe from acting in this user's name; a client
  // that sends a key also compares GetNamedPipeServerProcessId with the service's process first.
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

  // One message there, one message back; the service then ends the connection.
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
