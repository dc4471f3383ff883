#pragma once

// What the checks of the preflight start from.

#include <optional>
#include <string>
#include <vector>

#include "bypass/candidates.h"
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

// Whether the bypass is switched on by this word of VELTRANE_POC_ADMIN_BYPASS; nullopt for a word
// that the service does not know.
std::optional<bool> ParseBypassSwitch(const std::string& word);

}  // namespace veltrane
