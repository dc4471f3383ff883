#pragma once

// The connection of a stand-in DLL to the lab's agent on the Linux side, which listens on the
// machine's loopback address. veltrane_lab/agent.py describes the requests.

#include <windows.h>
#include <winsock2.h>

#include <string>

namespace lab {

// A line-by-line conversation. Threads may call Ask one after another, but not at the same time.
class Agent {
 public:
  Agent();
  ~Agent();
  Agent(const Agent&) = delete;
  Agent& operator=(const Agent&) = delete;

  // Sends the text and a line feed. Returns the reply line without its line feed; empty when there
  // is no agent.
  std::string Ask(const std::string& text);

 private:
  SOCKET socket_ = INVALID_SOCKET;
};

// Records a call of this function in the agent's log. Returns the Win32 error that the call must
// fail with, or 0 when it must do its work.
DWORD FaultOf(const char* function);

}  // namespace lab
