#pragma once

// Named pipes.

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "platform/owner.h"
#include "platform/security.h"

namespace veltrane {

// Modes of a pipe: PIPE_ACCESS_DUPLEX; PIPE_TYPE_MESSAGE, PIPE_READMODE_MESSAGE, PIPE_WAIT.
inline constexpr std::uint32_t kPipeAccessDuplex = 3;
inline constexpr std::uint32_t kPipeTypeMessage = 4;
inline constexpr std::uint32_t kPipeReadModeMessage = 2;
inline constexpr std::uint32_t kPipeWait = 0;

// ERROR_PIPE_CONNECTED: the client came before the wait for it.
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

void ClosePipeInstance(void* handle) noexcept;  // for ServerPipe alone

// The server's end of one pipe instance; its handle is closed with the object. Used by one thread.
class ServerPipe {
 public:
  // Creates the instance, with default security when `attributes` is null; nullopt on failure. The
  // attributes are only read, during the call.
  static std::optional<ServerPipe> Create(const PipeParameters& parameters,
                                          const SecurityAttributes* attributes);

  // Blocks until a client is there (ConnectNamedPipe without an overlapped structure). Returns 0,
  // or the Win32 error: kErrorPipeConnected when a client had connected before the call.
  std::uint32_t WaitForClient();

  // Reads once into the buffer and returns the bytes read; nullopt when the read fails, which it
  // does when the message is longer than the buffer (234).
  std::optional<std::size_t> Read(std::span<char> buffer);

  // Writes the bytes with one WriteFile; a failure is not reported.
  void Write(std::string_view bytes);

  // FlushFileBuffers: blocks until the client has read everything or has gone.
  void Flush();

  // DisconnectNamedPipe: ends the connection; what the client has not read is lost.
  void Disconnect();

 private:
  explicit ServerPipe(void* handle) : handle_(handle) {}

  Owner<void, ClosePipeInstance> handle_;
};

// Opens a pipe as a client (read and write access, no sharing, open existing, no flags) and closes
// it at once; a failure is not reported. May be called on any thread.
void OpenAndClosePipe(const std::wstring& name);

}  // namespace veltrane
