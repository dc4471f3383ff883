// The stage over Windows: standard streams, the debugger output and console events.

#include <fcntl.h>
#include <io.h>
#include <sys/stat.h>

#include <cstdio>
#include <utility>

#include "tests/contract/stage_windows.h"

namespace veltrane::contract {
namespace {

// Debugger outputs come as exceptions, of which Windows offers the wide one first.
constexpr DWORD kWideOutput = 0x4001000A;    // DBG_PRINTEXCEPTION_WIDE_C
constexpr DWORD kNarrowOutput = 0x40010006;  // DBG_PRINTEXCEPTION_C

std::string* debugger_output = nullptr;

template <typename Character>
void AppendText(ULONG_PTR address) {
  for (const auto* text = reinterpret_cast<const Character*>(address); *text != 0; ++text) {
    debugger_output->push_back(static_cast<char>(*text));
  }
}

LONG CALLBACK TakeDebuggerOutput(EXCEPTION_POINTERS* pointers) {
  const EXCEPTION_RECORD& exception = *pointers->ExceptionRecord;
  switch (exception.ExceptionCode) {
    case kWideOutput:
      AppendText<wchar_t>(exception.ExceptionInformation[1]);
      return EXCEPTION_CONTINUE_EXECUTION;
    case kNarrowOutput:
      AppendText<char>(exception.ExceptionInformation[1]);
      return EXCEPTION_CONTINUE_EXECUTION;
    default:
      return EXCEPTION_CONTINUE_SEARCH;
  }
}

// Makes a file of a standard stream, both of the C library and of the system.
class RedirectedStream {
 public:
  RedirectedStream(int descriptor, DWORD stream, std::wstring path)
      : descriptor_(descriptor), stream_(stream), path_(std::move(path)) {
    std::fflush(nullptr);
    earlier_handle_ = GetStdHandle(stream_);
    earlier_descriptor_ = _dup(descriptor_);
    const int file = _wopen(path_.c_str(), _O_CREAT | _O_TRUNC | _O_WRONLY | _O_TEXT, _S_IWRITE);
    _dup2(file, descriptor_);
    _close(file);
    SetStdHandle(stream_, reinterpret_cast<HANDLE>(_get_osfhandle(descriptor_)));
  }
  RedirectedStream(const RedirectedStream&) = delete;
  RedirectedStream& operator=(const RedirectedStream&) = delete;
  ~RedirectedStream() {
    std::fflush(nullptr);
    _dup2(earlier_descriptor_, descriptor_);
    _close(earlier_descriptor_);
    SetStdHandle(stream_, earlier_handle_);
  }

 private:
  int descriptor_;
  DWORD stream_;
  std::wstring path_;
  HANDLE earlier_handle_ = nullptr;
  int earlier_descriptor_ = -1;
};

void ReadInputFrom(Stage::State& state, HANDLE handle) {
  const HANDLE earlier = GetStdHandle(STD_INPUT_HANDLE);
  SetStdHandle(STD_INPUT_HANDLE, handle);
  state.undo.push_back([=] {
    SetStdHandle(STD_INPUT_HANDLE, earlier);
    if (handle != nullptr) CloseHandle(handle);
  });
}

enum class Event { kNone, kSent, kPassedOn } event = Event::kNone;

// Is asked behind every handler that a case installs.
BOOL WINAPI TakeWhatIsPassedOn(DWORD) {
  if (event == Event::kNone) return FALSE;
  event = Event::kPassedOn;
  return TRUE;
}

const bool installed_first = SetConsoleCtrlHandler(TakeWhatIsPassedOn, TRUE) != 0;

}  // namespace

Printed Stage::Capture(const std::function<void()>& act) {
  Printed printed;
  debugger_output = &printed.debugger;
  void* const debugger = AddVectoredExceptionHandler(1, TakeDebuggerOutput);
  {
    const RedirectedStream output(1, STD_OUTPUT_HANDLE, Path(L"output"));
    const RedirectedStream error(2, STD_ERROR_HANDLE, Path(L"error"));
    act();
    // Before anything flushes what the calls may have kept back.
    printed.output = Bytes(Path(L"output")).value_or("");
    printed.error = Bytes(Path(L"error")).value_or("");
  }
  RemoveVectoredExceptionHandler(debugger);
  return printed;
}

void Stage::SetInputFile(const std::string& bytes) {
  PutFile(Path(L"input"), bytes);
  ReadInputFrom(*state_, CreateFileW(Path(L"input").c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr,
                                     OPEN_EXISTING, 0, nullptr));
}

void Stage::SetInputPipe(const std::string& bytes) {
  HANDLE read = nullptr, write = nullptr;
  ASSERT_TRUE(CreatePipe(&read, &write, nullptr, static_cast<DWORD>(bytes.size())));
  const UniqueHandle writer(write);
  DWORD written = 0;
  WriteFile(writer.get(), bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr);
  ReadInputFrom(*state_, read);
}

void Stage::CloseInput() { ReadInputFrom(*state_, nullptr); }

// Starts the thread that an event starts in the process.
std::optional<bool> Stage::SendConsoleEvent(std::uint32_t control_type) {
  const FARPROC routine = GetProcAddress(GetModuleHandleW(L"kernelbase.dll"), "CtrlRoutine");
  if (!installed_first || routine == nullptr) return std::nullopt;
  event = Event::kSent;
  const UniqueHandle thread(CreateThread(
      nullptr, 0, reinterpret_cast<LPTHREAD_START_ROUTINE>(reinterpret_cast<void*>(routine)),
      reinterpret_cast<void*>(std::uintptr_t{control_type}), 0, nullptr));
  WaitForSingleObject(thread.get(), INFINITE);
  return std::exchange(event, Event::kNone) == Event::kSent;
}

}  // namespace veltrane::contract
