// Who is pinned, and when.

#include <algorithm>
#include <set>
#include <vector>

#include "tests/simulation/exchange_parts.h"
#include "tests/simulation/invariants.h"

namespace veltrane::simulation {
namespace {

using Facts = ExchangeFacts;

std::set<std::string> Without(const std::set<std::string>& left_out,
                              const std::vector<std::string>& addresses) {
  std::set<std::string> rest;
  for (const std::string& address : addresses) {
    if (!left_out.contains(address)) rest.insert(address);
  }
  return rest;
}

std::set<std::string> Sure(const ShownFacts& shown, const std::set<std::string>& addresses) {
  return Without(shown.unsure, {addresses.begin(), addresses.end()});
}

bool PinsForSure(const Facts& facts) {
  return OperationOf(facts) == "connect" && facts.shown.Pins() && facts.shown.unsure.empty();
}

}  // namespace

// A timer that tears down meanwhile may replace the record of what is applied
// (docs/architecture.md).
Verdict AppliedMeansSeen(const Facts& facts) {
  const auto reply = SuccessIn(facts);
  if (!reply) return NotAsked();
  if (!facts.shown.Pins()) return reply->applied ? "applied, and nobody is pinned" : NotAsked();
  if (facts.shown.required.empty()) return "connected without a required address";
  if (!reply->applied) return facts.beside_timer ? NotAsked() : "connected, and not applied";
  if (!facts.shown.unsure.empty()) return NotAsked();
  if (facts.looks.size() < facts.looks_before_start + kSnapshots + facts.shown.required.size()) {
    return "applied without a look at the table after the start";
  }
  const std::string lost = LastLost(facts);
  return lost.empty() ? "" : "applied, but the last looks did not find " + lost;
}

Verdict RoutesArePinnedBeforeTheTunnelStarts(const Facts& facts) {
  if (!facts.started || !PinsForSure(facts)) return NotAsked();
  const std::size_t count = facts.shown.required.size();
  if (count == 0) return "the tunnel was started without a required address";
  if (facts.looks_before_start < count + kSnapshots) return "the tunnel was started without looks";
  const std::string lost = FirstLost(facts, facts.looks_before_start - kSnapshots - count);
  return lost.empty() ? "" : "the tunnel was started before " + lost + " was seen";
}

Verdict OnlyAdministratorsArePinned(const Facts& facts) {
  if (facts.created.empty()) return NotAsked();
  for (const std::string& row : facts.created) {
    if (!facts.shown.selected.contains(row.substr(0, row.find('/')))) {
      return "no administrator is at " + row;
    }
  }
  return "";
}

// An address whose text could not be read, or written, once may have been left out.
Verdict TheReplyNamesWhoIsPinned(const Facts& facts) {
  const auto reply = ReplyIn(facts);
  if (OperationOf(facts) != "connect" || !reply || !reply->has_reports || facts.beside_timer ||
      reply->error == "poc_env_read_failed") {
    return NotAsked();
  }
  const ShownFacts& shown = facts.shown;
  if (reply->enabled != shown.bypass) return "the reply has not seen whether the bypass is on";
  if (!shown.bypass) return reply->selected.empty() ? "" : "the bypass is off";
  if (Without(shown.unsure, reply->selected) != Sure(shown, shown.selected)) return "the selected";
  if (Without(shown.unsure, reply->required) != Sure(shown, shown.required)) return "the required";
  return "";
}

// Once a required route is not found after the start, of each selected address the route is found
// later, or an attempt is made to create it.
Verdict EveryLostRouteIsAddedAgain(const Facts& facts) {
  const std::size_t first = facts.looks_before_start + kSnapshots;
  const std::size_t second = first + facts.shown.required.size();
  const auto reply = ReplyIn(facts);
  if (!facts.started || !PinsForSure(facts) || facts.beside_timer || !reply) return NotAsked();
  const bool lost = !FirstLost(facts, first).empty();
  if (lost != reply->readded) return "the reply does not say whether a route was lost";
  if (!lost) return NotAsked();
  for (const std::string& address : facts.shown.selected) {
    const bool tried = std::any_of(facts.attempts.begin(), facts.attempts.end(), [&](auto& one) {
      return one.address == address && one.looks >= second;
    });
    const bool found = std::any_of(
        facts.looks.begin() + static_cast<std::ptrdiff_t>(std::min(second, facts.looks.size())),
        facts.looks.end(), [&](auto& look) { return Found(look, facts.shown, address); });
    if (!tried && !found) return "the route to " + address + " was given up";
  }
  return "";
}

Verdict TheGuardPinsNothing(const Facts& facts) {
  if (OperationOf(facts) != "connect" || !facts.shown.guard) return NotAsked();
  if (!facts.created.empty()) return "under the guard, the route " + facts.created.front();
  if (facts.beside_timer || !facts.conf_at_start) return "";
  return HasCatchAll(*facts.conf_at_start) ? "under the guard, a tunnel with a catch-all" : "";
}

// An interface whose name cannot be read has none.
Verdict TheGuardSeesADefaultRoute(const Facts& facts) {
  const auto reply = ReplyIn(facts);
  const std::size_t look = facts.looks_before_start + kSnapshots;
  if (!reply || OperationOf(facts) != "connect" || !facts.shown.guard || !facts.started ||
      facts.events || Failed(facts, {"ReadInterfaceNames", "WideToUtf8"})) {
    return NotAsked();
  }
  if (look >= facts.looks.size()) return "under the guard, nobody looked for a default route";
  if (!facts.looks[look].tunnel_default) return NotAsked();
  if (reply->error == "poc_default_route_detected") return "";
  return "connected under the guard with a default route into a tunnel";
}

}  // namespace veltrane::simulation
