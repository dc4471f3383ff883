#include "bypass/recheck.h"

#include <gtest/gtest.h>

#include "tests/bypass/full_records.h"
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

  static void ExpectVerify(const Strings& ips, bool good, const char* expected_summary) {
    std::string summary = "old";
    EXPECT_EQ(VerifyBypassRoutes(ips, &summary), good);
    EXPECT_EQ(summary, expected_summary);
  }
};

TEST_F(VerifyingBypassRoutes, AcceptsMetricsUpTo15) {
  AddRoute("10.0.0.4", 0);
  AddRoute("10.0.0.5", 5);
  AddRoute("10.0.0.6", 15);
  ExpectVerify({"10.0.0.4", "10.0.0.5", "10.0.0.6"}, true,
               "10.0.0.4:ok(metric=0);10.0.0.5:ok(metric=5);10.0.0.6:ok(metric=15);");
  EXPECT_TRUE(VerifyBypassRoutes({"10.0.0.5"}, nullptr));
}

TEST_F(VerifyingBypassRoutes, RefusesHigherMetricsUnsigned) {
  AddRoute("10.0.0.5", 16);
  AddRoute("10.0.0.6", 4294967295);
  ExpectVerify({"10.0.0.5"}, false, "10.0.0.5:metric_high(16);");
  ExpectVerify({"10.0.0.6"}, false, "10.0.0.6:metric_high(4294967295);");
}

TEST_F(VerifyingBypassRoutes, RefusesAMissingRouteAlsoWhenAnotherGatewayOrInterfaceHasOne) {
  machine.routes.Add("10.0.0.5/32", "192.168.1.2", 12, 1);
  machine.routes.Add("10.0.0.6/32", "192.168.1.1", 13, 1);
  ExpectVerify({"10.0.0.5", "10.0.0.6"}, false, "10.0.0.5:missing;10.0.0.6:missing;");
  EXPECT_FALSE(VerifyBypassRoutes({"10.0.0.6"}, nullptr));
}

TEST_F(VerifyingBypassRoutes, RefusesTextsThatDoNotParse) {
  AddRoute("10.0.0.5", 5);
  ExpectVerify({"no-address", "10.0.0.5", ""}, false,
               "no-address:invalid;10.0.0.5:ok(metric=5);:invalid;");
}

TEST_F(VerifyingBypassRoutes, ExaminesEveryAddressInOrderAfterAFailure) {
  AddRoute("9.9.9.9", 16);
  AddRoute("203.0.113.5", 1);
  ExpectVerify({"203.0.113.5", "x", "198.51.100.7", "9.9.9.9", "203.0.113.5"}, false,
               "203.0.113.5:ok(metric=1);x:invalid;198.51.100.7:missing;9.9.9.9:metric_high(16);"
               "203.0.113.5:ok(metric=1);");
}

TEST_F(VerifyingBypassRoutes, EmptyListIsNeverVerifiedAndEmptiesTheSummary) {
  ExpectVerify({}, false, "");
}

TEST_F(VerifyingBypassRoutes, ReadsTheTableAnewForEachAddressAndChangesAndLogsNothing) {
  AddRoute("10.0.0.5", 5);
  AddRoute("10.0.0.6", 5);
  machine.Fail("ReadForwardTable", 2, 5);
  ExpectVerify({"10.0.0.5", "10.0.0.6", "no-address", "10.0.0.5"}, false,
               "10.0.0.5:ok(metric=5);10.0.0.6:missing;no-address:invalid;10.0.0.5:ok(metric=5);");
  EXPECT_EQ(machine.calls.All(), Strings(3, "ReadForwardTable"));
  EXPECT_EQ(Text(CurrentAdminBypassState()), Text(AdminBypassState()));
}

// As after a successful apply for the required 10.0.0.5 and 10.0.0.6 and the optional 10.0.0.7,
// whose routes have all vanished.
class RecheckAfterTunnel : public VerifyingBypassRoutes {
 protected:
  RecheckAfterTunnel() {
    SelectedBypassIps() = {"10.0.0.5", "10.0.0.6", "10.0.0.7"};
    RequiredBypassIps() = {"10.0.0.5", "10.0.0.6"};
    CurrentAdminBypassState() = Applied();
  }

  static AdminBypassState Applied() {
    AdminBypassState state = FullState();
    state.route_readded_after_tunnel = false;
    state.failure_reason = "";
    state.route_verify_after_tunnel = "";
    return state;
  }

