#pragma once

// The checks of the preflight, one per group. They change nothing.

#include <string>

#include "client/doctor/findings.h"
#include "client/doctor/preflight.h"

namespace veltrane {

// The control service: installed, running, its command line and its account. Console mode needs
// none of these.
void CheckService(const Preflight& preflight, Findings& findings);

// The pipe: open, and served by that service. If so, asks the service for its status.
void CheckPipe(Preflight& preflight, Findings& findings);

// Who may replace the program and the libraries that Local System loads.
void CheckProgramAccess(const Preflight& preflight, Findings& findings);

// The tunnel library next to the executable, and its export.
void CheckTunnelLibrary(const Preflight& preflight, Findings& findings);

// Each setting in its scopes, what it means, and whether the service sees it too.
void CheckSettings(Preflight& preflight, Findings& findings);

// Whether this is a Remote Desktop session, and whether a tunnel could cut it off.
void CheckSession(Preflight& preflight, Findings& findings);

// The addresses that would be pinned, and those that perhaps should be.
void CheckBypass(Preflight& preflight, Findings& findings);

// Where the service's settings come from, and the commands that set all that the checks before
// asked for.
void CheckEnvironment(const Preflight& preflight, Findings& findings);

// The physical gateway and interface, and whether routes can be pinned there.
void CheckNetwork(const Preflight& preflight, Findings& findings);

// What an earlier run left behind.
void CheckLeftovers(const Preflight& preflight, Findings& findings);

// The folders of active.conf: who may open the lower one, and whose they are.
void CheckConfigurationFolder(const Preflight& preflight, Findings& findings);

// Who would still reach this machine after the connect, the worst first.
void CheckForecast(const Preflight& preflight, Findings& findings);

}  // namespace veltrane
