#include "platform/windows/line_reader.h"

#include <process.h>

#include <array>

#include "platform/mutex.h"
#include "platform/watchdog.h"

namespace veltrane {
namespace {

constexpr DWORD kCancelMilliseconds = 10;
constexpr int kCancelTries = 100;

}  // namespace

bool LineSplitter::Append(const char* bytes, std::size_t size) {
  received_.append(bytes, size);
  const std::size_t last = received_.rfind('\n');
  return received_.size() - (last == std::string::npos ? 0 : last + 1) <= kLongestLine;
}

bool LineSplitter::Take(std::string& line) {
  const std::size_t end = received_.find('\n');
  if (end == std::string::npos) return false;
  line = received_.substr(0, end);
  received_.erase(0, end + 1);
  return true;
}

// What the thread may use even after the reader has gone.
struct LineReader::Shared {
  HANDLE pipe = nullptr;
  UniqueHandle event{CreateEventW(nullptr, TRUE, FALSE, nullptr)};
  Mutex mutex;
  LineSplitter lines VELTRANE_GUARDED_BY(mutex);
  bool ended VELTRANE_GUARDED_BY(mutex) = false;
  bool end_taken VELTRANE_GUARDED_BY(mutex) = false;

  bool Keep(const char* bytes, DWORD size) {
    const MutexLock lock(mutex);
    if (!lines.Append(bytes, size)) return false;
    SetEvent(event.get());
    return true;
  }

  void End() {
    const MutexLock lock(mutex);
    ended = true;
    SetEvent(event.get());
  }

  void Read() {
    std::array<char, 512> piece{};
    DWORD size = 0;
    while (ReadFile(pipe, piece.data(), static_cast<DWORD>(piece.size()), &size, nullptr) &&
           size > 0 && Keep(piece.data(), size)) {
    }
    End();
  }
};

unsigned __stdcall LineReader::Run(void* shared) {
  const std::unique_ptr<std::shared_ptr<Shared>> own(static_cast<std::shared_ptr<Shared>*>(shared));
  (*own)->Read();
  return 0;
}

DWORD LineReader::Begin(HANDLE pipe) {
  shared_ = std::make_shared<Shared>();
  if (!shared_->event) return ERROR_NOT_ENOUGH_MEMORY;
  shared_->pipe = pipe;
  auto for_thread = std::make_unique<std::shared_ptr<Shared>>(shared_);
  thread_.reset(
      reinterpret_cast<HANDLE>(_beginthreadex(nullptr, 0, Run, for_thread.get(), 0, nullptr)));
  if (!thread_) return ERROR_NOT_ENOUGH_MEMORY;
  static_cast<void>(for_thread.release());  // the thread has it
  return ERROR_SUCCESS;
}

LineReader::~LineReader() {
  if (!thread_) return;
  // Again and again, because the thread may be about to read rather than reading.
  for (int i = 0; i < kCancelTries; ++i) {
    CancelSynchronousIo(thread_.get());
    if (WaitForSingleObject(thread_.get(), kCancelMilliseconds) != WAIT_TIMEOUT) return;
  }
}

HANDLE LineReader::Event() const { return shared_->event.get(); }

LineReader::Taken LineReader::Take(std::string& line) {
  const MutexLock lock(shared_->mutex);
  if (shared_->lines.Take(line)) return Taken::kLine;
  ResetEvent(shared_->event.get());
  if (!shared_->ended || shared_->end_taken) return Taken::kNothing;
  shared_->end_taken = true;
  return Taken::kEnd;
}

}  // namespace veltrane
