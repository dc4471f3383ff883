#include "tests/faults/outcome.h"

#include <algorithm>
#include <set>

#include <nlohmann/json.hpp>

namespace veltrane::faults {
namespace {

using Json = nlohmann::json;
using Texts = std::vector<std::string>;

std::string Joined(const Texts& texts, const std::string& separator) {
  std::string joined;
  for (const std::string& text : texts) joined += (joined.empty() ? "" : separator) + text;
  return joined;
}

std::string TextOf(const Json& object, const char* member) {
  const auto value = object.find(member);
  return value == object.end() || !value->is_string() ? "" : value->get<std::string>();
}

bool IsSet(const Json& object, const char* member) { return object.value(member, false); }

std::string Bypass(const Json& reply) {
  const Json bypass = reply.value("admin_bypass", Json::object());
  Texts facts;
  if (IsSet(bypass, "applied")) facts.emplace_back("applied");
  if (IsSet(bypass, "route_readded_after_tunnel")) facts.emplace_back("added again");
  for (const char* text : {"failure_reason", "route_add_results"}) {
    if (!TextOf(bypass, text).empty()) facts.push_back(TextOf(bypass, text));
  }
  return facts.empty() ? "" : " (" + Joined(facts, ", ") + ")";
}

std::string ReplyText(const std::string& text) {
  if (text.empty()) return "no reply";
  const Json reply = Json::parse(text, nullptr, false);
  if (!reply.is_object()) return "not JSON: " + text;
  if (!IsSet(reply, "ok")) {
    const std::string bypass = Bypass(reply);
    return TextOf(reply, "error") + (bypass.empty() ? ": " + TextOf(reply, "message") : bypass);
  }
  std::string words = TextOf(reply, "phase");
  if (!TextOf(reply, "node_id").empty()) words += " " + TextOf(reply, "node_id");
  if (IsSet(reply, "tunnel_running")) words += ", tunnel running";
  return words + Bypass(reply);
}

// A line of output, the startup report cut down to the members that are not as in a quiet start.
std::string Said(const std::string& line) {
  static const std::string kReport = "[Veltrane] passive startup report: ";
  if (!line.starts_with(kReport)) return line;
  const Json report = Json::parse(line.substr(kReport.size()), nullptr, false);
  if (!report.is_object()) return "broken report";
  Texts facts;
  for (const auto& [member, value] : report.items()) {
    if (member == "startup_passive") continue;
    if (value == true || (value.is_number() && value != 0)) facts.push_back(member);
  }
  return "report" + (facts.empty() ? "" : " (" + Joined(facts, ", ") + ")");
}

std::string AllSaid(const char* where, const Texts& lines) {
  Texts said;
  for (const std::string& line : lines) said.push_back(Said(line));
  return said.empty() ? "" : std::string(where) + " " + Joined(said, ", ");
}

void AppendUnlessEmpty(Texts& parts, const std::string& part) {
  if (!part.empty()) parts.push_back(part);
}

std::set<std::string> DifferingMembers(const Account& account, const Account& usual) {
  std::set<std::string> members;
  for (std::size_t i = 0; i < std::min(account.exchanges.size(), usual.exchanges.size()); ++i) {
    const Json here = Json::parse(account.exchanges[i].reply, nullptr, false);
    const Json there = Json::parse(usual.exchanges[i].reply, nullptr, false);
    if (!here.is_object() || !there.is_object()) continue;
    for (const Json& step : Json::diff(there, here)) {
      // The path of a member of an array ends at the array.
      std::string path = step.at("path").get<std::string>();
      const std::size_t digit = path.find_first_of("0123456789");
      if (digit != std::string::npos && path[digit - 1] == '/') path.erase(digit - 1);
      members.insert(path.substr(1));
    }
  }
  return members;
}

// The routes that were there before and are not the program's.
Texts RoutesOfOthers(const Account& account) {
  Texts others;
  for (const std::string& route : account.before.routes) {
    const bool ours = std::any_of(account.routes.begin(), account.routes.end(),
                                  [&route](const RouteEvent& event) {
                                    return event.what == "create" && event.route == route;
                                  });
    if (!ours) others.push_back(route);
  }
  return others;
}

std::string RouteWords(const std::string& route) {
  static const std::string kPinned = "/32 via 192.168.1.1 if 12 metric 1";
  if (!route.ends_with(kPinned)) return route;
  return "pinned " + route.substr(0, route.size() - kPinned.size());
}

std::string ServiceWords(const std::string& service) {
  static const std::string kTunnel = "VeltraneVpnTunnel$Active ";
  static const std::string kService = "VeltraneVpnTunnel ";
  if (service.starts_with(kTunnel)) return "tunnel " + service.substr(kTunnel.size());
  return "service " + service.substr(kService.size());
}

std::string Left(const Account& account, const Machinery& machinery) {
  Texts left;
  Texts routes = machinery.routes;
  for (const std::string& route : RoutesOfOthers(account)) {
    const auto there = std::find(routes.begin(), routes.end(), route);
    if (there == routes.end()) {
      left.push_back("no " + route);
    } else {
      routes.erase(there);
    }
  }
  for (const std::string& route : routes) left.push_back(RouteWords(route));
  for (const std::string& service : machinery.services) left.push_back(ServiceWords(service));
  left.insert(left.end(), machinery.files.begin(), machinery.files.end());
  return left.empty() ? "nothing" : Joined(left, ", ");
}

std::string AfterDisconnect(const Account& account) {
  return "after a disconnect: " + Left(account, account.after_disconnect);
}

Texts Happened(const Account& account) {
  Texts parts;
  for (const Exchange& exchange : account.exchanges) parts.push_back(ReplyText(exchange.reply));
  if (account.ending != kLives) parts.push_back("the process ends: " + account.ending);
  AppendUnlessEmpty(parts, account.phase);
  if (!account.mode.empty()) {
    AppendUnlessEmpty(parts, AllSaid("output:", account.output));
    AppendUnlessEmpty(parts, AllSaid("error:", account.error));
    AppendUnlessEmpty(parts, account.states.empty() ? "" : "states " + Joined(account.states, " "));
  }
  if (account.serves) {
    parts.push_back(account.admits.empty() ? "a pipe with default security"
                                           : "a pipe for " + Joined(account.admits, ", "));
  } else {
    AppendUnlessEmpty(parts, account.open.empty() ? "" : "open: " + Joined(account.open, ", "));
  }
  parts.push_back("left: " + Left(account, account.after));
  return parts;
}

}  // namespace

std::string Outcome(const Account& account) {
  Texts parts = Happened(account);
  parts.push_back(AfterDisconnect(account));
  return Joined(parts, " | ");
}

std::string Outcome(const Account& account, const Account& usual) {
  Texts parts = Happened(account);
  const std::string after = AfterDisconnect(account);
  if (after != AfterDisconnect(usual)) {
    parts.push_back(after);
  } else if (parts == Happened(usual)) {
    const std::set<std::string> members = DifferingMembers(account, usual);
    if (members.empty()) return "as without a failure";
    return "as without a failure but for " + Joined({members.begin(), members.end()}, ", ");
  }
  return Joined(parts, " | ");
}

}  // namespace veltrane::faults
