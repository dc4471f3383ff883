#include "client/forecast/pins.h"

#include <algorithm>
#include <set>

#include "bypass/apply.h"
#include "bypass/candidates.h"
#include "bypass/host_routes.h"
#include "client/forecast/table.h"

namespace veltrane {
namespace {

constexpr std::uint32_t kHostPrefix = 32;

// Whom the service would pin.
struct Candidates {
  std::set<IpAddress> required;
  std::set<IpAddress> optional;
};

bool IsPublic(const IpAddress& address) {
  return address.family == IpFamily::kIpv4 && IsPublicIpv4(AddressText(address));
}

// Whether the service takes an address as a candidate. An address of the machine's own is none.
bool IsCandidate(const IpAddress& address, const std::vector<OwnAddress>& own) {
  return IsPublic(address) && std::none_of(own.begin(), own.end(), [&](const OwnAddress& entry) {
           return entry.address == address;
         });
}

Candidates FindCandidates(const Situation& situation, const World& world, const Subject& subject) {
  const std::vector<OwnAddress>& own = *situation.own_addresses;
  Candidates candidates;
  for (const std::string& token : world.named) {
    if (!IsPublicIpv4(token)) continue;  // also one that only looks like IPv4 to others
    const std::optional<IpAddress> address = ParseAddress(token);
    if (address && IsCandidate(*address, own)) candidates.required.insert(*address);
  }
  if (world.names_subject && IsCandidate(subject.address, own)) {
    candidates.required.insert(subject.address);
  }
  for (const IpAddress& peer : *situation.rdp_peers) {
    if (IsCandidate(peer, own)) candidates.required.insert(peer);
  }
  for (const IpAddress& client : situation.session_clients) {
    if (IsCandidate(client, own)) candidates.optional.insert(client);
  }
  return candidates;
}

// The host route to the address by way of the gateway.
const IpRoute* FindPin(const IpAddress& address, const Situation& situation, const Way& gateway) {
  for (const IpRoute& route : *situation.ipv4_routes) {
    if (route.prefix_length == kHostPrefix && route.destination == address &&
        route.next_hop == gateway.next_hop && route.interface_index == gateway.interface_index) {
      return &route;
    }
  }
  return nullptr;
}

// Whether there is a host route, or one can be created: Windows refuses one whose metric is below
// that of its interface, and one that is there already whatever its metric.
Pin PinOf(const IpAddress& address, const Situation& situation, const Way& gateway) {
  if (const IpRoute* route = FindPin(address, situation, gateway)) {
    return route->metric <= kHighestGoodMetric ? Pin::kYes : Pin::kNo;
  }
  const std::optional<std::uint32_t> metric =
      FactsOf(situation, gateway.interface_index).ipv4_metric;
  if (!metric) return Pin::kPerhaps;
  return *metric <= kPinnedMetric ? Pin::kYes : Pin::kNo;
}

// The answers that the service may get to its question for the gateway: today's, and every way in
// the table that is as good.
std::vector<Way> PossibleGateways(const Situation& situation) {
  const auto rows = RowsToday(situation, IpFamily::kIpv4);
  const LookUp found = FindBestRow(*rows, *ParseAddress(kProbeAddress));
  return LeadsBy(*situation.gateway, found) ? found.ways : std::vector{*situation.gateway};
}

// Why the service refuses with this gateway.
std::optional<std::string> FindRefusal(const Situation& situation, const Candidates& candidates,
                                       const Way& gateway) {
  if (IsUnspecified(gateway.next_hop)) return "physical_gateway_missing";
  for (const IpAddress& address : candidates.required) {
    if (PinOf(address, situation, gateway) == Pin::kNo) return "route_add_failed";
  }
  return std::nullopt;
}

// The first thing that is missing to tell what the bypass would do.
std::optional<Cause> FindMissing(const Situation& situation) {
  if (!situation.ipv4_routes) return Cause::kTableUnread;
  if (!situation.own_addresses) return Cause::kOwnAddressesUnread;
  if (!situation.gateway || !situation.rdp_peers) return Cause::kPinUnclear;
  return std::nullopt;
}

void Refuse(Plan& plan, const std::string& failure_reason) {
  plan.end = Plan::End::kRefused;
  plan.error = "admin_bypass_failed";
  plan.failure_reason = failure_reason;
  plan.unclear.reset();
}

void SetUnclear(Plan& plan, Cause cause) { plan.unclear = plan.unclear.value_or(cause); }

// When the connect goes on. A required address is pinned then; an optional one only if that works
// and its session is still there, unless the route is there anyway.
Pin PinOfSubject(const Situation& situation, const Candidates& candidates,
                 const IpAddress& address) {
  if (candidates.required.contains(address)) return Pin::kYes;
  const bool may_be_optional =
      candidates.optional.contains(address) ||
      (!situation.all_sessions_read && IsCandidate(address, *situation.own_addresses));
  const Way& gateway = *situation.gateway;
  if (!may_be_optional || FindPin(address, situation, gateway) != nullptr) return Pin::kNo;
  return PinOf(address, situation, gateway) == Pin::kNo ? Pin::kNo : Pin::kPerhaps;
}

}  // namespace

void PlanPins(const Situation& situation, const World& world, const Subject& subject, Plan& plan) {
  if (world.names_unpinnable) return Refuse(plan, "route_add_failed");
  if (const std::optional<Cause> missing = FindMissing(situation)) {
    if (IsPublic(subject.address)) plan.pin = Pin::kPerhaps;
    return SetUnclear(plan, *missing);
  }
  const Candidates candidates = FindCandidates(situation, world, subject);
  if (candidates.required.empty() && !world.names_other) {
    return Refuse(plan, "no_admin_bypass_ips");
  }
  const std::vector<Way> gateways = PossibleGateways(situation);
  const std::optional<std::string> refusal = FindRefusal(situation, candidates, *situation.gateway);
  if (refusal && std::all_of(gateways.begin(), gateways.end(), [&](const Way& gateway) {
        return FindRefusal(situation, candidates, gateway).has_value();
      })) {
    return Refuse(plan, *refusal);
  }
  if (gateways.size() > 1) SetUnclear(plan, Cause::kPinUnclear);
  for (const IpAddress& address : candidates.required) {
    if (PinOf(address, situation, *situation.gateway) == Pin::kPerhaps) {
      SetUnclear(plan, Cause::kPinUnclear);
    }
  }
  plan.pin = PinOfSubject(situation, candidates, subject.address);
  if (plan.pin == Pin::kPerhaps) SetUnclear(plan, Cause::kPinUnclear);
}

}  // namespace veltrane
