// Plays a server or a client of the control pipe for a test:
//   pipe_actor serve [REPLY]     serves the pipe in place of the service: prints what each client
//                                sends and answers with REPLY or with nothing, until it is killed
//   pipe_actor hold FILE [PIPE]  connects as a client and keeps the pipe busy until FILE exists
//   pipe_actor end-session       asks the watchdog whether the session may end, as Windows does
//   pipe_actor close-window      closes the watchdog's window, as taskkill does
// The first two print "ready" once they have started.

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
  if (argc > 1 && std::strcmp(argv[1], "end-session") == 0) {
    return TellWatchdog(WM_QUERYENDSESSION);
  }
  if (argc > 1 && std::strcmp(argv[1], "close-window") == 0) return TellWatchdog(WM_CLOSE);
  return 2;
}
