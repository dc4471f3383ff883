#include "platform/windows/line_reader.h"

#include <array>
#include <utility>

#include "platform/watchdog.h"

namespace veltrane {
namespace {

constexpr DWORD kCancelMilliseconds = 10;

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

LineReader::LineReader(HANDLE pipe)
    : pipe_(pipe), event_(CreateEventW(nullptr, TRUE, FALSE, nullptr)) {
  const UniqueHandle started(CreateEventW(nullptr, TRUE, FALSE, nullptr));
  thread_ = std::thread([this, &started] {
    HANDLE own = nullptr;
    DuplicateHandle(GetCurrentProcess(), GetCurrentThread(), GetCurrentProcess(), &own, 0, FALSE,
                    DUPLICATE_SAME_ACCESS);
    reading_thread_.reset(own);
    SetEvent(started.get());
    Read();
  });
  WaitForSingleObject(started.get(), INFINITE);
}

LineReader::~LineReader() {
  {
    const MutexLock lock(mutex_);
    stopping_ = true;
  }
  // The thread may be about to read rather than reading.
  while (WaitForSingleObject(reading_thread_.get(), kCancelMilliseconds) == WAIT_TIMEOUT) {
    CancelSynchronousIo(reading_thread_.get());
  }
  thread_.join();
}

void LineReader::Read() {
  std::array<char, 512> piece;
  DWORD size = 0;
  do {
    if (!ReadFile(pipe_, piece.data(), static_cast<DWORD>(piece.size()), &size, nullptr)) break;
  } while (size > 0 && Keep(piece.data(), size));
  End();
}

bool LineReader::Keep(const char* bytes, DWORD size) {
  const MutexLock lock(mutex_);
  if (stopping_ || !lines_.Append(bytes, size)) return false;
  SetEvent(event_.get());
  return true;
}

void LineReader::End() {
  const MutexLock lock(mutex_);
  ended_ = true;
  SetEvent(event_.get());
}

LineReader::Taken LineReader::Take(std::string& line) {
  const MutexLock lock(mutex_);
  if (lines_.Take(line)) return Taken::kLine;
  ResetEvent(event_.get());
  if (!ended_ || end_taken_) return Taken::kNothing;
  end_taken_ = true;
  return Taken::kEnd;
}

}  // namespace veltrane
