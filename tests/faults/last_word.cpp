#include "tests/faults/last_word.h"

#include <algorithm>
#include <set>
#include <vector>

namespace veltrane::faults {
namespace {

using Json = nlohmann::json;

std::string OperationOf(const Exchange& exchange) {
  return TextOf(Json::parse(exchange.request, nullptr, false), "op");
}

std::string WordOf(const Json& reply, const std::string& operation) {
  if (!reply.value("ok", false)) {
    const Json bypass = reply.value("admin_bypass", Json::object());
    const bool lost = TextOf(bypass, "failure_reason") == "route_verify_after_tunnel_failed";
    return lost ? kLostBypass : TextOf(reply, "error");
  }
  const std::string phase = TextOf(reply, "phase");
  return operation == "status" || operation == "register_session" ? operation : phase;
}

// A request is lost before the program has it, or its reply when it has done everything.
std::string WordWithoutReply(const Account& account) {
  return account.struck.name == "ServerPipe.Write" ? account.leads_to : kUnchanged;
}

// What had been done at each lock: docs/protocol.md, "What ends the service".
std::vector<std::string> WordsAtLocks(const Account& account) {
  std::vector<std::string> words;
  for (const Exchange& exchange : account.exchanges) {
    const std::string operation = OperationOf(exchange);
    if (operation == "connect") words.emplace_back(kUnchanged);
    if (account.timer == kTimerFirst) words.emplace_back(kTimerDone);
    if (operation == "connect") words.push_back(account.leads_to);
    if (operation == "status") words.emplace_back(operation);
    if (operation == "disconnect") words.emplace_back("disconnected");
  }
  if (account.timer == kTimerLast) words.emplace_back("disconnected");
  return words;
}

std::string WordAtEndOfProcess(const Account& account) {
  const Call& struck = account.struck;
  if (account.ending == kFilesystemError) return kNotScrubbed;
  if (struck.name == "Mutex.Lock") {
    const std::vector<std::string> words = WordsAtLocks(account);
    return struck.nth <= words.size() ? words[struck.nth - 1] : kUnchanged;
  }
  if (struck.name == "Thread.Start" && !account.exchanges.empty()) {
    return account.timer == kTimerLast ? "disconnected" : "connected";
  }
  return kUnchanged;
}

}  // namespace

std::string LastWord(const Account& account) {
  if (account.ending != kLives) return WordAtEndOfProcess(account);
  if (account.timer == kTimerLast) return "disconnected";
  return WordOfLastReply(account);
}

std::string WordOfLastReply(const Account& account) {
  if (account.exchanges.empty()) return kUnchanged;
  const Json reply = LastReply(account);
  if (!reply.is_object()) return WordWithoutReply(account);
  return WordOf(reply, OperationOf(account.exchanges.back()));
}

std::string ExpectedPhase(const Account& account) {
  // The rows of the table of errors that leave the phase as it was, and what is no connect.
  static const std::set<std::string> kLeavesPhase = {
      kUnchanged,   "status",           "register_session", "forbidden_path",
      "unknown_op", "session_mismatch", "invalid_profile"};
  const std::string word = LastWord(account);
  if (word == "connected") return "connected " + TextOf(LastRequest(account), "node_id");
  if (!kLeavesPhase.contains(word) || account.phase_before.empty()) return "disconnected";
  return account.phase_before;
}

Json LastRequest(const Account& account) {
  if (account.exchanges.empty()) return Json(Json::value_t::discarded);
  return Json::parse(account.exchanges.back().request, nullptr, false);
}

Json LastReply(const Account& account) {
  if (account.exchanges.empty()) return Json(Json::value_t::discarded);
  return Json::parse(account.exchanges.back().reply, nullptr, false);
}

std::string TextOf(const Json& object, const char* member) {
  if (!object.is_object()) return "";
  const auto value = object.find(member);
  return value == object.end() || !value->is_string() ? "" : value->get<std::string>();
}

bool HasLost(const Account& account, const Setting& setting) {
  const Call& struck = account.struck;
  const bool reads = struck.name == "ReadRegistryText" || struck.name == "ReadProcessVariable";
  return (reads && struck.details == setting.read_by) ||
         (struck.name == "WideToUtf8" && struck.details == setting.value);
}

bool KnowsOfMachine(const Account& account, const std::string& setting) {
  return std::any_of(account.settings.begin(), account.settings.end(),
                     [&](const Setting& arranged) {
                       return arranged.read_by == "HKLM " + setting && !HasLost(account, arranged);
                     });
}

}  // namespace veltrane::faults
