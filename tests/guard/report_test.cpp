#include "guard/report.h"

#include <limits>

#include <gtest/gtest.h>

namespace veltrane {
namespace {

// The fourteen members that are always there, of a record in which nothing is set.
#define NOTHING_SET                                                       \
  R"("poc_route_guard":{"effective_disable_default_route":false,)"        \
  R"("poc_route_guard_failed":false,"poc_default_route_detected":false,)" \
  R"("poc_env_read_failed":false,"rdp_session_active":false,)"            \
  R"("auto_stop_scheduled":false,"auto_stop_seconds":0,)"                 \
  R"("effective_auto_stop_seconds":0,)"                                   \
  R"("process_env_VELTRANE_POC_DISABLE_DEFAULT_ROUTE":"",)"               \
  R"("machine_env_VELTRANE_POC_DISABLE_DEFAULT_ROUTE":"",)"               \
  R"("user_env_VELTRANE_POC_DISABLE_DEFAULT_ROUTE":"",)"                  \
  R"("process_env_VELTRANE_POC_AUTO_STOP_SECONDS":"",)"                   \
  R"("machine_env_VELTRANE_POC_AUTO_STOP_SECONDS":"",)"                   \
  R"("user_env_VELTRANE_POC_AUTO_STOP_SECONDS":"")"

RouteGuardResult EverythingSet() {
  RouteGuardResult result;
  result.effective_disable_default_route = true;
  result.poc_route_guard_failed = true;
  result.poc_default_route_detected = true;
  result.poc_env_read_failed = true;
  result.rdp_session_active = true;
  result.auto_stop_scheduled = true;
  result.auto_stop_seconds = 120;
  result.effective_auto_stop_seconds = 121;
  result.process_env_VELTRANE_POC_DISABLE_DEFAULT_ROUTE = "a";
  result.machine_env_VELTRANE_POC_DISABLE_DEFAULT_ROUTE = "b";
  result.user_env_VELTRANE_POC_DISABLE_DEFAULT_ROUTE = "c";
  result.process_env_VELTRANE_POC_AUTO_STOP_SECONDS = "d";
  result.machine_env_VELTRANE_POC_AUTO_STOP_SECONDS = "e";
  result.user_env_VELTRANE_POC_AUTO_STOP_SECONDS = "f";
  result.generated_allowed_ips_before = "g";
  result.generated_allowed_ips_after = "h";
  result.default_routes_before_tunnel = "i";
  result.default_routes_after_tunnel = "j";
  result.rdp_routes_before_tunnel = "k";
  result.rdp_routes_after_tunnel = "l";
  result.offending_default_route = "m";
  result.failure_reason = "n";
  result.message = "o";
  result.auto_stop_deadline_utc = "p";
  return result;
}

TEST(GuardReport, WithNothingSetHoldsTheFourteenConstantMembers) {
  EXPECT_EQ(FormatRouteGuardReport({}), NOTHING_SET "}");
}

TEST(GuardReport, WithEverythingSetHoldsTwentyFourMembersInOrder) {
  EXPECT_EQ(FormatRouteGuardReport(EverythingSet()),
            R"("poc_route_guard":{"effective_disable_default_route":true,)"
            R"("poc_route_guard_failed":true,"poc_default_route_detected":true,)"
            R"("poc_env_read_failed":true,"rdp_session_active":true,)"
            R"("auto_stop_scheduled":true,"auto_stop_seconds":120,)"
            R"("effective_auto_stop_seconds":121,)"
            R"("process_env_VELTRANE_POC_DISABLE_DEFAULT_ROUTE":"a",)"
            R"("machine_env_VELTRANE_POC_DISABLE_DEFAULT_ROUTE":"b",)"
            R"("user_env_VELTRANE_POC_DISABLE_DEFAULT_ROUTE":"c",)"
            R"("process_env_VELTRANE_POC_AUTO_STOP_SECONDS":"d",)"
            R"("machine_env_VELTRANE_POC_AUTO_STOP_SECONDS":"e",)"
            R"("user_env_VELTRANE_POC_AUTO_STOP_SECONDS":"f",)"
            R"("generated_allowed_ips_before":"g","generated_allowed_ips_after":"h",)"
            R"("default_routes_before_tunnel":"i","default_routes_after_tunnel":"j",)"
            R"("rdp_routes_before_tunnel":"k","rdp_routes_after_tunnel":"l",)"
            R"("offending_default_route":"m","failure_reason":"n","message":"o",)"
            R"("auto_stop_deadline_utc":"p"})");
}

struct Flag {
  const char* name;
  bool RouteGuardResult::*member;
  const char* report_begin;
};

void PrintTo(const Flag& flag, std::ostream* out) { *out << flag.name; }

class GuardReportFlag : public testing::TestWithParam<Flag> {};

TEST_P(GuardReportFlag, IsPrintedUnderItsOwnKey) {
  RouteGuardResult result;
  result.*GetParam().member = true;
  const std::string report = FormatRouteGuardReport(result);
  const std::string expected = GetParam().report_begin;
  EXPECT_EQ(report.substr(0, expected.size()), expected);
}

INSTANTIATE_TEST_SUITE_P(
    Flags, GuardReportFlag,
    testing::Values(
        Flag{
            "EffectiveDisableDefaultRoute", &RouteGuardResult::effective_disable_default_route,
            R"("poc_route_guard":{"effective_disable_default_route":true,)"
            R"("poc_route_guard_failed":false,"poc_default_route_detected":false,)"
            R"("poc_env_read_failed":false,"rdp_session_active":false,"auto_stop_scheduled":false,)"},
        Flag{
            "PocRouteGuardFailed", &RouteGuardResult::poc_route_guard_failed,
            R"("poc_route_guard":{"effective_disable_default_route":false,)"
            R"("poc_route_guard_failed":true,"poc_default_route_detected":false,)"
            R"("poc_env_read_failed":false,"rdp_session_active":false,"auto_stop_scheduled":false,)"},
        Flag{
            "PocDefaultRouteDetected", &RouteGuardResult::poc_default_route_detected,
            R"("poc_route_guard":{"effective_disable_default_route":false,)"
            R"("poc_route_guard_failed":false,"poc_default_route_detected":true,)"
            R"("poc_env_read_failed":false,"rdp_session_active":false,"auto_stop_scheduled":false,)"},
        Flag{
            "PocEnvReadFailed", &RouteGuardResult::poc_env_read_failed,
            R"("poc_route_guard":{"effective_disable_default_route":false,)"
            R"("poc_route_guard_failed":false,"poc_default_route_detected":false,)"
            R"("poc_env_read_failed":true,"rdp_session_active":false,"auto_stop_scheduled":false,)"},
        Flag{
            "RdpSessionActive", &RouteGuardResult::rdp_session_active,
            R"("poc_route_guard":{"effective_disable_default_route":false,)"
            R"("poc_route_guard_failed":false,"poc_default_route_detected":false,)"
            R"("poc_env_read_failed":false,"rdp_session_active":true,"auto_stop_scheduled":false,)"},
        Flag{
            "AutoStopScheduled", &RouteGuardResult::auto_stop_scheduled,
            R"("poc_route_guard":{"effective_disable_default_route":false,)"
            R"("poc_route_guard_failed":false,"poc_default_route_detected":false,)"
            R"("poc_env_read_failed":false,"rdp_session_active":false,"auto_stop_scheduled":true,)"}),
    [](const testing::TestParamInfo<Flag>& flag) { return std::string(flag.param.name); });

struct OptionalText {
  const char* name;
  std::string RouteGuardResult::*member;
  const char* report;
};

void PrintTo(const OptionalText& text, std::ostream* out) { *out << text.name; }

class GuardReportOptionalText : public testing::TestWithParam<OptionalText> {};

TEST_P(GuardReportOptionalText, AloneFollowsTheConstantMembers) {
  RouteGuardResult result;
  result.*GetParam().member = "x";
  EXPECT_EQ(FormatRouteGuardReport(result), GetParam().report);
}

INSTANTIATE_TEST_SUITE_P(
    Texts, GuardReportOptionalText,
    testing::Values(
        OptionalText{"AllowedIpsBefore", &RouteGuardResult::generated_allowed_ips_before,
                     NOTHING_SET R"(,"generated_allowed_ips_before":"x"})"},
        OptionalText{"AllowedIpsAfter", &RouteGuardResult::generated_allowed_ips_after,
                     NOTHING_SET R"(,"generated_allowed_ips_after":"x"})"},
        OptionalText{"DefaultRoutesBefore", &RouteGuardResult::default_routes_before_tunnel,
                     NOTHING_SET R"(,"default_routes_before_tunnel":"x"})"},
        OptionalText{"DefaultRoutesAfter", &RouteGuardResult::default_routes_after_tunnel,
                     NOTHING_SET R"(,"default_routes_after_tunnel":"x"})"},
        OptionalText{"RdpRoutesBefore", &RouteGuardResult::rdp_routes_before_tunnel,
                     NOTHING_SET R"(,"rdp_routes_before_tunnel":"x"})"},
        OptionalText{"RdpRoutesAfter", &RouteGuardResult::rdp_routes_after_tunnel,
                     NOTHING_SET R"(,"rdp_routes_after_tunnel":"x"})"},
        OptionalText{"OffendingDefaultRoute", &RouteGuardResult::offending_default_route,
                     NOTHING_SET R"(,"offending_default_route":"x"})"},
        OptionalText{"FailureReason", &RouteGuardResult::failure_reason,
                     NOTHING_SET R"(,"failure_reason":"x"})"},
        OptionalText{"Message", &RouteGuardResult::message, NOTHING_SET R"(,"message":"x"})"},
        OptionalText{"AutoStopDeadline", &RouteGuardResult::auto_stop_deadline_utc,
                     NOTHING_SET R"(,"auto_stop_deadline_utc":"x"})"}),
    [](const testing::TestParamInfo<OptionalText>& text) { return std::string(text.param.name); });

TEST(GuardReport, PrintsTheSecondCountsAsSignedNumbers) {
  RouteGuardResult result;
  result.auto_stop_seconds = std::numeric_limits<std::int32_t>::min();
  result.effective_auto_stop_seconds = std::numeric_limits<std::int32_t>::max();
  EXPECT_EQ(FormatRouteGuardReport(result),
            R"("poc_route_guard":{"effective_disable_default_route":false,)"
            R"("poc_route_guard_failed":false,"poc_default_route_detected":false,)"
            R"("poc_env_read_failed":false,"rdp_session_active":false,)"
            R"("auto_stop_scheduled":false,"auto_stop_seconds":-2147483648,)"
            R"("effective_auto_stop_seconds":2147483647,)"
            R"("process_env_VELTRANE_POC_DISABLE_DEFAULT_ROUTE":"",)"
            R"("machine_env_VELTRANE_POC_DISABLE_DEFAULT_ROUTE":"",)"
            R"("user_env_VELTRANE_POC_DISABLE_DEFAULT_ROUTE":"",)"
            R"("process_env_VELTRANE_POC_AUTO_STOP_SECONDS":"",)"
            R"("machine_env_VELTRANE_POC_AUTO_STOP_SECONDS":"",)"
            R"("user_env_VELTRANE_POC_AUTO_STOP_SECONDS":""})");
}

TEST(GuardReport, EscapesQuotesAndBackslashesOfEveryText) {
  RouteGuardResult result;
  result.process_env_VELTRANE_POC_DISABLE_DEFAULT_ROUTE = "\\";
  result.machine_env_VELTRANE_POC_DISABLE_DEFAULT_ROUTE = "1\"";
  result.user_env_VELTRANE_POC_DISABLE_DEFAULT_ROUTE = "\"\"";
  result.process_env_VELTRANE_POC_AUTO_STOP_SECONDS = "C:\\x";
  result.machine_env_VELTRANE_POC_AUTO_STOP_SECONDS = "\\\"";
  result.user_env_VELTRANE_POC_AUTO_STOP_SECONDS = "a\"b";
  result.message = "say \"no\\yes\"";
  EXPECT_EQ(FormatRouteGuardReport(result),
            R"("poc_route_guard":{"effective_disable_default_route":false,)"
            R"("poc_route_guard_failed":false,"poc_default_route_detected":false,)"
            R"("poc_env_read_failed":false,"rdp_session_active":false,)"
            R"("auto_stop_scheduled":false,"auto_stop_seconds":0,)"
            R"("effective_auto_stop_seconds":0,)"
            R"("process_env_VELTRANE_POC_DISABLE_DEFAULT_ROUTE":"\\",)"
            R"("machine_env_VELTRANE_POC_DISABLE_DEFAULT_ROUTE":"1\"",)"
            R"("user_env_VELTRANE_POC_DISABLE_DEFAULT_ROUTE":"\"\"",)"
            R"("process_env_VELTRANE_POC_AUTO_STOP_SECONDS":"C:\\x",)"
            R"("machine_env_VELTRANE_POC_AUTO_STOP_SECONDS":"\\\"",)"
            R"("user_env_VELTRANE_POC_AUTO_STOP_SECONDS":"a\"b",)"
            R"("message":"say \"no\\yes\""})");
}

