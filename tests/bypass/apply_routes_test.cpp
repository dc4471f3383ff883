// The apply sequence from the first route on.

#include <gtest/gtest.h>

#include "bypass/apply.h"
#include "bypass/host_routes.h"
#include "tests/bypass/on_apply_machine.h"

namespace veltrane {
namespace {

// What a detail says of a route that was added, of one that was there, of one whose create call
// answered 5, and of one that was created but not verified.
constexpr char kAdded[] =
    R"("add_attempted":true,"already_exists":false,"add_success":true,"win32_error_code":0,)"
    R"("error_message":"","gateway":"192.168.1.1","interface_index":"12",)"
    R"("existing_route_gateway":"","existing_route_interface_index":"",)"
    R"("route_verify_success":true,"failure_reason":""})";
constexpr char kExisting[] =
    R"("add_attempted":false,"already_exists":true,"add_success":true,"win32_error_code":0,)"
    R"("error_message":"","gateway":"192.168.1.1","interface_index":"12",)"
    R"("existing_route_gateway":"192.168.1.1","existing_route_interface_index":"12",)"
    R"("route_verify_success":true,"failure_reason":""})";
constexpr char kFailedWith5[] =
    R"("add_attempted":true,"already_exists":false,"add_success":false,"win32_error_code":5,)"
    R"("error_message":"CreateIpForwardEntry failed","gateway":"192.168.1.1",)"
    R"("interface_index":"12","existing_route_gateway":"","existing_route_interface_index":"",)"
    R"("route_verify_success":false,"failure_reason":"route_add_failed"})";
constexpr char kUnverified[] =
    R"("add_attempted":true,"already_exists":false,"add_success":false,"win32_error_code":0,)"
    R"("error_message":"route verify failed after add","gateway":"192.168.1.1",)"
    R"("interface_index":"12","existing_route_gateway":"","existing_route_interface_index":"",)"
    R"("route_verify_success":false,"failure_reason":"route_verify_failed"})";

// Optional: 100.64.0.1. Required: 198.51.100.7 of the environment, 203.0.113.5 on Remote Desktop.
class AppliedBypass : public OnApplyMachine {
 protected:
  AppliedBypass() {
    SetVariable(L"ADMIN_BYPASS_IP", L"198.51.100.7");
    SetVariable(L"VELTRANE_POC_AUTO_STOP_SECONDS", L"30");
    machine.connections.AddEstablished(3389, "203.0.113.5");
    machine.sessions.AddActive(2, "100.64.0.1");
  }

  // The record of the three, with what became of each.
  static AdminBypassState Tried(const std::string& message, const std::string& reason,
                                const std::string& results, const std::string& of_1,
                                const std::string& of_7, const std::string& of_5) {
    AdminBypassState state = Attempted(message, reason);
    state.client_ip = "198.51.100.7";
    state.gateway = "192.168.1.1";
    state.rdp_tcp_remote_addresses = R"(["203.0.113.5"])";
    state.admin_env_ips = R"(["198.51.100.7"])";
    state.selected_admin_bypass_ips = R"(["100.64.0.1","198.51.100.7","203.0.113.5"])";
    state.selected_bypass_ip_entries =
        R"([{"ip":"100.64.0.1","source":"WTS","required":false},)"
        R"({"ip":"198.51.100.7","source":"ADMIN_BYPASS_IP","required":true},)"
        R"({"ip":"203.0.113.5","source":"RDP_TCP_ESTABLISHED","required":true}])";
    state.physical_default_gateway_before_tunnel = "192.168.1.1";
    state.physical_interface_index_before_tunnel = "12";
    state.route_add_results = results;
    state.route_add_results_detail =
        R"([{"ip":"100.64.0.1","source":"WTS","required":false,)" + of_1 +
        R"(,{"ip":"198.51.100.7","source":"ADMIN_BYPASS_IP","required":true,)" + of_7 +
        R"(,{"ip":"203.0.113.5","source":"RDP_TCP_ESTABLISHED","required":true,)" + of_5 + "]";
    state.auto_stop_seconds = 30;
    return state;
  }

