// Adding one host route.

#include "bypass/host_routes.h"

#include <map>

#include <gtest/gtest.h>

#include "tests/bypass/on_bypass_machine.h"
#include "tests/bypass/record_texts.h"

namespace veltrane {
namespace {

// The route of 203.0.113.5.
class HostRoute : public OnBypassMachine {
 protected:
  HostRoute() { UsePhysicalGateway(); }

  // Puts a route of the address into the table; and does so while the create call runs, which then
  // answers this status.
  void AddToTable(const char* gateway, std::uint32_t index, std::uint32_t metric) {
    machine.routes.Add("203.0.113.5/32", gateway, index, metric);
  }
  void AddMeanwhile(const char* gateway, std::uint32_t index, std::uint32_t metric,
                    std::uint32_t status) {
    machine.OnCall("CreateForwardRow", 1, [=, this] { AddToTable(gateway, index, metric); });
    machine.Fail("CreateForwardRow", 1, status);
  }
  void Vanish() { machine.routes.Remove("203.0.113.5/32"); }

  // The ways that an add can end.
  static HostRouteResult Added() {
    return {.ip = "203.0.113.5",
            .source = "RDP_TCP_ESTABLISHED",
            .required = true,
            .add_attempted = true,
            .already_exists = false,
            .add_success = true,
            .win32_error_code = 0,
            .error_message = "",
            .gateway = "192.168.1.1",
            .interface_index = "12",
            .existing_route_gateway = "",
            .existing_route_interface_index = "",
            .route_verify_success = true,
            .failure_reason = ""};
  }
  static HostRouteResult Existing() {
    HostRouteResult result = Noted(Added(), "192.168.1.1", "12");
    result.add_attempted = false;
    result.already_exists = true;
    return result;
  }
  static HostRouteResult NotAdded(const char* reason, const char* message) {
    HostRouteResult result = Added();
    result.add_success = false;
    result.error_message = message;
    result.route_verify_success = false;
    result.failure_reason = reason;
    return result;
  }
  static HostRouteResult Unverified() {
    return NotAdded("route_verify_failed", "route verify failed after add");
  }
  static HostRouteResult Failed(std::uint32_t status) {
    return WithStatus(NotAdded("route_add_failed", "CreateIpForwardEntry failed"), status);
  }

  static HostRouteResult Noted(HostRouteResult result, const char* gateway, const char* index) {
    result.existing_route_gateway = gateway;
    result.existing_route_interface_index = index;
    return result;
  }
  static HostRouteResult WithStatus(HostRouteResult result, std::uint32_t status) {
    result.win32_error_code = status;
    result.already_exists = status == 5010;
    return result;
  }

  // Adds the route; expects this result, the calls that change the table, and the recorded rows.
  void ExpectAdd(const HostRouteResult& expected, const Strings& changes, const Strings& recorded) {
    machine.calls.Clear();
    EXPECT_EQ(Text(AddHostRoute(entry)), Text(expected));
    EXPECT_EQ(machine.Changes(), changes);
    EXPECT_EQ(RecordedRoutes(), recorded);
  }
  void ExpectNothingDone(const HostRouteResult& expected) { ExpectAdd(expected, {}, {}); }
  void ExpectNotRecorded(const HostRouteResult& expected) { ExpectAdd(expected, created, {}); }
  void ExpectRecorded(const HostRouteResult& expected) { ExpectAdd(expected, created, route); }

