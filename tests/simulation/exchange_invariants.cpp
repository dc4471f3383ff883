#include <algorithm>
#include <map>
#include <set>
#include <span>

#include "tests/simulation/invariants.h"
#include "tests/simulation/wire.h"

namespace veltrane::simulation {
namespace {

using Facts = ExchangeFacts;
using Words = std::set<std::string>;

// The parts of a reply that is JSON; nullopt when there is none.
std::optional<Reply> ReplyIn(const Facts& facts) {
  if (!facts.reply) return std::nullopt;
  Reply reply = ReplyOf(*facts.reply);
  if (!reply.is_json) return std::nullopt;
  return reply;
}

bool IsPlain(const std::string& text) {
  return std::all_of(text.begin(), text.end(),
                     [](char c) { return c >= ' ' && c <= '~' && c != '"' && c != '\\'; });
}

std::string OperationOf(const Facts& facts) {
  static const Words kKnown = {"status", "register_session", "connect", "disconnect"};
  if (MentionsPath(facts.request) || !kKnown.contains(facts.op)) return "any";
  return facts.op;
}

const std::map<std::string, Words>& ErrorsOfOperations() {
  static const std::map<std::string, Words> errors = {
      {"status", {}},
      {"register_session", {}},
      {"disconnect", {}},
      {"any", {"forbidden_path", "unknown_op"}},
      {"connect",
       {"session_mismatch", "invalid_profile", "poc_env_read_failed", "admin_bypass_failed",
        "poc_route_guard_failed", "config_write_failed", "tunnel_start_failed",
        "poc_default_route_detected"}}};
  return errors;
}

// The errors that come before anything has been done, and those with reports.
const Words kBeforeAnything = {"forbidden_path", "unknown_op", "session_mismatch",
                               "invalid_profile"};
const Words kWithReports = {"poc_env_read_failed", "admin_bypass_failed", "poc_route_guard_failed",
                            "poc_default_route_detected"};

bool ChangesService(const CallFacts& call) {
  return call.changes && call.name.starts_with("Service");
}
bool ChangesRoute(const CallFacts& call) { return call.name.ends_with("ForwardRow"); }

template <typename Condition>
std::string NoCall(const Facts& facts, const std::string& error, Condition forbidden) {
  for (const CallFacts& call : facts.calls) {
    if (forbidden(call)) return "before \"" + error + "\" there was " + call.text;
  }
  return "";
}

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

std::string TheReplyIsWhole(const Facts& facts) {
  if (!facts.reply) return "";
  const bool is_object = facts.reply->starts_with("{\"ok\":") && facts.reply->ends_with("}");
  if (!is_object) return "the reply is " + *facts.reply;
  const Reply reply = ReplyOf(*facts.reply);
  // docs/protocol.md, "What a client must not assume": values of the client are not escaped.
  if (!reply.is_json) {
    const bool plain =
        IsPlain(facts.wished_node) && IsPlain(FieldOf(facts.request, "allowed_ips_csv"));
    return plain ? "the reply is no JSON" : "";
  }
  const bool has_error = !reply.error.empty() && !reply.message.empty();
  if (reply.ok == has_error) return "the reply is neither a success nor an error";
  const std::string operation = OperationOf(facts);
  const bool due = reply.ok ? operation != "register_session" : kWithReports.contains(reply.error);
  if (due != reply.has_reports) return "the reply has the reports, or has not, against the rules";
  if (reply.has_tunnel_running != (operation == "status")) return "tunnel_running";
  return "";
}

std::string TheErrorBelongsToTheOperation(const Facts& facts) {
  const auto reply = ReplyIn(facts);
  if (!reply) return "";
  const std::string operation = OperationOf(facts);
  const bool known =
      reply->ok ? operation != "any" : ErrorsOfOperations().at(operation).contains(reply->error);
  return known ? "" : "\"" + facts.op + "\" was answered \"" + reply->error + "\"";
}

std::string TheReplyCarriesNoKey(const Facts& facts) {
  if (!facts.reply || facts.client_names_key) return "";
  return facts.reply->find(kSecret) == std::string::npos ? "" : "a key is in the reply";
}

std::string ThePhaseFollowsTheReply(const Facts& facts) {
  const auto reply = ReplyIn(facts);
  if (!reply || facts.beside_timer) return "";
  const std::string operation = OperationOf(facts);
  std::string phase = "disconnected";
  std::string node;
  if (operation == "connect" && reply->ok) {
    phase = "connected";
    node = facts.wished_node;
    if (reply->phase != phase || reply->node != node) return "the reply does not say so";
  } else if (operation == "status" || operation == "register_session" ||
             kBeforeAnything.contains(reply->error)) {
    phase = facts.phase_before;
    node = facts.node_before;
  }
  if (facts.phase_after == phase && facts.node_after == node) return "";
  return "the phase is " + facts.phase_after + " " + facts.node_after + " and not " + phase + " " +
         node;
}

std::string TheSessionIsChecked(const Facts& facts) {
  const auto reply = ReplyIn(facts);
  if (!reply || OperationOf(facts) != "connect") return "";
  const std::string nonce = FieldOf(facts.request, "session_nonce");
  const bool foreign = !facts.nonce.empty() && nonce != facts.nonce;
  if (foreign == (reply->error == "session_mismatch")) return "";
  return "with \"" + facts.nonce + "\" registered, \"" + nonce + "\" was answered \"" +
         reply->error + "\"";
}

std::string ARefusalChangesNothing(const Facts& facts) {
  const auto reply = ReplyIn(facts);
  const std::string operation = OperationOf(facts);
  const bool refused =
      reply && (kBeforeAnything.contains(reply->error) || reply->error == "poc_env_read_failed");
  const bool harmless =
      operation == "status" || operation == "register_session" || operation == "any";
  if (!refused && !harmless) return "";
  return NoCall(facts, reply ? reply->error : operation,
                [](const CallFacts& call) { return call.changes; });
}

// docs/operations.md, "What stays behind".
std::string ARefusalKeepsToItsRow(const Facts& facts) {
  const auto reply = ReplyIn(facts);
  if (!reply || reply->ok || OperationOf(facts) != "connect") return "";
  if (reply->error == "config_write_failed") return NoCall(facts, reply->error, ChangesService);
  const bool before_file = reply->error == "poc_route_guard_failed" ||
                           (reply->error == "admin_bypass_failed" &&
                            reply->failure_reason != "route_verify_after_tunnel_failed");
  if (!before_file) return "";
  return NoCall(facts, reply->error,
                [](const CallFacts& call) { return call.changes && !ChangesRoute(call); });
}

std::string ARefusalDeletesWhatItCreated(const Facts& facts) {
  const auto reply = ReplyIn(facts);
  // Beside a timer the lists of routes are shared without a lock (docs/architecture.md).
  if (!reply || reply->ok || facts.beside_timer) return "";
  for (const std::string& row : facts.created) {
    if (std::count(facts.deleted.begin(), facts.deleted.end(), row) <
        std::count(facts.created.begin(), facts.created.end(), row)) {
      return "\"" + reply->error + "\" left the route " + row;
    }
  }
  return "";
}

// A tunnel service that cannot be opened, or does not stop when it is told to, goes on
// (docs/operations.md, "What stays behind").
std::string AnErrorLeavesNoNewTunnel(const Facts& facts) {
  const auto reply = ReplyIn(facts);
  if (!reply || reply->ok || OperationOf(facts) != "connect") return "";
  if (facts.manager_failed || facts.odd_services || facts.beside_timer) return "";
  if (facts.started && !facts.stop_sent) return "\"" + reply->error + "\" did not stop the tunnel";
  if (facts.events || !facts.tunnel_after.running || facts.tunnel_before.running) return "";
  return "\"" + reply->error + "\" left a tunnel that was not there before";
}

std::string AppliedMeansSeen(const Facts& facts) {
  const auto reply = ReplyIn(facts);
  if (!reply || !reply->ok || OperationOf(facts) != "connect" || !reply->applied) return "";
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
  const auto reply = ReplyIn(facts);
  if (!reply || !reply->ok || OperationOf(facts) != "connect" || !facts.IsCalm()) return "";
  if (facts.conf_at_start == facts.promise.conf) return "";
  return "the tunnel was started from " + facts.conf_at_start.value_or("no file");
}

std::string ADisconnectLeavesNothing(const Facts& facts) {
  const auto reply = ReplyIn(facts);
  if (!reply || !reply->ok || OperationOf(facts) != "disconnect") return "";
  if (!facts.recorded_after.empty()) return "the route " + facts.recorded_after.front();
  if (facts.timers_after != 0) return "a timer";
  if (facts.failures || facts.events) return "";
  if (!facts.odd_services && facts.tunnel_after.installed) return "the tunnel service";
  const bool scrubbed = !facts.conf_after || *facts.conf_after == std::string(4096, '\0');
  return scrubbed || facts.odd_files ? "" : "the file " + *facts.conf_after;
}

std::string TheTimerIsScheduledAsTold(const Facts& facts) {
  const auto reply = ReplyIn(facts);
  if (!reply || !reply->ok || OperationOf(facts) != "connect") return "";
  if (!reply->auto_stop_scheduled) {
    return facts.IsCalm() && facts.promise.delay != 0 ? "there is no timer" : "";
  }
  if (facts.timers_after != 1) return "the timer is not there";
  if (facts.IsCalm() && facts.promise.delay != reply->auto_stop_seconds) return "the delay";
  const std::string deadline = TimeText(facts.deadline_counts_from + reply->auto_stop_seconds);
  return reply->deadline == deadline ? "" : reply->deadline + " is not " + deadline;
}

std::string TheReplyIsThePromisedOne(const Facts& facts) {
  const auto reply = ReplyIn(facts);
  if (!reply || !facts.IsCalm()) return "";
  const Promise& promise = facts.promise;
  if (promise.kind == Promise::Kind::kEnd) return "the process should have ended";
  if (promise.kind == Promise::Kind::kReply) {
    if (reply->error != promise.error) {
      return "\"" + reply->error + "\" and not \"" + promise.error + "\"";
    }
    return reply->failure_reason == promise.reason || promise.reason.empty()
               ? ""
               : "\"" + reply->failure_reason + "\" and not \"" + promise.reason + "\"";
  }
  if (reply->ok) return "";
  if (reply->error == "config_write_failed" && facts.odd_files) return "";
  if (reply->error == "tunnel_start_failed" && facts.odd_services) return "";
  if (reply->error == "poc_default_route_detected" && promise.guard) return "";
  if (reply->failure_reason == "route_verify_after_tunnel_failed" && promise.bypass) return "";
  return "\"" + reply->error + "\" where nothing was in the way";
}

std::string AStatusTellsTheTruth(const Facts& facts) {
  const auto reply = ReplyIn(facts);
  if (!reply || OperationOf(facts) != "status" || !facts.IsCalm()) return "";
  if (reply->phase != facts.phase_after || reply->node != facts.node_after) return "the phase";
  return reply->tunnel_running == facts.tunnel_after.running ? "" : "tunnel_running";
}

std::string ConnectedMeansStarted(const Facts& facts) {
  const auto reply = ReplyIn(facts);
  if (!reply || !reply->ok || OperationOf(facts) != "connect" || facts.started) return "";
  return "connected, and the tunnel was not started";
}

std::string TheTunnelIsThisProgram(const Facts& facts) {
  const auto reply = ReplyIn(facts);
  if (!reply || !reply->ok || OperationOf(facts) != "connect") return "";
  if (!facts.IsCalm() || facts.odd_services) return "";
  if (!facts.replaced) return "the earlier tunnel was not stopped";
  if (facts.command_line != facts.due_command_line) return "the tunnel runs " + facts.command_line;
  return facts.has_own_sid ? "" : "the tunnel service has no SID of its own";
}

std::string TheGuardSeesADefaultRoute(const Facts& facts) {
  const auto reply = ReplyIn(facts);
  if (!reply || !reply->ok || OperationOf(facts) != "connect" || !reply->guard_on) return "";
  if (!facts.IsCalm() || facts.odd_services || !facts.tunnel_default_route) return "";
  return "connected under the guard with a default route into a tunnel";
}

std::string KeysAreLockedAway(const Facts& facts) {
  if (facts.failures || facts.open_to_others.empty()) return "";
  return "others may read " + facts.open_to_others;
}

// A cancel is seen after the 100 ms that the timer is asleep for.
std::string ACancelledTimerSleepsNoMore(const Facts& facts) {
  if (OperationOf(facts) != "disconnect" || facts.beside_timer || facts.sleeps_of_timer <= 1)
    return "";
  return "the timer slept " + std::to_string(facts.sleeps_of_timer) + " times after the disconnect";
}

const std::vector<Invariant<Facts>>& ExchangeInvariants() {
  static const std::vector<Invariant<Facts>> invariants = {
      {"TheReplyIsWhole", TheReplyIsWhole},
      {"TheErrorBelongsToTheOperation", TheErrorBelongsToTheOperation},
      {"TheReplyCarriesNoKey", TheReplyCarriesNoKey},
      {"ThePhaseFollowsTheReply", ThePhaseFollowsTheReply},
      {"TheSessionIsChecked", TheSessionIsChecked},
      {"ARefusalChangesNothing", ARefusalChangesNothing},
      {"ARefusalKeepsToItsRow", ARefusalKeepsToItsRow},
      {"ARefusalDeletesWhatItCreated", ARefusalDeletesWhatItCreated},
      {"AnErrorLeavesNoNewTunnel", AnErrorLeavesNoNewTunnel},
      {"AppliedMeansSeen", AppliedMeansSeen},
      {"RoutesArePinnedBeforeTheTunnelStarts", RoutesArePinnedBeforeTheTunnelStarts},
      {"TheGuardPinsNothing", TheGuardPinsNothing},
      {"TheTunnelStartsFromItsFile", TheTunnelStartsFromItsFile},
      {"ADisconnectLeavesNothing", ADisconnectLeavesNothing},
      {"TheTimerIsScheduledAsTold", TheTimerIsScheduledAsTold},
      {"TheReplyIsThePromisedOne", TheReplyIsThePromisedOne},
      {"AStatusTellsTheTruth", AStatusTellsTheTruth},
      {"ConnectedMeansStarted", ConnectedMeansStarted},
      {"TheTunnelIsThisProgram", TheTunnelIsThisProgram},
      {"TheGuardSeesADefaultRoute", TheGuardSeesADefaultRoute},
      {"KeysAreLockedAway", KeysAreLockedAway},
      {"ACancelledTimerSleepsNoMore", ACancelledTimerSleepsNoMore},
  };
  return invariants;
}

}  // namespace veltrane::simulation
