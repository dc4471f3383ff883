#pragma once

// The named pipe over which other programs send one line and get one.

#include <windows.h>

#include <array>
#include <optional>
#include <string>
#include <string_view>

#include "platform/security.h"
#include "platform/windows/line_reader.h"
#include "platform/windows/overlapped.h"

namespace veltrane {

// One program at a time, without ever blocking.
class RequestPipe {
 public:
  RequestPipe() = default;
  RequestPipe(const RequestPipe&) = delete;
  RequestPipe& operator=(const RequestPipe&) = delete;
  ~RequestPipe();

  // 0, or the Win32 error. Called once; nothing else does anything before that.
  DWORD Create(const std::wstring& name, const std::vector<AccessEntry>& entries);

  // Signalled when Advance has something to do; null before Create and while a request awaits its
  // answer.
  HANDLE Event() const;

  // After how many milliseconds Advance has something to do although the event is not signalled.
  DWORD Remaining() const;

  // Takes every step that can be taken now. Returns a request once it is whole.
  std::optional<std::string> Advance();

  // Answers the request that was returned.
  void Answer(std::string_view line);

 private:
  enum class State { kNone, kListening, kReading, kAwaitingAnswer, kLeaving };

  void Listen();
  void BeginReading(State state);
  void EndStep(bool failed);
  bool StepEnded(bool& succeeded, DWORD& size);
  void Restart();

  State state_ = State::kNone;
  UniqueHandle pipe_;
  Operation step_;
  bool step_failed_ = false;  // it could not even begin
  ULONGLONG limit_ = 0;
  std::array<char, 512> piece_{};
  LineSplitter lines_;
};

}  // namespace veltrane
