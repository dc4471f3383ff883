#include <map>
#include <set>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "tests/faults/judges.h"

namespace veltrane::faults {
namespace {

using Json = nlohmann::json;

// One row of the table of errors in docs/protocol.md.
struct ErrorRow {
  std::set<std::string> messages;  // empty: that of a report
  bool has_reports = false;
  bool leaves_phase = false;  // the phase is unchanged
};

const std::map<std::string, ErrorRow> kErrors = {
    {"forbidden_path", {{"config paths not accepted from UI"}, false, true}},
    {"unknown_op", {{"unsupported operation"}, false, true}},
    {"session_mismatch", {{"invalid session"}, false, true}},
    {"invalid_profile", {{"missing required fields"}, false, true}},
    {"poc_env_read_failed",
     {{"Machine VELTRANE_POC_DISABLE_DEFAULT_ROUTE unreadable or invalid"}, true, false}},
    {"admin_bypass_failed", {{}, true, false}},
    {"poc_route_guard_failed", {{}, true, false}},
    {"config_write_failed",
     {{"create_directories failed", "open tmp failed", "write tmp failed",
       "rename active.conf failed"},
      false,
      false}},
    {"tunnel_start_failed",
     {{"OpenSCManager failed", "CreateService tunnel failed", "StartService tunnel failed",
       "delete active.conf failed"},
      false,
      false}},
    {"poc_default_route_detected",
     {{"tunnel installed a default route on WireGuard/Wintun interface"}, true, false}},
};

const std::set<std::string> kBypassReasons = {
    "no_admin_bypass_ips", "physical_gateway_missing", "route_add_failed",
    "route_verify_before_tunnel_failed", "route_verify_after_tunnel_failed"};

std::string TextOf(const Json& object, const char* member) {
  const auto value = object.find(member);
  return value == object.end() || !value->is_string() ? "" : value->get<std::string>();
}

std::string Operation(const Exchange& exchange) {
  return TextOf(Json::parse(exchange.request, nullptr, false), "op");
}

std::set<std::string> Members(const Json& object) {
  std::set<std::string> members;
  for (const auto& [name, value] : object.items()) members.insert(name);
  return members;
}

// The members that are always there: docs/protocol.md, "The bypass report" and "The guard report".
bool HasWholeReports(const Json& reply) {
  const Json bypass = reply.value("admin_bypass", Json::object());
  const Json guard = reply.value("poc_route_guard", Json::object());
  for (const char* flag :
       {"enabled", "attempted", "applied", "routes_ready_before_tunnel",
        "route_readded_after_tunnel", "required_enforced", "skipped_for_safe_mode"}) {
    if (!bypass.contains(flag) || !bypass.at(flag).is_boolean()) return false;
  }
  for (const char* flag :
       {"effective_disable_default_route", "poc_route_guard_failed", "poc_default_route_detected",
        "poc_env_read_failed", "rdp_session_active", "auto_stop_scheduled"}) {
    if (!guard.contains(flag) || !guard.at(flag).is_boolean()) return false;
  }
  for (const char* scope : {"process", "machine", "user"}) {
    for (const char* setting : {"DISABLE_DEFAULT_ROUTE", "AUTO_STOP_SECONDS"}) {
      const std::string member = std::string(scope) + "_env_VELTRANE_POC_" + setting;
      if (!guard.contains(member) || !guard.at(member).is_string()) return false;
    }
  }
  return bypass.contains("auto_stop_seconds") && guard.contains("auto_stop_seconds") &&
         guard.contains("effective_auto_stop_seconds");
}

void JudgeFailure(const Json& reply, Complaints& complaints) {
  const std::string error = TextOf(reply, "error");
  const std::string message = TextOf(reply, "message");
  const auto row = kErrors.find(error);
  if (row == kErrors.end()) {
    complaints.push_back("an undocumented error: " + error);
    return;
  }
  std::set<std::string> members = {"ok", "error", "message"};
  if (row->second.has_reports) members.insert({"admin_bypass", "poc_route_guard"});
  if (Members(reply) != members) complaints.push_back("other members than " + error + " has");
  if (row->second.has_reports && !HasWholeReports(reply)) {
    complaints.emplace_back("a report is not whole");
  }
  const Json bypass = reply.value("admin_bypass", Json::object());
  const Json guard = reply.value("poc_route_guard", Json::object());
  if (error == "admin_bypass_failed") {
    if (message != TextOf(bypass, "message") || bypass.value("applied", true) ||
        !kBypassReasons.contains(TextOf(bypass, "failure_reason"))) {
      complaints.emplace_back("the bypass report does not explain admin_bypass_failed");
    }
  } else if (error == "poc_route_guard_failed") {
    const std::string reason = TextOf(guard, "failure_reason");
    if (message != TextOf(guard, "message") ||
        (reason != error && reason != "rdp_requires_disable_default_route")) {
      complaints.emplace_back("the guard report does not explain poc_route_guard_failed");
    }
  } else if (!row->second.messages.contains(message)) {
    complaints.push_back("an undocumented message of " + error + ": " + message);
  } else if (row->second.has_reports && TextOf(guard, "failure_reason") != error) {
    complaints.push_back("the guard report does not explain " + error);
  }
}

void JudgeSuccess(const Json& reply, const std::string& operation, Complaints& complaints) {
  std::set<std::string> members = {"ok", "phase"};
  if (operation != "register_session") members.insert({"admin_bypass", "poc_route_guard"});
  if (operation == "status") members.insert("tunnel_running");
  if (TextOf(reply, "phase") == "connected") members.insert("node_id");
  if (Members(reply) != members) complaints.push_back("other members than " + operation + " has");
  if (operation != "register_session" && !HasWholeReports(reply)) {
    complaints.emplace_back("a report is not whole");
  }
}

// A connect that succeeded with the bypass on has verified every required address.
void JudgeConnected(const Json& reply, Complaints& complaints) {
  const Json bypass = reply.value("admin_bypass", Json::object());
  const bool enabled = bypass.value("enabled", false);
  const bool skipped = bypass.value("skipped_for_safe_mode", false);
  if (bypass.value("applied", false) != (enabled && !skipped)) {
    complaints.emplace_back("connected, and the bypass is not as it has to be");
  }
}

// The phase that the answer to a request leads to.
std::string PhaseBehind(const Account& account, const Json& reply, const std::string& operation) {
  if (!reply.value("ok", false)) {
    const auto row = kErrors.find(TextOf(reply, "error"));
    const bool leaves = row != kErrors.end() && row->second.leaves_phase;
    return leaves ? account.phase_before : "disconnected";
  }
  if (operation == "connect") return "connected " + TextOf(reply, "node_id");
  return operation == "disconnect" ? "disconnected" : account.phase_before;
}

}  // namespace

Complaints JudgeReplies(const Account& account) {
  Complaints complaints;
  for (const Exchange& exchange : account.exchanges) {
    if (exchange.reply.empty()) continue;
    const Json reply = Json::parse(exchange.reply, nullptr, false);
    if (!reply.is_object() || !reply.contains("ok") || !reply.at("ok").is_boolean()) {
      complaints.push_back("a reply is not whole: " + exchange.reply);
      continue;
    }
    const std::string operation = Operation(exchange);
    if (!reply.at("ok")) {
      JudgeFailure(reply, complaints);
      if (operation == "status" || operation == "disconnect") {
        if (TextOf(reply, "error") != "forbidden_path") complaints.push_back(operation + " failed");
      }
    } else {
      JudgeSuccess(reply, operation, complaints);
      if (operation == "connect") JudgeConnected(reply, complaints);
    }
  }
  const Exchange* last = account.exchanges.empty() ? nullptr : &account.exchanges.back();
  if (last == nullptr || last->reply.empty() || account.ending != kLives) return complaints;
  const Json reply = Json::parse(last->reply, nullptr, false);
  if (!reply.is_object()) return complaints;
  const std::string phase = PhaseBehind(account, reply, Operation(*last));
  // The timer of an earlier connect may end the new one: docs/limits.md, "Kept by design".
  const bool ended_by_timer = account.timer_expired && account.phase == "disconnected";
  if (!account.phase_before.empty() && account.phase != phase && !ended_by_timer) {
    complaints.push_back("the phase is " + account.phase + ", not " + phase);
  }
  return complaints;
}

}  // namespace veltrane::faults
