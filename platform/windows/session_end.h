#pragma once

// The end of the user's session.

#include <windows.h>

#include <thread>

#include "platform/windows/handles.h"

namespace veltrane {

// A hidden top-level window and the thread that serves it, so that the window answers whatever the
// rest of the process does. A message-only window would not be told. While the window has a reason
// (ShutdownBlockReasonCreate), Windows does not end the process because it is hidden and slow.
class SessionEnd {
 public:
  // 0 once the window is there, or the Win32 error. Called once.
  DWORD Begin();

  SessionEnd() = default;
  SessionEnd(const SessionEnd&) = delete;
  SessionEnd& operator=(const SessionEnd&) = delete;
  ~SessionEnd();  // lets the session end

  // Signalled once the session is about to end or somebody wants to close the window.
  HANDLE Event() const { return must_end_.get(); }

 private:
  static LRESULT CALLBACK Receive(HWND window, UINT message, WPARAM wparam, LPARAM lparam);
  void Serve();

  UniqueHandle must_end_;
  UniqueHandle done_;
  UniqueHandle begun_;
  HWND window_ = nullptr;
  DWORD error_ = 0;
  std::thread thread_;
};

}  // namespace veltrane
