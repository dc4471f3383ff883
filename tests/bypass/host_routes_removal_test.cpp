// Adding a host route once more, and removing those that were created.

#include <gtest/gtest.h>

#include "bypass/host_routes.h"
#include "tests/bypass/full_records.h"
#include "tests/bypass/on_bypass_machine.h"
#include "tests/bypass/record_texts.h"

namespace veltrane {
namespace {

class ReAddingAHostRoute : public OnBypassMachine {
 protected:
  ReAddingAHostRoute() { UsePhysicalGateway(); }

  static void ExpectReAdd(const char* ip, bool added, const std::string& expected_detail) {
    std::string detail = "old";
    EXPECT_EQ(ReAddHostRoute(ip, &detail), added);
    EXPECT_EQ(detail, expected_detail);
  }
};

TEST_F(ReAddingAHostRoute, ThatIsMissingAddsAndRecordsIt) {
  ExpectReAdd("203.0.113.5", true, "203.0.113.5:added");
  EXPECT_EQ(machine.Changes(), Created({"203.0.113.5"}));
  EXPECT_EQ(RecordedRoutes(), Pinned({"203.0.113.5"}));
}

TEST_F(ReAddingAHostRoute, ThatIsThereSaysAddedThoughNothingWas) {
  machine.routes.Add("203.0.113.5/32", "192.168.1.1", 12, 15);
  ExpectReAdd("203.0.113.5", true, "203.0.113.5:added");
  EXPECT_EQ(machine.Changes(), Strings{});
  EXPECT_EQ(RecordedRoutes(), Strings{});
}

TEST_F(ReAddingAHostRoute, ThatCannotBeCreatedGivesTheUnsignedStatus) {
  machine.Fail("CreateForwardRow", 1, 87);
  ExpectReAdd("203.0.113.5", false, "203.0.113.5:add_failed(87)");
  machine.Fail("CreateForwardRow", 1, 4294967295);
  ExpectReAdd("203.0.113.5", false, "203.0.113.5:add_failed(4294967295)");
}

TEST_F(ReAddingAHostRoute, ThatIsNotVerifiedOrNotParsedGivesStatusZero) {
  machine.Fail("CreateForwardRow", 1, 0);
  ExpectReAdd("203.0.113.5", false, "203.0.113.5:add_failed(0)");
  machine.calls.Clear();
  ExpectReAdd("no-address", false, "no-address:add_failed(0)");
  EXPECT_EQ(machine.Changes(), Strings{});
}

TEST_F(ReAddingAHostRoute, VerifiedAfterAFailedCreateSaysAdded) {
  machine.OnCall("CreateForwardRow", 1,
                 [this] { machine.routes.Add("203.0.113.5/32", "192.168.1.1", 12, 1); });
  ExpectReAdd("203.0.113.5", true, "203.0.113.5:added");
}

TEST_F(ReAddingAHostRoute, NeedsNoDetail) {
  EXPECT_TRUE(ReAddHostRoute("203.0.113.5", nullptr));
  EXPECT_FALSE(ReAddHostRoute("no-address", nullptr));
}

class RemovingBypassRoutes : public OnBypassMachine {
 protected:
  RemovingBypassRoutes() { UsePhysicalGateway(); }

  void Add(const Strings& ips) {
    for (const std::string& ip : ips) AddHostRoute({.ip = ip, .source = "WTS", .required = false});
    machine.calls.Clear();
  }

