#include <algorithm>

#include "bypass/apply.h"
#include "bypass/candidates.h"
#include "bypass/host_routes.h"
#include "client/doctor/checks.h"
#include "client/forecast/networks.h"
#include "client/screens/forecast_texts.h"
#include "guard/route_snapshots.h"
#include "platform/interface_metric.h"
#include "platform/ipv4.h"
#include "platform/routing.h"

namespace veltrane {
namespace {

bool BypassIsEnforced(const Preflight& preflight) {
  return preflight.bypass_on && !preflight.guarded;
}

// The physical route that the service would find now; its next hop is 0 when there is none.
BestRoute FindGateway() {
  const Result<BestRoute> route = FindBestRoute(ParseIpv4(kProbeAddress).value_or(0));
  return route ? *route : BestRoute();
}

bool IsPinned(const std::string& ip, const BestRoute& gateway) {
  std::uint32_t metric = 0;
  const std::optional<std::uint32_t> address = ParseIpv4(ip);
  return address && gateway.next_hop != 0 &&
         FindExactHostRoute(*address, gateway.next_hop, gateway.interface_index, &metric) &&
         metric <= kHighestGoodMetric;
}

std::string SourceText(const std::string& source) {
  if (source == "RDP_TCP_ESTABLISHED") return "an established Remote Desktop connection";
  if (source == "WTS") return "the client of a Remote Desktop session";
  return "named by " + source;
}

void AddCandidates(const std::vector<BypassIpEntry>& candidates, Findings& findings) {
  const BestRoute gateway = FindGateway();
  for (const BypassIpEntry& entry : candidates) {
    findings.Ok(entry.ip, std::string(entry.required ? "required" : "optional") + ", " +
                              SourceText(entry.source) +
                              (IsPinned(entry.ip, gateway) ? ", already pinned" : ""));
  }
}

// Asks for the peers of Remote Desktop connections that would be cut off and could be pinned.
void AskForPeers(Preflight& preflight) {
  std::vector<std::string> unkept;
  for (const Outlook& outlook : preflight.forecast) {
    const std::string ip = AddressText(outlook.subject.address);
    if (Endangers(outlook) && IsPublicIpv4(ip) && !IsPinned(ip, FindGateway())) {
      unkept.push_back(ip);
    }
  }
  if (unkept.empty()) return;
  WantAddresses(preflight, unkept);
  const std::string word = "VELTRANE_POC_ADMIN_BYPASS";
  const std::optional<bool> on = ParseBypassSwitch(ServiceValue(preflight, word));
  if (!preflight.any_server && on && !*on) preflight.wanted[word] = "1";
}

void CheckMetric(const Preflight& preflight, const BestRoute& gateway,
                 const std::vector<BypassIpEntry>& candidates, Findings& findings) {
  const std::string interface = "interface " + std::to_string(gateway.interface_index);
  const std::optional<std::uint32_t> metric = ReadInterfaceMetric(gateway.interface_index);
  if (!metric) {
    findings.Note("route metric", "the metric of " + interface + " cannot be read");
    return;
  }
  const std::string text = interface + " has metric " + std::to_string(*metric);
  if (*metric <= kPinnedMetric) {
    findings.Ok("route metric",
                text + ": a pinned route with metric 1 can be created and is accepted");
    return;
  }
  const std::string fix =
      "netsh interface ipv4 set interface " + std::to_string(gateway.interface_index) + " metric=1";
  const bool all_pinned =
      std::all_of(candidates.begin(), candidates.end(), [&gateway](const BypassIpEntry& entry) {
        return !entry.required || IsPinned(entry.ip, gateway);
      });
  const std::string problem =
      *metric > kHighestGoodMetric
          ? ": Windows refuses a route with metric 1, and the service accepts a pinned route only "
            "up to 15"
          : ": Windows refuses a route with metric 1, below that of its interface";
  if (!BypassIsEnforced(preflight)) {
    findings.Note("route metric", text + ", which matters only once the bypass is on" + problem);
  } else if (all_pinned) {
    findings.Warn("route metric", text + problem + "; the existing routes are accepted", fix);
  } else {
    findings.Fail("route metric", text + problem, fix);
  }
}

}  // namespace

void CheckBypass(Preflight& preflight, Findings& findings) {
  findings.Begin("bypass");
  const std::vector<BypassIpEntry>& candidates = preflight.candidates;
  if (preflight.guarded) {
    findings.Note("pinned routes", "none, the default-route guard is on");
    return;
  }
  if (!preflight.bypass_on) {
    findings.Note("pinned routes", "none, the bypass is off");
    AskForPeers(preflight);
    return;
  }
  AddCandidates(candidates, findings);
  const bool any_required = std::any_of(candidates.begin(), candidates.end(),
                                        [](const BypassIpEntry& entry) { return entry.required; });
  if (!any_required) {
    findings.Fail("pinned routes", "the bypass is on, but there is no required address", "");
    WantAddresses(preflight, {});
  }
}

void CheckNetwork(const Preflight& preflight, Findings& findings) {
  findings.Begin("network");
  const BestRoute gateway = FindGateway();
  if (gateway.next_hop == 0) {
    const std::string text = "no default route with a gateway";
    if (BypassIsEnforced(preflight)) {
      findings.Fail("gateway", text, "route print -4");
    } else {
      findings.Warn("gateway", text, "route print -4");
    }
    return;
  }
  const std::string place = FormatIpv4(gateway.next_hop) + " on interface " +
                            std::to_string(gateway.interface_index) + ", " +
                            DescribeInterface(gateway.interface_index);
  if (IsTunnelInterface(gateway.interface_index)) {
    findings.Warn("gateway", place + ", a tunnel rather than the physical network",
                  ".\\veltranectl disconnect");
  } else {
    findings.Ok("gateway", place);
  }
  CheckMetric(preflight, gateway, preflight.candidates, findings);
}

}  // namespace veltrane
