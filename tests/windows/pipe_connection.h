#pragma once

// The client's end of the control pipe.

#include <windows.h>

#include <optional>
#include <string>

namespace veltrane::windows_tests {

// One connection in message mode. Closed with the object.
class PipeConnection {
 public:
  // Waits while the server serves others, and while there is none, as docs/protocol.md tells
  // clients; fails the test when two minutes are not enough. On any thread.
  PipeConnection();
  PipeConnection(const PipeConnection&) = delete;
  PipeConnection& operator=(const PipeConnection&) = delete;
  ~PipeConnection() { Close(); }

  // Sends one message. Returns false when the server has ended the connection.
  bool Write(const std::string& message);

  // Waits for one message. Nothing when the server ended the connection without one.
  std::optional<std::string> Read();

  void Close();
  HANDLE Handle() const { return handle_; }

 private:
  HANDLE handle_ = INVALID_HANDLE_VALUE;
};

// Tries once to open the pipe and closes it again. Returns 0, or the Win32 error.
DWORD TryToConnect();

// Sends one request on a connection of its own and returns the reply; "(no reply)" when the
// connection ended without one.
std::string Ask(const std::string& request);

}  // namespace veltrane::windows_tests
