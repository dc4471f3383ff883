#pragma once

#include <string>

#include "service/ipc_server.h"

namespace veltrane {

// Brings the tunnel up for a connect request whose session has been checked, and returns the reply.
// On failure the reply is an error envelope and the phase is "disconnected", except that an
// incomplete profile changes nothing. Runs on the pipe thread, which serves no other client until
// it returns. Lets the exceptions of ParseProfile, DeleteActiveConf and ScheduleAutoStop escape.
std::string Connect(IpcServer& server, const std::string& request);

}  // namespace veltrane
