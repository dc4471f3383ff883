// The array texts of the bypass report.

#include <gtest/gtest.h>

#include "bypass/report.h"

namespace veltrane {
namespace {

TEST(FormatStringArray, EmptyListGivesBrackets) { EXPECT_EQ(FormatStringArray({}), "[]"); }

TEST(FormatStringArray, OneItem) {
  EXPECT_EQ(FormatStringArray({"203.0.113.5"}), R"(["203.0.113.5"])");
}

TEST(FormatStringArray, ItemsAreSeparatedByCommasWithoutBlanks) {
  EXPECT_EQ(FormatStringArray({"203.0.113.5", "198.51.100.7", "203.0.113.5"}),
            R"(["203.0.113.5","198.51.100.7","203.0.113.5"])");
}

TEST(FormatStringArray, ItemsAreEscaped) {
  EXPECT_EQ(FormatStringArray({R"(a"b)", R"(c\d)"}), R"(["a\"b","c\\d"])");
}

TEST(FormatStringArray, EmptyItemsKeepTheirPlaces) {
  EXPECT_EQ(FormatStringArray({"", ""}), R"(["",""])");
}

TEST(FormatBypassEntries, EmptyListGivesBrackets) { EXPECT_EQ(FormatBypassEntries({}), "[]"); }

TEST(FormatBypassEntries, TwoEntriesAreTwoObjectsOfIpSourceAndRequired) {
  EXPECT_EQ(
      FormatBypassEntries({{.ip = "198.51.100.7", .source = "ADMIN_BYPASS_IP", .required = true},
                           {.ip = "203.0.113.5", .source = "WTS", .required = false}}),
      R"([{"ip":"198.51.100.7","source":"ADMIN_BYPASS_IP","required":true},)"
      R"({"ip":"203.0.113.5","source":"WTS","required":false}])");
}

TEST(FormatBypassEntries, IpAndSourceAreEscaped) {
  EXPECT_EQ(FormatBypassEntries({{.ip = R"(1"2)", .source = R"(\s)", .required = false}}),
            R"([{"ip":"1\"2","source":"\\s","required":false}])");
}

TEST(FormatRouteAddDetails, EmptyListGivesBrackets) { EXPECT_EQ(FormatRouteAddDetails({}), "[]"); }

TEST(FormatRouteAddDetails, EmptyResultHasEveryMember) {
  EXPECT_EQ(FormatRouteAddDetails({HostRouteResult()}),
            R"([{"ip":"","source":"","required":false,"add_attempted":false,)"
            R"("already_exists":false,"add_success":false,"win32_error_code":0,)"
            R"("error_message":"","gateway":"","interface_index":"","existing_route_gateway":"",)"
            R"("existing_route_interface_index":"","route_verify_success":false,)"
            R"("failure_reason":""}])");
}

HostRouteResult FilledResult() {
  HostRouteResult result;
  result.ip = "203.0.113.5";
  result.source = "legacy";
  result.required = true;
  result.add_attempted = true;
  result.already_exists = true;
  result.add_success = true;
  result.win32_error_code = 4294967295;
  result.error_message = "a message";
  result.gateway = "192.168.1.1";
  result.interface_index = "12";
  result.existing_route_gateway = "192.168.1.2";
  result.existing_route_interface_index = "13";
  result.route_verify_success = true;
  result.failure_reason = "a_reason";
  return result;
}

TEST(FormatRouteAddDetails, StatusIsABareUnsignedNumberAndIndexesAreQuoted) {
  EXPECT_EQ(FormatRouteAddDetails({FilledResult()}),
            R"([{"ip":"203.0.113.5","source":"legacy","required":true,"add_attempted":true,)"
            R"("already_exists":true,"add_success":true,"win32_error_code":4294967295,)"
            R"("error_message":"a message","gateway":"192.168.1.1","interface_index":"12",)"
            R"("existing_route_gateway":"192.168.1.2","existing_route_interface_index":"13",)"
            R"("route_verify_success":true,"failure_reason":"a_reason"}])");
}

TEST(FormatRouteAddDetails, TextsAreEscaped) {
  HostRouteResult result;
  result.ip = R"(a")";
  result.source = R"(b")";
  result.error_message = R"(c")";
  result.gateway = R"(d")";
  result.interface_index = R"(e")";
  result.existing_route_gateway = R"(f")";
  result.existing_route_interface_index = R"(g")";
  result.failure_reason = R"(h\)";
  EXPECT_EQ(FormatRouteAddDetails({result}),
            R"([{"ip":"a\"","source":"b\"","required":false,"add_attempted":false,)"
            R"("already_exists":false,"add_success":false,"win32_error_code":0,)"
            R"("error_message":"c\"","gateway":"d\"","interface_index":"e\"",)"
            R"("existing_route_gateway":"f\"","existing_route_interface_index":"g\"",)"
            R"("route_verify_success":false,"failure_reason":"h\\"}])");
}

TEST(FormatRouteAddDetails, EachFlagIsWrittenInItsOwnPlace) {
  HostRouteResult required;
  required.required = true;
  HostRouteResult attempted;
  attempted.add_attempted = true;
  HostRouteResult existing;
  existing.already_exists = true;
  HostRouteResult added;
  added.add_success = true;
  HostRouteResult verified;
  verified.route_verify_success = true;
  const std::string middle =
      R"("win32_error_code":0,"error_message":"","gateway":"","interface_index":"",)"
      R"("existing_route_gateway":"","existing_route_interface_index":"",)";
  EXPECT_EQ(FormatRouteAddDetails({required, attempted, existing, added, verified}),
            R"([{"ip":"","source":"","required":true,"add_attempted":false,)"
            R"("already_exists":false,"add_success":false,)" +
                middle +
                R"("route_verify_success":false,"failure_reason":""},)"
                R"({"ip":"","source":"","required":false,"add_attempted":true,)"
                R"("already_exists":false,"add_success":false,)" +
                middle +
                R"("route_verify_success":false,"failure_reason":""},)"
                R"({"ip":"","source":"","required":false,"add_attempted":false,)"
                R"("already_exists":true,"add_success":false,)" +
                middle +
                R"("route_verify_success":false,"failure_reason":""},)"
                R"({"ip":"","source":"","required":false,"add_attempted":false,)"
                R"("already_exists":false,"add_success":true,)" +
                middle +
                R"("route_verify_success":false,"failure_reason":""},)"
                R"({"ip":"","source":"","required":false,"add_attempted":false,)"
                R"("already_exists":false,"add_success":false,)" +
                middle + R"("route_verify_success":true,"failure_reason":""}])");
}

}  // namespace
}  // namespace veltrane
