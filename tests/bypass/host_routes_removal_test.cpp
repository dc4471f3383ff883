// Adding a host route once more, and removing those that were created.

#include <gtest/gtest.h>

#include "bypass/host_routes.h"
#include "tests/bypass/on_bypass_machine.h"
#include "tests/bypass/record_texts.h"

namespace veltrane {
namespace {

class ReAddingAHostRoute : public OnBypassMachine {
 protected:
  ReAddingAHostRoute() { UsePhysicalGateway(); }

  std::string detail = "old";
};

TEST_F(ReAddingAHostRoute, ThatIsMissingAddsAndRecordsIt) {
  EXPECT_TRUE(ReAddHostRoute("203.0.113.5", &detail));
  EXPECT_EQ(detail, "203.0.113.5:added");
  EXPECT_EQ(machine.Changes(),
            Strings{"CreateForwardRow 203.0.113.5/32 via 192.168.1.1 if 12 metric 1"});
  EXPECT_EQ(RecordedRoutes(), Strings{"203.0.113.5/32 via 192.168.1.1 if 12 metric 1"});
}

TEST_F(ReAddingAHostRoute, ThatIsThereSaysAddedThoughNothingWas) {
  machine.routes.Add("203.0.113.5/32", "192.168.1.1", 12, 15);
  EXPECT_TRUE(ReAddHostRoute("203.0.113.5", &detail));
  EXPECT_EQ(detail, "203.0.113.5:added");
  EXPECT_EQ(machine.Changes(), Strings{});
  EXPECT_EQ(RecordedRoutes(), Strings{});
}

TEST_F(ReAddingAHostRoute, ThatWasCreatedAndVanishedRecordsASecondRow) {
  ReAddHostRoute("203.0.113.5", nullptr);
  machine.routes.Remove("203.0.113.5/32");
  ReAddHostRoute("203.0.113.5", nullptr);
  EXPECT_EQ(RecordedRoutes(), (Strings{"203.0.113.5/32 via 192.168.1.1 if 12 metric 1",
                                       "203.0.113.5/32 via 192.168.1.1 if 12 metric 1"}));
}

TEST_F(ReAddingAHostRoute, ThatCannotBeCreatedGivesTheStatus) {
  machine.Fail("CreateForwardRow", 1, 87);
  EXPECT_FALSE(ReAddHostRoute("203.0.113.5", &detail));
  EXPECT_EQ(detail, "203.0.113.5:add_failed(87)");
}

TEST_F(ReAddingAHostRoute, StatusIsPrintedUnsigned) {
  machine.Fail("CreateForwardRow", 1, 4294967295);
  EXPECT_FALSE(ReAddHostRoute("203.0.113.5", &detail));
  EXPECT_EQ(detail, "203.0.113.5:add_failed(4294967295)");
}

TEST_F(ReAddingAHostRoute, ThatIsNotVerifiedGivesStatusZero) {
  machine.Fail("CreateForwardRow", 1, 0);
  EXPECT_FALSE(ReAddHostRoute("203.0.113.5", &detail));
  EXPECT_EQ(detail, "203.0.113.5:add_failed(0)");
}

TEST_F(ReAddingAHostRoute, OfAnUnparsableTextGivesThatTextAndZero) {
  EXPECT_FALSE(ReAddHostRoute("no-address", &detail));
  EXPECT_EQ(detail, "no-address:add_failed(0)");
  EXPECT_EQ(machine.Changes(), Strings{});
}

TEST_F(ReAddingAHostRoute, VerifiedAfterAFailedCreateSaysAdded) {
  machine.OnCall("CreateForwardRow", 1,
                 [this] { machine.routes.Add("203.0.113.5/32", "192.168.1.1", 12, 1); });
  EXPECT_TRUE(ReAddHostRoute("203.0.113.5", &detail));
  EXPECT_EQ(detail, "203.0.113.5:added");
}

TEST_F(ReAddingAHostRoute, NeedsNoDetail) {
  EXPECT_TRUE(ReAddHostRoute("203.0.113.5", nullptr));
  EXPECT_FALSE(ReAddHostRoute("no-address", nullptr));
}

// A re-add drops its result; this is the entry that it adds.
TEST_F(ReAddingAHostRoute, EntryOfAReAddGivesAResultOfSourceLegacyThatIsRequired) {
  const HostRouteResult result =
      AddHostRoute({.ip = "203.0.113.5", .source = "legacy", .required = true});
  EXPECT_EQ(result.source, "legacy");
  EXPECT_TRUE(result.required);
}

class RemovingBypassRoutes : public OnBypassMachine {
 protected:
  RemovingBypassRoutes() { UsePhysicalGateway(); }

  void Add(const char* ip) { AddHostRoute({.ip = ip, .source = "WTS", .required = false}); }