  // Removes; expects this record as the result and as the current state.
  static void ExpectRemovalGives(const AdminBypassState& expected) {
    EXPECT_EQ(Text(RemoveBypassRoutes()), Text(expected));
    EXPECT_EQ(Text(CurrentAdminBypassState()), Text(expected));
  }
};

// A timer that expires while a connect forgets the routes and records its own.
TEST_F(RemovingBypassRoutes, GoesOnWithItsRoutesWhenTheListChangesMeanwhile) {
  Add({"203.0.113.5", "9.9.9.9"});
  machine.OnCall("DeleteForwardRow", 1, [] {
    const ForwardRow other = simulated::MakeRoute("198.51.100.7/32", "192.168.1.1", 12, 1);
    AddedRouteList().clear();
    for (int i = 0; i < 8; ++i) AddedRouteList().push_back(other);
  });
  RemoveBypassRoutes();
  EXPECT_EQ(machine.calls.Of("DeleteForwardRow"),
            (Strings{"DeleteForwardRow 203.0.113.5/32 via 192.168.1.1 if 12 metric 1",
                     "DeleteForwardRow 9.9.9.9/32 via 192.168.1.1 if 12 metric 1"}));
}

TEST_F(RemovingBypassRoutes, DeletesThemInTheOrderOfTheirCreationAndLogsOnce) {
  Add({"203.0.113.5", "9.9.9.9", "198.51.100.7"});
  RemoveBypassRoutes();
  EXPECT_EQ(machine.calls.All(),
            (Strings{"DeleteForwardRow 203.0.113.5/32 via 192.168.1.1 if 12 metric 1",
                     "DeleteForwardRow 9.9.9.9/32 via 192.168.1.1 if 12 metric 1",
                     "DeleteForwardRow 198.51.100.7/32 via 192.168.1.1 if 12 metric 1",
                     "PrintDebugger [Veltrane][admin_bypass] enabled=0 applied=0 failure=",
                     "PrintError [Veltrane][admin_bypass] enabled=0 applied=0 failure="}));
  EXPECT_EQ(machine.routes.Texts(), office_routes);
  EXPECT_EQ(RecordedRoutes(), Strings{});
}

TEST_F(RemovingBypassRoutes, UsesTheRecordedRowsNotThePresentGateway) {
  Add({"203.0.113.5"});
  CurrentPhysicalRoute() = {.gateway = Ip("192.168.1.9"), .interface_index = 99};
  RemoveBypassRoutes();
  EXPECT_EQ(machine.Changes(), Deleted({"203.0.113.5"}));
}

TEST_F(RemovingBypassRoutes, RouteThatIsGoneOrCannotBeDeletedDoesNotStopTheOthers) {
  Add({"203.0.113.5", "198.51.100.7", "9.9.9.9"});
  machine.routes.Remove("203.0.113.5/32");
  machine.Fail("DeleteForwardRow", 2, 5);
  RemoveBypassRoutes();
  EXPECT_EQ(machine.Changes(), Deleted({"203.0.113.5", "198.51.100.7", "9.9.9.9"}));
  EXPECT_EQ(machine.routes.Texts(), Joined({office_routes, Pinned({"198.51.100.7"})}));
  EXPECT_EQ(RecordedRoutes(), Strings{});
}

TEST_F(RemovingBypassRoutes, RowRecordedTwiceIsDeletedTwice) {
  Add({"203.0.113.5"});
  machine.routes.Remove("203.0.113.5/32");
  Add({"203.0.113.5"});
  RemoveBypassRoutes();
  EXPECT_EQ(machine.Changes(), Deleted({"203.0.113.5", "203.0.113.5"}));
}

TEST_F(RemovingBypassRoutes, RoutesOfOthersAreLeftAsTheyAre) {
  machine.routes.Add("203.0.113.5/32", "192.168.1.2", 13, 1);
  machine.routes.Add("9.9.9.9/32", "192.168.1.1", 12, 1);
  const Strings before = machine.routes.Texts();
  Add({"203.0.113.5", "9.9.9.9"});
  RemoveBypassRoutes();
  EXPECT_EQ(machine.routes.Texts(), before);
}

TEST_F(RemovingBypassRoutes, WithoutAnyRouteClearsTwoFlagsKeepsEverythingElseAndLogs) {
  CurrentAdminBypassState() = FullState();
  AdminBypassState expected = FullState();
  expected.applied = false;
  expected.routes_ready_before_tunnel = false;
  ExpectRemovalGives(expected);
  EXPECT_EQ(machine.Changes(), Strings{});
  EXPECT_EQ(LogLines(), Logged("enabled=1 applied=0 failure=a_reason"));
}

TEST_F(RemovingBypassRoutes, FillsAnEmptyMessage) {
  AdminBypassState expected;
  expected.message = "admin bypass host routes removed";
  ExpectRemovalGives(expected);
}

TEST_F(RemovingBypassRoutes, KeepsItsListUntilTheLastDeleteAndEmptiesItBeforeItsLine) {
  Add({"203.0.113.5", "198.51.100.7"});
  std::vector<std::size_t> recorded;
  const auto note = [&recorded] { recorded.push_back(AddedRouteList().size()); };
  machine.OnCall("DeleteForwardRow", 1, note);
  machine.OnCall("DeleteForwardRow", 2, note);
  machine.OnCall("PrintDebugger", 1, note);
  RemoveBypassRoutes();
  EXPECT_EQ(recorded, (std::vector<std::size_t>{2, 2, 0}));
}

TEST_F(RemovingBypassRoutes, StoresTheStateAsItWasBeforeTheFirstDelete) {
  CurrentAdminBypassState() = FullState();
  Add({"203.0.113.5"});
  machine.OnCall("DeleteForwardRow", 1,
                 [] { CurrentAdminBypassState().message = "stored meanwhile"; });
  RemoveBypassRoutes();
  EXPECT_EQ(CurrentAdminBypassState().message, "a message");
}

TEST_F(RemovingBypassRoutes, ClearsNoListButItsOwn) {
  SelectedBypassIps() = {"198.51.100.7", "203.0.113.5"};
  RequiredBypassIps() = {"203.0.113.5"};
  Add({"203.0.113.5"});
  RemoveBypassRoutes();
  EXPECT_EQ(SelectedBypassIps(), (Strings{"198.51.100.7", "203.0.113.5"}));
  EXPECT_EQ(RequiredBypassIps(), Strings{"203.0.113.5"});
  ExpectPhysicalRoute("192.168.1.1", 12);
}

}  // namespace
}  // namespace veltrane
