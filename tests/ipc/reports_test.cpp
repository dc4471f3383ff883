#include "ipc/reports.h"

#include <string>

#include <gtest/gtest.h>

#include "tests/ipc/report_texts.h"

namespace veltrane {
namespace {

AdminBypassState SomeBypass() {
  AdminBypassState bypass;
  bypass.enabled = true;
  bypass.attempted = true;
  bypass.required_enforced = true;
  bypass.client_ip = "203.0.113.5";
  bypass.message = "route \"add\" failed";
  bypass.failure_reason = "route_add_failed";
  bypass.admin_env_ips = R"(["203.0.113.5"])";
  return bypass;
}

RouteGuardResult SomeGuard() {
  RouteGuardResult guard;
  guard.rdp_session_active = true;
  guard.auto_stop_seconds = 120;
  guard.effective_auto_stop_seconds = 120;
  guard.machine_env_VELTRANE_POC_AUTO_STOP_SECONDS = "120";
  guard.default_routes_before_tunnel = "none";
  guard.failure_reason = "rdp_requires_disable_default_route";
  guard.message = "RDP session detected";
  return guard;
}

constexpr char kSomeReports[] =
    R"("admin_bypass":{"enabled":true,"attempted":true,"applied":false,)"
    R"("routes_ready_before_tunnel":false,"route_readded_after_tunnel":false,)"
    R"("required_enforced":true,"skipped_for_safe_mode":false,"auto_stop_seconds":0,)"
    R"("client_ip":"203.0.113.5","message":"route \"add\" failed",)"
    R"("failure_reason":"route_add_failed","admin_env_ips":["203.0.113.5"]},)"
    R"("poc_route_guard":{"effective_disable_default_route":false,"poc_route_guard_failed":false,)"
    R"("poc_default_route_detected":false,"poc_env_read_failed":false,"rdp_session_active":true,)"
    R"("auto_stop_scheduled":false,"auto_stop_seconds":120,"effective_auto_stop_seconds":120,)"
    R"("process_env_VELTRANE_POC_DISABLE_DEFAULT_ROUTE":"",)"
    R"("machine_env_VELTRANE_POC_DISABLE_DEFAULT_ROUTE":"",)"
    R"("user_env_VELTRANE_POC_DISABLE_DEFAULT_ROUTE":"",)"
    R"("process_env_VELTRANE_POC_AUTO_STOP_SECONDS":"",)"
    R"("machine_env_VELTRANE_POC_AUTO_STOP_SECONDS":"120",)"
    R"("user_env_VELTRANE_POC_AUTO_STOP_SECONDS":"",)"
    R"("default_routes_before_tunnel":"none",)"
    R"("failure_reason":"rdp_requires_disable_default_route","message":"RDP session detected"})";

std::string EndWithSomeReports(const std::string& beginning) {
  return beginning + "," + kSomeReports + "}";
}

TEST(AppendReports, ReportsFollowTheMembersOfTheEnvelope) {
  EXPECT_EQ(AppendReports(R"({"ok":true,"phase":"connected"})", {}, {}),
            EndWithFreshReports(R"({"ok":true,"phase":"connected")"));
}

TEST(AppendReports, RecordsOfTheCallerAreReported) {
  EXPECT_EQ(
      AppendReports(R"({"ok":true,"phase":"connected","node_id":"n1"})", SomeBypass(), SomeGuard()),
      EndWithSomeReports(R"({"ok":true,"phase":"connected","node_id":"n1")"));
}

TEST(AppendReports, OnlyTheLastCharacterIsTakenOff) {
  EXPECT_EQ(AppendReports(R"({"a":{"b":{}}})", {}, {}), EndWithFreshReports(R"({"a":{"b":{}})"));
}

TEST(AppendReports, BraceAloneIsEnough) {
  EXPECT_EQ(AppendReports("}", {}, {}), EndWithFreshReports(""));
}

TEST(AppendReports, EmptyTextStaysEmpty) { EXPECT_EQ(AppendReports("", {}, {}), ""); }

TEST(AppendReports, TextThatEndsInALineFeedComesBackUnchanged) {
  EXPECT_EQ(AppendReports("{\"ok\":true,\"phase\":\"connected\"}\n", SomeBypass(), SomeGuard()),
            "{\"ok\":true,\"phase\":\"connected\"}\n");
}

TEST(AppendReports, TextThatDoesNotEndInABraceComesBackUnchanged) {
  EXPECT_EQ(AppendReports("{\"ok\":true", SomeBypass(), SomeGuard()), "{\"ok\":true");
  EXPECT_EQ(AppendReports("[{}]", SomeBypass(), SomeGuard()), "[{}]");
  EXPECT_EQ(AppendReports("{} ", SomeBypass(), SomeGuard()), "{} ");
}

TEST(ErrorReplyWithReports, DefaultRecordsAreReportedToo) {
  EXPECT_EQ(MakeErrorReplyWithReports(
                "poc_env_read_failed",
                "Machine VELTRANE_POC_DISABLE_DEFAULT_ROUTE unreadable or invalid", {}, {}),
            EndWithFreshReports(
                R"({"ok":false,"error":"poc_env_read_failed",)"
                R"("message":"Machine VELTRANE_POC_DISABLE_DEFAULT_ROUTE unreadable or invalid")"));
}

TEST(ErrorReplyWithReports, MembersAreOkErrorMessageBypassAndGuard) {
  EXPECT_EQ(MakeErrorReplyWithReports("poc_route_guard_failed", "RDP session detected",
                                      SomeBypass(), SomeGuard()),
            EndWithSomeReports(R"({"ok":false,"error":"poc_route_guard_failed",)"
                               R"("message":"RDP session detected")"));
}

TEST(ErrorReplyWithReports, CodeAndMessageAreCopiedWithoutEscaping) {
  EXPECT_EQ(MakeErrorReplyWithReports("a\"b", "c\"d\\e\n", {}, {}),
            EndWithFreshReports("{\"ok\":false,\"error\":\"a\"b\",\"message\":\"c\"d\\e\n\""));
}

TEST(ErrorReplyWithReports, MessageThatEndsInABraceChangesNothing) {
  EXPECT_EQ(MakeErrorReplyWithReports("", "}", {}, {}),
            EndWithFreshReports(R"({"ok":false,"error":"","message":"}")"));
}

}  // namespace
}  // namespace veltrane
