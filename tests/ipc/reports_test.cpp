#include "ipc/reports.h"

#include <string>

#include <gtest/gtest.h>

#include "tests/support/report_texts.h"

namespace veltrane {
namespace {

AdminBypassState SomeBypass() {
  AdminBypassState bypass;
  bypass.enabled = true;
  bypass.message = "route \"add\" failed";
  bypass.admin_env_ips = R"(["203.0.113.5"])";
  return bypass;
}

RouteGuardResult SomeGuard() {
  RouteGuardResult guard;
  guard.rdp_session_active = true;
  guard.auto_stop_seconds = 120;
  guard.message = "RDP session detected";
  return guard;
}

// A reply that ends with the reports of these records.
std::string ReplyWithSome(const std::string& beginning) {
  return Reply(beginning,
               With(kFreshBypass, {"enabled", R"("message":"route \"add\" failed")",
                                   R"("admin_env_ips":["203.0.113.5"])"}),
               With(kFreshGuard, {"rdp_session_active", R"("auto_stop_seconds":120)",
                                  R"("message":"RDP session detected")"}));
}

TEST(AppendReports, DefaultRecordsAreReportedToo) {
  EXPECT_EQ(AppendReports(R"({"ok":true,"phase":"connected"})", {}, {}),
            Reply(R"({"ok":true,"phase":"connected")"));
}

TEST(AppendReports, RecordsOfTheCallerFollowTheMembersOfTheEnvelope) {
  EXPECT_EQ(
      AppendReports(R"({"ok":true,"phase":"connected","node_id":"n1"})", SomeBypass(), SomeGuard()),
      ReplyWithSome(R"({"ok":true,"phase":"connected","node_id":"n1")"));
}

TEST(AppendReports, OnlyTheLastCharacterIsTakenOff) {
  EXPECT_EQ(AppendReports(R"({"a":{"b":{}}})", {}, {}), Reply(R"({"a":{"b":{}})"));
  EXPECT_EQ(AppendReports("}", {}, {}), Reply(""));
}

TEST(AppendReports, TextThatDoesNotEndInABraceComesBackUnchanged) {
  for (const char* text :
       {"", "{\"ok\":true,\"phase\":\"connected\"}\n", "{\"ok\":true", "[{}]", "{} "}) {
    EXPECT_EQ(AppendReports(text, SomeBypass(), SomeGuard()), text);
  }
}

TEST(ErrorReplyWithReports, MembersAreOkErrorMessageBypassAndGuard) {
  EXPECT_EQ(MakeErrorReplyWithReports("poc_route_guard_failed", "RDP session detected",
                                      SomeBypass(), SomeGuard()),
            ReplyWithSome(R"({"ok":false,"error":"poc_route_guard_failed",)"
                          R"("message":"RDP session detected")"));
}

TEST(ErrorReplyWithReports, CodeAndMessageAreCopiedWithoutEscaping) {
  EXPECT_EQ(MakeErrorReplyWithReports("a\"b", "c\"d\\e\n", {}, {}),
            Reply("{\"ok\":false,\"error\":\"a\"b\",\"message\":\"c\"d\\e\n\""));
}

TEST(ErrorReplyWithReports, MessageThatEndsInABraceChangesNothing) {
  EXPECT_EQ(MakeErrorReplyWithReports("", "}", {}, {}),
            Reply(R"({"ok":false,"error":"","message":"}")"));
}

}  // namespace
}  // namespace veltrane
