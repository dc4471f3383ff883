#pragma once

// The server's end of a named pipe.
// Threads: OpenAndClosePipe any; a ServerPipe belongs to one thread.
// Windows: "Named Pipes", "Named Pipe Type, Read, and Wait Modes".

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "platform/owner.h"
#include "platform/security.h"

namespace veltrane {

// Open mode: PIPE_ACCESS_DUPLEX. Pipe modes: PIPE_TYPE_MESSAGE, PIPE_READMODE_MESSAGE, PIPE_WAIT.
inline constexpr std::uint32_t kPipeAccessDuplex = 3;
inline constexpr std::uint32_t kPipeTypeMessage = 4;
inline constexpr std::uint32_t kPipeReadModeMessage = 2;
inline constexpr std::uint32_t kPipeWait = 0;

// ERROR_PIPE_CONNECTED: the client connected before the server waited for it.
inline constexpr std::uint32_t kErrorPipeConnected = 535;

// The arguments of CreateNamedPipeW.
struct PipeParameters {
  std::wstring name;
  std::uint32_t open_mode = 0;
  std::uint32_t pipe_mode = 0;
  std::uint32_t max_instances = 0;
  std::uint32_t out_buffer_bytes = 0;
  std::uint32_t in_buffer_bytes = 0;
  std::uint32_t default_timeout_ms = 0;
};

void ClosePipeInstance(void* handle) noexcept;  // for ServerPipe only

// The server's end of one pipe instance; the destructor closes its handle.
class ServerPipe {
 public:
  // Creates the instance (CreateNamedPipeW), with the default security descriptor when `attributes`
  // is null. nullopt on failure. The attributes are only read, and only during the call.
  static std::optional<ServerPipe> Create(const PipeParameters& parameters,
                                          const SecurityAttributes* attributes);

  // Blocks until a client connects (ConnectNamedPipe without an OVERLAPPED structure). Returns 0 or
  // the Win32 error; kErrorPipeConnected means that a client had connected before the call.
  std::uint32_t WaitForClient();

  // Reads once into the buffer (ReadFile) and returns the number of bytes read. nullopt when the
  // read fails, as it does for a message longer than the buffer (ERROR_MORE_DATA, 234).
  std::optional<std::size_t> Read(std::span<char> buffer);

  // Writes the bytes as one message (WriteFile). A failure is not reported.
  void Write(std::string_view bytes);

  // Blocks until the client has read everything or has closed its end (FlushFileBuffers).
  void Flush();

  // Ends the connection (DisconnectNamedPipe). Bytes that the client has not read are lost.
  void Disconnect();

 private:
  explicit ServerPipe(void* handle) : handle_(handle) {}

  Owner<void, ClosePipeInstance> handle_;
};

// Opens a pipe as a client (CreateFileW: read and write access, no sharing, OPEN_EXISTING, no
// flags) and closes it at once. A failure is not reported.
void OpenAndClosePipe(const std::wstring& name);

}  // namespace veltrane
