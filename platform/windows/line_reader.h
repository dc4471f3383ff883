#pragma once

// Lines from a pipe that may be of any kind, overlapped or not.

#include <windows.h>

#include <deque>
#include <string>
#include <thread>

#include "platform/mutex.h"
#include "platform/windows/handles.h"

namespace veltrane {

// Takes what has been received apart into lines.
class LineSplitter {
 public:
  // False when a line is longer than kLongestLine.
  bool Append(const char* bytes, std::size_t size);

  // False when there is no whole line.
  bool Take(std::string& line);

 private:
  std::string received_;
};

// Reads on a thread of its own, which the destructor ends.
class LineReader {
 public:
  // The pipe stays the caller's.
  explicit LineReader(HANDLE pipe);
  LineReader(const LineReader&) = delete;
  LineReader& operator=(const LineReader&) = delete;
  ~LineReader();

  // Signalled while Take has something to return.
  HANDLE Event() const { return event_.get(); }

  enum class Taken { kNothing, kLine, kEnd };  // kEnd once, and last
  Taken Take(std::string& line);

 private:
  void Read();
  bool Keep(const char* bytes, DWORD size);
  void End();

  const HANDLE pipe_;
  UniqueHandle event_;
  Mutex mutex_;
  LineSplitter lines_ VELTRANE_GUARDED_BY(mutex_);
  bool ended_ VELTRANE_GUARDED_BY(mutex_) = false;
  bool end_taken_ VELTRANE_GUARDED_BY(mutex_) = false;
  bool stopping_ VELTRANE_GUARDED_BY(mutex_) = false;
  UniqueHandle reading_thread_;
  std::thread thread_;
};

}  // namespace veltrane
