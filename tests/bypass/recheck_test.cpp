#include "bypass/recheck.h"

#include <gtest/gtest.h>

#include "bypass/host_routes.h"
#include "tests/bypass/on_bypass_machine.h"
#include "tests/bypass/record_texts.h"

namespace veltrane {
namespace {

class VerifyingBypassRoutes : public OnBypassMachine {
 protected:
  VerifyingBypassRoutes() { UsePhysicalGateway(); }

  void AddRoute(const std::string& ip, std::uint32_t metric) {
    machine.routes.Add(ip + "/32", "192.168.1.1", 12, metric);
  }

  std::string summary = "old";
};

TEST_F(VerifyingBypassRoutes, AcceptsMetricsUpTo15) {
  AddRoute("10.0.0.4", 0);
  AddRoute("10.0.0.5", 5);
  AddRoute("10.0.0.6", 15);
  EXPECT_TRUE(VerifyBypassRoutes({"10.0.0.4", "10.0.0.5", "10.0.0.6"}, &summary));
  EXPECT_EQ(summary, "10.0.0.4:ok(metric=0);10.0.0.5:ok(metric=5);10.0.0.6:ok(metric=15);");
}

TEST_F(VerifyingBypassRoutes, RefusesMetric16) {
  AddRoute("10.0.0.5", 16);
  EXPECT_FALSE(VerifyBypassRoutes({"10.0.0.5"}, &summary));
  EXPECT_EQ(summary, "10.0.0.5:metric_high(16);");
}

TEST_F(VerifyingBypassRoutes, ComparesAndPrintsMetricsUnsigned) {
  AddRoute("10.0.0.5", 4294967295);
  EXPECT_FALSE(VerifyBypassRoutes({"10.0.0.5"}, &summary));
  EXPECT_EQ(summary, "10.0.0.5:metric_high(4294967295);");
}

TEST_F(VerifyingBypassRoutes, RefusesAMissingRoute) {
  AddRoute("10.0.0.5", 5);
  EXPECT_FALSE(VerifyBypassRoutes({"10.0.0.5", "10.0.0.7"}, &summary));
  EXPECT_EQ(summary, "10.0.0.5:ok(metric=5);10.0.0.7:missing;");
}

TEST_F(VerifyingBypassRoutes, RouteThroughAnotherGatewayOrInterfaceIsMissing) {
  machine.routes.Add("10.0.0.5/32", "192.168.1.2", 12, 1);
  machine.routes.Add("10.0.0.6/32", "192.168.1.1", 13, 1);
  EXPECT_FALSE(VerifyBypassRoutes({"10.0.0.5", "10.0.0.6"}, &summary));
  EXPECT_EQ(summary, "10.0.0.5:missing;10.0.0.6:missing;");
}

TEST_F(VerifyingBypassRoutes, RefusesATextThatDoesNotParse) {
  AddRoute("10.0.0.5", 5);
  EXPECT_FALSE(VerifyBypassRoutes({"no-address", "10.0.0.5", ""}, &summary));
  EXPECT_EQ(summary, "no-address:invalid;10.0.0.5:ok(metric=5);:invalid;");
}

TEST_F(VerifyingBypassRoutes, ExaminesEveryAddressInOrderAfterAFailure) {
  AddRoute("9.9.9.9", 16);
  AddRoute("203.0.113.5", 1);
  EXPECT_FALSE(
      VerifyBypassRoutes({"203.0.113.5", "x", "198.51.100.7", "9.9.9.9", "203.0.113.5"}, &summary));
  EXPECT_EQ(summary,
            "203.0.113.5:ok(metric=1);x:invalid;198.51.100.7:missing;9.9.9.9:metric_high(16);"
            "203.0.113.5:ok(metric=1);");
}

TEST_F(VerifyingBypassRoutes, EmptyListIsNeverVerifiedAndEmptiesTheSummary) {
  EXPECT_FALSE(VerifyBypassRoutes({}, &summary));
  EXPECT_EQ(summary, "");
}

TEST_F(VerifyingBypassRoutes, NeedsNoSummary) {
  AddRoute("10.0.0.5", 5);
  EXPECT_TRUE(VerifyBypassRoutes({"10.0.0.5"}, nullptr));
  EXPECT_FALSE(VerifyBypassRoutes({"10.0.0.6"}, nullptr));
}

TEST_F(VerifyingBypassRoutes, ReadsTheTableAnewForEachAddress) {
  AddRoute("10.0.0.5", 5);
  AddRoute("10.0.0.6", 5);
  machine.Fail("ReadForwardTable", 2, 5);
  EXPECT_FALSE(VerifyBypassRoutes({"10.0.0.5", "10.0.0.6", "no-address", "10.0.0.5"}, &summary));
  EXPECT_EQ(summary,
            "10.0.0.5:ok(metric=5);10.0.0.6:missing;no-address:invalid;10.0.0.5:ok(metric=5);");
  EXPECT_EQ(machine.calls.Count("ReadForwardTable"), 3u);
}

TEST_F(VerifyingBypassRoutes, ChangesAndLogsNothing) {
  VerifyBypassRoutes({"10.0.0.5"}, &summary);
  EXPECT_EQ(machine.Changes(), Strings{});
  EXPECT_EQ(LogLines(), Strings{});
  EXPECT_EQ(Text(CurrentAdminBypassState()), Text(AdminBypassState()));
}

// As after a successful apply for the required 10.0.0.5 and 10.0.0.6 and the optional 10.0.0.7.
class RecheckAfterTunnel : public VerifyingBypassRoutes {
 protected:
  RecheckAfterTunnel() {
    SelectedBypassIps() = {"10.0.0.5", "10.0.0.6", "10.0.0.7"};
    RequiredBypassIps() = {"10.0.0.5", "10.0.0.6"};
    CurrentAdminBypassState() = Applied();
  }

