#include "client/failure.h"

#include <nlohmann/json.hpp>

#include "client/text/utf8.h"

namespace veltrane {
namespace {

const char* WordOf(ExitCode exit_code) {
  switch (exit_code) {
    case kExitProfile:
      return "client_profile";
    case kExitUnreachable:
      return "client_unreachable";
    case kExitUntrusted:
      return "client_untrusted";
    case kExitNoReply:
      return "client_no_reply";
    case kExitRisk:
      return "client_risk";
    case kExitUndone:
      return "client_undone";
    case kExitNotUndone:
      return "client_not_undone";
    default:
      return "client_usage";
  }
}

ExitCode CodeOf(FailureKind kind) {
  switch (kind) {
    case FailureKind::kUnreachable:
    case FailureKind::kBusy:
      return kExitUnreachable;
    case FailureKind::kUntrusted:
      return kExitUntrusted;
    case FailureKind::kNoReply:
      break;
  }
  return kExitNoReply;
}

nlohmann::ordered_json ObjectOf(const std::string& word, const std::string& text) {
  nlohmann::ordered_json object;
  object["ok"] = false;
  object["error"] = word;
  object["message"] = Printable(text);
  return object;
}

void Report(const std::string& word, const std::string& text, bool json, Display& display) {
  display.Complain(text);
  if (json) display.Print(ObjectOf(word, text).dump() + "\n");
}

}  // namespace

ExitCode Fail(ExitCode exit_code, const std::string& text, bool json, Display& display) {
  Report(WordOf(exit_code), text, json, display);
  return exit_code;
}

ExitCode FailAtRisk(const std::string& text, const nlohmann::ordered_json& forecast, bool json,
                    Display& display) {
  display.Complain(text);
  if (json) {
    nlohmann::ordered_json object = ObjectOf(WordOf(kExitRisk), text);
    object["forecast"] = forecast;
    display.Print(object.dump() + "\n");
  }
  return kExitRisk;
}

ExitCode Fail(const ExchangeFailure& failure, bool json, Display& display) {
  const ExitCode exit_code = CodeOf(failure.kind);
  const bool busy = failure.kind == FailureKind::kBusy;
  Report(busy ? "client_busy" : WordOf(exit_code), failure.what + ": " + failure.next, json,
         display);
  return exit_code;
}

}  // namespace veltrane
