#include "bypass/report.h"

#include <cstdint>
#include <limits>

#include <gtest/gtest.h>

namespace veltrane {
namespace {

// What every report begins with when all flags are false.
constexpr char kFalseFlags[] =
    R"("admin_bypass":{"enabled":false,"attempted":false,"applied":false,)"
    R"("routes_ready_before_tunnel":false,"route_readded_after_tunnel":false,)"
    R"("required_enforced":false,"skipped_for_safe_mode":false)";

TEST(AdminBypassReport, WithEveryTextEmptyHoldsExactlyTheFlagsAndAutoStopSeconds) {
  EXPECT_EQ(FormatAdminBypassReport({}), std::string(kFalseFlags) + R"(,"auto_stop_seconds":0})");
}

TEST(AdminBypassReport, AllMembersAreWrittenInTheirOrder) {
  AdminBypassState state;
  state.enabled = true;
  state.attempted = true;
  state.applied = true;
  state.routes_ready_before_tunnel = true;
  state.route_readded_after_tunnel = true;
  state.required_enforced = true;
  state.skipped_for_safe_mode = true;
  state.auto_stop_seconds = 45;
  state.client_ip = "203.0.113.5";
  state.gateway = "192.168.1.1";
  state.message = "a message";
  state.failure_reason = "a_reason";
  state.rdp_tcp_remote_addresses = R"(["203.0.113.5"])";
  state.admin_env_ips = R"(["198.51.100.7"])";
  state.selected_admin_bypass_ips = R"(["198.51.100.7","203.0.113.5"])";
  state.selected_bypass_ip_entries =
      R"([{"ip":"203.0.113.5","source":"RDP_TCP_ESTABLISHED","required":true}])";
  state.physical_default_gateway_before_tunnel = "192.168.1.254";
  state.physical_interface_index_before_tunnel = "12";
  state.route_add_results = "203.0.113.5:added;";
  state.route_add_results_detail = R"([{"ip":"203.0.113.5"}])";
  state.route_verify_before_tunnel = "203.0.113.5:ok(metric=1);";
  state.route_verify_after_tunnel = "203.0.113.5:ok(metric=2);";
  EXPECT_EQ(
      FormatAdminBypassReport(state),
      R"("admin_bypass":{"enabled":true,"attempted":true,"applied":true,)"
      R"("routes_ready_before_tunnel":true,"route_readded_after_tunnel":true,)"
      R"("required_enforced":true,"skipped_for_safe_mode":true,"auto_stop_seconds":45,)"
      R"("client_ip":"203.0.113.5","gateway":"192.168.1.1","message":"a message",)"
      R"("failure_reason":"a_reason","rdp_tcp_remote_addresses":["203.0.113.5"],)"
      R"("admin_env_ips":["198.51.100.7"],)"
      R"("selected_admin_bypass_ips":["198.51.100.7","203.0.113.5"],)"
      R"("selected_bypass_ip_entries":)"
      R"([{"ip":"203.0.113.5","source":"RDP_TCP_ESTABLISHED","required":true}],)"
      R"("physical_default_gateway_before_tunnel":"192.168.1.254",)"
      R"("physical_interface_index_before_tunnel":"12","route_add_results":"203.0.113.5:added;",)"
      R"("route_add_results_detail":[{"ip":"203.0.113.5"}],)"
      R"("route_verify_before_tunnel":"203.0.113.5:ok(metric=1);",)"
      R"("route_verify_after_tunnel":"203.0.113.5:ok(metric=2);"})");
}

TEST(AdminBypassReport, AppliedBypassBeginsWithItsFlagsAutoStopAndClient) {
  AdminBypassState state;
  state.enabled = true;
  state.attempted = true;
  state.applied = true;
  state.routes_ready_before_tunnel = true;
  state.required_enforced = true;
  state.client_ip = "10.0.0.5";
  EXPECT_EQ(FormatAdminBypassReport(state),
            R"("admin_bypass":{"enabled":true,"attempted":true,"applied":true,)"
            R"("routes_ready_before_tunnel":true,"route_readded_after_tunnel":false,)"
            R"("required_enforced":true,"skipped_for_safe_mode":false,"auto_stop_seconds":0,)"
            R"("client_ip":"10.0.0.5"})");
}

struct TextMember {
  const char* key;
  std::string AdminBypassState::*member;
};

constexpr TextMember kQuotedMembers[] = {
    {"client_ip", &AdminBypassState::client_ip},
    {"gateway", &AdminBypassState::gateway},
    {"message", &AdminBypassState::message},
    {"failure_reason", &AdminBypassState::failure_reason},
    {"physical_default_gateway_before_tunnel",
     &AdminBypassState::physical_default_gateway_before_tunnel},
    {"physical_interface_index_before_tunnel",
     &AdminBypassState::physical_interface_index_before_tunnel},
    {"route_add_results", &AdminBypassState::route_add_results},
    {"route_verify_before_tunnel", &AdminBypassState::route_verify_before_tunnel},
    {"route_verify_after_tunnel", &AdminBypassState::route_verify_after_tunnel},
};

constexpr TextMember kArrayMembers[] = {
    {"rdp_tcp_remote_addresses", &AdminBypassState::rdp_tcp_remote_addresses},
    {"admin_env_ips", &AdminBypassState::admin_env_ips},
    {"selected_admin_bypass_ips", &AdminBypassState::selected_admin_bypass_ips},
    {"selected_bypass_ip_entries", &AdminBypassState::selected_bypass_ip_entries},
    {"route_add_results_detail", &AdminBypassState::route_add_results_detail},
};

std::string MemberName(const testing::TestParamInfo<TextMember>& info) { return info.param.key; }

class AdminBypassReportText : public testing::TestWithParam<TextMember> {};

TEST_P(AdminBypassReportText, IsQuotedAndEscapedAndAloneWhenTheOthersAreEmpty) {
  AdminBypassState state;
  state.*GetParam().member = R"(a"b\c)";
  EXPECT_EQ(FormatAdminBypassReport(state), std::string(kFalseFlags) +
                                                R"(,"auto_stop_seconds":0,")" + GetParam().key +
                                                R"(":"a\"b\\c"})");
}

