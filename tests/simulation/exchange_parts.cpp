#include "tests/simulation/exchange_parts.h"

#include <algorithm>
#include <span>

namespace veltrane::simulation {
namespace {

bool AnyFailed(std::span<const CallFacts> calls, const Words& names) {
  return std::any_of(calls.begin(), calls.end(), [&names](const CallFacts& call) {
    return call.failed && names.contains(call.name);
  });
}

}  // namespace

std::optional<Reply> ReplyIn(const ExchangeFacts& facts) {
  if (!facts.reply) return std::nullopt;
  Reply reply = ReplyOf(*facts.reply);
  if (!reply.is_json) return std::nullopt;
  return reply;
}

std::optional<Reply> SuccessIn(const ExchangeFacts& facts) {
  if (OperationOf(facts) != "connect") return std::nullopt;
  std::optional<Reply> reply = ReplyIn(facts);
  if (!reply || !reply->ok) return std::nullopt;
  return reply;
}

std::optional<Reply> RefusalIn(const ExchangeFacts& facts) {
  if (OperationOf(facts) != "connect") return std::nullopt;
  std::optional<Reply> reply = ReplyIn(facts);
  if (!reply || reply->ok) return std::nullopt;
  return reply;
}

std::string OperationOf(const ExchangeFacts& facts) {
  static const Words kKnown = {"status", "register_session", "connect", "disconnect"};
  if (MentionsPath(facts.request) || !kKnown.contains(facts.op)) return "any";
  return facts.op;
}

const Words& ErrorsBeforeAnything() {
  static const Words errors = {"forbidden_path", "unknown_op", "session_mismatch",
                               "invalid_profile"};
  return errors;
}

const Words& ErrorsWithReports() {
  static const Words errors = {"poc_env_read_failed", "admin_bypass_failed",
                               "poc_route_guard_failed", "poc_default_route_detected"};
  return errors;
}

std::string FirstLost(const ExchangeFacts& facts, std::size_t first) {
  for (const std::string& address : facts.shown.required) {
    if (first >= facts.looks.size()) return "a look";
    if (!Found(facts.looks[first++], facts.shown, address)) return address;
  }
  return "";
}

std::string LastLost(const ExchangeFacts& facts) {
  const std::size_t count = facts.shown.required.size();
  return facts.looks.size() < count ? "a look" : FirstLost(facts, facts.looks.size() - count);
}

bool Found(const Look& look, const ShownFacts& shown, const std::string& address) {
  return shown.way && look.pinned.contains(address + " via " + *shown.way);
}

bool Failed(const ExchangeFacts& facts, const Words& names) {
  return AnyFailed(facts.calls, names);
}

bool FailedAfterStart(const ExchangeFacts& facts, const Words& names) {
  const auto start =
      std::find_if(facts.calls.begin(), facts.calls.end(),
                   [](const CallFacts& call) { return call.name == "Service.Start"; });
  return AnyFailed(std::span(start, facts.calls.end()), names);
}

}  // namespace veltrane::simulation
