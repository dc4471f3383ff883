#include <algorithm>
#include <set>

#include "tests/fuzz/naive_addresses.h"
#include "tests/fuzz/report_members.h"
#include "tests/fuzz/require.h"
#include "tests/fuzz/story.h"

namespace veltrane {
namespace {

std::string ErrorReplyText(const std::string& error, const std::string& message) {
  return R"({"ok":false,"error":")" + error + R"(","message":")" + message + R"("})";
}

// Whether an interface of that name counts as a tunnel's.
bool IsNameOfTunnel(std::string alias) {
  for (char& c : alias) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  }
  return alias.find("wireguard") != std::string::npos ||
         alias.find("wintun") != std::string::npos || alias.find("tunnel") != std::string::npos;
}

}  // namespace

void Story::CheckReply(const std::string& request, const std::string& reply) {
  const std::string op = naive::Field(request, "op");
  if (naive::IsForbidden(request)) {
    RequireEqual(reply, ErrorReplyText("forbidden_path", "config paths not accepted from UI"),
                 "a request with a configuration path");
  } else if (op == "register_session") {
    nonce_ = naive::Field(request, "session_nonce");
    RequireEqual(reply, R"({"ok":true,"phase":"disconnected"})", "a registration");
  } else if (op == "status") {
    CheckStatus(reply);
  } else if (op == "disconnect") {
    CheckDisconnect(reply);
  } else if (op == "connect") {
    CheckConnect(request, reply);
  } else {
    RequireEqual(reply, ErrorReplyText("unknown_op", "unsupported operation"), "any other word");
  }
  if (naive::IsForbidden(request) || (op != "connect" && op != "disconnect")) {
    Require(machine_.Changes().empty(), "only connect and disconnect change the machine");
  }
}

// The text of a setting as the service reads it: its bytes are characters below U+0100, and 512 of
// them are too many.
std::string Story::AdminAddresses() const {
  if (surroundings_.admin_addresses.size() >= 512) return "";
  std::string utf8;
  for (const char c : surroundings_.admin_addresses) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte >= 0x80) utf8 += byte < 0xC0 ? '\xC2' : '\xC3';
    utf8 += static_cast<char>(byte < 0xC0 ? byte : byte - 0x40);
  }
  return utf8;
}

// The addresses that a connect found.
void Story::CheckCandidates(const ReportMembers& bypass) const {
  if (!NothingFails()) return;
  const bool enabled = surroundings_.administrator || !AdminAddresses().empty();
  Require((bypass.at("enabled") == "true") == enabled, "an address enables the bypass");
  if (!enabled) return;
  std::vector<std::string> tokens = naive::Tokens(AdminAddresses());
  if (surroundings_.administrator) tokens.insert(tokens.begin(), "203.0.113.5");
  RequireEqual(bypass.at("admin_env_ips"), naive::ArrayOf(tokens), "the tokens of the settings");

  std::set<std::string> addresses;
  for (const std::string& token : tokens) {
    if (naive::IsPublicAddress(token)) addresses.insert(token);
  }
  if (surroundings_.remote_desktop) addresses.insert({"198.51.100.7", "198.51.100.8"});
  RequireEqual(bypass.at("selected_admin_bypass_ips"),
               naive::ArrayOf({addresses.begin(), addresses.end()}), "the addresses to pin");
}

void Story::CheckStatus(const std::string& reply) {
  std::string beginning = R"({"ok":true,"phase":")" + phase_ + R"(")";
  if (!node_id_.empty()) beginning += R"(,"node_id":")" + node_id_ + R"(")";
  const bool runs = reply.starts_with(beginning + R"(,"tunnel_running":true)");
  Require(runs == TunnelRuns() || !NothingFails(), "a status tells whether the tunnel runs");
  beginning += R"(,"tunnel_running":)" + std::string(runs ? "true" : "false");
  Require(reply.starts_with(beginning), "a status begins with " + beginning + ": " + reply);
  ReadReports(reply.substr(beginning.size()));
  Require(reply.ends_with("," + kUnaskedGuardReport + "}"), "a status does not query the guard");
}

void Story::CheckDisconnect(const std::string& reply) {
  phase_ = "disconnected";
  node_id_.clear();
  const std::string beginning = R"({"ok":true,"phase":"disconnected")";
  Require(reply.starts_with(beginning), "a disconnect begins with " + beginning + ": " + reply);
  const ReplyReports reports = ReadReports(reply.substr(beginning.size()));
  Require(reply.ends_with("," + kUnaskedGuardReport + "}"), "a disconnect does not ask the guard");
  Require(reports.bypass.at("applied") == "false", "after a disconnect no bypass is applied");
  if (!NothingFails()) return;
  Require(machine_.services.Names().empty(), "a disconnect removes the tunnel service");
  const auto file = machine_.files.Bytes(kActiveConf);
  Require(!file || file->find_first_not_of('\0') == std::string::npos,
          "a disconnect leaves a configuration file of zeros");
}