  // The records that a check leaves.
  static AdminBypassState Verified(const char* verified_after) {
    AdminBypassState state = Applied();
    state.message = "admin bypass routes verified after tunnel";
    state.route_verify_after_tunnel = verified_after;
    return state;
  }
  static AdminBypassState ReAdded(const char* results, const char* verified_after) {
    AdminBypassState state = Verified(verified_after);
    state.route_readded_after_tunnel = true;
    state.message = "admin bypass routes re-added and verified after tunnel";
    state.route_add_results = results;
    return state;
  }
  static AdminBypassState Lost(const char* results, const char* verified_after) {
    AdminBypassState state = ReAdded(results, verified_after);
    state.applied = false;
    state.routes_ready_before_tunnel = false;
    state.message = "admin bypass routes lost after tunnel start and could not be restored";
    state.failure_reason = "route_verify_after_tunnel_failed";
    return state;
  }

  // Checks again; expects this record as the result and as the current state, and in the log.
  void ExpectRecheckGives(const AdminBypassState& expected) {
    EXPECT_EQ(Text(RecheckBypassAfterTunnel()), Text(expected));
    EXPECT_EQ(Text(CurrentAdminBypassState()), Text(expected));
    EXPECT_EQ(LogLines(),
              Logged(std::string("enabled=1 applied=") + (expected.applied ? "1" : "0") +
                     " failure=" + expected.failure_reason));
  }
};

TEST_F(RecheckAfterTunnel, RequiredRoutesWithMetrics5And15AreVerifiedWithoutTheOptionalOne) {
  AddRoute("10.0.0.5", 5);
  AddRoute("10.0.0.6", 15);
  ExpectRecheckGives(Verified("10.0.0.5:ok(metric=5);10.0.0.6:ok(metric=15);"));
  EXPECT_EQ(machine.Changes(), Strings{});
}

TEST_F(RecheckAfterTunnel, VerifiedRoutesSetAppliedAndLeaveTheOtherMembersAlone) {
  AddRoute("10.0.0.5", 5);
  AddRoute("10.0.0.6", 5);
  CurrentAdminBypassState() = FullState();
  CurrentAdminBypassState().applied = false;
  CurrentAdminBypassState().routes_ready_before_tunnel = false;
  AdminBypassState expected = FullState();
  expected.routes_ready_before_tunnel = false;
  expected.message = "admin bypass routes verified after tunnel";
  expected.route_verify_after_tunnel = "10.0.0.5:ok(metric=5);10.0.0.6:ok(metric=5);";
  ExpectRecheckGives(expected);
}

TEST_F(RecheckAfterTunnel, MissingRequiredRouteLeadsToAReAddOfEverySelectedAddress) {
  AddRoute("10.0.0.5", 5);
  ExpectRecheckGives(ReAdded("10.0.0.5:added;10.0.0.6:added;10.0.0.7:added;",
                             "10.0.0.5:ok(metric=5);10.0.0.6:ok(metric=1);"));
  EXPECT_EQ(machine.Changes(), Created({"10.0.0.6", "10.0.0.7"}));
  EXPECT_EQ(RecordedRoutes(), Pinned({"10.0.0.6", "10.0.0.7"}));
}

TEST_F(RecheckAfterTunnel, SuccessAfterAReAddSetsTheFlagsAndKeepsAnEarlierFailureReason) {
  CurrentAdminBypassState().applied = false;
  CurrentAdminBypassState().routes_ready_before_tunnel = false;
  CurrentAdminBypassState().failure_reason = "an_earlier_reason";
  AdminBypassState expected = ReAdded("10.0.0.5:added;10.0.0.6:added;10.0.0.7:added;",
                                      "10.0.0.5:ok(metric=1);10.0.0.6:ok(metric=1);");
  expected.failure_reason = "an_earlier_reason";
  ExpectRecheckGives(expected);
}

TEST_F(RecheckAfterTunnel, RouteWithMetric16StaysHighWhenItCannotBeCreatedAgain) {
  AddRoute("10.0.0.5", 5);
  AddRoute("10.0.0.6", 16);
  AddRoute("10.0.0.7", 1);
  ExpectRecheckGives(Lost("10.0.0.5:added;10.0.0.6:add_failed(5010);10.0.0.7:added;",
                          "10.0.0.5:ok(metric=5);10.0.0.6:metric_high(16);"));
  EXPECT_EQ(machine.Changes(), Created({"10.0.0.6"}));
}

TEST_F(RecheckAfterTunnel, RouteWithMetric16CountsWhenItIsGoodAtTheSecondCheck) {
  AddRoute("10.0.0.5", 5);
  AddRoute("10.0.0.6", 16);
  AddRoute("10.0.0.7", 1);
  machine.OnCall("CreateForwardRow", 1, [this] { machine.routes.SetMetric("10.0.0.6/32", 15); });
  ExpectRecheckGives(ReAdded("10.0.0.5:added;10.0.0.6:added;10.0.0.7:added;",
                             "10.0.0.5:ok(metric=5);10.0.0.6:ok(metric=15);"));
}

