#include "tests/fuzz/reply_rules.h"

#include <string_view>

#include "tests/fuzz/report_members.h"
#include "tests/fuzz/require.h"

namespace veltrane {
namespace {

class Scanner {
 public:
  explicit Scanner(std::string_view text) : rest_(text) {}

  void Expect(std::string_view literal) {
    Require(Take(literal), "a reply has " + std::string(literal) + " before " + std::string(rest_));
  }
  void ExpectEnd() { Require(rest_.empty(), "a reply ends before " + std::string(rest_)); }

  // A string whose only escapes are those of the double quote and the backslash.
  std::string Text() {
    Expect("\"");
    std::string text;
    while (!Take("\"")) {
      if (Take("\\")) Require(Next() == '"' || Next() == '\\', "only these two are escaped");
      Require(!rest_.empty(), "a string ends");
      text += rest_.front();
      rest_.remove_prefix(1);
    }
    return text;
  }

  ReportMembers Object(const std::vector<Member>& members) {
    Expect("{");
    ReportMembers values;
    for (const Member& member : members) {
      const std::string begin = (values.empty() ? "\"" : ",\"") + std::string(member.name) + "\":";
      if (!Take(begin)) {
        Require(!member.always, "a report always has " + std::string(member.name));
        continue;
      }
      const std::string value = Value(member);
      Require(member.always || !value.empty(), "an optional member is not empty");
      values[std::string(member.name)] = value;
    }
    Expect("}");
    return values;
  }

 private:
  char Next() const { return rest_.empty() ? '\0' : rest_.front(); }

  bool Take(std::string_view literal) {
    if (!rest_.starts_with(literal)) return false;
    rest_.remove_prefix(literal.size());
    return true;
  }

  std::string Value(const Member& member) {
    const std::string_view before = rest_;
    switch (member.kind) {
      case Kind::kText:
        return Text();
      case Kind::kFlag:
        if (!Take("true")) Expect("false");
        break;
      case Kind::kNumber:
        Number();
        break;
      case Kind::kTexts:
        Array([this] { Text(); });
        break;
      case Kind::kObjects:
        Array([this, &member] { Object(*member.objects); });
        break;
    }
    return std::string(before.substr(0, before.size() - rest_.size()));
  }

  void Number() {
    Take("-");
    Require(Next() >= '0' && Next() <= '9', "a number has digits");
    if (Take("0")) return;
    while (Next() >= '0' && Next() <= '9') rest_.remove_prefix(1);
  }

  template <typename TakeItem>
  void Array(TakeItem take_item) {
    Expect("[");
    if (Take("]")) return;
    do {
      take_item();
    } while (Take(","));
    Expect("]");
  }

  std::string_view rest_;
};

ReplyReports TakeReports(Scanner& scanner) {
  ReplyReports reports;
  scanner.Expect(",\"admin_bypass\":");
  reports.bypass = scanner.Object(kBypassMembers);
  scanner.Expect(",\"poc_route_guard\":");
  reports.guard = scanner.Object(kGuardMembers);
  scanner.Expect("}");
  scanner.ExpectEnd();
  return reports;
}

bool IsSet(const ReportMembers& members, const std::string& flag) {
  return members.at(flag) == "true";
}

void CheckBypass(const ReportMembers& bypass) {
  Require(IsSet(bypass, "enabled") || !IsSet(bypass, "attempted"), "only what is enabled is tried");
  Require(IsSet(bypass, "attempted") || !IsSet(bypass, "applied"), "only what is tried is applied");
  Require(!IsSet(bypass, "skipped_for_safe_mode") ||
              (!IsSet(bypass, "applied") && !IsSet(bypass, "required_enforced")),
          "nothing is pinned under the guard");
  Require(IsSet(bypass, "attempted") == bypass.contains("admin_env_ips") &&
              IsSet(bypass, "attempted") == bypass.contains("selected_bypass_ip_entries"),
          "what is tried tells its candidates");
  Require(!IsSet(bypass, "applied") || !bypass.contains("failure_reason"),
          "what is applied has not failed");
}

void CheckGuard(const ReportMembers& guard) {
  Require(!IsSet(guard, "poc_env_read_failed") || IsSet(guard, "poc_route_guard_failed"),
          "poc_env_read_failed comes with poc_route_guard_failed");
  Require(IsSet(guard, "auto_stop_scheduled") == guard.contains("auto_stop_deadline_utc"),
          "a timer that runs has a deadline");
  Require(IsSet(guard, "poc_default_route_detected") == guard.contains("offending_default_route"),
          "the offending route is told");
}

std::string Text(const ReportMembers& members, const std::string& name) {
  const auto found = members.find(name);
  return found == members.end() ? "" : found->second;
}

void CheckAgainstError(const ErrorReply& reply) {
  const ReportMembers& guard = reply.reports.guard;
  Require(!IsSet(guard, "auto_stop_scheduled"), "a refusal starts no timer");
  if (reply.error == "admin_bypass_failed") {
    RequireEqual(Text(reply.reports.bypass, "message"), reply.message, "the bypass's message");
    Require(reply.reports.bypass.contains("failure_reason"), "the bypass says why it refuses");
    return;
  }
  RequireEqual(Text(guard, "message"), reply.message, "the guard's message");
  const std::string reason = Text(guard, "failure_reason");
  Require(reason == reply.error || (reply.error == "poc_route_guard_failed" &&
                                    reason == "rdp_requires_disable_default_route"),
          "the guard says why it refuses");
  Require(IsSet(guard, "poc_route_guard_failed") ==
              (reason == "poc_route_guard_failed" || reason == "poc_env_read_failed"),
          "poc_route_guard_failed");
  Require(IsSet(guard, "poc_default_route_detected") == (reason == "poc_default_route_detected"),
          "poc_default_route_detected");
}

}  // namespace

ReplyReports ReadReports(const std::string& end_of_reply) {
  Scanner scanner(end_of_reply);
  ReplyReports reports = TakeReports(scanner);
  CheckBypass(reports.bypass);
  CheckGuard(reports.guard);
  return reports;
}

ErrorReply ReadErrorReply(const std::string& reply) {
  ErrorReply read;
  Scanner scanner(reply);
  scanner.Expect("{\"ok\":false,\"error\":");
  read.error = scanner.Text();
  scanner.Expect(",\"message\":");
  read.message = scanner.Text();
  read.reports = TakeReports(scanner);
  CheckBypass(read.reports.bypass);
  CheckGuard(read.reports.guard);
  CheckAgainstError(read);
  return read;
}

}  // namespace veltrane
