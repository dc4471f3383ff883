// Sends standard input as one request over the control pipe and prints the reply to standard
// output. Waits up to 20 seconds for the pipe. Exit code: 0 when a reply came, 1 otherwise, with
// one line on standard error.

#include <windows.h>

#include <cstdio>
#include <string>

namespace {

constexpr wchar_t kPipeName[] = L"\\\\.\\pipe\\VeltraneVpn";
constexpr int kAttempts = 200;
constexpr DWORD kAttemptMilliseconds = 100;

HANDLE OpenPipe() {
  for (int attempt = 0; attempt < kAttempts; ++attempt) {
    const HANDLE pipe =
        CreateFileW(kPipeName, GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, 0, nullptr);
    if (pipe != INVALID_HANDLE_VALUE) return pipe;
    Sleep(kAttemptMilliseconds);
  }
  return INVALID_HANDLE_VALUE;
}

std::string ReadStandardInput() {
  std::string text;
  char buffer[4096];
  std::size_t size = 0;
  while ((size = std::fread(buffer, 1, sizeof(buffer), stdin)) > 0) text.append(buffer, size);
  return text;
}

int Fail(const char* what) {
  std::fprintf(stderr, "send_request: %s (error %lu)\n", what, GetLastError());
  return 1;
}

}  // namespace

extern "C" int wmain() {
  const std::string request = ReadStandardInput();
  const HANDLE pipe = OpenPipe();
  if (pipe == INVALID_HANDLE_VALUE) return Fail("the control pipe is not there");
  DWORD mode = PIPE_READMODE_MESSAGE;
  SetNamedPipeHandleState(pipe, &mode, nullptr, nullptr);
  DWORD size = 0;
  if (!WriteFile(pipe, request.data(), static_cast<DWORD>(request.size()), &size, nullptr)) {
    return Fail("the request could not be written");
  }
  static char reply[65536];
  if (!ReadFile(pipe, reply, sizeof(reply), &size, nullptr) || size == 0) {
    return Fail("no reply came");
  }
  CloseHandle(pipe);
  std::fwrite(reply, 1, size, stdout);
  return 0;
}
