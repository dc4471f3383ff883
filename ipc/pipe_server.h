#pragma once

// The control channel: one message-mode pipe instance; one request and one reply per connection.

#include "service/ipc_server.h"

namespace veltrane {

// The body of `server.server_thread`: serves clients strictly one after another while
// `server.running` is true. A request is what one read of at most 65535 bytes returns, up to the
// first zero byte; a read that fails or returns nothing gets no reply. The buffer, which may
// hold a private key, is filled with zeros as soon as the reply is written. An exception that
// escapes the dispatcher ends the process.
void RunPipeServer(IpcServer& server) noexcept;

}  // namespace veltrane
