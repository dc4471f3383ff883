#pragma once

// Exchanges as the program has them, for the tests of the invariants.

#include <functional>
#include <string>

#include <gtest/gtest.h>

#include "tests/simulation/invariants.h"

namespace veltrane::simulation {

inline constexpr char kRow[] = "203.0.113.5/32 via 192.168.1.1 if 12 metric 1";
inline constexpr char kPlace[] = "203.0.113.5 via 192.168.1.1 if 12";
inline constexpr char kConf[] =
    "[Interface]\nPrivateKey = SECRET-1=\n\n[Peer]\nAllowedIPs = 10.8.0.0/24\n";

inline CallFacts Call(const std::string& name, bool changes) {
  CallFacts call;
  call.name = name;
  call.text = name;
  call.changes = changes;
  return call;
}

inline CallFacts FailedCall(const std::string& name) {
  CallFacts call = Call(name, false);
  call.failed = 5;
  return call;
}

inline std::string ReplyText(
    const std::string& beginning, const std::string& bypass = R"("enabled":false)",
    const std::string& guard = R"("effective_disable_default_route":false)") {
  return "{" + beginning + ",\"admin_bypass\":{" + bypass + "},\"poc_route_guard\":{" + guard +
         "}}";
}

inline std::string Error(const std::string& code) {
  return R"("ok":false,"error":")" + code + R"(","message":"so it is")";
}

// A look that finds the pinned administrator.
inline Look Seen() { return {.pinned = {kPlace}}; }

// A connect that pinned an administrator, started the tunnel and a timer, and said so. Its looks:
// two before the route is created and one after it, one that verifies it, two for the report, the
// start, two for the report, one that verifies.
inline ExchangeFacts Connect() {
  ExchangeFacts facts;
  facts.request = R"({"op":"connect","node_id":"fra-1","session_nonce":"abc"})";
  facts.op = "connect";
  facts.wished_node = "fra-1";
  facts.nonce = "abc";
  facts.reply = ReplyText(R"("ok":true,"phase":"connected","node_id":"fra-1")",
                          R"("enabled":true,"applied":true,"gateway":"192.168.1.1",)"
                          R"("physical_interface_index_before_tunnel":"12",)"
                          R"("selected_bypass_ip_entries":[{"ip":"203.0.113.5","required":true}])",
                          R"("auto_stop_scheduled":true,"auto_stop_seconds":60,)"
                          R"("auto_stop_deadline_utc":"1970-01-01T00:02:40Z")");
  facts.calls = {Call("CreateForwardRow", true), Call("OutputFile.Write", true),
                 Call("Service.Start", true)};
  facts.phases_before = {{"disconnected", ""}};
  facts.phase_after = "connected";
  facts.node_after = "fra-1";
  facts.tunnel_after = {true, true};
  facts.conf_after = kConf;
  facts.promise = {.kind = Promise::Kind::kGoesOn, .bypass = true, .conf = kConf, .delay = 60};
  facts.shown = {.bypass = true,
                 .delay = 60,
                 .selected = {"203.0.113.5"},
                 .required = {"203.0.113.5"},
                 .way = "192.168.1.1 if 12"};
  facts.recorded_after = {kRow};
  facts.created = {kRow};
  facts.attempts = {{.address = "203.0.113.5", .succeeded = true, .looks = 2}};
  facts.looks = {Look(), Look(), Seen(), Seen(), Seen(), Seen(), Seen(), Seen(), Seen()};
  facts.looks_before_start = 6;
  facts.started = true;
  facts.conf_at_start = kConf;
  facts.replaced = true;
  facts.command_line = facts.due_command_line = R"("C:\service.exe" /service "C:\active.conf")";
  facts.has_own_sid = true;
  facts.deadline_counts_from = 100;
  facts.timers_after = 1;
  facts.looked_at_access = true;
  return facts;
}

// A connect under the guard, which pins nobody and looks once for a default route.
inline ExchangeFacts Guarded() {
  ExchangeFacts facts = Connect();
  facts.reply = ReplyText(R"("ok":true,"phase":"connected","node_id":"fra-1")",
                          R"("enabled":true,"selected_bypass_ip_entries":[)"
                          R"({"ip":"203.0.113.5","required":true}])",
                          R"("effective_disable_default_route":true)");
  facts.created.clear();
  facts.attempts.clear();
  facts.promise.delay = facts.shown.delay = 0;
  facts.shown.guard = true;
  facts.looks = {Look(), Look(), Look(), Look(), Look()};
  facts.looks_before_start = 2;
  return facts;
}

// A connect that was refused with this reply, without having done anything.
inline ExchangeFacts Refused(const std::string& reply) {
  ExchangeFacts facts = Connect();
  facts.reply = reply;
  facts.phase_after = "disconnected";
  facts.node_after.clear();
  facts.calls.clear();
  facts.created.clear();
  facts.attempts.clear();
  facts.recorded_after.clear();
  facts.started = false;
  facts.conf_at_start.reset();
  facts.tunnel_after = {};
  facts.timers_after = 0;
  facts.failures = true;
  return facts;
}

inline ExchangeFacts RefusedByBypass(const std::string& reason) {
  return Refused(
      ReplyText(Error("admin_bypass_failed"), R"("enabled":true,"failure_reason":")" + reason +
                                                  R"(","selected_bypass_ip_entries":[)"
                                                  R"({"ip":"203.0.113.5","required":true}])"));
}

inline ExchangeFacts Simple(const std::string& op, const std::string& reply) {
  ExchangeFacts facts;
  facts.request = R"({"op":")" + op + R"("})";
  facts.op = op;
  facts.reply = reply;
  facts.phases_before = {{"disconnected", ""}};
  facts.phase_after = "disconnected";
  return facts;
}

inline ExchangeFacts Status() {
  return Simple("status", ReplyText(R"("ok":true,"phase":"disconnected","tunnel_running":false)"));
}

inline ExchangeFacts Disconnect() {
  ExchangeFacts facts = Simple("disconnect", ReplyText(R"("ok":true,"phase":"disconnected")"));
  facts.phases_before = {{"connected", "fra-1"}};
  facts.conf_after = std::string(4096, '\0');
  return facts;
}

// What the rule says after the change; before it, all rules must hold.
using Change = std::function<void(ExchangeFacts&)>;
inline Verdict After(ExchangeFacts facts, const Change& change,
                     Verdict (*rule)(const ExchangeFacts&)) {
  EXPECT_EQ(Court<ExchangeFacts>(ExchangeInvariants()).Judge(facts), "");
  change(facts);
  return rule(facts);
}

}  // namespace veltrane::simulation