INSTANTIATE_TEST_SUITE_P(Members, AdminBypassReportText, testing::ValuesIn(kQuotedMembers),
                         MemberName);

class AdminBypassReportArray : public testing::TestWithParam<TextMember> {};

TEST_P(AdminBypassReportArray, IsCopiedVerbatim) {
  AdminBypassState state;
  state.*GetParam().member = R"(["a\"b"])";
  EXPECT_EQ(
      FormatAdminBypassReport(state),
      std::string(kFalseFlags) + R"(,"auto_stop_seconds":0,")" + GetParam().key + R"(":["a\"b"]})");
}

TEST_P(AdminBypassReportArray, EmptyListThatWasBuiltIsWrittenAsBrackets) {
  AdminBypassState state;
  state.*GetParam().member = "[]";
  EXPECT_EQ(FormatAdminBypassReport(state),
            std::string(kFalseFlags) + R"(,"auto_stop_seconds":0,")" + GetParam().key + R"(":[]})");
}

INSTANTIATE_TEST_SUITE_P(Members, AdminBypassReportArray, testing::ValuesIn(kArrayMembers),
                         MemberName);

struct Flag {
  const char* name;
  bool AdminBypassState::*member;
  const char* report;
};

constexpr Flag kFlags[] = {
    {"enabled", &AdminBypassState::enabled,
     R"("admin_bypass":{"enabled":true,"attempted":false,"applied":false,)"
     R"("routes_ready_before_tunnel":false,"route_readded_after_tunnel":false,)"
     R"("required_enforced":false,"skipped_for_safe_mode":false,"auto_stop_seconds":0})"},
    {"attempted", &AdminBypassState::attempted,
     R"("admin_bypass":{"enabled":false,"attempted":true,"applied":false,)"
     R"("routes_ready_before_tunnel":false,"route_readded_after_tunnel":false,)"
     R"("required_enforced":false,"skipped_for_safe_mode":false,"auto_stop_seconds":0})"},
    {"applied", &AdminBypassState::applied,
     R"("admin_bypass":{"enabled":false,"attempted":false,"applied":true,)"
     R"("routes_ready_before_tunnel":false,"route_readded_after_tunnel":false,)"
     R"("required_enforced":false,"skipped_for_safe_mode":false,"auto_stop_seconds":0})"},
    {"routes_ready_before_tunnel", &AdminBypassState::routes_ready_before_tunnel,
     R"("admin_bypass":{"enabled":false,"attempted":false,"applied":false,)"
     R"("routes_ready_before_tunnel":true,"route_readded_after_tunnel":false,)"
     R"("required_enforced":false,"skipped_for_safe_mode":false,"auto_stop_seconds":0})"},
    {"route_readded_after_tunnel", &AdminBypassState::route_readded_after_tunnel,
     R"("admin_bypass":{"enabled":false,"attempted":false,"applied":false,)"
     R"("routes_ready_before_tunnel":false,"route_readded_after_tunnel":true,)"
     R"("required_enforced":false,"skipped_for_safe_mode":false,"auto_stop_seconds":0})"},
    {"required_enforced", &AdminBypassState::required_enforced,
     R"("admin_bypass":{"enabled":false,"attempted":false,"applied":false,)"
     R"("routes_ready_before_tunnel":false,"route_readded_after_tunnel":false,)"
     R"("required_enforced":true,"skipped_for_safe_mode":false,"auto_stop_seconds":0})"},
    {"skipped_for_safe_mode", &AdminBypassState::skipped_for_safe_mode,
     R"("admin_bypass":{"enabled":false,"attempted":false,"applied":false,)"
     R"("routes_ready_before_tunnel":false,"route_readded_after_tunnel":false,)"
     R"("required_enforced":false,"skipped_for_safe_mode":true,"auto_stop_seconds":0})"},
};

