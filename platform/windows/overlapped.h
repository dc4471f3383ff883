#pragma once

// Overlapped reading and writing.

#include <windows.h>

#include "platform/windows/handles.h"

namespace veltrane {

inline constexpr DWORD kCancelPollMilliseconds = 1;

// A read or a write of an overlapped pipe, and the event of its end. While it is pending, the
// system uses `overlapped` and the bytes to read or write, so none of them is given up before it
// has ended, whatever fails.
struct Operation {
  UniqueHandle event;
  OVERLAPPED overlapped{};

  OVERLAPPED* Begin() {
    overlapped = {};
    overlapped.hEvent = event.get();
    return &overlapped;
  }

  // Ends the operation if it is pending. Looks at its state itself, because a wait can fail.
  void Cancel(HANDLE pipe) {
    CancelIoEx(pipe, &overlapped);
    while (!HasOverlappedIoCompleted(&overlapped)) Sleep(kCancelPollMilliseconds);
  }
};

}  // namespace veltrane
