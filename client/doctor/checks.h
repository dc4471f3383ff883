#pragma once

// The checks of the preflight, a group each. They only read.

#include <optional>
#include <string>
#include <vector>

#include "bypass/candidates.h"
#include "client/doctor/findings.h"
#include "client/exchange/reply.h"
#include "guard/route_guard_result.h"
#include "platform/service_facts.h"

namespace veltrane {

// What more than one group wants to know.
struct Preflight {
  bool any_server = false;
  ServiceFacts service;
  std::wstring program;                   // the service's executable; empty when it is not known
  ServiceFacts tunnel;                    // the service of the tunnel itself
  std::wstring conf;                      // the configuration file that a tunnel runs from
  std::optional<Reply> status;            // the service's own word, when it could be asked
  RouteGuardResult guard;                 // as ReadGuardSettings fills it in this process
  bool guarded = false;                   // the default-route guard is on where the service runs
  bool bypass_on = false;                 // and so is the bypass
  std::vector<BypassIpEntry> candidates;  // the addresses that it would pin
};

// Reads everything but the status. What the settings mean is told for the place where the service
// runs: a registered one has a process and a user environment of its own, so that the machine scope
// alone is common to both; one in console mode is taken to have this process's environment.
// The file is that of the tunnel service when there is one, for a
// service may have another idea of the program-data folder than this process.
Preflight BeginPreflight(bool any_server);

// The control service: installed, running, its command line and its account. In console mode none
// of them need be as they are otherwise.
void CheckService(const Preflight& preflight, Findings& findings);

// The pipe: there, and served by that service. Asks the service for its status when both hold.
void CheckPipe(Preflight& preflight, Findings& findings);

// The tunnel library beside the executable, and its export.
void CheckTunnelLibrary(const Preflight& preflight, Findings& findings);

// Fills in what the settings mean where the service runs.
void ReadEffectiveSettings(Preflight& preflight);

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