  static AdminBypassState Succeeded(const char* of_1 = kAdded, const char* of_7 = kAdded) {
    AdminBypassState state =
        Tried("required admin bypass host routes verified before tunnel", "",
              "100.64.0.1:added;198.51.100.7:added;203.0.113.5:added;", of_1, of_7, kAdded);
    state.applied = true;
    state.routes_ready_before_tunnel = true;
    state.route_verify_before_tunnel = "198.51.100.7:ok(metric=1);203.0.113.5:ok(metric=1);";
    return state;
  }

  const Strings selected = {"100.64.0.1", "198.51.100.7", "203.0.113.5"};
  const Strings required = {"198.51.100.7", "203.0.113.5"};
};

TEST_F(AppliedBypass, AddsAndVerifiesARouteForEveryCandidateInTheirOrder) {
  ExpectApplyGives(Succeeded());
  EXPECT_EQ(machine.Changes(), Created(selected));
  EXPECT_EQ(RecordedRoutes(), Pinned(selected));
  ExpectLists(selected, required);
  ExpectPhysicalRoute("192.168.1.1", 12);
  EXPECT_EQ(LogLines(), Logged("enabled=1 applied=1 failure="));
}

TEST_F(AppliedBypass, ForgetsTheEarlierBypassButKeepsItsStateUntilTheEndAndItsRoutes) {
  LeaveAnEarlierBypass();
  std::string stored_while_adding;
  machine.OnCall("CreateForwardRow", 1,
                 [&] { stored_while_adding = Text(CurrentAdminBypassState()); });
  ExpectApplyGives(Succeeded());
  EXPECT_EQ(stored_while_adding, Text(FullState()));
  RemoveBypassRoutes();
  EXPECT_TRUE(machine.routes.Has(earlier_route));
}

TEST_F(AppliedBypass, TakesExistingRoutesAsTheyAreAndDoesNotRecordThem) {
  machine.routes.Add("198.51.100.7/32", "192.168.1.1", 12, 15);
  AdminBypassState expected = Succeeded(kAdded, kExisting);
  expected.route_verify_before_tunnel = "198.51.100.7:ok(metric=15);203.0.113.5:ok(metric=1);";
  ExpectApplyGives(expected);
  EXPECT_EQ(RecordedRoutes(), Pinned({"100.64.0.1", "203.0.113.5"}));
}

TEST_F(AppliedBypass, UsesTheBestRouteOfTheMachineWhateverItsInterface) {
  machine.routes.OverrideBestRoute({.next_hop = Ip("172.16.0.1"), .interface_index = 4294967295});
  const AdminBypassState state = ApplyAdminBypass(false);
  EXPECT_EQ(state.gateway, "172.16.0.1");
  EXPECT_EQ(state.physical_default_gateway_before_tunnel, "172.16.0.1");
  EXPECT_EQ(state.physical_interface_index_before_tunnel, "4294967295");
  ExpectPhysicalRoute("172.16.0.1", 4294967295);
  EXPECT_TRUE(machine.routes.Has("100.64.0.1/32 via 172.16.0.1 if 4294967295 metric 1"));
}

TEST_F(AppliedBypass, GatewayThatCannotBePrintedIsAnEmptyTextAndStillUsed) {
  machine.OnCall("FindBestRoute", 1, [this] { machine.Fail("FormatIpv4", 1, 1); });
  AdminBypassState expected = Succeeded();
  expected.gateway = "";
  expected.physical_default_gateway_before_tunnel = "";
  ExpectApplyGives(expected);
}

TEST_F(AppliedBypass, IsNotStoppedByAnOptionalCandidateThatFails) {
  machine.FailWhere("CreateForwardRow", "100.64.0.1/32", 5);
  AdminBypassState expected = Succeeded(kFailedWith5);
  expected.route_add_results = "100.64.0.1:failed;198.51.100.7:added;203.0.113.5:added;";
  ExpectApplyGives(expected);
  EXPECT_EQ(LogLines(), Logged("enabled=1 applied=1 failure="));
}

TEST_F(AppliedBypass, SecondRequiredCandidateThatFailsRollsBackAndIsNamed) {
  machine.FailWhere("CreateForwardRow", "203.0.113.5/32", 5);
  ExpectApplyGives(
      Tried("required admin bypass host route failed to add: 203.0.113.5 "
            "(CreateIpForwardEntry failed)",
            "route_add_failed", "100.64.0.1:added;198.51.100.7:added;203.0.113.5:failed;", kAdded,
            kAdded, kFailedWith5));
  EXPECT_EQ(machine.Changes(),
            Joined({Created(selected), Deleted({"100.64.0.1", "198.51.100.7"})}));
  EXPECT_EQ(machine.routes.Texts(), office_routes);
  EXPECT_EQ(RecordedRoutes(), Strings{});
  ExpectLists(selected, required);
  ExpectPhysicalRoute("192.168.1.1", 12);
}

TEST_F(AppliedBypass, OnlyTheFirstRequiredOneOfSeveralFailuresIsNamed) {
  machine.FailAlways("CreateForwardRow", 5);
  ExpectApplyGives(
      Tried("required admin bypass host route failed to add: 198.51.100.7 "
            "(CreateIpForwardEntry failed)",
            "route_add_failed", "100.64.0.1:failed;198.51.100.7:failed;203.0.113.5:failed;",
            kFailedWith5, kFailedWith5, kFailedWith5));
  EXPECT_EQ(machine.Changes(), Created(selected));
}

TEST_F(AppliedBypass, RouteThatFailsItsVerificationIsRolledBackToo) {
  machine.Fail("ReadForwardTable", 6, 5);  // the check after the second add
  ExpectApplyGives(
      Tried("required admin bypass host route failed to add: 198.51.100.7 (route "
            "verify failed after add)",
            "route_add_failed", "100.64.0.1:added;198.51.100.7:failed;203.0.113.5:added;", kAdded,
            kUnverified, kAdded));
  EXPECT_EQ(machine.routes.Texts(), office_routes);
}

TEST_F(AppliedBypass, RollbackDeletesThenLogsTheStateStoredBeforeAndLeavesTheEarlierRoute) {
  LeaveAnEarlierBypass();
  machine.FailWhere("CreateForwardRow", "203.0.113.5/32", 5);
  AdminBypassState earlier = FullState();
  earlier.applied = false;
  earlier.routes_ready_before_tunnel = false;
  std::string stored_at_first_line;
  std::size_t deleted_at_first_line = 0;
  machine.OnCall("PrintDebugger", 1, [&] {
    stored_at_first_line = Text(CurrentAdminBypassState());
    deleted_at_first_line = machine.calls.Count("DeleteForwardRow");
  });
  ApplyAdminBypass(false);
  EXPECT_EQ(stored_at_first_line, Text(earlier));
  EXPECT_EQ(deleted_at_first_line, 2u);
  EXPECT_EQ(LogLines(), Joined({Logged("enabled=1 applied=0 failure=a_reason"),
                                Logged("enabled=1 applied=0 failure=route_add_failed")}));
  EXPECT_TRUE(machine.routes.Has(earlier_route));
}

// Three reads for each of the three adds come before those of the check.
constexpr std::size_t kFirstReadOfTheCheck = 10;

TEST_F(AppliedBypass, RouteLostBeforeTheCheckIsRefusedAndRolledBack) {
  LeaveAnEarlierBypass();
  machine.OnCall("ReadForwardTable", kFirstReadOfTheCheck + 1,
                 [this] { machine.routes.Remove("203.0.113.5/32"); });
  AdminBypassState expected =
      Tried("required admin bypass routes not verified before tunnel; refusing connect",
            "route_verify_before_tunnel_failed",
            "100.64.0.1:added;198.51.100.7:added;203.0.113.5:added;", kAdded, kAdded, kAdded);
  expected.route_verify_before_tunnel = "198.51.100.7:ok(metric=1);203.0.113.5:missing;";
  ExpectApplyGives(expected);
  EXPECT_EQ(machine.Changes(), Joined({Created(selected), Deleted(selected)}));
  EXPECT_EQ(machine.routes.Texts(), Joined({office_routes, {earlier_route}}));
  EXPECT_EQ(RecordedRoutes(), Strings{});
  EXPECT_EQ(LogLines(),
            Joined({Logged("enabled=1 applied=0 failure=a_reason"),
                    Logged("enabled=1 applied=0 failure=route_verify_before_tunnel_failed")}));
}

TEST_F(AppliedBypass, OptionalRouteIsNotChecked) {
  machine.OnCall("ReadForwardTable", kFirstReadOfTheCheck,
                 [this] { machine.routes.Remove("100.64.0.1/32"); });
  ExpectApplyGives(Succeeded());
  EXPECT_EQ(machine.calls.Count("ReadForwardTable"), 11u);
}

}  // namespace
}  // namespace veltrane
