// The apply sequence from the first route on.

#include <gtest/gtest.h>

#include "bypass/apply.h"
#include "bypass/host_routes.h"
#include "tests/bypass/on_apply_machine.h"

namespace veltrane {
namespace {

// Required: 198.51.100.7 of the environment, 203.0.113.5 on Remote Desktop. Optional: 9.9.9.9.
class AppliedBypass : public OnApplyMachine {
 protected:
  AppliedBypass() {
    machine.environment.SetProcess(L"ADMIN_BYPASS_IP", L"198.51.100.7");
    machine.environment.SetProcess(L"VELTRANE_POC_AUTO_STOP_SECONDS", L"30");
    machine.connections.AddEstablished(3389, "203.0.113.5");
    machine.sessions.AddActive(2, "9.9.9.9");
  }

  // The record up to the adding of routes.
  static AdminBypassState Prepared() {
    AdminBypassState state;
    state.enabled = true;
    state.attempted = true;
    state.required_enforced = true;
    state.client_ip = "198.51.100.7";
    state.gateway = "192.168.1.1";
    state.rdp_tcp_remote_addresses = R"(["203.0.113.5"])";
    state.admin_env_ips = R"(["198.51.100.7"])";
    state.selected_admin_bypass_ips = R"(["198.51.100.7","203.0.113.5","9.9.9.9"])";
    state.selected_bypass_ip_entries =
        R"([{"ip":"198.51.100.7","source":"ADMIN_BYPASS_IP","required":true},)"
        R"({"ip":"203.0.113.5","source":"RDP_TCP_ESTABLISHED","required":true},)"
        R"({"ip":"9.9.9.9","source":"WTS","required":false}])";
    state.physical_default_gateway_before_tunnel = "192.168.1.1";
    state.physical_interface_index_before_tunnel = "12";
    state.auto_stop_seconds = 30;
    return state;
  }

  static AdminBypassState Succeeded() {
    AdminBypassState state = Prepared();
    state.applied = true;
    state.routes_ready_before_tunnel = true;
    state.message = "required admin bypass host routes verified before tunnel";
    state.route_add_results = "198.51.100.7:added;203.0.113.5:added;9.9.9.9:added;";
    state.route_add_results_detail =
        "[" + DetailOf7(kAdded) + "," + DetailOf5(kAdded) + "," + DetailOf9(kAdded) + "]";
    state.route_verify_before_tunnel = "198.51.100.7:ok(metric=1);203.0.113.5:ok(metric=1);";
    return state;
  }

  // What a detail says of a route that was added, and of one whose create call answered 5.
  static constexpr char kAdded[] =
      R"("add_attempted":true,"already_exists":false,"add_success":true,"win32_error_code":0,)"
      R"("error_message":"","gateway":"192.168.1.1","interface_index":"12",)"
      R"("existing_route_gateway":"","existing_route_interface_index":"",)"
      R"("route_verify_success":true,"failure_reason":""})";
  static constexpr char kFailedWith5[] =
      R"("add_attempted":true,"already_exists":false,"add_success":false,"win32_error_code":5,)"
      R"("error_message":"CreateIpForwardEntry failed","gateway":"192.168.1.1",)"
      R"("interface_index":"12","existing_route_gateway":"","existing_route_interface_index":"",)"
      R"("route_verify_success":false,"failure_reason":"route_add_failed"})";
  static constexpr char kUnverified[] =
      R"("add_attempted":true,"already_exists":false,"add_success":false,"win32_error_code":0,)"
      R"("error_message":"route verify failed after add","gateway":"192.168.1.1",)"
      R"("interface_index":"12","existing_route_gateway":"","existing_route_interface_index":"",)"
      R"("route_verify_success":false,"failure_reason":"route_verify_failed"})";

  static std::string DetailOf7(const std::string& outcome) {
    return R"({"ip":"198.51.100.7","source":"ADMIN_BYPASS_IP","required":true,)" + outcome;
  }
  static std::string DetailOf5(const std::string& outcome) {
    return R"({"ip":"203.0.113.5","source":"RDP_TCP_ESTABLISHED","required":true,)" + outcome;
  }
  static std::string DetailOf9(const std::string& outcome) {
    return R"({"ip":"9.9.9.9","source":"WTS","required":false,)" + outcome;
  }

