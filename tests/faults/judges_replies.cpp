#include <map>
#include <set>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "tests/faults/judges.h"
#include "tests/faults/last_word.h"

namespace veltrane::faults {
namespace {

using Json = nlohmann::json;

// One row of the table of errors in docs/protocol.md.
struct ErrorRow {
  std::set<std::string> messages;  // empty: that of a report
  bool has_reports = false;
};

const std::map<std::string, ErrorRow> kErrors = {
    {"forbidden_path", {{"config paths not accepted from UI"}, false}},
    {"unknown_op", {{"unsupported operation"}, false}},
    {"session_mismatch", {{"invalid session"}, false}},
    {"invalid_profile", {{"missing required fields"}, false}},
    {"poc_env_read_failed",
     {{"Machine VELTRANE_POC_DISABLE_DEFAULT_ROUTE unreadable or invalid"}, true}},
    {"admin_bypass_failed", {{}, true}},
    {"poc_route_guard_failed", {{}, true}},
    {"config_write_failed",
     {{"create_directories failed", "open tmp failed", "write tmp failed",
       "rename active.conf failed"},
      false}},
    {"tunnel_start_failed",
     {{"OpenSCManager failed", "CreateService tunnel failed", "StartService tunnel failed",
       "delete active.conf failed"},
      false}},
    {"poc_default_route_detected",
     {{"tunnel installed a default route on WireGuard/Wintun interface"}, true}},
};

const std::set<std::string> kBypassReasons = {
    "no_admin_bypass_ips", "physical_gateway_missing", "route_add_failed",
    "route_verify_before_tunnel_failed", "route_verify_after_tunnel_failed"};

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

void JudgeSuccess(const Json& reply, const Json& request, Complaints& complaints) {
  const std::string operation = TextOf(request, "op");
  std::set<std::string> members = {"ok", "phase"};
  if (operation != "register_session") members.insert({"admin_bypass", "poc_route_guard"});
  if (operation == "status") members.insert("tunnel_running");
  if (operation == "connect" || TextOf(reply, "phase") == "connected") members.insert("node_id");
  if (Members(reply) != members) complaints.push_back("other members than " + operation + " has");
  if (operation != "register_session" && !HasWholeReports(reply)) {
    complaints.emplace_back("a report is not whole");
  }
  if (operation == "connect" && TextOf(reply, "node_id") != TextOf(request, "node_id")) {
    complaints.push_back("connected to " + TextOf(reply, "node_id"));
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

// The phase, and what a status says of it. A program that has ended may have no server any more.
void JudgePhase(const Account& account, Complaints& complaints) {
  const bool has_server = account.ending == kLives || !account.phase.empty();
  if (!has_server) return;
  const std::string expected = ExpectedPhase(account);
  if (account.phase != expected) {
    complaints.push_back("the phase is " + account.phase + ", not " + expected);
  }
  const Json reply = LastReply(account);
  if (LastWord(account) != "status" || !reply.is_object()) return;
  const std::string node = TextOf(reply, "node_id");
  if (TextOf(reply, "phase") + (node.empty() ? "" : " " + node) != expected) {
    complaints.push_back("a status says another phase than " + expected);
  }
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
    const Json request = Json::parse(exchange.request, nullptr, false);
    const std::string operation = TextOf(request, "op");
    if (!reply.at("ok")) {
      JudgeFailure(reply, complaints);
      if (operation == "status" || operation == "disconnect") {
        if (TextOf(reply, "error") != "forbidden_path") complaints.push_back(operation + " failed");
      }
    } else {
      JudgeSuccess(reply, request, complaints);
      if (operation == "connect") JudgeConnected(reply, complaints);
    }
  }
  JudgePhase(account, complaints);
  return complaints;
}

}  // namespace veltrane::faults
