// The client's side of platform/watchdog.h.

#include "platform/watchdog.h"

#include <windows.h>

#include <array>
#include <atomic>
#include <cstddef>
#include <memory>
#include <utility>

#include "platform/library.h"
#include "platform/windows/arguments.h"
#include "platform/windows/handles.h"
#include "platform/windows/line_reader.h"
#include "platform/windows/overlapped.h"
#include "platform/windows/security_attributes.h"
#include "platform/windows/utf16.h"

namespace veltrane {
namespace {

constexpr DWORD kBufferBytes = 8192;
constexpr DWORD kSayMilliseconds = 5000;
constexpr DWORD kStartFlags =
    DETACHED_PROCESS | CREATE_NEW_PROCESS_GROUP | EXTENDED_STARTUPINFO_PRESENT;

// One direction. Only our end is overlapped, so that its waits can be bounded.
struct Channel {
  UniqueHandle ours;
  UniqueHandle theirs;
};

std::wstring NewPipeName() {
  static std::atomic<unsigned> count = 0;
  return L"\\\\.\\pipe\\VeltraneVpnWatchdog." + std::to_wstring(GetCurrentProcessId()) + L"." +
         std::to_wstring(GetTickCount64()) + L"." + std::to_wstring(++count);
}

// `direction` is that of our end: PIPE_ACCESS_INBOUND or PIPE_ACCESS_OUTBOUND.
Result<Channel> MakeChannel(DWORD direction, const SecurityAttributes& own_user_only) {
  const std::wstring name = NewPipeName();
  SECURITY_ATTRIBUTES security = own_user_only.record;
  Channel channel;
  const HANDLE ours = CreateNamedPipeW(
      name.c_str(), direction | FILE_FLAG_OVERLAPPED | FILE_FLAG_FIRST_PIPE_INSTANCE,
      PIPE_TYPE_BYTE | PIPE_READMODE_BYTE | PIPE_WAIT | PIPE_REJECT_REMOTE_CLIENTS, 1, kBufferBytes,
      kBufferBytes, 0, &security);
  if (ours == INVALID_HANDLE_VALUE) return Result<Channel>::Failure(GetLastError());
  channel.ours.reset(ours);
  SECURITY_ATTRIBUTES inheritable{sizeof(SECURITY_ATTRIBUTES), nullptr, TRUE};
  const DWORD access = direction == PIPE_ACCESS_INBOUND ? GENERIC_WRITE : GENERIC_READ;
  const HANDLE theirs = CreateFileW(name.c_str(), access, 0, &inheritable, OPEN_EXISTING,
                                    SECURITY_SQOS_PRESENT | SECURITY_IDENTIFICATION, nullptr);
  if (theirs == INVALID_HANDLE_VALUE) return Result<Channel>::Failure(GetLastError());
  channel.theirs.reset(theirs);
  return channel;
}

// The one attribute of a new process: which handles it inherits.
class InheritedHandles {
 public:
  explicit InheritedHandles(const std::array<HANDLE, 2>& handles) : handles_(handles) {
    SIZE_T size = 0;
    InitializeProcThreadAttributeList(nullptr, 1, 0, &size);
    memory_.resize(size);
    made_ = InitializeProcThreadAttributeList(List(), 1, 0, &size) != 0;
    set_ = made_ &&
           UpdateProcThreadAttribute(List(), 0, PROC_THREAD_ATTRIBUTE_HANDLE_LIST, handles_.data(),
                                     handles_.size() * sizeof(HANDLE), nullptr, nullptr) != 0;
  }
  InheritedHandles(const InheritedHandles&) = delete;
  InheritedHandles& operator=(const InheritedHandles&) = delete;
  ~InheritedHandles() {
    if (made_) DeleteProcThreadAttributeList(List());
  }

  bool IsSet() const { return set_; }
  LPPROC_THREAD_ATTRIBUTE_LIST List() {
    return reinterpret_cast<LPPROC_THREAD_ATTRIBUTE_LIST>(memory_.data());
  }

 private:
  std::array<HANDLE, 2> handles_;  // the list points to them
  std::vector<std::byte> memory_;
  bool made_ = false;
  bool set_ = false;
};

// Starts the process; 0, or the Win32 error.
DWORD StartProcess(const std::wstring& command_line, HANDLE input, HANDLE output, bool leave_job,
                   UniqueHandle& process) {
  InheritedHandles handles({input, output});
  if (!handles.IsSet()) return GetLastError();
  STARTUPINFOEXW startup{};
  startup.StartupInfo.cb = sizeof(startup);
  startup.StartupInfo.dwFlags = STARTF_USESTDHANDLES;
  startup.StartupInfo.hStdInput = input;
  startup.StartupInfo.hStdOutput = output;
  startup.lpAttributeList = handles.List();
  std::wstring text = command_line;  // the call may write to it
  PROCESS_INFORMATION information{};
  if (!CreateProcessW(ExecutablePath().c_str(), text.data(), nullptr, nullptr, TRUE,
                      kStartFlags | (leave_job ? CREATE_BREAKAWAY_FROM_JOB : DWORD{0}), nullptr,
                      nullptr, &startup.StartupInfo, &information)) {
    return GetLastError();
  }
  process.reset(information.hProcess);
  CloseHandle(information.hThread);
  return ERROR_SUCCESS;
}

struct RunningWatchdog {
  UniqueHandle to;
  UniqueHandle from;
  bool left_job = false;
  Operation write;
  Operation read;
  bool reading = false;
  bool ended = false;
  std::array<char, 512> piece{};
  LineSplitter lines;

