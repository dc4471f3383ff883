// Adding one host route.

#include "bypass/host_routes.h"

#include <gtest/gtest.h>

#include "tests/bypass/on_bypass_machine.h"
#include "tests/bypass/record_texts.h"

namespace veltrane {
namespace {

class HostRoute : public OnBypassMachine {
 protected:
  HostRoute() { UsePhysicalGateway(); }

  // Adds the route of 203.0.113.5 and gives the result as text.
  std::string Add() { return Text(AddHostRoute(entry)); }

  // What a result says in any case.
  HostRouteResult Expected() const {
    HostRouteResult result;
    result.ip = "203.0.113.5";
    result.source = "RDP_TCP_ESTABLISHED";
    result.required = true;
    result.gateway = "192.168.1.1";
    result.interface_index = "12";
    return result;
  }

  // The results of the five ways that an add can end.
  HostRouteResult ExpectedExisting() const {
    HostRouteResult result = Expected();
    result.already_exists = true;
    result.add_success = true;
    result.existing_route_gateway = "192.168.1.1";
    result.existing_route_interface_index = "12";
    result.route_verify_success = true;
    return result;
  }

  HostRouteResult ExpectedAdded() const {
    HostRouteResult result = Expected();
    result.add_attempted = true;
    result.add_success = true;
    result.route_verify_success = true;
    return result;
  }

  HostRouteResult ExpectedUnverified() const {
    HostRouteResult result = Expected();
    result.add_attempted = true;
    result.error_message = "route verify failed after add";
    result.failure_reason = "route_verify_failed";
    return result;
  }

  HostRouteResult ExpectedFailure(std::uint32_t status) const {
    HostRouteResult result = Expected();
    result.add_attempted = true;
    result.win32_error_code = status;
    result.error_message = "CreateIpForwardEntry failed";
    result.failure_reason = "route_add_failed";
    return result;
  }

  static HostRouteResult WithExisting(HostRouteResult result, const char* gateway,
                                      const char* index) {
    result.existing_route_gateway = gateway;
    result.existing_route_interface_index = index;
    return result;
  }

