#include "client/doctor/preflight.h"

#include <algorithm>
#include <string_view>

#include "client/screens/forecast_texts.h"
#include "client/survey/service_command_lines.h"
#include "guard/settings.h"
#include "platform/environment.h"
#include "platform/text.h"
#include "service/service_name.h"
#include "text/ascii.h"
#include "tunnel/active_conf.h"
#include "tunnel/tunnel_manager.h"

namespace veltrane {
namespace {

// Of the switch the machine scope's value counts when Windows starts.
bool ServiceSwitchesBypassOn(const Preflight& preflight) {
  const std::optional<bool> on =
      ParseBypassSwitch(ServiceValue(preflight, "VELTRANE_POC_ADMIN_BYPASS"));
  if (on) return *on;
  return !ServiceValue(preflight, "ADMIN_BYPASS_IP").empty() ||
         !ServiceValue(preflight, "ADMIN_BYPASS_IPS").empty();
}

// The addresses that the service's settings name, and those that do not come from an environment.
std::vector<BypassIpEntry> ServiceCandidates(const Preflight& preflight) {
  BypassCandidateMap candidates;
  for (const char* source : {"ADMIN_BYPASS_IP", "ADMIN_BYPASS_IPS"}) {
    for (const std::string& token : SplitAddressList(ServiceValue(preflight, source))) {
      AddBypassCandidate(candidates, token, source, true);
    }
  }
  for (const std::string& ip : ListRdpTcpRemoteAddresses()) {
    AddBypassCandidate(candidates, ip, "RDP_TCP_ESTABLISHED", true);
  }
  for (const BypassIpEntry& entry : CollectBypassCandidates()) {
    if (entry.source == std::string_view("WTS"))
      AddBypassCandidate(candidates, entry.ip, "WTS", false);
  }
  std::vector<BypassIpEntry> entries;
  for (const auto& [ip, entry] : candidates) entries.push_back(entry);
  return entries;
}

// Fills in what the settings mean for the service.
void ReadEffectiveSettings(Preflight& preflight) {
  ReadGuardSettings(preflight.guard);
  if (preflight.any_server) {
    preflight.guarded = preflight.guard.effective_disable_default_route;
    preflight.bypass_on = IsAdminBypassEnabled();
    preflight.candidates = CollectBypassCandidates();
  } else {
    preflight.own = ReadServiceEnvironment();
    preflight.guarded = ParseEnvBool(ServiceValue(preflight, "VELTRANE_POC_DISABLE_DEFAULT_ROUTE"));
    preflight.bypass_on = ServiceSwitchesBypassOn(preflight);
    preflight.candidates = ServiceCandidates(preflight);
  }
}

}  // namespace

Preflight BeginPreflight(const SurveyQuestion& question) {
  Preflight preflight;
  preflight.any_server = question.any_server;
  preflight.question = question;
  preflight.service = ReadServiceFacts(kServiceName);
  if (preflight.service) preflight.program = ProgramOf(preflight.service->command_line);
  preflight.tunnel = ReadServiceFacts(kTunnelServiceName);
  if (preflight.tunnel) preflight.conf = LastQuoted(preflight.tunnel->command_line);
  if (preflight.conf.empty()) preflight.conf = ActiveConfPath();
  ReadEffectiveSettings(preflight);
  preflight.survey = SurveyMachine(question);
  preflight.forecast = WorstFirst(MakeForecast(preflight.survey.situation));
  return preflight;
}

std::string ServiceValue(const Preflight& preflight, const std::string& name) {
  const std::string own = preflight.own.ValueOf(name);
  return own.empty() ? ReadEnvAllScopes(WidenBytes(name)).machine : own;
}

void WantAddresses(Preflight& preflight, const std::vector<std::string>& ips) {
  constexpr char kName[] = "ADMIN_BYPASS_IP";
  const auto wanted = preflight.wanted.find(kName);
  const std::string seen = wanted != preflight.wanted.end() ? wanted->second
                           : preflight.any_server           ? ReadEnvSetting(WidenBytes(kName))
                                                            : ServiceValue(preflight, kName);
  std::vector<std::string> all;
  for (const std::string& ip : SplitAddressList(seen)) {
    if (IsPublicIpv4(ip)) all.push_back(ip);
  }
  for (const std::string& ip : ips) {
    if (std::find(all.begin(), all.end(), ip) == all.end()) all.push_back(ip);
  }
  std::string list;
  for (const std::string& ip : all) list += (list.empty() ? "" : ",") + ip;
  preflight.wanted[kName] = list.empty() ? "YOUR.PUBLIC.IPV4.ADDRESS" : list;
}

}  // namespace veltrane
