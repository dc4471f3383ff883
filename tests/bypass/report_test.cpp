#include "bypass/report.h"

#include <map>

#include <gtest/gtest.h>

#include "tests/bypass/full_records.h"
#include "tests/support/report_texts.h"

namespace veltrane {
namespace {

TEST(AdminBypassReport, WithEveryTextEmptyHoldsExactlyTheFlagsAndAutoStopSeconds) {
  EXPECT_EQ(FormatAdminBypassReport({}), kFreshBypass);
}

TEST(AdminBypassReport, AllMembersAreWrittenInTheirOrder) {
  EXPECT_EQ(FormatAdminBypassReport(FullState()), kFullReport);
}

template <typename Value>
struct Member {
  const char* key;
  Value AdminBypassState::*member;
};

constexpr Member<bool> kFlags[] = {
    {"enabled", &AdminBypassState::enabled},
    {"attempted", &AdminBypassState::attempted},
    {"applied", &AdminBypassState::applied},
    {"routes_ready_before_tunnel", &AdminBypassState::routes_ready_before_tunnel},
    {"route_readded_after_tunnel", &AdminBypassState::route_readded_after_tunnel},
    {"required_enforced", &AdminBypassState::required_enforced},
    {"skipped_for_safe_mode", &AdminBypassState::skipped_for_safe_mode},
};
constexpr Member<std::string> kTexts[] = {
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
constexpr Member<std::string> kArrays[] = {
    {"rdp_tcp_remote_addresses", &AdminBypassState::rdp_tcp_remote_addresses},
    {"admin_env_ips", &AdminBypassState::admin_env_ips},
    {"selected_admin_bypass_ips", &AdminBypassState::selected_admin_bypass_ips},
    {"selected_bypass_ip_entries", &AdminBypassState::selected_bypass_ip_entries},
    {"route_add_results_detail", &AdminBypassState::route_add_results_detail},
};

// The report of a record in which this text alone is set.
std::string ReportOf(std::string AdminBypassState::*member, const std::string& text) {
  AdminBypassState state;
  state.*member = text;
  return FormatAdminBypassReport(state);
}

// The report of a fresh record with one more member.
std::string FreshReportAnd(const std::string& key, const std::string& value) {
  return With(kFreshBypass, {"\"" + key + "\":" + value});
}

TEST(AdminBypassReport, EachFlagIsWrittenUnderItsOwnKey) {
  for (const auto& [key, member] : kFlags) {
    AdminBypassState state;
    state.*member = true;
    EXPECT_EQ(FormatAdminBypassReport(state), With(kFreshBypass, {key}));
  }
}

TEST(AdminBypassReport, TextIsQuotedAndEscapedButForItsLineFeeds) {
  for (const auto& [key, member] : kTexts) {
    EXPECT_EQ(ReportOf(member, "a\"b\\c\nd"), FreshReportAnd(key, "\"a\\\"b\\\\c\nd\""));
  }
}

TEST(AdminBypassReport, ArrayIsCopiedVerbatimAndWrittenWhenItIsEmpty) {
  for (const auto& [key, member] : kArrays) {
    EXPECT_EQ(ReportOf(member, R"(["a\"b"])"), FreshReportAnd(key, R"(["a\"b"])"));
    EXPECT_EQ(ReportOf(member, "[]"), FreshReportAnd(key, "[]"));
  }
}

TEST(AdminBypassReport, AutoStopIsASigned32BitNumber) {
  for (const auto& [seconds, text] : std::map<std::int32_t, const char*>{
           {-2147483647 - 1, "-2147483648"}, {-1, "-1"}, {2147483647, "2147483647"}}) {
    AdminBypassState state;
    state.auto_stop_seconds = seconds;
    EXPECT_EQ(FormatAdminBypassReport(state),
              With(kFreshBypass, {R"("auto_stop_seconds":)" + std::string(text)}));
  }
}

}  // namespace
}  // namespace veltrane
