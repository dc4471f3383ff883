#include "guard/report.h"

#include <limits>

#include <gtest/gtest.h>

#include "tests/guard/full_record.h"
#include "tests/support/report_texts.h"

namespace veltrane {
namespace {

TEST(GuardReport, WithNothingSetHoldsTheFourteenConstantMembers) {
  EXPECT_EQ(FormatRouteGuardReport({}), kFreshGuard);
}

TEST(GuardReport, WithEverythingSetHoldsTwentyFourMembersInOrder) {
  EXPECT_EQ(FormatRouteGuardReport(FullRecord()), kFullReport);
}

template <typename Value>
struct Member {
  const char* key;
  Value RouteGuardResult::*member;
};

constexpr Member<bool> kFlags[] = {
    {"effective_disable_default_route", &RouteGuardResult::effective_disable_default_route},
    {"poc_route_guard_failed", &RouteGuardResult::poc_route_guard_failed},
    {"poc_default_route_detected", &RouteGuardResult::poc_default_route_detected},
    {"poc_env_read_failed", &RouteGuardResult::poc_env_read_failed},
    {"rdp_session_active", &RouteGuardResult::rdp_session_active},
    {"auto_stop_scheduled", &RouteGuardResult::auto_stop_scheduled},
};

TEST(GuardReport, PrintsEachFlagUnderItsOwnKey) {
  for (const auto& [key, member] : kFlags) {
    RouteGuardResult result;
    result.*member = true;
    EXPECT_EQ(FormatRouteGuardReport(result), With(kFreshGuard, {key}));
  }
}

constexpr Member<std::string> kConstantTexts[] = {
    {"process_env_VELTRANE_POC_DISABLE_DEFAULT_ROUTE",
     &RouteGuardResult::process_env_VELTRANE_POC_DISABLE_DEFAULT_ROUTE},
    {"machine_env_VELTRANE_POC_DISABLE_DEFAULT_ROUTE",
     &RouteGuardResult::machine_env_VELTRANE_POC_DISABLE_DEFAULT_ROUTE},
    {"user_env_VELTRANE_POC_DISABLE_DEFAULT_ROUTE",
     &RouteGuardResult::user_env_VELTRANE_POC_DISABLE_DEFAULT_ROUTE},
    {"process_env_VELTRANE_POC_AUTO_STOP_SECONDS",
     &RouteGuardResult::process_env_VELTRANE_POC_AUTO_STOP_SECONDS},
    {"machine_env_VELTRANE_POC_AUTO_STOP_SECONDS",
     &RouteGuardResult::machine_env_VELTRANE_POC_AUTO_STOP_SECONDS},
    {"user_env_VELTRANE_POC_AUTO_STOP_SECONDS",
     &RouteGuardResult::user_env_VELTRANE_POC_AUTO_STOP_SECONDS},
};
constexpr Member<std::string> kOptionalTexts[] = {
    {"generated_allowed_ips_before", &RouteGuardResult::generated_allowed_ips_before},
    {"generated_allowed_ips_after", &RouteGuardResult::generated_allowed_ips_after},
    {"default_routes_before_tunnel", &RouteGuardResult::default_routes_before_tunnel},
    {"default_routes_after_tunnel", &RouteGuardResult::default_routes_after_tunnel},
    {"rdp_routes_before_tunnel", &RouteGuardResult::rdp_routes_before_tunnel},
    {"rdp_routes_after_tunnel", &RouteGuardResult::rdp_routes_after_tunnel},
    {"offending_default_route", &RouteGuardResult::offending_default_route},
    {"failure_reason", &RouteGuardResult::failure_reason},
    {"message", &RouteGuardResult::message},
    {"auto_stop_deadline_utc", &RouteGuardResult::auto_stop_deadline_utc},
};

// Quotes and backslashes are escaped; control characters and other bytes stay as they are.
constexpr char kRaw[] = "1\"\\\n\t\r\x01 \xC3\xBC/";
constexpr char kPrinted[] = "\"1\\\"\\\\\n\t\r\x01 \xC3\xBC/\"";

TEST(GuardReport, EscapesEachConstantTextUnderItsOwnKey) {
  for (const auto& [key, member] : kConstantTexts) {
    RouteGuardResult result;
    result.*member = kRaw;
    EXPECT_EQ(FormatRouteGuardReport(result),
              With(kFreshGuard, {std::string("\"") + key + "\":" + kPrinted}));
  }
}

TEST(GuardReport, EscapesAnOptionalTextThatAloneFollowsTheConstantMembers) {
  for (const auto& [key, member] : kOptionalTexts) {
    RouteGuardResult result;
    result.*member = kRaw;
    EXPECT_EQ(FormatRouteGuardReport(result),
              With(kFreshGuard, {std::string("\"") + key + "\":" + kPrinted}));
  }
}

TEST(GuardReport, PrintsTheSecondCountsAsSignedNumbers) {
  RouteGuardResult result;
  result.auto_stop_seconds = std::numeric_limits<std::int32_t>::min();
  result.effective_auto_stop_seconds = std::numeric_limits<std::int32_t>::max();
  EXPECT_EQ(FormatRouteGuardReport(result),
            With(kFreshGuard, {R"("auto_stop_seconds":-2147483648)",
                               R"("effective_auto_stop_seconds":2147483647)"}));
}

}  // namespace
}  // namespace veltrane
