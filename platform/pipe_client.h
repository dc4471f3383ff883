#pragma once

// The client's end of a message-mode named pipe.
// Errors: Win32 errors; 0 is success.
// Threads: WaitForFreePipe any; a ClientPipe belongs to one thread.
// Windows: "Named Pipes".

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "platform/owner.h"
#include "platform/result.h"

namespace veltrane {

inline constexpr std::uint32_t kErrorNoSuchPipe = 2;      // ERROR_FILE_NOT_FOUND
inline constexpr std::uint32_t kErrorWaitTimedOut = 121;  // ERROR_SEM_TIMEOUT
inline constexpr std::uint32_t kErrorPipeBusy = 231;      // ERROR_PIPE_BUSY

void CloseClientConnection(void* connection) noexcept;  // for ClientPipe only

// One connection; the destructor closes it.
class ClientPipe {
 public:
  // Opens a pipe for reading and writing (CreateFileW). The server can identify the client but not
  // impersonate it (SECURITY_SQOS_PRESENT | SECURITY_IDENTIFICATION). Never waits: fails with 231
  // when every instance is busy, with 2 when no pipe has this name.
  static Result<ClientPipe> Open(const std::wstring& name);

  // Returns the id of the process that created the pipe instance (GetNamedPipeServerProcessId).
  // nullopt on failure.
  std::optional<std::uint32_t> ServerProcessId() const;

  // Writes one message. Returns false when the server has closed the connection, or has not
  // accepted the message within 30 seconds.
  bool Send(std::string_view message);

  enum class Progress { kPending, kEnded };

  // Waits at most this long for bytes from the server and appends them to `received`. Returns
  // kEnded once everything has been read and the server has closed the connection, or when the read
  // fails; kPending otherwise.
  Progress Receive(std::uint32_t milliseconds, std::string& received);

 private:
  explicit ClientPipe(void* connection) : connection_(connection) {}

  Owner<void, CloseClientConnection> connection_;
};

// Waits at most this long for a free instance of the pipe (WaitNamedPipeW; 0 stands for the pipe's
// default wait). Returns 121 when no instance became free in time, 2 when no pipe has this name.
std::uint32_t WaitForFreePipe(const std::wstring& name, std::uint32_t milliseconds);

}  // namespace veltrane
