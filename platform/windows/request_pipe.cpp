#include "platform/windows/request_pipe.h"

#include "platform/watchdog.h"
#include "platform/windows/security_attributes.h"

namespace veltrane {
namespace {

constexpr DWORD kBufferBytes = 4096;

}  // namespace

RequestPipe::~RequestPipe() {
  if (state_ != State::kNone) step_.Cancel(pipe_.get());
}

DWORD RequestPipe::Create(const std::wstring& name, const std::vector<AccessEntry>& entries) {
  const SecurityAttributesOwner attributes = MakeSecurityAttributes(entries);
  if (!attributes) return ERROR_INVALID_SECURITY_DESCR;
  step_.event.reset(CreateEventW(nullptr, TRUE, FALSE, nullptr));
  if (!step_.event) return GetLastError();
  const HANDLE handle = CreateNamedPipeW(
      name.c_str(), PIPE_ACCESS_DUPLEX | FILE_FLAG_OVERLAPPED | FILE_FLAG_FIRST_PIPE_INSTANCE,
      PIPE_TYPE_BYTE | PIPE_READMODE_BYTE | PIPE_WAIT | PIPE_REJECT_REMOTE_CLIENTS, 1, kBufferBytes,
      kBufferBytes, 0, &attributes->record);
  if (handle == INVALID_HANDLE_VALUE) {
    // Where the flag is unknown, the other pipe's number of instances refuses this one.
    return GetLastError() == ERROR_PIPE_BUSY ? ERROR_ACCESS_DENIED : GetLastError();
  }
  pipe_.reset(handle);
  Listen();
  return ERROR_SUCCESS;
}

HANDLE RequestPipe::Event() const {
  const bool idle = state_ == State::kNone || state_ == State::kAwaitingAnswer;
  return idle ? nullptr : step_.event.get();
}

DWORD RequestPipe::Remaining() const {
  if (state_ != State::kReading && state_ != State::kLeaving) return INFINITE;
  const ULONGLONG now = GetTickCount64();
  return limit_ > now ? static_cast<DWORD>(limit_ - now) : 0;
}

std::optional<std::string> RequestPipe::Advance() {
  bool succeeded = false;
  DWORD size = 0;
  std::string request;
  while (Event() != nullptr && StepEnded(succeeded, size)) {
    if (state_ == State::kListening && succeeded) {
      limit_ = GetTickCount64() + kRequestMilliseconds;
      lines_ = {};
      BeginReading(State::kReading);
    } else if (state_ == State::kReading && succeeded && lines_.Append(piece_.data(), size)) {
      if (lines_.Take(request)) {
        state_ = State::kAwaitingAnswer;
        return request;
      }
      BeginReading(State::kReading);
    } else {
      Restart();
      return std::nullopt;  // a program that comes and goes at once must not hold up the watch
    }
  }
  return std::nullopt;
}

void RequestPipe::Answer(std::string_view line) {
  if (state_ != State::kAwaitingAnswer) return;
  const std::string answer = std::string(line) + "\n";
  // The program has read nothing yet, so the buffer takes the answer at once, or nobody does.
  if (!WriteFile(pipe_.get(), answer.data(), static_cast<DWORD>(answer.size()), nullptr,
                 step_.Begin()) &&
      GetLastError() == ERROR_IO_PENDING) {
    step_.Cancel(pipe_.get());
  }
  limit_ = GetTickCount64() + kRequestMilliseconds;
  BeginReading(State::kLeaving);
}

void RequestPipe::Listen() {
  state_ = State::kListening;
  step_failed_ = false;
  if (ConnectNamedPipe(pipe_.get(), step_.Begin()) != 0) return;
  const DWORD error = GetLastError();
  if (error != ERROR_IO_PENDING) EndStep(error != ERROR_PIPE_CONNECTED);
}

void RequestPipe::BeginReading(State state) {
  state_ = state;
  step_failed_ = false;
  if (!ReadFile(pipe_.get(), piece_.data(), static_cast<DWORD>(piece_.size()), nullptr,
                step_.Begin()) &&
      GetLastError() != ERROR_IO_PENDING) {
    EndStep(true);
  }
}

// Ends a step that has ended before it was pending, which its record need not say.
void RequestPipe::EndStep(bool failed) {
  step_failed_ = failed;
  step_.overlapped.Internal = 0;
  SetEvent(step_.event.get());
}

// Whether the step that was begun has ended, or its time is up.
bool RequestPipe::StepEnded(bool& succeeded, DWORD& size) {
  succeeded = false;
  if (step_failed_) return true;
  if (!HasOverlappedIoCompleted(&step_.overlapped)) return Remaining() == 0;
  succeeded = GetOverlappedResult(pipe_.get(), &step_.overlapped, &size, FALSE) != 0;
  return true;
}

void RequestPipe::Restart() {
  step_.Cancel(pipe_.get());
  DisconnectNamedPipe(pipe_.get());
  Listen();
}

}  // namespace veltrane
