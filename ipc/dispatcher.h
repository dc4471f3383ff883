#pragma once

#include <string>

#include "service/ipc_server.h"

namespace veltrane {

// Handles one request and returns the reply: refuses every request that mentions a configuration
// path, registers the session nonce, reports the status, disconnects, and passes a connect with the
// right nonce to the connect sequence. Runs on the pipe thread. Lets the exceptions of
// DeleteActiveConf and of the connect sequence escape.
std::string HandleRequest(IpcServer& server, const std::string& request);

}  // namespace veltrane