  static AdminBypassState Applied() {
    AdminBypassState state;
    state.enabled = true;
    state.attempted = true;
    state.applied = true;
    state.routes_ready_before_tunnel = true;
    state.required_enforced = true;
    state.client_ip = "10.0.0.5";
    state.gateway = "192.168.1.1";
    state.message = "required admin bypass host routes verified before tunnel";
    state.rdp_tcp_remote_addresses = "[]";
    state.admin_env_ips = "[0]";
    state.selected_admin_bypass_ips = "[1]";
    state.selected_bypass_ip_entries = "[2]";
    state.physical_default_gateway_before_tunnel = "192.168.1.1";
    state.physical_interface_index_before_tunnel = "12";
    state.route_add_results = "10.0.0.5:added;10.0.0.6:added;10.0.0.7:failed;";
    state.route_add_results_detail = "[3]";
    state.route_verify_before_tunnel = "10.0.0.5:ok(metric=1);10.0.0.6:ok(metric=1);";
    state.auto_stop_seconds = 45;
    return state;
  }

  // Checks again; expects this record as the result and as the current state.
  void ExpectRecheckGives(const AdminBypassState& expected) {
    EXPECT_EQ(Text(RecheckBypassAfterTunnel()), Text(expected));
    EXPECT_EQ(Text(CurrentAdminBypassState()), Text(expected));
  }

