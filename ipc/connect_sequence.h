#pragma once

#include <string>

#include "service/ipc_server.h"

namespace veltrane {

// Brings the tunnel up for a connect request whose session has been checked, and returns the reply.
// A failure is answered with an error envelope and leaves the phase "disconnected", but for an
// incomplete profile, which changes nothing. Runs on the pipe thread and holds the pipe until it
// returns. Lets the exceptions of ParseProfile pass.
std::string Connect(IpcServer& server, const std::string& request);

}  // namespace veltrane
