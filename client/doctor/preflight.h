#pragma once

// The facts that the checks of the preflight share.

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "bypass/candidates.h"
#include "client/exchange/reply.h"
#include "client/forecast/forecast.h"
#include "client/survey/survey.h"
#include "guard/route_guard_result.h"
#include "platform/service_facts.h"

namespace veltrane {

struct Preflight {
  bool any_server = false;
  Result<ServiceFacts> service = Result<ServiceFacts>::Failure(kErrorServiceDoesNotExist);
  std::wstring program;  // the service's executable; empty when unknown
  // The service of the tunnel itself.
  Result<ServiceFacts> tunnel = Result<ServiceFacts>::Failure(kErrorServiceDoesNotExist);
  std::wstring conf;                      // the configuration file that a tunnel runs from
  std::optional<Reply> status;            // the service's own reply, when there is one
  RouteGuardResult guard;                 // what ReadGuardSettings reads in this process
  bool guarded = false;                   // the default-route guard is on for the service
  bool bypass_on = false;                 // the bypass is on for the service
  std::vector<BypassIpEntry> candidates;  // the addresses that the bypass would pin
  ServiceEnvironment own;                 // empty in console mode
  // The settings that the findings ask for, by name. CheckEnvironment gives the commands that set
  // all of them at once, because each such command replaces the whole value.
  std::map<std::string, std::string> wanted;
  SurveyQuestion question;
  Survey survey;
  std::vector<Outlook> forecast;  // the worst first
};

// Gathers everything but the status. The settings are those that the service sees: a registered
// service has its own process and user environments, of which its own Environment value can be
// read; it shares only the machine scope with this process; a service in console mode is assumed to
// have this process's environment. The file is the one that the tunnel service names, if there is
// one, because a service may have a different program-data folder.
Preflight BeginPreflight(const SurveyQuestion& question);

// The value that a registered service sees: that of its own environment or, when there is none, the
// machine scope's.
std::string ServiceValue(const Preflight& preflight, const std::string& name);

// Adds addresses to the ones that ADMIN_BYPASS_IP is to have.
void WantAddresses(Preflight& preflight, const std::vector<std::string>& ips);

}  // namespace veltrane