  BypassIpEntry entry{.ip = "203.0.113.5", .source = "RDP_TCP_ESTABLISHED", .required = true};
  const Strings created = {"CreateForwardRow 203.0.113.5/32 via 192.168.1.1 if 12 metric 1"};
  const Strings route = {"203.0.113.5/32 via 192.168.1.1 if 12 metric 1"};
};

TEST_F(HostRoute, IsAddedThroughThePhysicalGatewayAndVerified) {
  CurrentAdminBypassState().message = "kept";
  ExpectRecorded(Added());
  EXPECT_EQ(machine.routes.Texts(), Joined({office_routes, route}));
  ExpectPhysicalRoute("192.168.1.1", 12);
  EXPECT_EQ(LogLines(), Strings{});
  EXPECT_EQ(CurrentAdminBypassState().message, "kept");
}

TEST_F(HostRoute, CreatedRowHasEveryFieldOfItsTable) {
  AddHostRoute(entry);
  ForwardRow row;
  row.dest = 0x057100CB;  // 203.0.113.5 in network byte order
  row.mask = 0xFFFFFFFF;
  row.next_hop = 0x0101A8C0;  // 192.168.1.1
  row.interface_index = 12;
  row.type = 4;
  row.proto = 3;
  row.metric1 = 1;
  EXPECT_EQ(machine.routes.Rows().back(), row);
  EXPECT_EQ(AddedRouteList(), std::vector<ForwardRow>{row});
}

// An optional candidate, and the entry of a re-add.
TEST_F(HostRoute, EntryKeepsItsSourceAndFlag) {
  for (const auto& [source, required] :
       std::map<const char*, bool>{{"WTS", false}, {"legacy", true}}) {
    entry = {.ip = "203.0.113.5", .source = source, .required = required};
    const HostRouteResult result = AddHostRoute(entry);
    EXPECT_EQ(result.source, source);
    EXPECT_EQ(result.required, required);
  }
}

TEST_F(HostRoute, ThatExistsWithAMetricUpTo15IsTakenAsItIsAndNeverDeleted) {
  AddToTable("192.168.1.1", 12, 10);
  ExpectNothingDone(Existing());
  machine.routes.SetMetric("203.0.113.5/32", 15);
  ExpectNothingDone(Existing());
  RemoveBypassRoutes();
  EXPECT_TRUE(machine.routes.Has("203.0.113.5/32 via 192.168.1.1 if 12 metric 15"));
}

TEST_F(HostRoute, ThatKeepsAHigherMetricFailsWithStatus5010) {
  AddToTable("192.168.1.1", 12, 16);
  ExpectNotRecorded(Noted(Failed(5010), "192.168.1.1", "12"));
  for (const std::uint32_t metric : {20u, 4294967295u}) {
    machine.routes.SetMetric("203.0.113.5/32", metric);
    ExpectNotRecorded(Noted(Failed(5010), "192.168.1.1", "12"));
  }
}

TEST_F(HostRoute, RouteThroughAnotherGatewayIsNotedAndOursIsAdded) {
  AddToTable("192.168.1.2", 13, 1);
  ExpectRecorded(Noted(Added(), "192.168.1.2", "13"));
  EXPECT_TRUE(machine.routes.Has("203.0.113.5/32 via 192.168.1.2 if 13 metric 1"));
  EXPECT_TRUE(machine.routes.Has("203.0.113.5/32 via 192.168.1.1 if 12 metric 1"));
}

TEST_F(HostRoute, RouteThroughAnotherInterfaceIsNotedAndOursIsAdded) {
  AddToTable("192.168.1.1", 4294967294, 1);
  ExpectRecorded(Noted(Added(), "192.168.1.1", "4294967294"));
}

TEST_F(HostRoute, ExistingRouteIsNotedAsOursThoughAnotherComesFirst) {
  machine.routes.KeepTableOrder();
  AddToTable("192.168.1.2", 13, 1);
  AddToTable("192.168.1.1", 12, 1);
  ExpectNothingDone(Existing());
}

TEST_F(HostRoute, InterfaceIndexIsPrintedUnsigned) {
  CurrentPhysicalRoute().interface_index = 4294967295;
  EXPECT_EQ(AddHostRoute(entry).interface_index, "4294967295");
}

TEST_F(HostRoute, GatewayThatCannotBePrintedIsAnEmptyTextAndStillUsed) {
  machine.Fail("FormatIpv4", 1, 1);
  HostRouteResult expected = Added();
  expected.gateway = "";
  ExpectRecorded(expected);
}

TEST_F(HostRoute, OfATextThatIsNoAddressIsNotAttempted) {
  for (const char* text :
       {"", "no-address", "203.0.113.5/32", "203.0.113", " 203.0.113.5", "2001:db8::1"}) {
    entry.ip = text;
    HostRouteResult expected = NotAdded("invalid_ip", "invalid_ip");
    expected.ip = text;
    expected.add_attempted = false;
    ExpectNothingDone(expected);
    EXPECT_EQ(machine.calls.Count("ReadForwardTable"), 0u);
  }
}

TEST_F(HostRoute, CreateFailureWithoutARouteIsAFailedAddThatKeepsTheUnsignedStatus) {
  for (const std::uint32_t status : {5u, 5010u, 0x80070005u}) {
    machine.Fail("CreateForwardRow", 1, status);
    ExpectNotRecorded(Failed(status));
  }
}

TEST_F(HostRoute, ThatAppearsWhileItsCreationFailsIsASuccessThatKeepsTheStatus) {
  for (const std::uint32_t status : {5010u, 87u}) {
    AddMeanwhile("192.168.1.1", 12, 15, status);
    ExpectNotRecorded(Noted(WithStatus(Added(), status), "192.168.1.1", "12"));
    Vanish();
  }
}

TEST_F(HostRoute, RouteThatDoesNotVerifyIsNotedWhenItAppearsWhileTheCreationFails) {
  AddMeanwhile("192.168.1.1", 12, 16, 87);
  ExpectNotRecorded(Noted(Failed(87), "192.168.1.1", "12"));
  Vanish();
  AddMeanwhile("192.168.1.3", 14, 1, 87);
  ExpectNotRecorded(Noted(Failed(87), "192.168.1.3", "14"));
}

TEST_F(HostRoute, NoteOfARouteThatVanishesDuringAFailureStays) {
  AddToTable("192.168.1.2", 13, 1);
  machine.OnCall("CreateForwardRow", 1, [this] { Vanish(); });
  machine.Fail("CreateForwardRow", 1, 87);
  ExpectNotRecorded(Noted(Failed(87), "192.168.1.2", "13"));
}

TEST_F(HostRoute, ThatIsNotThereAfterASuccessFailsVerificationWithoutANoteButIsRecorded) {
  AddMeanwhile("192.168.1.3", 14, 1, 0);
  ExpectRecorded(Unverified());
}

TEST_F(HostRoute, ThatGetsAMetricUpTo15IsVerified) {
  machine.routes.SetMetricOfCreatedRows(15);
  ExpectRecorded(Added());
}

TEST_F(HostRoute, ThatGetsMetric16FailsVerificationButIsRecordedForItsRemoval) {
  machine.routes.SetMetricOfCreatedRows(16);
  ExpectRecorded(Unverified());
  RemoveBypassRoutes();
  EXPECT_EQ(machine.routes.Texts(), office_routes);
}

TEST_F(HostRoute, IsRecordedAfterItsCreationAndBeforeItsVerification) {
  std::vector<std::size_t> recorded;
  const auto note = [&recorded] { recorded.push_back(AddedRouteList().size()); };
  machine.OnCall("CreateForwardRow", 1, note);
  machine.OnCall("ReadForwardTable", 3, note);
  AddHostRoute(entry);
  EXPECT_EQ(recorded, (std::vector<std::size_t>{0, 1}));
}

TEST_F(HostRoute, TableIsReadAnewForEveryLookup) {
  AddHostRoute(entry);
  EXPECT_EQ(machine.calls.Count("ReadForwardTable"), 3u);  // note, check, check after the add
  machine.calls.Clear();
  AddHostRoute(entry);
  EXPECT_EQ(machine.calls.Count("ReadForwardTable"), 2u);  // note, check
  Vanish();
  machine.calls.Clear();
  machine.Fail("CreateForwardRow", 1, 5);
  AddHostRoute(entry);
  EXPECT_EQ(machine.calls.Count("ReadForwardTable"), 4u);  // note, check, note, check
}

TEST_F(HostRoute, UnreadableTableAtTheFirstReadLeavesTheNoteEmpty) {
  AddToTable("192.168.1.2", 13, 1);
  machine.Fail("ReadForwardTable", 1, 5);
  ExpectRecorded(Added());
}

TEST_F(HostRoute, UnreadableTableAtTheSecondReadLeadsToACreateThatFindsTheRoute) {
  AddToTable("192.168.1.1", 12, 1);
  machine.Fail("ReadForwardTable", 2, 5);
  ExpectNotRecorded(Noted(WithStatus(Added(), 5010), "192.168.1.1", "12"));
}

TEST_F(HostRoute, UnreadableTableAfterASuccessFailsVerification) {
  machine.Fail("ReadForwardTable", 3, 5);
  ExpectRecorded(Unverified());
  EXPECT_EQ(machine.routes.Texts(), Joined({office_routes, route}));
}

TEST_F(HostRoute, UnreadableTableAtTheSecondNoteStillVerifies) {
  AddMeanwhile("192.168.1.1", 12, 1, 5010);
  machine.Fail("ReadForwardTable", 3, 5);
  ExpectNotRecorded(WithStatus(Added(), 5010));
}

TEST_F(HostRoute, UnreadableTableAtTheLastCheckOfAFailureIsAFailedAdd) {
  AddMeanwhile("192.168.1.1", 12, 1, 5010);
  machine.Fail("ReadForwardTable", 4, 5);
  ExpectNotRecorded(Noted(Failed(5010), "192.168.1.1", "12"));
}

TEST_F(HostRoute, TableThatIsNeverReadableLeavesACreatedAndRecordedRoute) {
  machine.FailAlways("ReadForwardTable", 5);
  ExpectRecorded(Unverified());
}

}  // namespace
}  // namespace veltrane
