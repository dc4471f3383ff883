#include "tests/simulation/exchange_parts.h"

namespace veltrane::simulation {

std::optional<Reply> ReplyIn(const ExchangeFacts& facts) {
  if (!facts.reply) return std::nullopt;
  Reply reply = ReplyOf(*facts.reply);
  if (!reply.is_json) return std::nullopt;
  return reply;
}

std::optional<Reply> SuccessIn(const ExchangeFacts& facts) {
  std::optional<Reply> reply = ReplyIn(facts);
  if (!reply || !reply->ok || OperationOf(facts) != "connect") return std::nullopt;
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

}  // namespace veltrane::simulation
