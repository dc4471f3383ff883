// What a reply says.

#include <algorithm>
#include <map>

#include "tests/simulation/exchange_parts.h"
#include "tests/simulation/invariants.h"

namespace veltrane::simulation {
namespace {

using Facts = ExchangeFacts;

bool IsPlain(const std::string& text) {
  return std::all_of(text.begin(), text.end(),
                     [](char c) { return c >= ' ' && c <= '~' && c != '"' && c != '\\'; });
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

}  // namespace

Verdict TheReplyIsWhole(const Facts& facts) {
  if (!facts.reply) return NotAsked();
  const bool is_object = facts.reply->starts_with("{\"ok\":") && facts.reply->ends_with("}");
  if (!is_object) return "the reply is " + *facts.reply;
  const Reply reply = ReplyOf(*facts.reply);
  // docs/protocol.md, "What a client must not assume": values of the client are not escaped.
  if (!reply.is_json) {
    std::string texts =
        facts.wished_node + facts.node_after + FieldOf(facts.request, "allowed_ips_csv");
    for (const auto& [phase, node] : facts.phases_before) texts += node;
    const bool plain = IsPlain(texts);
    return plain ? "the reply is no JSON" : "";
  }
  const bool has_error = !reply.error.empty() && !reply.message.empty();
  if (reply.ok == has_error) return "the reply is neither a success nor an error";
  const std::string operation = OperationOf(facts);
  const bool due =
      reply.ok ? operation != "register_session" : ErrorsWithReports().contains(reply.error);
  if (due != reply.has_reports) return "the reply has the reports, or has not, against the rules";
  if (reply.has_tunnel_running != (operation == "status")) return "tunnel_running";
  return "";
}

Verdict TheErrorBelongsToTheOperation(const Facts& facts) {
  const auto reply = ReplyIn(facts);
  if (!reply) return NotAsked();
  const std::string operation = OperationOf(facts);
  const bool known =
      reply->ok ? operation != "any" : ErrorsOfOperations().at(operation).contains(reply->error);
  return known ? "" : "\"" + facts.op + "\" was answered \"" + reply->error + "\"";
}

Verdict TheReplyCarriesNoKey(const Facts& facts) {
  if (!facts.reply || facts.client_names_key) return NotAsked();
  return facts.reply->find(kSecret) == std::string::npos ? "" : "a key is in the reply";
}

Verdict ThePhaseFollowsTheReply(const Facts& facts) {
  const auto reply = ReplyIn(facts);
  if (!reply || facts.beside_timer) return NotAsked();
  const std::string operation = OperationOf(facts);
  std::set<Phase> due = {{"disconnected", ""}};
  if (operation == "connect" && reply->ok) {
    due = {{"connected", facts.wished_node}};
    if (!due.contains({reply->phase, reply->node})) return "the reply does not say so";
  } else if (operation == "status" || operation == "register_session" ||
             ErrorsBeforeAnything().contains(reply->error)) {
    due = facts.phases_before;
  }
  if (due.contains({facts.phase_after, facts.node_after})) return "";
  return "the phase is " + facts.phase_after + " " + facts.node_after + " and not " +
         due.begin()->first + " " + due.begin()->second;
}

Verdict TheSessionIsChecked(const Facts& facts) {
  const auto reply = ReplyIn(facts);
  if (!reply || OperationOf(facts) != "connect") return NotAsked();
  const std::string nonce = FieldOf(facts.request, "session_nonce");
  const bool foreign = !facts.nonce.empty() && nonce != facts.nonce;
  if (foreign == (reply->error == "session_mismatch")) return "";
  return "with \"" + facts.nonce + "\" registered, \"" + nonce + "\" was answered \"" +
         reply->error + "\"";
}

Verdict TheReplyIsThePromisedOne(const Facts& facts) {
  const auto reply = ReplyIn(facts);
  if (!reply || !facts.IsCalm()) return NotAsked();
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
  const bool comes_later =
      (reply->error == "config_write_failed" && facts.odd_files) ||
      (reply->error == "tunnel_start_failed" && facts.odd_services) ||
      (reply->error == "poc_default_route_detected" && promise.guard) ||
      (reply->failure_reason == "route_verify_after_tunnel_failed" && promise.bypass);
  // What comes later has its cause on the machine as it then was.
  return comes_later ? ARefusalHasItsCause(facts)
                     : "\"" + reply->error + "\" where nothing was in the way";
}

Verdict TheRequestIsWiped(const Facts& facts) {
  if (facts.request.find(kSecret) == std::string::npos) return NotAsked();
  return facts.key_in_buffer ? "a key is in the buffer of a request that has been answered" : "";
}

// A timer that tears down meanwhile ends a connection before the phase is asked for, or after.
Verdict AStatusTellsTheTruth(const Facts& facts) {
  const auto reply = ReplyIn(facts);
  if (!reply || OperationOf(facts) != "status") return NotAsked();
  std::set<Phase> possible = facts.phases_before;
  if (facts.beside_timer) possible.insert({"disconnected", ""});
  if (!possible.contains({reply->phase, reply->node})) {
    return "the phase is not " + reply->phase + " " + reply->node;
  }
  if (facts.beside_timer || facts.events) return "";
  const bool asked =
      !Failed(facts, {"ServiceManager.Open", "ServiceManager.OpenExisting", "Service.QueryState"});
  return reply->tunnel_running == (asked && facts.tunnel_after.running) ? "" : "tunnel_running";
}

}  // namespace veltrane::simulation
