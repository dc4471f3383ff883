// The array texts of the bypass report.

#include <gtest/gtest.h>

#include "bypass/report.h"
#include "tests/bypass/full_records.h"
#include "tests/support/report_texts.h"

namespace veltrane {
namespace {

TEST(FormatStringArray, ItemsAreQuotedEscapedAndSeparatedByCommas) {
  EXPECT_EQ(FormatStringArray({}), "[]");
  EXPECT_EQ(FormatStringArray({"203.0.113.5"}), R"(["203.0.113.5"])");
  EXPECT_EQ(FormatStringArray({"203.0.113.5", "198.51.100.7", "203.0.113.5"}),
            R"(["203.0.113.5","198.51.100.7","203.0.113.5"])");
  EXPECT_EQ(FormatStringArray({R"(a"b)", R"(c\d)"}), R"(["a\"b","c\\d"])");
  EXPECT_EQ(FormatStringArray({"", ""}), R"(["",""])");
}

TEST(FormatBypassEntries, EntriesAreObjectsOfIpSourceAndRequired) {
  EXPECT_EQ(FormatBypassEntries({}), "[]");
  EXPECT_EQ(
      FormatBypassEntries({{.ip = "198.51.100.7", .source = "ADMIN_BYPASS_IP", .required = true},
                           {.ip = "203.0.113.5", .source = "WTS", .required = false}}),
      R"([{"ip":"198.51.100.7","source":"ADMIN_BYPASS_IP","required":true},)"
      R"({"ip":"203.0.113.5","source":"WTS","required":false}])");
  EXPECT_EQ(FormatBypassEntries({{.ip = R"(1"2)", .source = R"(\s)", .required = false}}),
            R"([{"ip":"1\"2","source":"\\s","required":false}])");
}

constexpr char kFreshDetail[] =
    R"({"ip":"","source":"","required":false,"add_attempted":false,"already_exists":false,)"
    R"("add_success":false,"win32_error_code":0,"error_message":"","gateway":"",)"
    R"("interface_index":"","existing_route_gateway":"","existing_route_interface_index":"",)"
    R"("route_verify_success":false,"failure_reason":""})";

TEST(FormatRouteAddDetails, ResultsAreObjectsOfEveryMemberInOrder) {
  EXPECT_EQ(FormatRouteAddDetails({}), "[]");
  EXPECT_EQ(FormatRouteAddDetails({HostRouteResult(), FullResult()}),
            std::string("[") + kFreshDetail + "," + kFullDetail + "]");
}

template <typename Value>
struct Member {
  const char* key;
  Value HostRouteResult::*member;
};

constexpr Member<bool> kFlags[] = {
    {"required", &HostRouteResult::required},
    {"add_attempted", &HostRouteResult::add_attempted},
    {"already_exists", &HostRouteResult::already_exists},
    {"add_success", &HostRouteResult::add_success},
    {"route_verify_success", &HostRouteResult::route_verify_success},
};
constexpr Member<std::string> kTexts[] = {
    {"ip", &HostRouteResult::ip},
    {"source", &HostRouteResult::source},
    {"error_message", &HostRouteResult::error_message},
    {"gateway", &HostRouteResult::gateway},
    {"interface_index", &HostRouteResult::interface_index},
    {"existing_route_gateway", &HostRouteResult::existing_route_gateway},
    {"existing_route_interface_index", &HostRouteResult::existing_route_interface_index},
    {"failure_reason", &HostRouteResult::failure_reason},
};

TEST(FormatRouteAddDetails, EachFlagIsWrittenUnderItsOwnKey) {
  for (const auto& [key, member] : kFlags) {
    HostRouteResult result;
    result.*member = true;
    EXPECT_EQ(FormatRouteAddDetails({result}), "[" + With(kFreshDetail, {key}) + "]");
  }
}

TEST(FormatRouteAddDetails, EachTextIsEscapedUnderItsOwnKey) {
  for (const auto& [key, member] : kTexts) {
    HostRouteResult result;
    result.*member = R"(a"b\c)";
    EXPECT_EQ(FormatRouteAddDetails({result}),
              "[" + With(kFreshDetail, {std::string("\"") + key + R"(":"a\"b\\c")"}) + "]");
  }
}

}  // namespace
}  // namespace veltrane