  const Strings physical_network = {"0.0.0.0/0 via 192.168.1.1 if 12 metric 25",
                                    "192.168.1.0/24 via 0.0.0.0 if 12 metric 281"};
};

TEST_F(AppliedBypass, AddsAndVerifiesARouteForEveryCandidateInTheirOrder) {
  ExpectApplyGives(Succeeded());
  EXPECT_EQ(machine.Changes(),
            (Strings{"CreateForwardRow 198.51.100.7/32 via 192.168.1.1 if 12 metric 1",
                     "CreateForwardRow 203.0.113.5/32 via 192.168.1.1 if 12 metric 1",
                     "CreateForwardRow 9.9.9.9/32 via 192.168.1.1 if 12 metric 1"}));
  EXPECT_EQ(RecordedRoutes(), (Strings{"198.51.100.7/32 via 192.168.1.1 if 12 metric 1",
                                       "203.0.113.5/32 via 192.168.1.1 if 12 metric 1",
                                       "9.9.9.9/32 via 192.168.1.1 if 12 metric 1"}));
  EXPECT_EQ(SelectedBypassIps(), (Strings{"198.51.100.7", "203.0.113.5", "9.9.9.9"}));
  EXPECT_EQ(RequiredBypassIps(), (Strings{"198.51.100.7", "203.0.113.5"}));
  ExpectPhysicalRoute("192.168.1.1", 12);
  EXPECT_EQ(LogLines(), Logged("enabled=1 applied=1 failure="));
}

TEST_F(AppliedBypass, ForgetsTheEarlierRoutesWithoutDeletingThem) {
  LeaveAnEarlierBypass();
  ExpectApplyGives(Succeeded());
  EXPECT_EQ(machine.calls.Count("DeleteForwardRow"), 0u);
  RemoveBypassRoutes();
  EXPECT_TRUE(machine.routes.Has("8.8.4.4/32 via 192.168.1.9 if 9 metric 1"));
}

TEST_F(AppliedBypass, TakesExistingRoutesAsTheyAreAndDoesNotRecordThem) {
  machine.routes.Add("198.51.100.7/32", "192.168.1.1", 12, 15);
  AdminBypassState expected = Succeeded();
  expected.route_add_results_detail =
      "[" +
      DetailOf7(
          R"("add_attempted":false,"already_exists":true,"add_success":true,"win32_error_code":0,)"
          R"("error_message":"","gateway":"192.168.1.1","interface_index":"12",)"
          R"("existing_route_gateway":"192.168.1.1","existing_route_interface_index":"12",)"
          R"("route_verify_success":true,"failure_reason":""})") +
      "," + DetailOf5(kAdded) + "," + DetailOf9(kAdded) + "]";
  expected.route_verify_before_tunnel = "198.51.100.7:ok(metric=15);203.0.113.5:ok(metric=1);";
  ExpectApplyGives(expected);
  EXPECT_EQ(RecordedRoutes(), (Strings{"203.0.113.5/32 via 192.168.1.1 if 12 metric 1",
                                       "9.9.9.9/32 via 192.168.1.1 if 12 metric 1"}));
}

TEST_F(AppliedBypass, UsesTheBestRouteOfTheMachineWhateverItsInterface) {
  machine.routes.OverrideBestRoute({.next_hop = Ip("172.16.0.1"), .interface_index = 4294967295});
  const AdminBypassState state = ApplyAdminBypass(false);
  EXPECT_EQ(state.gateway, "172.16.0.1");
  EXPECT_EQ(state.physical_default_gateway_before_tunnel, "172.16.0.1");
  EXPECT_EQ(state.physical_interface_index_before_tunnel, "4294967295");
  ExpectPhysicalRoute("172.16.0.1", 4294967295);
  EXPECT_TRUE(machine.routes.Has("9.9.9.9/32 via 172.16.0.1 if 4294967295 metric 1"));
}

TEST_F(AppliedBypass, GatewayThatCannotBePrintedIsAnEmptyTextAndStillUsed) {
  machine.OnCall("FindBestRoute", 1, [this] { machine.Fail("FormatIpv4", 1, 1); });
  const AdminBypassState state = ApplyAdminBypass(false);
  EXPECT_TRUE(state.applied);
  EXPECT_EQ(state.gateway, "");
  EXPECT_EQ(state.physical_default_gateway_before_tunnel, "");
  EXPECT_EQ(state.physical_interface_index_before_tunnel, "12");
  EXPECT_TRUE(machine.routes.Has("203.0.113.5/32 via 192.168.1.1 if 12 metric 1"));
}

TEST_F(AppliedBypass, IsNotStoppedByAnOptionalCandidateThatFails) {
  machine.FailWhere("CreateForwardRow", "9.9.9.9/32", 5);
  AdminBypassState expected = Succeeded();
  expected.route_add_results = "198.51.100.7:added;203.0.113.5:added;9.9.9.9:failed;";
  expected.route_add_results_detail =
      "[" + DetailOf7(kAdded) + "," + DetailOf5(kAdded) + "," + DetailOf9(kFailedWith5) + "]";
  ExpectApplyGives(expected);
  EXPECT_EQ(LogLines(), Logged("enabled=1 applied=1 failure="));
}

TEST_F(AppliedBypass, OptionalCandidateThatFailsFirstDoesNotStopTheOthers) {
  machine.environment.SetProcess(L"ADMIN_BYPASS_IP", L"");
  machine.environment.SetProcess(L"VELTRANE_POC_ADMIN_BYPASS", L"yes");
  machine.sessions.AddActive(3, "100.64.0.1");
  machine.FailWhere("CreateForwardRow", "100.64.0.1/32", 5);
  const AdminBypassState state = ApplyAdminBypass(false);
  EXPECT_TRUE(state.applied);
  EXPECT_EQ(state.client_ip, "203.0.113.5");
  EXPECT_EQ(state.route_add_results, "100.64.0.1:failed;203.0.113.5:added;9.9.9.9:added;");
}

TEST_F(AppliedBypass, SecondRequiredCandidateThatFailsRollsBackAndIsNamed) {
  machine.FailWhere("CreateForwardRow", "203.0.113.5/32", 5);
  AdminBypassState expected = Prepared();
  expected.message =
      "required admin bypass host route failed to add: 203.0.113.5 (CreateIpForwardEntry failed)";
  expected.failure_reason = "route_add_failed";
  expected.route_add_results = "198.51.100.7:added;203.0.113.5:failed;9.9.9.9:added;";
  expected.route_add_results_detail =
      "[" + DetailOf7(kAdded) + "," + DetailOf5(kFailedWith5) + "," + DetailOf9(kAdded) + "]";
  ExpectApplyGives(expected);
  EXPECT_EQ(machine.Changes(),
            (Strings{"CreateForwardRow 198.51.100.7/32 via 192.168.1.1 if 12 metric 1",
                     "CreateForwardRow 203.0.113.5/32 via 192.168.1.1 if 12 metric 1",
                     "CreateForwardRow 9.9.9.9/32 via 192.168.1.1 if 12 metric 1",
                     "DeleteForwardRow 198.51.100.7/32 via 192.168.1.1 if 12 metric 1",
                     "DeleteForwardRow 9.9.9.9/32 via 192.168.1.1 if 12 metric 1"}));
  EXPECT_EQ(machine.routes.Texts(), physical_network);
  EXPECT_EQ(RecordedRoutes(), Strings{});
  EXPECT_EQ(LogLines(),
            Logged("enabled=0 applied=0 failure=", "enabled=1 applied=0 failure=route_add_failed"));
}

TEST_F(AppliedBypass, OnlyTheFirstOfSeveralFailuresIsNamed) {
  machine.FailAlways("CreateForwardRow", 5);
  const AdminBypassState state = ApplyAdminBypass(false);
  EXPECT_EQ(
      state.message,
      "required admin bypass host route failed to add: 198.51.100.7 (CreateIpForwardEntry failed)");
  EXPECT_EQ(state.route_add_results, "198.51.100.7:failed;203.0.113.5:failed;9.9.9.9:failed;");
  EXPECT_EQ(machine.calls.Count("CreateForwardRow"), 3u);
  EXPECT_EQ(machine.calls.Count("DeleteForwardRow"), 0u);
}

TEST_F(AppliedBypass, RouteThatFailsItsVerificationIsRolledBackToo) {
  machine.Fail("ReadForwardTable", 3, 5);  // the check after the first add
  AdminBypassState expected = Prepared();
  expected.message =
      "required admin bypass host route failed to add: 198.51.100.7 (route verify failed after "
      "add)";
  expected.failure_reason = "route_add_failed";
  expected.route_add_results = "198.51.100.7:failed;203.0.113.5:added;9.9.9.9:added;";
  expected.route_add_results_detail =
      "[" + DetailOf7(kUnverified) + "," + DetailOf5(kAdded) + "," + DetailOf9(kAdded) + "]";
  ExpectApplyGives(expected);
  EXPECT_EQ(machine.routes.Texts(), physical_network);
}

TEST_F(AppliedBypass, RollbackAfterAFailedAddFirstLogsTheStateStoredBefore) {
  LeaveAnEarlierBypass();
  AdminBypassState stored_at_first_line;
  machine.OnCall("PrintDebugger", 1, [&] { stored_at_first_line = CurrentAdminBypassState(); });
  AdminBypassState earlier = CurrentAdminBypassState();
  earlier.applied = false;
  earlier.routes_ready_before_tunnel = false;
  machine.FailAlways("CreateForwardRow", 5);
  ApplyAdminBypass(false);
  EXPECT_EQ(Text(stored_at_first_line), Text(earlier));
  EXPECT_EQ(LogLines(), Logged("enabled=1 applied=0 failure=an_earlier_reason",
                               "enabled=1 applied=0 failure=route_add_failed"));
}

TEST_F(AppliedBypass, RollbackDeletesBeforeItsFirstLineAndLeavesTheEarlierRoute) {
  LeaveAnEarlierBypass();
  machine.FailWhere("CreateForwardRow", "203.0.113.5/32", 5);
  std::size_t deleted_at_first_line = 0;
  machine.OnCall("PrintDebugger", 1,
                 [&] { deleted_at_first_line = machine.calls.Count("DeleteForwardRow"); });
  ApplyAdminBypass(false);
  EXPECT_EQ(deleted_at_first_line, 2u);
  EXPECT_TRUE(machine.routes.Has("8.8.4.4/32 via 192.168.1.9 if 9 metric 1"));
}

TEST_F(AppliedBypass, RollbackKeepsTheListsAndTheGateway) {
  machine.FailAlways("CreateForwardRow", 5);
  ApplyAdminBypass(false);
  EXPECT_EQ(SelectedBypassIps(), (Strings{"198.51.100.7", "203.0.113.5", "9.9.9.9"}));
  EXPECT_EQ(RequiredBypassIps(), (Strings{"198.51.100.7", "203.0.113.5"}));
  ExpectPhysicalRoute("192.168.1.1", 12);
}

// Three reads for each of the three adds come before those of the check.
constexpr std::size_t kFirstReadOfTheCheck = 10;

TEST_F(AppliedBypass, RouteLostBeforeTheCheckIsRefusedAndRolledBack) {
  machine.OnCall("ReadForwardTable", kFirstReadOfTheCheck + 1,
                 [this] { machine.routes.Remove("203.0.113.5/32"); });
  AdminBypassState expected = Prepared();
  expected.message = "required admin bypass routes not verified before tunnel; refusing connect";
  expected.failure_reason = "route_verify_before_tunnel_failed";
  expected.route_add_results = "198.51.100.7:added;203.0.113.5:added;9.9.9.9:added;";
  expected.route_add_results_detail =
      "[" + DetailOf7(kAdded) + "," + DetailOf5(kAdded) + "," + DetailOf9(kAdded) + "]";
  expected.route_verify_before_tunnel = "198.51.100.7:ok(metric=1);203.0.113.5:missing;";
  ExpectApplyGives(expected);
  EXPECT_EQ(machine.Changes(),
            (Strings{"CreateForwardRow 198.51.100.7/32 via 192.168.1.1 if 12 metric 1",
                     "CreateForwardRow 203.0.113.5/32 via 192.168.1.1 if 12 metric 1",
                     "CreateForwardRow 9.9.9.9/32 via 192.168.1.1 if 12 metric 1",
                     "DeleteForwardRow 198.51.100.7/32 via 192.168.1.1 if 12 metric 1",
                     "DeleteForwardRow 203.0.113.5/32 via 192.168.1.1 if 12 metric 1",
                     "DeleteForwardRow 9.9.9.9/32 via 192.168.1.1 if 12 metric 1"}));
  EXPECT_EQ(machine.routes.Texts(), physical_network);
  EXPECT_EQ(RecordedRoutes(), Strings{});
  EXPECT_EQ(LogLines(), Logged("enabled=0 applied=0 failure=",
                               "enabled=1 applied=0 failure=route_verify_before_tunnel_failed"));
}

TEST_F(AppliedBypass, RollbackAfterAFailedCheckFirstLogsTheStateStoredBefore) {
  LeaveAnEarlierBypass();
  machine.Fail("ReadForwardTable", kFirstReadOfTheCheck, 5);
  const AdminBypassState state = ApplyAdminBypass(false);
  EXPECT_EQ(state.route_verify_before_tunnel, "198.51.100.7:missing;203.0.113.5:ok(metric=1);");
  EXPECT_EQ(LogLines(), Logged("enabled=1 applied=0 failure=an_earlier_reason",
                               "enabled=1 applied=0 failure=route_verify_before_tunnel_failed"));
}

TEST_F(AppliedBypass, RouteThatRisesToMetric16BeforeTheCheckIsRefused) {
  machine.OnCall("ReadForwardTable", kFirstReadOfTheCheck,
                 [this] { machine.routes.SetMetric("198.51.100.7/32", 16); });
  const AdminBypassState state = ApplyAdminBypass(false);
  EXPECT_EQ(state.failure_reason, "route_verify_before_tunnel_failed");
  EXPECT_EQ(state.route_verify_before_tunnel,
            "198.51.100.7:metric_high(16);203.0.113.5:ok(metric=1);");
}

TEST_F(AppliedBypass, OptionalRouteIsNotChecked) {
  machine.OnCall("ReadForwardTable", kFirstReadOfTheCheck,
                 [this] { machine.routes.Remove("9.9.9.9/32"); });
  EXPECT_TRUE(ApplyAdminBypass(false).applied);
  EXPECT_EQ(machine.calls.Count("ReadForwardTable"), 11u);
}

TEST_F(AppliedBypass, RemovalAfterwardsKeepsTheMessageAndClearsTwoFlags) {
  ApplyAdminBypass(false);
  AdminBypassState expected = Succeeded();
  expected.applied = false;
  expected.routes_ready_before_tunnel = false;
  EXPECT_EQ(Text(RemoveBypassRoutes()), Text(expected));
  EXPECT_EQ(machine.routes.Texts(), physical_network);
}

TEST_F(AppliedBypass, NextApplyStartsFromAFreshRecord) {
  machine.FailAlways("CreateForwardRow", 5);
  ApplyAdminBypass(false);
  machine.calls.Heal("CreateForwardRow");
  CurrentAdminBypassState().route_readded_after_tunnel = true;
  CurrentAdminBypassState().route_verify_after_tunnel = "198.51.100.7:ok(metric=1);";
  ExpectApplyGives(Succeeded());
}

TEST_F(AppliedBypass, EarlierStateStaysCurrentUntilTheSequenceEnds) {
  LeaveAnEarlierBypass();
  std::string message_while_adding;
  machine.OnCall("CreateForwardRow", 1,
                 [&] { message_while_adding = CurrentAdminBypassState().message; });
  ApplyAdminBypass(false);
  EXPECT_EQ(message_while_adding, "an earlier message");
}

}  // namespace
}  // namespace veltrane
