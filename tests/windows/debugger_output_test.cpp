// What the executable tells a debugger.

#include <future>
#include <optional>
#include <string>

#include "tests/windows/clean_machine.h"
#include "tests/windows/conversation.h"
#include "tests/windows/pipe_connection.h"

namespace veltrane::windows_tests {
namespace {

using DebuggerOutput = CleanMachine;

// The executable with "--console" under this program as its debugger, which is one thread: that
// which created it.
class DebuggedServer {
 public:
  DebuggedServer() {
    STARTUPINFOW startup{};
    startup.cb = sizeof(startup);
    PROCESS_INFORMATION information{};
    const std::wstring executable = ServiceExecutable();
    std::wstring command_line = L"\"" + executable + L"\" --console";
    if (!CreateProcessW(executable.c_str(), command_line.data(), nullptr, nullptr, FALSE,
                        DEBUG_ONLY_THIS_PROCESS, nullptr, nullptr, &startup, &information)) {
      ADD_FAILURE() << "the process did not start, error " << GetLastError();
      return;
    }
    process_ = information.hProcess;
    CloseHandle(information.hThread);
  }
  DebuggedServer(const DebuggedServer&) = delete;
  DebuggedServer& operator=(const DebuggedServer&) = delete;
  ~DebuggedServer() { CloseHandle(process_); }

  // Lets the process run until this text has come from it; what came instead when it does not come.
  std::string RunUntil(const std::string& text) {
    constexpr DWORD kPatienceMilliseconds = 20'000;
    while (output_.find(text) == std::string::npos) {
      DEBUG_EVENT event{};
      if (!WaitForDebugEvent(&event, kPatienceMilliseconds)) break;
      if (event.dwDebugEventCode == OUTPUT_DEBUG_STRING_EVENT) Take(event.u.DebugString);
      Continue(event);
    }
    return output_;
  }

  // Ends the process and lets it run until it has.
  void End() {
    TerminateProcess(process_, 0);
    DEBUG_EVENT event{};
    do {
      if (!WaitForDebugEvent(&event, 20'000)) return;
      Continue(event);
    } while (event.dwDebugEventCode != EXIT_PROCESS_DEBUG_EVENT);
  }

 private:
  static void Continue(const DEBUG_EVENT& event) {
    const bool foreign = event.dwDebugEventCode == EXCEPTION_DEBUG_EVENT &&
                         event.u.Exception.ExceptionRecord.ExceptionCode != EXCEPTION_BREAKPOINT;
    ContinueDebugEvent(event.dwProcessId, event.dwThreadId,
                       foreign ? DBG_EXCEPTION_NOT_HANDLED : DBG_CONTINUE);
  }

  // The text is in the memory of the process, and ends with a zero.
  void Take(const OUTPUT_DEBUG_STRING_INFO& info) {
    if (info.fUnicode != 0) {
      std::wstring text(info.nDebugStringLength / sizeof(wchar_t), L'\0');
      ReadProcessMemory(process_, info.lpDebugStringData, text.data(),
                        text.size() * sizeof(wchar_t), nullptr);
      output_.append(text.begin(), text.end());
    } else {
      std::string text(info.nDebugStringLength, '\0');
      ReadProcessMemory(process_, info.lpDebugStringData, text.data(), text.size(), nullptr);
      output_ += text;
    }
    while (output_.ends_with('\0')) output_.pop_back();
  }

  HANDLE process_ = nullptr;
  std::string output_;
};

TEST_F(DebuggerOutput, IsTheLineOfTheBypass) {
  DebuggedServer server;
  auto reply = std::async(std::launch::async, [] { return Ask(kDisconnect); });
  EXPECT_EQ(server.RunUntil(kTeardownLine), kTeardownLine);
  server.End();
}

}  // namespace
}  // namespace veltrane::windows_tests
