#include "client/screens/screens.h"

namespace veltrane {
namespace {

const Painter kPlain(false);

BypassReport Report(bool applied, const std::string& failure_reason) {
  BypassReport report;
  report.state.enabled = true;
  report.state.attempted = true;
  report.state.applied = applied;
  report.state.failure_reason = failure_reason;
  report.state.message = "message";
  return report;
}

HostRouteResult Route(const std::string& ip) {
  HostRouteResult route;
  route.ip = ip;
  route.source = "ADMIN_BYPASS_IP";
  route.required = true;
  route.add_attempted = true;
  route.gateway = "192.168.1.1";
  route.interface_index = "12";
  return route;
}

TEST(BypassScreen, NothingHasHappenedYet) {
  EXPECT_EQ(BypassScreen(BypassReport{}, kPlain), "Administrator bypass: nothing reported yet\n");
}

TEST(BypassScreen, RoutesThatFailedSayWhyAndWhatIsInTheWay) {
  BypassReport report = Report(false, "route_add_failed");
  HostRouteResult refused = Route("203.0.113.5");
  refused.error_message = "CreateIpForwardEntry failed";
  refused.win32_error_code = 160;
  HostRouteResult elsewhere = Route("203.0.113.6");
  elsewhere.error_message = "route verify failed after add";
  elsewhere.existing_route_gateway = "192.168.1.254";
  elsewhere.existing_route_interface_index = "12";
  HostRouteResult there = Route("203.0.113.7");
  there.add_attempted = false;
  there.already_exists = true;
  there.add_success = true;
  there.existing_route_gateway = "192.168.1.1";
  there.existing_route_interface_index = "12";
  HostRouteResult raced = Route("203.0.113.8");
  raced.already_exists = true;
  raced.add_success = true;
  raced.win32_error_code = 5010;
  report.routes = {refused, elsewhere, there, raced};
  EXPECT_EQ(
      BypassScreen(report, kPlain),
      "Administrator bypass: refused (route_add_failed)\n"
      "  message         message\n"
      "  tried           203.0.113.5      required  ADMIN_BYPASS_IP             failed: "
      "CreateIpForwardEntry failed (Windows error 160)\n"
      "                  203.0.113.6      required  ADMIN_BYPASS_IP             failed: route "
      "verify failed after add; its route goes through 192.168.1.254 on interface 12\n"
      "                  203.0.113.7      required  ADMIN_BYPASS_IP             already present\n"
      "                  203.0.113.8      required  ADMIN_BYPASS_IP             already present\n");
}

TEST(BypassScreen, RoutesThatWereAddedAgainAreShown) {
  BypassReport report = Report(true, "");
  report.state.route_readded_after_tunnel = true;
  report.state.route_verify_before_tunnel = "203.0.113.5:ok(metric=1);";
  report.state.route_add_results = "203.0.113.5:added;198.51.100.7:add_failed(87);";
  report.state.route_verify_after_tunnel = "203.0.113.5:metric_high(26);198.51.100.7:missing;";
  EXPECT_EQ(BypassScreen(report, kPlain),
            "Administrator bypass: in force\n"
            "  message         message\n"
            "  before tunnel   203.0.113.5      ok(metric=1)\n"
            "  added again     203.0.113.5      added\n"
            "                  198.51.100.7     add_failed(87)\n"
            "  after tunnel    203.0.113.5      metric_high(26)\n"
            "                  198.51.100.7     missing\n");
}

TEST(BypassScreen, ABypassThatTheGuardSkippedListsWhatItFound) {
  BypassReport report = Report(false, "");
  report.state.skipped_for_safe_mode = true;
  report.selected = {{"198.51.100.9", "WTS", false}};
  EXPECT_EQ(BypassScreen(report, kPlain),
            "Administrator bypass: skipped, the default-route guard is in force\n"
            "  message         message\n"
            "  addresses       198.51.100.9     optional  Remote Desktop session\n");
}

}  // namespace
}  // namespace veltrane