std::string FlagName(const testing::TestParamInfo<Flag>& info) { return info.param.name; }

class AdminBypassReportFlag : public testing::TestWithParam<Flag> {};

TEST_P(AdminBypassReportFlag, IsWrittenInItsOwnPlace) {
  AdminBypassState state;
  state.*GetParam().member = true;
  EXPECT_EQ(FormatAdminBypassReport(state), GetParam().report);
}

INSTANTIATE_TEST_SUITE_P(Flags, AdminBypassReportFlag, testing::ValuesIn(kFlags), FlagName);

TEST(AdminBypassReport, LineFeedInTheMessageStaysARawByte) {
  AdminBypassState state;
  state.message = "first\nsecond";
  EXPECT_EQ(FormatAdminBypassReport(state), std::string(kFalseFlags) +
                                                ",\"auto_stop_seconds\":0,"
                                                "\"message\":\"first\nsecond\"}");
}

TEST(AdminBypassReport, NegativeAutoStopIsWrittenWithItsSign) {
  AdminBypassState state;
  state.auto_stop_seconds = -1;
  EXPECT_EQ(FormatAdminBypassReport(state),
            std::string(kFalseFlags) + R"(,"auto_stop_seconds":-1})");
}

TEST(AdminBypassReport, AutoStopCoversTheSigned32BitRange) {
  AdminBypassState state;
  state.auto_stop_seconds = std::numeric_limits<std::int32_t>::min();
  EXPECT_EQ(FormatAdminBypassReport(state),
            std::string(kFalseFlags) + R"(,"auto_stop_seconds":-2147483648})");
  state.auto_stop_seconds = std::numeric_limits<std::int32_t>::max();
  EXPECT_EQ(FormatAdminBypassReport(state),
            std::string(kFalseFlags) + R"(,"auto_stop_seconds":2147483647})");
}

}  // namespace
}  // namespace veltrane