  const Strings logged_applied = {
      "PrintDebugger [Veltrane][admin_bypass] enabled=1 applied=1 failure=",
      "PrintError [Veltrane][admin_bypass] enabled=1 applied=1 failure="};
  const Strings logged_failure = {
      "PrintDebugger [Veltrane][admin_bypass] enabled=1 applied=0 "
      "failure=route_verify_after_tunnel_failed",
      "PrintError [Veltrane][admin_bypass] enabled=1 applied=0 "
      "failure=route_verify_after_tunnel_failed"};
};

TEST_F(RecheckAfterTunnel, RequiredRoutesWithMetrics5And15AreVerified) {
  AddRoute("10.0.0.5", 5);
  AddRoute("10.0.0.6", 15);
  AdminBypassState expected = Applied();
  expected.message = "admin bypass routes verified after tunnel";
  expected.route_verify_after_tunnel = "10.0.0.5:ok(metric=5);10.0.0.6:ok(metric=15);";
  ExpectRecheckGives(expected);
  EXPECT_EQ(machine.Changes(), Strings{});
  EXPECT_EQ(LogLines(), logged_applied);
}

TEST_F(RecheckAfterTunnel, VerifiedRoutesSetAppliedAndLeaveTheOtherMembersAlone) {
  AddRoute("10.0.0.5", 5);
  AddRoute("10.0.0.6", 5);
  CurrentAdminBypassState().applied = false;
  CurrentAdminBypassState().routes_ready_before_tunnel = false;
  CurrentAdminBypassState().route_readded_after_tunnel = true;
  CurrentAdminBypassState().failure_reason = "an_earlier_reason";
  AdminBypassState expected = CurrentAdminBypassState();
  expected.applied = true;
  expected.message = "admin bypass routes verified after tunnel";
  expected.route_verify_after_tunnel = "10.0.0.5:ok(metric=5);10.0.0.6:ok(metric=5);";
  ExpectRecheckGives(expected);
}

TEST_F(RecheckAfterTunnel, MissingRequiredRouteLeadsToAReAddOfEverySelectedAddress) {
  AddRoute("10.0.0.5", 5);
  AdminBypassState expected = Applied();
  expected.route_readded_after_tunnel = true;
  expected.message = "admin bypass routes re-added and verified after tunnel";
  expected.route_add_results = "10.0.0.5:added;10.0.0.6:added;10.0.0.7:added;";
  expected.route_verify_after_tunnel = "10.0.0.5:ok(metric=5);10.0.0.6:ok(metric=1);";
  ExpectRecheckGives(expected);
  EXPECT_EQ(machine.Changes(),
            (Strings{"CreateForwardRow 10.0.0.6/32 via 192.168.1.1 if 12 metric 1",
                     "CreateForwardRow 10.0.0.7/32 via 192.168.1.1 if 12 metric 1"}));
  EXPECT_EQ(RecordedRoutes(), (Strings{"10.0.0.6/32 via 192.168.1.1 if 12 metric 1",
                                       "10.0.0.7/32 via 192.168.1.1 if 12 metric 1"}));
  EXPECT_EQ(LogLines(), logged_applied);
}

TEST_F(RecheckAfterTunnel, SuccessAfterAReAddSetsTheFlagsAndKeepsAnEarlierFailureReason) {
  CurrentAdminBypassState().applied = false;
  CurrentAdminBypassState().routes_ready_before_tunnel = false;
  CurrentAdminBypassState().failure_reason = "an_earlier_reason";
  const AdminBypassState state = RecheckBypassAfterTunnel();
  EXPECT_TRUE(state.applied);
  EXPECT_TRUE(state.routes_ready_before_tunnel);
  EXPECT_EQ(state.failure_reason, "an_earlier_reason");
  EXPECT_EQ(
      LogLines(),
      (Strings{
          "PrintDebugger [Veltrane][admin_bypass] enabled=1 applied=1 "
          "failure=an_earlier_reason",
          "PrintError [Veltrane][admin_bypass] enabled=1 applied=1 failure=an_earlier_reason"}));
}

TEST_F(RecheckAfterTunnel, RouteWithMetric16StaysHighWhenItCannotBeCreatedAgain) {
  AddRoute("10.0.0.5", 5);
  AddRoute("10.0.0.6", 16);
  AddRoute("10.0.0.7", 1);
  AdminBypassState expected = Applied();
  expected.applied = false;
  expected.routes_ready_before_tunnel = false;
  expected.route_readded_after_tunnel = true;
  expected.message = "admin bypass routes lost after tunnel start and could not be restored";
  expected.failure_reason = "route_verify_after_tunnel_failed";
  expected.route_add_results = "10.0.0.5:added;10.0.0.6:add_failed(5010);10.0.0.7:added;";
  expected.route_verify_after_tunnel = "10.0.0.5:ok(metric=5);10.0.0.6:metric_high(16);";
  ExpectRecheckGives(expected);
  EXPECT_EQ(machine.Changes(),
            Strings{"CreateForwardRow 10.0.0.6/32 via 192.168.1.1 if 12 metric 1"});
  EXPECT_EQ(LogLines(), logged_failure);
}

TEST_F(RecheckAfterTunnel, RouteWithMetric16CountsWhenItIsGoodAtTheSecondCheck) {
  AddRoute("10.0.0.5", 5);
  AddRoute("10.0.0.6", 16);
  AddRoute("10.0.0.7", 1);
  machine.OnCall("CreateForwardRow", 1, [this] { machine.routes.SetMetric("10.0.0.6/32", 15); });
  AdminBypassState expected = Applied();
  expected.route_readded_after_tunnel = true;
  expected.message = "admin bypass routes re-added and verified after tunnel";
  expected.route_add_results = "10.0.0.5:added;10.0.0.6:added;10.0.0.7:added;";
  expected.route_verify_after_tunnel = "10.0.0.5:ok(metric=5);10.0.0.6:ok(metric=15);";
  ExpectRecheckGives(expected);
}

TEST_F(RecheckAfterTunnel, FailedReAddOfOneAddressDoesNotStopTheOthers) {
  machine.FailWhere("CreateForwardRow", "10.0.0.5/32", 87);
  AdminBypassState expected = Applied();
  expected.applied = false;
  expected.routes_ready_before_tunnel = false;
  expected.route_readded_after_tunnel = true;
  expected.message = "admin bypass routes lost after tunnel start and could not be restored";
  expected.failure_reason = "route_verify_after_tunnel_failed";
  expected.route_add_results = "10.0.0.5:add_failed(87);10.0.0.6:added;10.0.0.7:added;";
  expected.route_verify_after_tunnel = "10.0.0.5:missing;10.0.0.6:ok(metric=1);";
  ExpectRecheckGives(expected);
}

TEST_F(RecheckAfterTunnel, FailedReAddOfAnOptionalAddressDoesNotCount) {
  machine.FailWhere("CreateForwardRow", "10.0.0.7/32", 87);
  const AdminBypassState state = RecheckBypassAfterTunnel();
  EXPECT_TRUE(state.applied);
  EXPECT_EQ(state.route_add_results, "10.0.0.5:added;10.0.0.6:added;10.0.0.7:add_failed(87);");
}

TEST_F(RecheckAfterTunnel, MissingOptionalRouteIsNotNoticed) {
  AddRoute("10.0.0.5", 5);
  AddRoute("10.0.0.6", 5);
  EXPECT_FALSE(RecheckBypassAfterTunnel().route_readded_after_tunnel);
  EXPECT_EQ(machine.Changes(), Strings{});
}

TEST_F(RecheckAfterTunnel, WithoutRequiredAddressBothChecksFailAndEverySelectedOneIsReAdded) {
  RequiredBypassIps().clear();
  AdminBypassState expected = Applied();
  expected.applied = false;
  expected.routes_ready_before_tunnel = false;
  expected.route_readded_after_tunnel = true;
  expected.message = "admin bypass routes lost after tunnel start and could not be restored";
  expected.failure_reason = "route_verify_after_tunnel_failed";
  expected.route_add_results = "10.0.0.5:added;10.0.0.6:added;10.0.0.7:added;";
  expected.route_verify_after_tunnel = "";
  ExpectRecheckGives(expected);
  EXPECT_EQ(LogLines(), logged_failure);
}

TEST_F(RecheckAfterTunnel, EmptySecondSummaryReplacesAnEarlierOne) {
  RequiredBypassIps().clear();
  CurrentAdminBypassState().route_verify_after_tunnel = "10.0.0.5:ok(metric=1);";
  EXPECT_EQ(RecheckBypassAfterTunnel().route_verify_after_tunnel, "");
}

TEST_F(RecheckAfterTunnel, UnparsableRequiredAddressAlwaysFails) {
  SelectedBypassIps() = {"no-address"};
  RequiredBypassIps() = {"no-address"};
  AdminBypassState expected = Applied();
  expected.applied = false;
  expected.routes_ready_before_tunnel = false;
  expected.route_readded_after_tunnel = true;
  expected.message = "admin bypass routes lost after tunnel start and could not be restored";
  expected.failure_reason = "route_verify_after_tunnel_failed";
  expected.route_add_results = "no-address:add_failed(0);";
  expected.route_verify_after_tunnel = "no-address:invalid;";
  ExpectRecheckGives(expected);
}

TEST_F(RecheckAfterTunnel, TableUnreadableAtTheFirstCheckLeadsToAReAddThatCreatesNothing) {
  for (const char* ip : {"10.0.0.5", "10.0.0.6", "10.0.0.7"}) AddRoute(ip, 5);
  machine.Fail("ReadForwardTable", 1, 5);
  const AdminBypassState state = RecheckBypassAfterTunnel();
  EXPECT_TRUE(state.route_readded_after_tunnel);
  EXPECT_EQ(state.message, "admin bypass routes re-added and verified after tunnel");
  EXPECT_EQ(machine.Changes(), Strings{});
}

TEST_F(RecheckAfterTunnel, TableUnreadableAtTheSecondCheckLosesTheRoutes) {
  // Two reads of the first check, three of each re-add, then the second check.
  machine.Fail("ReadForwardTable", 12, 5);
  const AdminBypassState state = RecheckBypassAfterTunnel();
  EXPECT_EQ(state.route_add_results, "10.0.0.5:added;10.0.0.6:added;10.0.0.7:added;");
  EXPECT_EQ(state.route_verify_after_tunnel, "10.0.0.5:missing;10.0.0.6:ok(metric=1);");
  EXPECT_EQ(state.failure_reason, "route_verify_after_tunnel_failed");
}

TEST_F(RecheckAfterTunnel, MakesOneReAddPassAndDeletesNothing) {
  machine.FailAlways("CreateForwardRow", 5);
  RecheckBypassAfterTunnel();
  EXPECT_EQ(machine.Changes(),
            (Strings{"CreateForwardRow 10.0.0.5/32 via 192.168.1.1 if 12 metric 1",
                     "CreateForwardRow 10.0.0.6/32 via 192.168.1.1 if 12 metric 1",
                     "CreateForwardRow 10.0.0.7/32 via 192.168.1.1 if 12 metric 1"}));
  EXPECT_EQ(machine.calls.Count("Sleep"), 0u);
}

TEST_F(RecheckAfterTunnel, RoutesThatWereReAddedAreRemovedByTheTeardown) {
  RecheckBypassAfterTunnel();
  machine.calls.Clear();
  RemoveBypassRoutes();
  EXPECT_EQ(machine.Changes(),
            (Strings{"DeleteForwardRow 10.0.0.5/32 via 192.168.1.1 if 12 metric 1",
                     "DeleteForwardRow 10.0.0.6/32 via 192.168.1.1 if 12 metric 1",
                     "DeleteForwardRow 10.0.0.7/32 via 192.168.1.1 if 12 metric 1"}));
}

TEST_F(RecheckAfterTunnel, RoutesOfAFailedCheckAreRemovedByTheTeardownToo) {
  machine.FailWhere("CreateForwardRow", "10.0.0.5/32", 87);
  EXPECT_FALSE(RecheckBypassAfterTunnel().applied);
  machine.calls.Clear();
  RemoveBypassRoutes();
  EXPECT_EQ(machine.Changes(),
            (Strings{"DeleteForwardRow 10.0.0.6/32 via 192.168.1.1 if 12 metric 1",
                     "DeleteForwardRow 10.0.0.7/32 via 192.168.1.1 if 12 metric 1"}));
}

TEST_F(RecheckAfterTunnel, UpdatesTheStateAsItWasBeforeTheFirstCheck) {
  for (const char* ip : {"10.0.0.5", "10.0.0.6"}) AddRoute(ip, 5);
  machine.OnCall("ReadForwardTable", 1,
                 [] { CurrentAdminBypassState().client_ip = "stored meanwhile"; });
  EXPECT_EQ(RecheckBypassAfterTunnel().client_ip, "10.0.0.5");
  EXPECT_EQ(CurrentAdminBypassState().client_ip, "10.0.0.5");
}

TEST_F(RecheckAfterTunnel, ListsAndGatewayAreOnlyRead) {
  RecheckBypassAfterTunnel();
  EXPECT_EQ(SelectedBypassIps(), (Strings{"10.0.0.5", "10.0.0.6", "10.0.0.7"}));
  EXPECT_EQ(RequiredBypassIps(), (Strings{"10.0.0.5", "10.0.0.6"}));
  EXPECT_EQ(CurrentPhysicalRoute().gateway, Ip("192.168.1.1"));
  EXPECT_EQ(CurrentPhysicalRoute().interface_index, 12u);
}

// The cases in which there is nothing to check: no route is looked up, stored or logged.
class NothingToRecheck : public RecheckAfterTunnel {
 protected:
  void ExpectUntouched() {
    const AdminBypassState before = CurrentAdminBypassState();
    ExpectRecheckGives(before);
    EXPECT_EQ(machine.calls.Count("ReadForwardTable"), 0u);
    EXPECT_EQ(machine.Changes(), Strings{});
    EXPECT_EQ(LogLines(), Strings{});
  }
};

TEST_F(NothingToRecheck, WhenTheBypassIsDisabled) {
  CurrentAdminBypassState().enabled = false;
  ExpectUntouched();
}

TEST_F(NothingToRecheck, WhenTheBypassWasNotAttempted) {
  CurrentAdminBypassState().attempted = false;
  ExpectUntouched();
}

TEST_F(NothingToRecheck, WhenNoAddressIsSelected) {
  SelectedBypassIps().clear();
  ExpectUntouched();
}

}  // namespace
}  // namespace veltrane
