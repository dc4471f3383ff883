#pragma once

// A client of a named pipe, as a test plays it.

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "tests/simulated/machine.h"

namespace veltrane::simulated {

// One client of a message-mode pipe of the current machine. It closes with the object. One thread
// at a time; several clients may be used on several threads. Every wait ends the process with a
// message when nothing happens for kPatience.
class PipeClient {
 public:
  explicit PipeClient(std::wstring name = L"\\\\.\\pipe\\VeltraneVpn");
  PipeClient(const PipeClient&) = delete;
  PipeClient& operator=(const PipeClient&) = delete;
  ~PipeClient();

  // Waits until an instance of the pipe is free and connects to it.
  void Connect();

  // Connects or answers at once: 0, 2 when there is no such pipe, 231 when all its instances are
  // busy.
  std::uint32_t TryConnect();

  // Sends one message, an empty one too; false when the server has ended the connection. Never
  // waits.
  bool Send(std::string_view message);

  // Waits for the next message of the server; nullopt when the connection has ended.
  std::optional<std::string> Receive();

  // Everything that the server sends until it ends the connection.
  std::string ReceiveAll();

  void Close();

 private:
  Machine& machine_;
  std::wstring name_;
  std::shared_ptr<Pipes::Connection> connection_;
};

// A whole exchange, as the desktop client does it: connects, sends one request, receives until the
// server ends the connection, closes. Returns the reply, which is empty when there was none.
std::string Exchange(std::string_view request,
                     const std::wstring& name = L"\\\\.\\pipe\\VeltraneVpn");

}  // namespace veltrane::simulated
