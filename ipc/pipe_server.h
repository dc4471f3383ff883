#pragma once

// The control channel: one message-mode pipe instance, one request and one reply per connection.

#include "service/ipc_server.h"

namespace veltrane {

// Serves clients strictly one after another while `server.running` is set; the body of
// `server.server_thread`. A request is the bytes of one read of at most 65535 bytes, cut at the
// first zero byte; a read that fails or returns nothing gets no reply. An exception that escapes
// the dispatcher ends the process.
void RunPipeServer(IpcServer& server) noexcept;

}  // namespace veltrane