TEST_F(RecheckAfterTunnel, FailedReAddOfOneAddressDoesNotStopTheOthers) {
  machine.FailWhere("CreateForwardRow", "10.0.0.5/32", 87);
  ExpectRecheckGives(Lost("10.0.0.5:add_failed(87);10.0.0.6:added;10.0.0.7:added;",
                          "10.0.0.5:missing;10.0.0.6:ok(metric=1);"));
  EXPECT_EQ(RecordedRoutes(), Pinned({"10.0.0.6", "10.0.0.7"}));
}

TEST_F(RecheckAfterTunnel, FailedReAddOfAnOptionalAddressDoesNotCount) {
  machine.FailWhere("CreateForwardRow", "10.0.0.7/32", 87);
  ExpectRecheckGives(ReAdded("10.0.0.5:added;10.0.0.6:added;10.0.0.7:add_failed(87);",
                             "10.0.0.5:ok(metric=1);10.0.0.6:ok(metric=1);"));
}

TEST_F(RecheckAfterTunnel, WithoutRequiredAddressBothChecksFailAndEverySelectedOneIsReAdded) {
  RequiredBypassIps().clear();
  CurrentAdminBypassState().route_verify_after_tunnel = "10.0.0.5:ok(metric=1);";
  ExpectRecheckGives(Lost("10.0.0.5:added;10.0.0.6:added;10.0.0.7:added;", ""));
}

TEST_F(RecheckAfterTunnel, UnparsableRequiredAddressAlwaysFails) {
  SelectedBypassIps() = {"no-address"};
  RequiredBypassIps() = {"no-address"};
  ExpectRecheckGives(Lost("no-address:add_failed(0);", "no-address:invalid;"));
}

TEST_F(RecheckAfterTunnel, TableUnreadableAtTheFirstCheckLeadsToAReAddThatCreatesNothing) {
  for (const char* ip : {"10.0.0.5", "10.0.0.6", "10.0.0.7"}) AddRoute(ip, 5);
  machine.Fail("ReadForwardTable", 1, 5);
  ExpectRecheckGives(ReAdded("10.0.0.5:added;10.0.0.6:added;10.0.0.7:added;",
                             "10.0.0.5:ok(metric=5);10.0.0.6:ok(metric=5);"));
  EXPECT_EQ(machine.Changes(), Strings{});
}

TEST_F(RecheckAfterTunnel, TableUnreadableAtTheSecondCheckLosesTheRoutes) {
  // Two reads of the first check, three of each re-add, then the second check.
  machine.Fail("ReadForwardTable", 12, 5);
  ExpectRecheckGives(Lost("10.0.0.5:added;10.0.0.6:added;10.0.0.7:added;",
                          "10.0.0.5:missing;10.0.0.6:ok(metric=1);"));
}

TEST_F(RecheckAfterTunnel, MakesOneReAddPassAndOnlyReadsTheListsAndTheGateway) {
  machine.FailAlways("CreateForwardRow", 5);
  RecheckBypassAfterTunnel();
  EXPECT_EQ(machine.Changes(), Created({"10.0.0.5", "10.0.0.6", "10.0.0.7"}));
  EXPECT_EQ(machine.calls.Count("Sleep"), 0u);
  EXPECT_EQ(SelectedBypassIps(), (Strings{"10.0.0.5", "10.0.0.6", "10.0.0.7"}));
  EXPECT_EQ(RequiredBypassIps(), (Strings{"10.0.0.5", "10.0.0.6"}));
  ExpectPhysicalRoute("192.168.1.1", 12);
}

TEST_F(RecheckAfterTunnel, UpdatesTheStateAsItWasBeforeTheFirstCheck) {
  AddRoute("10.0.0.5", 5);
  AddRoute("10.0.0.6", 5);
  machine.OnCall("ReadForwardTable", 1,
                 [] { CurrentAdminBypassState().client_ip = "stored meanwhile"; });
  ExpectRecheckGives(Verified("10.0.0.5:ok(metric=5);10.0.0.6:ok(metric=5);"));
}

TEST_F(RecheckAfterTunnel, WithNothingToCheckNothingIsLookedUpStoredOrLogged) {
  const auto expect_untouched = [this] {
    const std::string before = Text(CurrentAdminBypassState());
    EXPECT_EQ(Text(RecheckBypassAfterTunnel()), before);
    EXPECT_EQ(Text(CurrentAdminBypassState()), before);
    EXPECT_EQ(machine.calls.All(), Strings{});
  };
  CurrentAdminBypassState().enabled = false;
  expect_untouched();
  CurrentAdminBypassState() = Applied();
  CurrentAdminBypassState().attempted = false;
  expect_untouched();
  CurrentAdminBypassState() = Applied();
  SelectedBypassIps().clear();
  expect_untouched();
}

}  // namespace
}  // namespace veltrane
