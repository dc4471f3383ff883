#pragma once

// The connection of a stand-in DLL to the lab's agent on the Linux side, which listens on the
// loopback address of the machine. What can be asked is described in veltrane_lab/agent.py.

#include <windows.h>
#include <winsock2.h>

#include <string>

namespace lab {

// A line-by-line conversation. Not to be used by two threads at the same time, except that Ask may
// be called by one thread after another.
class Agent {
 public:
  Agent();
  ~Agent();
  Agent(const Agent&) = delete;
  Agent& operator=(const Agent&) = delete;

  // Sends the text and a line feed; returns the line that comes back, without its end, or an empty
  // text when there is no agent.
  std::string Ask(const std::string& text);

 private:
  SOCKET socket_ = INVALID_SOCKET;
};

// Notes a call of this function in the agent's log and returns the Win32 status that it is to fail
// with, or 0 when it is to do its work.
DWORD FaultOf(const char* function);

}  // namespace lab