  ~RunningWatchdog() {
    if (reading) read.Cancel(from.get());
  }
};

RunningWatchdog& AsRunning(const Owner<void, CloseWatchdog>& watchdog) {
  return *static_cast<RunningWatchdog*>(watchdog.get());
}

// Waits at most this long for bytes and keeps them.
void Receive(RunningWatchdog& watchdog, DWORD milliseconds) {
  if (!watchdog.reading) {
    watchdog.reading =
        ReadFile(watchdog.from.get(), watchdog.piece.data(),
                 static_cast<DWORD>(watchdog.piece.size()), nullptr, watchdog.read.Begin()) != 0 ||
        GetLastError() == ERROR_IO_PENDING;
    watchdog.ended = !watchdog.reading;
  }
  if (watchdog.ended ||
      WaitForSingleObject(watchdog.read.event.get(), milliseconds) == WAIT_TIMEOUT) {
    return;
  }
  watchdog.read.Cancel(watchdog.from.get());  // only where the wait failed is there anything to end
  watchdog.reading = false;
  DWORD size = 0;
  watchdog.ended =
      !GetOverlappedResult(watchdog.from.get(), &watchdog.read.overlapped, &size, FALSE) ||
      !watchdog.lines.Append(watchdog.piece.data(), size);
}

}  // namespace

Result<Watchdog> Watchdog::Start(const std::vector<std::string>& arguments) {
  const std::optional<Sid> user = ReadOwnUserSid();
  if (!user) return Result<Watchdog>::Failure(ERROR_INVALID_SID);
  const SecurityAttributesOwner own_user_only =
      MakeSecurityAttributes({{.sid = *user, .access_mask = kGenericAll}});
  if (!own_user_only) return Result<Watchdog>::Failure(ERROR_INVALID_SECURITY_DESCR);
  Result<Channel> to = MakeChannel(PIPE_ACCESS_OUTBOUND, *own_user_only);
  if (!to) return Result<Watchdog>::Failure(to.Error());
  Result<Channel> from = MakeChannel(PIPE_ACCESS_INBOUND, *own_user_only);
  if (!from) return Result<Watchdog>::Failure(from.Error());

  std::wstring command_line = QuotedArgument(ExecutablePath());
  for (const std::string& argument : arguments) {
    command_line += L" " + QuotedArgument(ToUtf16(argument));
  }
  UniqueHandle process;
  DWORD error = StartProcess(command_line, to->theirs.get(), from->theirs.get(), true, process);
  if (error == ERROR_ACCESS_DENIED) {
    error = StartProcess(command_line, to->theirs.get(), from->theirs.get(), false, process);
  }
  if (error != ERROR_SUCCESS) return Result<Watchdog>::Failure(error);

  auto watchdog = std::make_unique<RunningWatchdog>();
  BOOL in_job = TRUE;
  watchdog->left_job = IsProcessInJob(process.get(), nullptr, &in_job) && !in_job;
  watchdog->to = std::move(to->ours);
  watchdog->from = std::move(from->ours);
  for (Operation* operation : {&watchdog->write, &watchdog->read}) {
    operation->event.reset(CreateEventW(nullptr, TRUE, FALSE, nullptr));
    if (!operation->event) return Result<Watchdog>::Failure(GetLastError());
  }
  return Watchdog(watchdog.release());
}

void CloseWatchdog(void* watchdog) noexcept { delete static_cast<RunningWatchdog*>(watchdog); }

bool Watchdog::HasLeftJob() const { return AsRunning(watchdog_).left_job; }

bool Watchdog::Say(std::string_view line) {
  RunningWatchdog& watchdog = AsRunning(watchdog_);
  const std::string bytes = std::string(line) + "\n";
  if (!WriteFile(watchdog.to.get(), bytes.data(), static_cast<DWORD>(bytes.size()), nullptr,
                 watchdog.write.Begin()) &&
      GetLastError() != ERROR_IO_PENDING) {
    return false;
  }
  if (WaitForSingleObject(watchdog.write.event.get(), kSayMilliseconds) != WAIT_OBJECT_0) {
    watchdog.write.Cancel(watchdog.to.get());
  }
  DWORD written = 0;
  return GetOverlappedResult(watchdog.to.get(), &watchdog.write.overlapped, &written, FALSE) != 0 &&
         written == bytes.size();
}

Watchdog::Progress Watchdog::Hear(std::uint32_t milliseconds, std::string& line) {
  RunningWatchdog& watchdog = AsRunning(watchdog_);
  const ULONGLONG until = GetTickCount64() + milliseconds;
  for (;;) {
    if (watchdog.lines.Take(line)) return Progress::kLine;
    if (watchdog.ended) return Progress::kEnded;
    const ULONGLONG now = GetTickCount64();
    Receive(watchdog, until > now ? static_cast<DWORD>(until - now) : 0);
    if (watchdog.lines.Take(line)) return Progress::kLine;
    if (!watchdog.ended && GetTickCount64() >= until) return Progress::kNothing;
  }
}

}  // namespace veltrane
