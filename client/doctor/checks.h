#pragma once

// The checks of the preflight, a group each. They only read.

#include "client/doctor/findings.h"
#include "client/doctor/preflight.h"

namespace veltrane {

// The control service: installed, running, its command line and its account. In console mode none
// of them need be as they are otherwise.
void CheckService(const Preflight& preflight, Findings& findings);

// The pipe: there, and served by that service. Asks the service for its status when both hold.
void CheckPipe(Preflight& preflight, Findings& findings);

// The tunnel library beside the executable, and its export.
void CheckTunnelLibrary(const Preflight& preflight, Findings& findings);

// Each setting in its scopes, what it means, and whether the service sees it too.
void CheckSettings(const Preflight& preflight, Findings& findings);

// Whether this is a Remote Desktop session that a connect would be refused in.
void CheckSession(const Preflight& preflight, Findings& findings);

// The addresses that would be pinned, and those that look as if they should be.
void CheckBypass(const Preflight& preflight, Findings& findings);

// The physical gateway and interface, and whether a pinned route can hold there.
void CheckNetwork(const Preflight& preflight, Findings& findings);

// What an earlier run has left behind.
void CheckLeftovers(const Preflight& preflight, Findings& findings);

// The folder of active.conf and who may open it.
void CheckConfigurationFolder(const Preflight& preflight, Findings& findings);

}  // namespace veltrane
