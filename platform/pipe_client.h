#pragma once

// The client's end of a message-mode named pipe. Errors are Win32 errors, 0 is success.

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "platform/owner.h"
#include "platform/result.h"

namespace veltrane {

inline constexpr std::uint32_t kErrorNoSuchPipe = 2;      // ERROR_FILE_NOT_FOUND
inline constexpr std::uint32_t kErrorAccessDenied = 5;    // ERROR_ACCESS_DENIED
inline constexpr std::uint32_t kErrorWaitTimedOut = 121;  // ERROR_SEM_TIMEOUT
inline constexpr std::uint32_t kErrorPipeBusy = 231;      // ERROR_PIPE_BUSY

void CloseClientConnection(void* connection) noexcept;  // for ClientPipe alone

// One connection; closed with the object. Used by one thread.
class ClientPipe {
 public:
  // Opens a pipe for reading and writing, in such a way that its server can learn who the client is
  // but cannot act in its name (SECURITY_SQOS_PRESENT | SECURITY_IDENTIFICATION). Never waits:
  // fails with 231 when every instance is busy, with 2 when there is no pipe of this name.
  static Result<ClientPipe> Open(const std::wstring& name);

  // The process that created the pipe's instance (GetNamedPipeServerProcessId); nullopt when the
  // system does not say.
  std::optional<std::uint32_t> ServerProcessId() const;

  // Writes one message; false when the server has ended the connection, or has not taken the
  // message within 30 s.
  bool Send(std::string_view message);

  enum class Progress { kPending, kEnded };

  // Waits for bytes of the server, at most this long, and appends what has come to `received`.
  // kEnded once the server has ended the connection and everything has been read.
  Progress Receive(std::uint32_t milliseconds, std::string& received);

 private:
  explicit ClientPipe(void* connection) : connection_(connection) {}

  Owner<void, CloseClientConnection> connection_;
};

// Waits until an instance of the pipe is free, at most this long (WaitNamedPipeW). 121 when none
// became free in time, 2 when there is no pipe of this name.
std::uint32_t WaitForFreePipe(const std::wstring& name, std::uint32_t milliseconds);

}  // namespace veltrane
