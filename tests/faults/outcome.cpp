#include "tests/faults/outcome.h"

#include <algorithm>
#include <set>

#include <nlohmann/json.hpp>

namespace veltrane::faults {
namespace {

using Json = nlohmann::json;
using Texts = std::vector<std::string>;

const Texts kOffice = {"0.0.0.0/0 via 192.168.1.1 if 12 metric 25",
                       "192.168.1.0/24 via 0.0.0.0 if 12 metric 281",
                       "198.51.100.99/32 via 192.168.1.1 if 12 metric 5"};

bool Contains(const Texts& texts, const std::string& text) {
  return std::find(texts.begin(), texts.end(), text) != texts.end();
}

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
    return TextOf(reply, "error") + ": " + TextOf(reply, "message") + Bypass(reply);
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

std::string Listed(const char* what, const Texts& texts) {
  return std::string(what) + ": " + (texts.empty() ? "nothing" : Joined(texts, ", "));
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

}  // namespace

std::vector<std::string> BeyondTheOffice(const Machinery& machinery) {
  Texts left;
  for (const std::string& route : kOffice) {
    if (!Contains(machinery.routes, route)) left.push_back("no " + route);
  }
  for (const std::string& route : machinery.routes) {
    if (!Contains(kOffice, route)) left.push_back(route);
  }
  left.insert(left.end(), machinery.services.begin(), machinery.services.end());
  left.insert(left.end(), machinery.files.begin(), machinery.files.end());
  return left;
}

std::string Outcome(const Account& account) {
  Texts parts;
  for (const Exchange& exchange : account.exchanges) parts.push_back(ReplyText(exchange.reply));
  if (account.ending != kLives) parts.push_back("the process ends: " + account.ending);
  AppendUnlessEmpty(parts, account.phase.empty() ? "" : "phase " + account.phase);
  if (!account.mode.empty()) {
    AppendUnlessEmpty(parts, AllSaid("output:", account.output));
    AppendUnlessEmpty(parts, AllSaid("error:", account.error));
    AppendUnlessEmpty(parts, account.states.empty() ? "" : "states " + Joined(account.states, " "));
  }
  parts.push_back(Listed("left", BeyondTheOffice(account.after)));
  if (!account.open.empty()) parts.push_back("open: " + Joined(account.open, ", "));
  parts.push_back(Listed("after a disconnect", BeyondTheOffice(account.after_disconnect)));
  return Joined(parts, " | ");
}

std::string Outcome(const Account& account, const Account& usual) {
  const std::string outcome = Outcome(account);
  if (outcome != Outcome(usual)) return outcome;
  const std::set<std::string> members = DifferingMembers(account, usual);
  if (members.empty()) return "as without a failure";
  return "as without a failure but for " + Joined({members.begin(), members.end()}, ", ");
}

}  // namespace veltrane::faults
