#pragma once

#include "client/commands.h"
#include "client/profile/profile.h"
#include "client/text/secret_text.h"

namespace veltrane {

// Waits for the tunnel if --wait asks for that. Returns kExitDone or kExitNotRunning, and says why.
ExitCode AwaitTunnel(const Options& options, Display& display);

// Connects under a watchdog, which is armed before anything is sent, and asks at the console
// whether the connection is to stay.
ExitCode ConnectOnProbation(const SecretText& request, const Profile& profile,
                            const Options& options, Display& display);

}  // namespace veltrane
