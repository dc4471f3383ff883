#pragma once

// Lines from a pipe that may be of any kind, overlapped or not.

#include <windows.h>

#include <memory>
#include <string>

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

// Reads on a thread of its own. The destructor ends it, or leaves it to the end of the process when
// its read cannot be cancelled.
class LineReader {
 public:
  // 0, or the Win32 error. Called once, and before the others; the pipe stays the caller's.
  DWORD Begin(HANDLE pipe);

  LineReader() = default;
  LineReader(const LineReader&) = delete;
  LineReader& operator=(const LineReader&) = delete;
  ~LineReader();

  // Signalled while Take has something to return.
  HANDLE Event() const;

  enum class Taken { kNothing, kLine, kEnd };  // kEnd once, and last
  Taken Take(std::string& line);

 private:
  struct Shared;

  static unsigned __stdcall Run(void* shared);

  std::shared_ptr<Shared> shared_;
  UniqueHandle thread_;
};

}  // namespace veltrane