TEST(GuardReport, KeepsControlCharactersAndOtherBytesRaw) {
  RouteGuardResult result;
  result.message = "one\ntwo\tthree\r\x01 \xC3\xBC/";
  EXPECT_EQ(FormatRouteGuardReport(result),
            NOTHING_SET ",\"message\":\"one\ntwo\tthree\r\x01 \xC3\xBC/\"}");
}

TEST(GuardReport, PrintsAnUnavailableSnapshotAndLeavesOutOneNeverTaken) {
  RouteGuardResult result;
  result.default_routes_before_tunnel = "unavailable";
  result.rdp_routes_before_tunnel = "none";
  EXPECT_EQ(FormatRouteGuardReport(result), NOTHING_SET
            R"(,"default_routes_before_tunnel":"unavailable","rdp_routes_before_tunnel":"none"})");
}

TEST(GuardReport, PrintsTheOffendingRouteBeforeTheFailureReasonAndTheMessage) {
  RouteGuardResult result;
  result.message = "Default route on tunnel";
  result.failure_reason = "poc_default_route_detected";
  result.offending_default_route = "0.0.0.0/0->10.7.3.1@if21:wintun:metric=5";
  EXPECT_EQ(FormatRouteGuardReport(result),
            NOTHING_SET R"(,"offending_default_route":"0.0.0.0/0->10.7.3.1@if21:wintun:metric=5",)"
                        R"("failure_reason":"poc_default_route_detected",)"
                        R"("message":"Default route on tunnel"})");
}

}  // namespace
}  // namespace veltrane
