#pragma once

#include <string>

#include "service/ipc_server.h"

namespace veltrane {

// Turns one request text into one reply text: refuses every request that mentions a configuration
// path, registers the session nonce, answers status queries, disconnects, and hands a connect with
// the right nonce to the connect sequence. Runs on the pipe thread. Lets the exceptions of
// ParseProfile pass.
std::string HandleRequest(IpcServer& server, const std::string& request);

}  // namespace veltrane
