// Applies, checks and removals one after another, and the report and the routes after each.

#include <gtest/gtest.h>

#include "bypass/apply.h"
#include "bypass/host_routes.h"
#include "bypass/recheck.h"
#include "bypass/report.h"
#include "tests/bypass/on_apply_machine.h"

namespace veltrane {
namespace {

// One required address.
class BypassStory : public OnApplyMachine {
 protected:
  BypassStory() { machine.environment.SetProcess(L"ADMIN_BYPASS_IP", L"203.0.113.5"); }

  // The report of the current state.
  static std::string Report() { return FormatAdminBypassReport(CurrentAdminBypassState()); }

  // A report of the one address: `flags` are the three that change, `texts` what follows the
  // gateway, `results` what follows the interface.
  static std::string Expected(const std::string& flags, const std::string& texts,
                              const std::string& results) {
    return R"("admin_bypass":{"enabled":true,"attempted":true,)" + flags +
           R"("required_enforced":true,"skipped_for_safe_mode":false,"auto_stop_seconds":0,)"
           R"("client_ip":"203.0.113.5","gateway":"192.168.1.1",)" +
           texts +
           R"("rdp_tcp_remote_addresses":[],"admin_env_ips":["203.0.113.5"],)"
           R"("selected_admin_bypass_ips":["203.0.113.5"],"selected_bypass_ip_entries":)"
           R"([{"ip":"203.0.113.5","source":"ADMIN_BYPASS_IP","required":true}],)"
           R"("physical_default_gateway_before_tunnel":"192.168.1.1",)"
           R"("physical_interface_index_before_tunnel":"12",)" +
           results + "}";
  }

  // The details of the apply stay in a report whatever happens later.
  static constexpr char kDetail[] =
      R"("route_add_results_detail":[{"ip":"203.0.113.5","source":"ADMIN_BYPASS_IP",)"
      R"("required":true,"add_attempted":true,"already_exists":false,"add_success":true,)"
      R"("win32_error_code":0,"error_message":"","gateway":"192.168.1.1","interface_index":"12",)"
      R"("existing_route_gateway":"","existing_route_interface_index":"",)"
      R"("route_verify_success":true,"failure_reason":""}],)"
      R"("route_verify_before_tunnel":"203.0.113.5:ok(metric=1);")";

