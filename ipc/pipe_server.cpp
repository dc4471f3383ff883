#include "ipc/pipe_server.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>

#include "ipc/dispatcher.h"
#include "ipc/pipe_access.h"
#include "ipc/pipe_name.h"
#include "platform/clock.h"
#include "platform/pipes.h"
#include "platform/secret_memory.h"

namespace veltrane {
namespace {

constexpr std::size_t kBufferBytes = 65536;
constexpr std::uint32_t kRetryMilliseconds = 500;

PipeParameters ControlPipe() {
  return {.name = kPipeName,
          .open_mode = kPipeAccessDuplex,
          .pipe_mode = kPipeTypeMessage | kPipeReadModeMessage | kPipeWait,
          .max_instances = 1,
          .out_buffer_bytes = kBufferBytes,
          .in_buffer_bytes = kBufferBytes,
          .default_timeout_ms = 0};
}

void AnswerRequest(IpcServer& server, ServerPipe& pipe, std::span<char> buffer) {
  const std::optional<std::size_t> size = pipe.Read(buffer.first(buffer.size() - 1));
  if (!size || *size == 0) return;
  buffer[*size] = '\0';
  pipe.Write(HandleRequest(server, std::string(buffer.data())));
}

void ServeOneClient(IpcServer& server, const PipeParameters& parameters,
                    const SecurityAttributes* security, std::span<char> buffer) {
  std::optional<ServerPipe> pipe = ServerPipe::Create(parameters, security);
  if (!pipe) {
    SleepMilliseconds(kRetryMilliseconds);
    return;
  }
  const std::uint32_t status = pipe->WaitForClient();
  if (status != 0 && status != kErrorPipeConnected) return;
  AnswerRequest(server, *pipe, buffer);
  WipeMemory(std::as_writable_bytes(buffer));  // a client that does not read makes the flush last
  pipe->Flush();
  pipe->Disconnect();
}

}  // namespace

void RunPipeServer(IpcServer& server) noexcept {
  PipeSecurity security = BuildPipeSecurity();
  const PipeParameters parameters = ControlPipe();
  char buffer[kBufferBytes];
  while (server.running) ServeOneClient(server, parameters, security.get(), buffer);
  FreePipeSecurity(security);
}

}  // namespace veltrane