  BypassIpEntry entry{.ip = "203.0.113.5", .source = "RDP_TCP_ESTABLISHED", .required = true};
  const std::string created = "CreateForwardRow 203.0.113.5/32 via 192.168.1.1 if 12 metric 1";
  const std::string route = "203.0.113.5/32 via 192.168.1.1 if 12 metric 1";
};

TEST_F(HostRoute, IsAddedThroughThePhysicalGatewayAndVerified) {
  EXPECT_EQ(Add(),
            "ip=203.0.113.5\n"
            "source=RDP_TCP_ESTABLISHED\n"
            "required=true\n"
            "add_attempted=true\n"
            "already_exists=false\n"
            "add_success=true\n"
            "win32_error_code=0\n"
            "error_message=\n"
            "gateway=192.168.1.1\n"
            "interface_index=12\n"
            "existing_route_gateway=\n"
            "existing_route_interface_index=\n"
            "route_verify_success=true\n"
            "failure_reason=\n");
  EXPECT_EQ(machine.Changes(), Strings{created});
  EXPECT_EQ(machine.routes.Texts(),
            (Strings{"0.0.0.0/0 via 192.168.1.1 if 12 metric 25",
                     "192.168.1.0/24 via 0.0.0.0 if 12 metric 281", route}));
  EXPECT_EQ(RecordedRoutes(), Strings{route});
}

TEST_F(HostRoute, CreatedRowHasEveryFieldOfItsTable) {
  Add();
  const ForwardRow row = machine.routes.Rows().back();
  EXPECT_EQ(row.dest, 0x057100CBu);  // 203.0.113.5 in network byte order
  EXPECT_EQ(row.mask, 0xFFFFFFFFu);
  EXPECT_EQ(row.policy, 0u);
  EXPECT_EQ(row.next_hop, 0x0101A8C0u);  // 192.168.1.1
  EXPECT_EQ(row.interface_index, 12u);
  EXPECT_EQ(row.type, 4u);
  EXPECT_EQ(row.proto, 3u);
  EXPECT_EQ(row.age, 0u);
  EXPECT_EQ(row.next_hop_as, 0u);
  EXPECT_EQ(row.metric1, 1u);
  EXPECT_EQ(row.metric2, 0u);
  EXPECT_EQ(row.metric3, 0u);
  EXPECT_EQ(row.metric4, 0u);
  EXPECT_EQ(row.metric5, 0u);
  EXPECT_EQ(AddedRouteList(), std::vector<ForwardRow>{row});
}

TEST_F(HostRoute, OptionalEntryKeepsItsSourceAndFlag) {
  entry = {.ip = "203.0.113.5", .source = "WTS", .required = false};
  HostRouteResult expected = ExpectedAdded();
  expected.source = "WTS";
  expected.required = false;
  EXPECT_EQ(Add(), Text(expected));
}

TEST_F(HostRoute, ThatExistsWithMetric10IsTakenAsItIsAndNeverDeleted) {
  machine.routes.Add("203.0.113.5/32", "192.168.1.1", 12, 10);
  EXPECT_EQ(Add(), Text(ExpectedExisting()));
  EXPECT_EQ(RecordedRoutes(), Strings{});
  RemoveBypassRoutes();
  EXPECT_EQ(machine.Changes(), Strings{});
  EXPECT_TRUE(machine.routes.Has("203.0.113.5/32 via 192.168.1.1 if 12 metric 10"));
}

TEST_F(HostRoute, ThatExistsWithMetric15IsTakenAsItIs) {
  machine.routes.Add("203.0.113.5/32", "192.168.1.1", 12, 15);
  EXPECT_EQ(Add(), Text(ExpectedExisting()));
  EXPECT_EQ(machine.Changes(), Strings{});
}

TEST_F(HostRoute, ExistingRouteWithMetric16IsAddedAgain) {
  machine.routes.Add("203.0.113.5/32", "192.168.1.1", 12, 16);
  EXPECT_TRUE(AddHostRoute(entry).add_attempted);
  EXPECT_EQ(machine.Changes(), Strings{created});
}

TEST_F(HostRoute, ExistingRouteWhoseMetricStaysAt20FailsWithStatus5010) {
  machine.routes.Add("203.0.113.5/32", "192.168.1.1", 12, 20);
  HostRouteResult expected = WithExisting(ExpectedFailure(5010), "192.168.1.1", "12");
  expected.already_exists = true;
  EXPECT_EQ(Add(), Text(expected));
  EXPECT_EQ(machine.Changes(), Strings{created});
  EXPECT_EQ(RecordedRoutes(), Strings{});
}

TEST_F(HostRoute, ExistingRouteWithAHugeMetricIsNotTakenAsNegative) {
  machine.routes.Add("203.0.113.5/32", "192.168.1.1", 12, 4294967295);
  EXPECT_FALSE(AddHostRoute(entry).add_success);
}

TEST_F(HostRoute, RouteThroughAnotherGatewayIsNotedAndOursIsAdded) {
  machine.routes.Add("203.0.113.5/32", "192.168.1.2", 13, 1);
  EXPECT_EQ(Add(), Text(WithExisting(ExpectedAdded(), "192.168.1.2", "13")));
  EXPECT_EQ(machine.Changes(), Strings{created});
  EXPECT_TRUE(machine.routes.Has("203.0.113.5/32 via 192.168.1.2 if 13 metric 1"));
  EXPECT_TRUE(machine.routes.Has(route));
}

TEST_F(HostRoute, RouteThroughAnotherInterfaceIsNotedAndOursIsAdded) {
  machine.routes.Add("203.0.113.5/32", "192.168.1.1", 13, 1);
  EXPECT_EQ(Add(), Text(WithExisting(ExpectedAdded(), "192.168.1.1", "13")));
}

TEST_F(HostRoute, ExistingRouteIsNotedAsOursThoughAnotherComesFirst) {
  machine.routes.KeepTableOrder();
  machine.routes.Add("203.0.113.5/32", "192.168.1.2", 13, 1);
  machine.routes.Add("203.0.113.5/32", "192.168.1.1", 12, 1);
  EXPECT_EQ(Add(), Text(ExpectedExisting()));
}

TEST_F(HostRoute, IndexesArePrintedUnsigned) {
  CurrentPhysicalRoute().interface_index = 4294967295;
  machine.routes.Add("203.0.113.5/32", "192.168.1.2", 4294967294, 1);
  const HostRouteResult result = AddHostRoute(entry);
  EXPECT_EQ(result.interface_index, "4294967295");
  EXPECT_EQ(result.existing_route_interface_index, "4294967294");
}

TEST_F(HostRoute, GatewayThatCannotBePrintedIsAnEmptyTextAndStillUsed) {
  machine.Fail("FormatIpv4", 1, 1);
  HostRouteResult expected = ExpectedAdded();
  expected.gateway = "";
  EXPECT_EQ(Add(), Text(expected));
  EXPECT_EQ(machine.Changes(), Strings{created});
}

TEST_F(HostRoute, PhysicalRouteIsOnlyRead) {
  Add();
  EXPECT_EQ(CurrentPhysicalRoute().gateway, Ip("192.168.1.1"));
  EXPECT_EQ(CurrentPhysicalRoute().interface_index, 12u);
}

class InvalidHostRoute : public HostRoute, public testing::WithParamInterface<const char*> {};

TEST_P(InvalidHostRoute, IsNotAttempted) {
  entry.ip = GetParam();
  HostRouteResult expected = Expected();
  expected.ip = GetParam();
  expected.error_message = "invalid_ip";
  expected.failure_reason = "invalid_ip";
  EXPECT_EQ(Add(), Text(expected));
  EXPECT_EQ(machine.Changes(), Strings{});
  EXPECT_EQ(machine.calls.Count("ReadForwardTable"), 0u);
  EXPECT_EQ(RecordedRoutes(), Strings{});
}

INSTANTIATE_TEST_SUITE_P(Texts, InvalidHostRoute,
                         testing::Values("", "no-address", "203.0.113.5/32", "203.0.113",
                                         " 203.0.113.5", "2001:db8::1"));

TEST_F(HostRoute, CreateFailureWithoutARouteIsAFailedAdd) {
  machine.Fail("CreateForwardRow", 1, 5);
  EXPECT_EQ(Add(), Text(ExpectedFailure(5)));
  EXPECT_EQ(machine.Changes(), Strings{created});
  EXPECT_EQ(RecordedRoutes(), Strings{});
}

TEST_F(HostRoute, CreateFailure5010WithoutARouteIsMarkedAsExisting) {
  machine.Fail("CreateForwardRow", 1, 5010);
  HostRouteResult expected = ExpectedFailure(5010);
  expected.already_exists = true;
  EXPECT_EQ(Add(), Text(expected));
}

TEST_F(HostRoute, StatusIsUnsigned) {
  machine.Fail("CreateForwardRow", 1, 0x80070005);
  EXPECT_EQ(Add(), Text(ExpectedFailure(2147942405)));
}

TEST_F(HostRoute, ThatAnotherWriterCreatedFirstIsASuccessWithStatus5010) {
  machine.OnCall("CreateForwardRow", 1,
                 [this] { machine.routes.Add("203.0.113.5/32", "192.168.1.1", 12, 15); });
  HostRouteResult expected = WithExisting(ExpectedAdded(), "192.168.1.1", "12");
  expected.already_exists = true;
  expected.win32_error_code = 5010;
  EXPECT_EQ(Add(), Text(expected));
  EXPECT_EQ(RecordedRoutes(), Strings{});
}

TEST_F(HostRoute, ThatIsThereAfterAnotherFailureIsASuccessThatKeepsTheStatus) {
  machine.OnCall("CreateForwardRow", 1,
                 [this] { machine.routes.Add("203.0.113.5/32", "192.168.1.1", 12, 15); });
  machine.Fail("CreateForwardRow", 1, 87);
  HostRouteResult expected = WithExisting(ExpectedAdded(), "192.168.1.1", "12");
  expected.win32_error_code = 87;
  EXPECT_EQ(Add(), Text(expected));
  EXPECT_EQ(RecordedRoutes(), Strings{});
}

TEST_F(HostRoute, ThatAppearsWithMetric16DuringAFailureIsAFailedAdd) {
  machine.OnCall("CreateForwardRow", 1,
                 [this] { machine.routes.Add("203.0.113.5/32", "192.168.1.1", 12, 16); });
  machine.Fail("CreateForwardRow", 1, 87);
  EXPECT_EQ(Add(), Text(WithExisting(ExpectedFailure(87), "192.168.1.1", "12")));
}

TEST_F(HostRoute, RouteOfAnotherGatewayThatAppearsDuringAFailureIsNoted) {
  machine.OnCall("CreateForwardRow", 1,
                 [this] { machine.routes.Add("203.0.113.5/32", "192.168.1.3", 14, 1); });
  machine.Fail("CreateForwardRow", 1, 87);
  EXPECT_EQ(Add(), Text(WithExisting(ExpectedFailure(87), "192.168.1.3", "14")));
}

TEST_F(HostRoute, NoteOfARouteThatVanishesDuringAFailureStays) {
  machine.routes.Add("203.0.113.5/32", "192.168.1.2", 13, 1);
  machine.OnCall("CreateForwardRow", 1, [this] { machine.routes.Remove("203.0.113.5/32"); });
  machine.Fail("CreateForwardRow", 1, 87);
  EXPECT_EQ(Add(), Text(WithExisting(ExpectedFailure(87), "192.168.1.2", "13")));
}

TEST_F(HostRoute, ThatIsNotInTheTableAfterASuccessFailsVerificationButIsRecorded) {
  machine.Fail("CreateForwardRow", 1, 0);
  EXPECT_EQ(Add(), Text(ExpectedUnverified()));
  EXPECT_EQ(machine.Changes(), Strings{created});
  EXPECT_EQ(RecordedRoutes(), Strings{route});
}

TEST_F(HostRoute, ThatGetsMetric16FailsVerificationButIsRecorded) {
  machine.routes.SetMetricOfCreatedRows(16);
  EXPECT_EQ(Add(), Text(ExpectedUnverified()));
  EXPECT_EQ(RecordedRoutes(), Strings{route});
  RemoveBypassRoutes();
  EXPECT_FALSE(machine.routes.Has("203.0.113.5/32 via 192.168.1.1 if 12 metric 16"));
}

TEST_F(HostRoute, ThatGetsMetric15IsVerified) {
  machine.routes.SetMetricOfCreatedRows(15);
  EXPECT_EQ(Add(), Text(ExpectedAdded()));
}

TEST_F(HostRoute, FailedVerificationDoesNotNoteWhatIsThere) {
  machine.OnCall("CreateForwardRow", 1,
                 [this] { machine.routes.Add("203.0.113.5/32", "192.168.1.3", 14, 1); });
  machine.Fail("CreateForwardRow", 1, 0);
  EXPECT_EQ(Add(), Text(ExpectedUnverified()));
}

TEST_F(HostRoute, IsRecordedBeforeItIsVerified) {
  Strings recorded_when_verified;
  machine.OnCall("ReadForwardTable", 3, [&] { recorded_when_verified = RecordedRoutes(); });
  Add();
  EXPECT_EQ(recorded_when_verified, Strings{route});
}

TEST_F(HostRoute, IsRecordedOnlyAfterItsCreation) {
  std::size_t recorded_when_created = 1;
  machine.OnCall("CreateForwardRow", 1, [&] { recorded_when_created = AddedRouteList().size(); });
  Add();
  EXPECT_EQ(recorded_when_created, 0u);
}

TEST_F(HostRoute, TableIsReadAnewForEveryLookup) {
  Add();
  EXPECT_EQ(machine.calls.Count("ReadForwardTable"), 3u);  // note, check, check after the add
  machine.calls.Clear();
  Add();
  EXPECT_EQ(machine.calls.Count("ReadForwardTable"), 2u);  // note, check
  machine.routes.Remove("203.0.113.5/32");
  machine.calls.Clear();
  machine.Fail("CreateForwardRow", 1, 5);
  Add();
  EXPECT_EQ(machine.calls.Count("ReadForwardTable"), 4u);  // note, check, note, check
}

TEST_F(HostRoute, UnreadableTableAtTheFirstReadLeavesTheNoteEmpty) {
  machine.routes.Add("203.0.113.5/32", "192.168.1.2", 13, 1);
  machine.Fail("ReadForwardTable", 1, 5);
  EXPECT_EQ(Add(), Text(ExpectedAdded()));
}

TEST_F(HostRoute, UnreadableTableAtTheSecondReadLeadsToACreateThatFindsTheRoute) {
  machine.routes.Add("203.0.113.5/32", "192.168.1.1", 12, 1);
  machine.Fail("ReadForwardTable", 2, 5);
  HostRouteResult expected = WithExisting(ExpectedAdded(), "192.168.1.1", "12");
  expected.already_exists = true;
  expected.win32_error_code = 5010;
  EXPECT_EQ(Add(), Text(expected));
  EXPECT_EQ(RecordedRoutes(), Strings{});
}

TEST_F(HostRoute, UnreadableTableAfterASuccessFailsVerification) {
  machine.Fail("ReadForwardTable", 3, 5);
  EXPECT_EQ(Add(), Text(ExpectedUnverified()));
  EXPECT_EQ(RecordedRoutes(), Strings{route});
  EXPECT_TRUE(machine.routes.Has(route));
}

TEST_F(HostRoute, UnreadableTableAtTheSecondNoteStillVerifies) {
  machine.OnCall("CreateForwardRow", 1,
                 [this] { machine.routes.Add("203.0.113.5/32", "192.168.1.1", 12, 1); });
  machine.Fail("ReadForwardTable", 3, 5);
  HostRouteResult expected = ExpectedAdded();
  expected.already_exists = true;
  expected.win32_error_code = 5010;
  EXPECT_EQ(Add(), Text(expected));
}

TEST_F(HostRoute, UnreadableTableAtTheLastCheckOfAFailureIsAFailedAdd) {
  machine.OnCall("CreateForwardRow", 1,
                 [this] { machine.routes.Add("203.0.113.5/32", "192.168.1.1", 12, 1); });
  machine.Fail("ReadForwardTable", 4, 5);
  HostRouteResult expected = WithExisting(ExpectedFailure(5010), "192.168.1.1", "12");
  expected.already_exists = true;
  EXPECT_EQ(Add(), Text(expected));
}

TEST_F(HostRoute, TableThatIsNeverReadableLeavesACreatedAndRecordedRoute) {
  machine.FailAlways("ReadForwardTable", 5);
  EXPECT_EQ(Add(), Text(ExpectedUnverified()));
  EXPECT_EQ(machine.Changes(), Strings{created});
  EXPECT_EQ(RecordedRoutes(), Strings{route});
}

TEST_F(HostRoute, AddingLogsNothingAndLeavesTheStateAlone) {
  CurrentAdminBypassState().message = "kept";
  Add();
  EXPECT_EQ(LogLines(), Strings{});
  EXPECT_EQ(CurrentAdminBypassState().message, "kept");
}

}  // namespace
}  // namespace veltrane
