// What a connect that succeeded has done.

#include <algorithm>
#include <set>
#include <span>

#include "tests/simulation/exchange_parts.h"
#include "tests/simulation/invariants.h"

namespace veltrane::simulation {
namespace {

using Facts = ExchangeFacts;

// Whether one of the looks found the address, through the way that the reply names. A gateway that
// could not be written as text is left out of the reply.
template <typename Looks>
bool Saw(const Looks& looks, const Reply& reply, const std::string& address) {
  const std::string beginning = address + " via " + reply.gateway;
  const std::string end = " if " + reply.interface_index;
  return std::any_of(looks.begin(), looks.end(), [&](const std::set<std::string>& look) {
    return std::any_of(look.begin(), look.end(), [&](const std::string& route) {
      return route.starts_with(beginning) && route.ends_with(end);
    });
  });
}

}  // namespace

std::string AppliedMeansSeen(const Facts& facts) {
  const auto reply = SuccessIn(facts);
  if (!reply || !reply->applied) return "";
  if (reply->required.empty()) return "applied without a required address";
  if (facts.looks.size() < facts.looks_before_start + reply->required.size()) {
    return "applied without a look at the table after the start";
  }
  const auto count = static_cast<std::ptrdiff_t>(reply->required.size());
  const std::span last(facts.looks.end() - count, facts.looks.end());
  for (const std::string& address : reply->required) {
    if (!Saw(last, *reply, address)) return "applied, but the last looks did not find " + address;
  }
  return "";
}

std::string RoutesArePinnedBeforeTheTunnelStarts(const Facts& facts) {
  const auto reply = ReplyIn(facts);
  if (!reply || OperationOf(facts) != "connect" || !facts.started) return "";
  if (!reply->enabled || reply->skipped) return "";
  const std::span before(facts.looks.begin(), facts.looks_before_start);
  for (const std::string& address : reply->required) {
    if (!Saw(before, *reply, address)) {
      return "the tunnel was started before " + address + " was seen";
    }
  }
  return reply->required.empty() ? "the tunnel was started without a required address" : "";
}

std::string TheGuardPinsNothing(const Facts& facts) {
  const auto reply = ReplyIn(facts);
  if (!reply || !reply->guard_on) return "";
  if (!facts.created.empty()) return "under the guard, the route " + facts.created.front();
  if (facts.beside_timer || !facts.conf_at_start) return "";
  return HasCatchAll(*facts.conf_at_start) ? "under the guard, a tunnel with a catch-all" : "";
}

std::string TheTunnelStartsFromItsFile(const Facts& facts) {
  const auto reply = SuccessIn(facts);
  if (!reply || !facts.IsCalm()) return "";
  if (facts.conf_at_start == facts.promise.conf) return "";
  return "the tunnel was started from " + facts.conf_at_start.value_or("no file");
}

std::string TheTimerIsScheduledAsTold(const Facts& facts) {
  const auto reply = SuccessIn(facts);
  if (!reply) return "";
  if (!reply->auto_stop_scheduled) {
    return facts.IsCalm() && facts.promise.delay != 0 ? "there is no timer" : "";
  }
  if (facts.timers_after != 1) return "the timer is not there";
  if (facts.IsCalm() && facts.promise.delay != reply->auto_stop_seconds) return "the delay";
  const std::string deadline = TimeText(facts.deadline_counts_from + reply->auto_stop_seconds);
  return reply->deadline == deadline ? "" : reply->deadline + " is not " + deadline;
}

std::string ConnectedMeansStarted(const Facts& facts) {
  const auto reply = SuccessIn(facts);
  if (!reply || facts.started) return "";
  return "connected, and the tunnel was not started";
}

// Of each selected address, the route was found after the start, or an attempt was made to create
// it.
std::string EveryLostRouteIsAddedAgain(const Facts& facts) {
  const auto reply = ReplyIn(facts);
  if (!reply || !reply->readded || facts.failures || facts.beside_timer) return "";
  if (OperationOf(facts) != "connect") return "";  // the report of an earlier one
  const std::span after = std::span(facts.looks).subspan(facts.looks_before_start);
  const auto start =
      std::find_if(facts.calls.begin(), facts.calls.end(),
                   [](const CallFacts& call) { return call.name == "Service.Start"; });
  for (const std::string& address : reply->selected) {
    const bool tried = std::any_of(start, facts.calls.end(), [&](const CallFacts& call) {
      return call.text.starts_with("CreateForwardRow " + address + "/32 ");
    });
    if (!tried && !Saw(after, *reply, address)) return "the route to " + address + " was given up";
  }
  return "";
}

std::string OnlyAdministratorsArePinned(const Facts& facts) {
  if (!facts.IsCalm() || facts.promise.kind != Promise::Kind::kGoesOn) return "";
  for (const std::string& row : facts.created) {
    if (!facts.promise.administrators.contains(row.substr(0, row.find('/')))) {
      return "no administrator is at " + row;
    }
  }
  return "";
}

std::string TheTunnelIsThisProgram(const Facts& facts) {
  const auto reply = SuccessIn(facts);
  if (!reply) return "";
  if (!facts.IsCalm() || facts.odd_services) return "";
  if (!facts.replaced) return "the earlier tunnel was not stopped";
  if (facts.command_line != facts.due_command_line) return "the tunnel runs " + facts.command_line;
  return facts.has_own_sid ? "" : "the tunnel service has no SID of its own";
}

std::string TheGuardSeesADefaultRoute(const Facts& facts) {
  const auto reply = SuccessIn(facts);
  if (!reply || !reply->guard_on) return "";
  if (!facts.IsCalm() || facts.odd_services || !facts.tunnel_default_route) return "";
  return "connected under the guard with a default route into a tunnel";
}

std::string KeysAreLockedAway(const Facts& facts) {
  if (facts.failures || facts.open_to_others.empty()) return "";
  return "others may read " + facts.open_to_others;
}

}  // namespace veltrane::simulation