  // A state in which every member differs from a fresh one.
  static AdminBypassState FullState() {
    AdminBypassState state;
    state.enabled = true;
    state.attempted = true;
    state.applied = true;
    state.routes_ready_before_tunnel = true;
    state.route_readded_after_tunnel = true;
    state.required_enforced = true;
    state.skipped_for_safe_mode = true;
    state.client_ip = "203.0.113.5";
    state.gateway = "192.168.1.1";
    state.message = "required admin bypass host routes verified before tunnel";
    state.failure_reason = "a_reason";
    state.rdp_tcp_remote_addresses = "[]";
    state.admin_env_ips = R"(["203.0.113.5"])";
    state.selected_admin_bypass_ips = R"(["203.0.113.5"])";
    state.selected_bypass_ip_entries = "[1]";
    state.physical_default_gateway_before_tunnel = "192.168.1.1";
    state.physical_interface_index_before_tunnel = "12";
    state.route_add_results = "203.0.113.5:added;";
    state.route_add_results_detail = "[2]";
    state.route_verify_before_tunnel = "203.0.113.5:ok(metric=1);";
    state.route_verify_after_tunnel = "203.0.113.5:ok(metric=2);";
    state.auto_stop_seconds = 45;
    return state;
  }
};

TEST_F(RemovingBypassRoutes, DeletesThemInTheOrderOfTheirCreation) {
  Add("203.0.113.5");
  Add("9.9.9.9");
  Add("198.51.100.7");
  machine.calls.Clear();
  RemoveBypassRoutes();
  EXPECT_EQ(machine.Changes(),
            (Strings{"DeleteForwardRow 203.0.113.5/32 via 192.168.1.1 if 12 metric 1",
                     "DeleteForwardRow 9.9.9.9/32 via 192.168.1.1 if 12 metric 1",
                     "DeleteForwardRow 198.51.100.7/32 via 192.168.1.1 if 12 metric 1"}));
  EXPECT_EQ(machine.routes.Texts(), (Strings{"0.0.0.0/0 via 192.168.1.1 if 12 metric 25",
                                             "192.168.1.0/24 via 0.0.0.0 if 12 metric 281"}));
  EXPECT_EQ(RecordedRoutes(), Strings{});
}

TEST_F(RemovingBypassRoutes, UsesTheRecordedRowsNotThePresentGateway) {
  Add("203.0.113.5");
  CurrentPhysicalRoute() = {.gateway = Ip("192.168.1.9"), .interface_index = 99};
  machine.calls.Clear();
  RemoveBypassRoutes();
  EXPECT_EQ(machine.Changes(),
            Strings{"DeleteForwardRow 203.0.113.5/32 via 192.168.1.1 if 12 metric 1"});
}

TEST_F(RemovingBypassRoutes, FailedDeleteDoesNotStopTheOthers) {
  Add("203.0.113.5");
  Add("198.51.100.7");
  machine.calls.Clear();
  machine.Fail("DeleteForwardRow", 1, 5);
  RemoveBypassRoutes();
  EXPECT_EQ(machine.Changes(),
            (Strings{"DeleteForwardRow 203.0.113.5/32 via 192.168.1.1 if 12 metric 1",
                     "DeleteForwardRow 198.51.100.7/32 via 192.168.1.1 if 12 metric 1"}));
  EXPECT_TRUE(machine.routes.Has("203.0.113.5/32 via 192.168.1.1 if 12 metric 1"));
  EXPECT_EQ(RecordedRoutes(), Strings{});
}

TEST_F(RemovingBypassRoutes, RouteThatIsGoneDoesNotStopTheOthers) {
  Add("203.0.113.5");
  Add("198.51.100.7");
  machine.routes.Remove("203.0.113.5/32");
  RemoveBypassRoutes();
  EXPECT_FALSE(machine.routes.Has("198.51.100.7/32 via 192.168.1.1 if 12 metric 1"));
}

TEST_F(RemovingBypassRoutes, RowRecordedTwiceIsDeletedTwice) {
  Add("203.0.113.5");
  machine.routes.Remove("203.0.113.5/32");
  Add("203.0.113.5");
  machine.calls.Clear();
  RemoveBypassRoutes();
  EXPECT_EQ(machine.Changes(),
            (Strings{"DeleteForwardRow 203.0.113.5/32 via 192.168.1.1 if 12 metric 1",
                     "DeleteForwardRow 203.0.113.5/32 via 192.168.1.1 if 12 metric 1"}));
}

TEST_F(RemovingBypassRoutes, RoutesOfOthersAreLeftAsTheyAre) {
  machine.routes.Add("203.0.113.5/32", "192.168.1.2", 13, 1);
  machine.routes.Add("9.9.9.9/32", "192.168.1.1", 12, 1);
  Add("203.0.113.5");
  Add("9.9.9.9");
  RemoveBypassRoutes();
  EXPECT_EQ(machine.routes.Texts(), (Strings{"0.0.0.0/0 via 192.168.1.1 if 12 metric 25",
                                             "192.168.1.0/24 via 0.0.0.0 if 12 metric 281",
                                             "203.0.113.5/32 via 192.168.1.2 if 13 metric 1",
                                             "9.9.9.9/32 via 192.168.1.1 if 12 metric 1"}));
}

TEST_F(RemovingBypassRoutes, ClearsTwoFlagsAndKeepsEverythingElse) {
  CurrentAdminBypassState() = FullState();
  AdminBypassState expected = FullState();
  expected.applied = false;
  expected.routes_ready_before_tunnel = false;
  EXPECT_EQ(Text(RemoveBypassRoutes()), Text(expected));
  EXPECT_EQ(Text(CurrentAdminBypassState()), Text(expected));
}

TEST_F(RemovingBypassRoutes, FillsAnEmptyMessage) {
  AdminBypassState expected;
  expected.message = "admin bypass host routes removed";
  EXPECT_EQ(Text(RemoveBypassRoutes()), Text(expected));
  EXPECT_EQ(Text(CurrentAdminBypassState()), Text(expected));
}

TEST_F(RemovingBypassRoutes, WithoutAnyRouteDeletesNothingButStoresAndLogs) {
  CurrentAdminBypassState() = FullState();
  RemoveBypassRoutes();
  EXPECT_EQ(machine.Changes(), Strings{});
  EXPECT_FALSE(CurrentAdminBypassState().applied);
  EXPECT_EQ(LogLines(),
            (Strings{"PrintDebugger [Veltrane][admin_bypass] enabled=1 applied=0 failure=a_reason",
                     "PrintError [Veltrane][admin_bypass] enabled=1 applied=0 failure=a_reason"}));
}

TEST_F(RemovingBypassRoutes, LogsOnceAfterTheLastDelete) {
  Add("203.0.113.5");
  machine.calls.Clear();
  RemoveBypassRoutes();
  EXPECT_EQ(machine.calls.All(),
            (Strings{"DeleteForwardRow 203.0.113.5/32 via 192.168.1.1 if 12 metric 1",
                     "PrintDebugger [Veltrane][admin_bypass] enabled=0 applied=0 failure=",
                     "PrintError [Veltrane][admin_bypass] enabled=0 applied=0 failure="}));
}

TEST_F(RemovingBypassRoutes, KeepsItsListUntilTheLastDeleteAndEmptiesItBeforeItsLine) {
  Add("203.0.113.5");
  Add("198.51.100.7");
  std::vector<std::size_t> recorded;
  const auto note = [&recorded] { recorded.push_back(AddedRouteList().size()); };
  machine.calls.Clear();
  machine.OnCall("DeleteForwardRow", 1, note);
  machine.OnCall("DeleteForwardRow", 2, note);
  machine.OnCall("PrintDebugger", 1, note);
  RemoveBypassRoutes();
  EXPECT_EQ(recorded, (std::vector<std::size_t>{2, 2, 0}));
}

TEST_F(RemovingBypassRoutes, StoresTheStateAsItWasBeforeTheFirstDelete) {
  CurrentAdminBypassState() = FullState();
  Add("203.0.113.5");
  machine.OnCall("DeleteForwardRow", 1,
                 [] { CurrentAdminBypassState().message = "stored meanwhile"; });
  RemoveBypassRoutes();
  EXPECT_EQ(CurrentAdminBypassState().message,
            "required admin bypass host routes verified before tunnel");
}

TEST_F(RemovingBypassRoutes, ClearsNoListButItsOwn) {
  SelectedBypassIps() = {"198.51.100.7", "203.0.113.5"};
  RequiredBypassIps() = {"203.0.113.5"};
  Add("203.0.113.5");
  RemoveBypassRoutes();
  EXPECT_EQ(SelectedBypassIps(), (Strings{"198.51.100.7", "203.0.113.5"}));
  EXPECT_EQ(RequiredBypassIps(), Strings{"203.0.113.5"});
  EXPECT_EQ(CurrentPhysicalRoute().gateway, Ip("192.168.1.1"));
  EXPECT_EQ(CurrentPhysicalRoute().interface_index, 12u);
}

TEST_F(RemovingBypassRoutes, SecondRemovalDeletesNothingMore) {
  Add("203.0.113.5");
  RemoveBypassRoutes();
  machine.calls.Clear();
  RemoveBypassRoutes();
  EXPECT_EQ(machine.Changes(), Strings{});
  EXPECT_EQ(LogLines().size(), 2u);
}

}  // namespace
}  // namespace veltrane