void Story::CheckConnect(const std::string& request, const std::string& reply) {
  if (!nonce_.empty() && naive::Field(request, "session_nonce") != nonce_) {
    RequireEqual(reply, ErrorReplyText("session_mismatch", "invalid session"), "another session");
    Require(machine_.Changes().empty(), "another session's connect changes nothing");
    return;
  }
  const naive::Profile profile = *naive::ReadProfile(request);
  if (profile.node_id.empty() || profile.client_private_key.empty()) {
    RequireEqual(reply, ErrorReplyText("invalid_profile", "missing required fields"),
                 "a profile without its required fields");
    Require(machine_.Changes().empty(), "a profile without its required fields changes nothing");
    return;
  }
  phase_ = "disconnected";
  node_id_.clear();
  const std::string beginning =
      R"({"ok":true,"phase":"connected","node_id":")" + profile.node_id + R"(")";
  if (reply.starts_with(beginning)) {
    phase_ = "connected";
    node_id_ = profile.node_id;
    CheckConnected(profile, reply.substr(beginning.size()));
  } else {
    CheckRefused(profile, reply);
  }
}

void Story::CheckConnected(const naive::Profile& profile, const std::string& reply) {
  const ReplyReports reports = ReadReports(reply);
  CheckGuardReport(profile, reports.guard);
  CheckCandidates(reports.bypass);
  Require(!reports.guard.contains("failure_reason"), "a connect that succeeds was not refused");
  Require(reports.bypass.at("enabled") == "false" || GuardIsInForce() ||
              reports.bypass.at("applied") == "true",
          "a connect succeeds with its bypass applied");
  naive::Profile written = profile;
  if (reports.guard.at("effective_disable_default_route") == "true") {
    written.allowed_ips = naive::GuardedAllowedIps(profile.allowed_ips, profile.address);
    written.dns.clear();
  }
  const std::string file = naive::ConfigurationOf(written);
  RequireEqual(machine_.files.Bytes(kActiveConf).value_or(""), file, "the configuration file");
  if (surroundings_.administrator && reports.bypass.at("applied") == "true") {
    const std::vector<std::string> routes = machine_.routes.Texts();
    Require(std::any_of(routes.begin(), routes.end(),
                        [](const auto& route) { return route.starts_with("203.0.113.5/32 "); }),
            "the administrator's address is pinned where the reply says so");
  }
  if (!NothingFails()) return;
  RequireEqual(ExpectedError(profile), "", "a connect that should have been refused");
  Require(TunnelRuns(), "the tunnel service runs");
  RequireEqual(reports.guard.at("auto_stop_scheduled"), surroundings_.auto_stop ? "true" : "false",
               "the timer");
}

// Where no call fails: the error of the reply, but for that of a bypass without addresses.
std::string Story::ExpectedError(const naive::Profile& profile) const {
  if (surroundings_.remote_session && surroundings_.guard && surroundings_.guard_overridden) {
    return "poc_env_read_failed";
  }
  if (!GuardIsInForce()) return surroundings_.remote_session ? "poc_route_guard_failed" : "";
  naive::Profile guarded = profile;
  guarded.allowed_ips = naive::GuardedAllowedIps(profile.allowed_ips, profile.address);
  guarded.dns.clear();
  if (naive::HasCatchAll(naive::ConfigurationOf(guarded))) return "poc_route_guard_failed";
  const bool default_route_of_a_tunnel =
      surroundings_.other_tunnel || IsNameOfTunnel(surroundings_.adapter_alias);
  return default_route_of_a_tunnel ? "poc_default_route_detected" : "";
}

void Story::CheckRefused(const naive::Profile& profile, const std::string& reply) {
  if (!reply.ends_with("}}")) {
    const std::vector<std::string> plain = {
        ErrorReplyText("config_write_failed", "create_directories failed"),
        ErrorReplyText("config_write_failed", "open tmp failed"),
        ErrorReplyText("config_write_failed", "write tmp failed"),
        ErrorReplyText("config_write_failed", "rename active.conf failed"),
        ErrorReplyText("tunnel_start_failed", "OpenSCManager failed"),
        ErrorReplyText("tunnel_start_failed", "CreateService tunnel failed"),
        ErrorReplyText("tunnel_start_failed", "StartService tunnel failed"),
        ErrorReplyText("tunnel_start_failed", "delete active.conf failed")};
    Require(std::find(plain.begin(), plain.end(), reply) != plain.end(), "an error: " + reply);
    Require(!NothingFails() || surroundings_.replaced_tunnel, "nothing failed: " + reply);
    return;
  }
  const ErrorReply refusal = ReadErrorReply(reply);
  CheckGuardReport(profile, refusal.reports.guard);
  if (refusal.error != "poc_env_read_failed") CheckCandidates(refusal.reports.bypass);
  if (!NothingFails()) return;
  const bool bypass_may_refuse =
      surroundings_.administrator || !surroundings_.admin_addresses.empty();
  if (refusal.error == "admin_bypass_failed" && bypass_may_refuse && !GuardIsInForce()) return;
  RequireEqual(refusal.error, ExpectedError(profile), "the reason of a refusal");
}

void Story::CheckGuardReport(const naive::Profile& profile, const ReportMembers& guard) const {
  const auto text = [&guard](const std::string& name) {
    const auto found = guard.find(name);
    return found == guard.end() ? "" : found->second;
  };
  if (guard.at("poc_env_read_failed") == "true") return;
  RequireEqual(text("generated_allowed_ips_before"), profile.allowed_ips, "AllowedIPs as sent");
  const bool in_force = guard.at("effective_disable_default_route") == "true";
  RequireEqual(text("generated_allowed_ips_after"),
               in_force ? naive::GuardedAllowedIps(profile.allowed_ips, profile.address) : "",
               "AllowedIPs as the guard left them");
}

}  // namespace veltrane