  const std::string pinned = "203.0.113.5/32 via 192.168.1.1 if 12 metric 1";
  const Strings physical_network = {"0.0.0.0/0 via 192.168.1.1 if 12 metric 25",
                                    "192.168.1.0/24 via 0.0.0.0 if 12 metric 281"};
};

TEST_F(BypassStory, AppliedCheckedAndRemovedIsAppliedAsIfForTheFirstTime) {
  const std::string applied = Expected(
      R"("applied":true,"routes_ready_before_tunnel":true,"route_readded_after_tunnel":false,)",
      R"("message":"required admin bypass host routes verified before tunnel",)",
      std::string(R"("route_add_results":"203.0.113.5:added;",)") + kDetail);
  ApplyAdminBypass(false);
  EXPECT_EQ(Report(), applied);

  RecheckBypassAfterTunnel();
  EXPECT_EQ(
      Report(),
      Expected(
          R"("applied":true,"routes_ready_before_tunnel":true,"route_readded_after_tunnel":false,)",
          R"("message":"admin bypass routes verified after tunnel",)",
          std::string(R"("route_add_results":"203.0.113.5:added;",)") + kDetail +
              R"(,"route_verify_after_tunnel":"203.0.113.5:ok(metric=1);")"));

  RemoveBypassRoutes();
  EXPECT_EQ(Report(),
            Expected(R"("applied":false,"routes_ready_before_tunnel":false,)"
                     R"("route_readded_after_tunnel":false,)",
                     R"("message":"admin bypass routes verified after tunnel",)",
                     std::string(R"("route_add_results":"203.0.113.5:added;",)") + kDetail +
                         R"(,"route_verify_after_tunnel":"203.0.113.5:ok(metric=1);")"));
  EXPECT_EQ(machine.routes.Texts(), physical_network);

  ApplyAdminBypass(false);
  EXPECT_EQ(Report(), applied);
  EXPECT_EQ(RecordedRoutes(), Strings{pinned});
}

TEST_F(BypassStory, LostRouteIsReportedUntilTheNextApply) {
  ApplyAdminBypass(false);
  machine.routes.Remove("203.0.113.5/32");
  machine.FailAlways("CreateForwardRow", 87);
  RecheckBypassAfterTunnel();
  const std::string lost = Expected(
      R"("applied":false,"routes_ready_before_tunnel":false,"route_readded_after_tunnel":true,)",
      R"("message":"admin bypass routes lost after tunnel start and could not be restored",)"
      R"("failure_reason":"route_verify_after_tunnel_failed",)",
      std::string(R"("route_add_results":"203.0.113.5:add_failed(87);",)") + kDetail +
          R"(,"route_verify_after_tunnel":"203.0.113.5:missing;")");
  EXPECT_EQ(Report(), lost);

  RemoveBypassRoutes();
  EXPECT_EQ(Report(), lost);
  EXPECT_EQ(machine.routes.Texts(), physical_network);

  machine.calls.Heal("CreateForwardRow");
  ApplyAdminBypass(false);
  EXPECT_EQ(
      Report(),
      Expected(
          R"("applied":true,"routes_ready_before_tunnel":true,"route_readded_after_tunnel":false,)",
          R"("message":"required admin bypass host routes verified before tunnel",)",
          std::string(R"("route_add_results":"203.0.113.5:added;",)") + kDetail));
}

TEST_F(BypassStory, RouteThatWasReAddedIsDeletedOnceForEachOfItsCreations) {
  ApplyAdminBypass(false);
  machine.routes.Remove("203.0.113.5/32");
  EXPECT_TRUE(RecheckBypassAfterTunnel().applied);
  machine.calls.Clear();
  const AdminBypassState state = RemoveBypassRoutes();
  EXPECT_EQ(machine.Changes(),
            (Strings{"DeleteForwardRow " + pinned, "DeleteForwardRow " + pinned}));
  EXPECT_TRUE(state.route_readded_after_tunnel);
  EXPECT_EQ(state.message, "admin bypass routes re-added and verified after tunnel");
  EXPECT_EQ(machine.routes.Texts(), physical_network);
}

TEST_F(BypassStory, CheckAfterARemovalPinsTheRoutesAgain) {
  ApplyAdminBypass(false);
  RemoveBypassRoutes();
  const AdminBypassState state = RecheckBypassAfterTunnel();
  EXPECT_TRUE(state.applied);
  EXPECT_TRUE(state.route_readded_after_tunnel);
  EXPECT_EQ(RecordedRoutes(), Strings{pinned});
}

TEST_F(BypassStory, ApplyThroughAnotherGatewayLeavesTheEarlierRouteAndNotesIt) {
  ApplyAdminBypass(false);
  machine.routes.Remove("0.0.0.0/0");
  machine.routes.Add("0.0.0.0/0", "192.168.2.1", 14, 25);
  const AdminBypassState state = ApplyAdminBypass(false);
  EXPECT_EQ(state.gateway, "192.168.2.1");
  EXPECT_NE(state.route_add_results_detail.find(
                R"("gateway":"192.168.2.1","interface_index":"14",)"
                R"("existing_route_gateway":"192.168.1.1","existing_route_interface_index":"12")"),
            std::string::npos);
  EXPECT_TRUE(RecheckBypassAfterTunnel().applied);
  machine.calls.Clear();
  RemoveBypassRoutes();
  EXPECT_EQ(machine.Changes(),
            Strings{"DeleteForwardRow 203.0.113.5/32 via 192.168.2.1 if 14 metric 1"});
  EXPECT_TRUE(machine.routes.Has(pinned));
}

TEST_F(BypassStory, DisabledApplyForgetsTheRoutesForTheCheckAndTheRemoval) {
  ApplyAdminBypass(false);
  machine.environment.SetProcess(L"VELTRANE_POC_ADMIN_BYPASS", L"0");
  ApplyAdminBypass(false);
  const std::string disabled =
      R"("admin_bypass":{"enabled":false,"attempted":false,"applied":false,)"
      R"("routes_ready_before_tunnel":false,"route_readded_after_tunnel":false,)"
      R"("required_enforced":true,"skipped_for_safe_mode":false,"auto_stop_seconds":0,)"
      R"("message":"admin bypass disabled for this build/config"})";
  machine.calls.Clear();
  EXPECT_EQ(FormatAdminBypassReport(RecheckBypassAfterTunnel()), disabled);
  EXPECT_EQ(FormatAdminBypassReport(RemoveBypassRoutes()), disabled);
  EXPECT_EQ(machine.Changes(), Strings{});
  EXPECT_TRUE(machine.routes.Has(pinned));
}

TEST_F(BypassStory, SafeModeApplyReplacesAnAppliedBypassAndItsRemovalClearsReady) {
  ApplyAdminBypass(false);
  EXPECT_TRUE(ApplyAdminBypass(true).routes_ready_before_tunnel);
  machine.calls.Clear();
  const AdminBypassState state = RemoveBypassRoutes();
  EXPECT_FALSE(state.routes_ready_before_tunnel);
  EXPECT_TRUE(state.skipped_for_safe_mode);
  EXPECT_EQ(state.message, "admin bypass skipped for POC safe mode (disable-default-route)");
  EXPECT_EQ(machine.Changes(), Strings{});
  EXPECT_TRUE(machine.routes.Has(pinned));
}

}  // namespace
}  // namespace veltrane
