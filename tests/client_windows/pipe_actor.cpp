// Plays a server or a client of the control pipe for a test:
//   pipe_actor serve [REPLY]     serves the pipe in place of the service: prints what each client
//                                sends and answers with REPLY or with nothing, until it is killed
//   pipe_actor hold FILE [PIPE]  connects as a client and keeps the pipe busy until FILE exists
//   pipe_actor ask REQUEST       sends a request and never reads the reply, until it is killed
//   pipe_actor write BYTES FILE  connects as a client, waits until FILE exists, then writes so
//                                many zeros as one message, prints "writing" when that is not done
//                                at once, and stays in it until it is killed
//   pipe_actor end-session       asks the watchdog whether the session may end, as Windows does
//   pipe_actor close-window      closes the watchdog's window, as taskkill does
// The first two, and "write", print "ready" once they have started; "ask" when there is a reply to
// read.

#include <windows.h>

#include <cstdio>
#include <cstring>
#include <string>

#include "ipc/pipe_name.h"

namespace {

using veltrane::kPipeName;

void Say(const char* text) {
  std::puts(text);
  std::fflush(stdout);
}

int Serve(const char* reply) {
  static char buffer[65536];
  bool ready = false;
  for (;;) {
    const HANDLE pipe = CreateNamedPipeW(kPipeName, PIPE_ACCESS_DUPLEX,
                                         PIPE_TYPE_MESSAGE | PIPE_READMODE_MESSAGE | PIPE_WAIT, 1,
                                         sizeof(buffer), sizeof(buffer), 0, nullptr);
    if (pipe == INVALID_HANDLE_VALUE) return 1;
    if (!ready) Say("ready");
    ready = true;
    ConnectNamedPipe(pipe, nullptr);
    DWORD size = 0;
    if (ReadFile(pipe, buffer, sizeof(buffer) - 1, &size, nullptr) && size > 0) {
      buffer[size] = '\0';
      std::printf("received %s\n", buffer);
      std::fflush(stdout);
      if (*reply != '\0') {
        WriteFile(pipe, reply, static_cast<DWORD>(std::strlen(reply)), &size, nullptr);
      }
    } else {
      Say("received nothing");
    }
    FlushFileBuffers(pipe);
    DisconnectNamedPipe(pipe);
    CloseHandle(pipe);
  }
}

int Hold(const char* file, const std::wstring& name) {
  const HANDLE pipe = CreateFileW(name.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr,
                                  OPEN_EXISTING, 0, nullptr);
  if (pipe == INVALID_HANDLE_VALUE) return 1;
  Say("ready");
  while (GetFileAttributesA(file) == INVALID_FILE_ATTRIBUTES) Sleep(50);
  CloseHandle(pipe);
  return 0;
}

// Waits while the pipe serves others, as long as it takes.
HANDLE OpenPatiently(DWORD flags) {
  for (;;) {
    const HANDLE pipe = CreateFileW(kPipeName, GENERIC_READ | GENERIC_WRITE, 0, nullptr,
                                    OPEN_EXISTING, flags, nullptr);
    if (pipe != INVALID_HANDLE_VALUE) return pipe;
    if (!WaitNamedPipeW(kPipeName, 1000)) Sleep(20);
  }
}

int AskAndNeverRead(const char* request) {
  const HANDLE pipe = OpenPatiently(0);
  DWORD size = 0;
  if (!WriteFile(pipe, request, static_cast<DWORD>(std::strlen(request)), &size, nullptr)) return 1;
  DWORD unread = 0;
  while (PeekNamedPipe(pipe, nullptr, 0, nullptr, &unread, nullptr) && unread == 0) Sleep(20);
  if (unread == 0) return 1;
  Say("ready");
  Sleep(INFINITE);
  return 0;
}

int Write(const std::string& message, const char* file) {
  const HANDLE pipe = OpenPatiently(FILE_FLAG_OVERLAPPED);
  Say("ready");
  while (GetFileAttributesA(file) == INVALID_FILE_ATTRIBUTES) Sleep(20);
  OVERLAPPED write{};
  WriteFile(pipe, message.data(), static_cast<DWORD>(message.size()), nullptr, &write);
  if (GetLastError() != ERROR_IO_PENDING) return 1;
  Say("writing");
  Sleep(INFINITE);
  return 0;
}

int TellWatchdog(UINT message) {
  const HWND window = FindWindowW(L"VeltraneWatchdog", nullptr);
  if (window == nullptr) return 1;
  SendMessageW(window, message, 0, 0);
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc > 1 && std::strcmp(argv[1], "serve") == 0) return Serve(argc > 2 ? argv[2] : "");
  if (argc > 2 && std::strcmp(argv[1], "hold") == 0) {
    const std::string name = argc > 3 ? argv[3] : "";
    return Hold(argv[2], argc > 3 ? std::wstring(name.begin(), name.end()) : kPipeName);
  }
  if (argc > 2 && std::strcmp(argv[1], "ask") == 0) return AskAndNeverRead(argv[2]);
  if (argc > 3 && std::strcmp(argv[1], "write") == 0) {
    return Write(std::string(std::stoul(argv[2]), '\0'), argv[3]);
  }
  if (argc > 1 && std::strcmp(argv[1], "end-session") == 0) {
    return TellWatchdog(WM_QUERYENDSESSION);
  }
  if (argc > 1 && std::strcmp(argv[1], "close-window") == 0) return TellWatchdog(WM_CLOSE);
  return 2;
}
