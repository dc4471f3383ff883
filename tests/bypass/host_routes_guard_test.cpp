// The startup guard around every change of the routing table.

#include <cstdio>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "bypass/host_routes.h"
#include "tests/bypass/on_bypass_machine.h"

namespace veltrane {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

constexpr wchar_t kGuard[] = L"VELTRANE_POC_DISABLE_ALL_NETWORK_MUTATION_ON_STARTUP";

// Before the first connect request.
class PassiveHostRoute : public OnBypassMachine {
 protected:
  PassiveHostRoute() {
    ResetStartupState();
    UsePhysicalGateway();
  }

  static HostRouteResult Add(const char* ip = "203.0.113.5") {
    return AddHostRoute({.ip = ip, .source = "WTS", .required = false});
  }

  static std::int32_t Mutations() { return ReadStartupState().route_mutation_count; }

  // What the guard does before a change of this name: its line and the reading of its variable.
  static Strings Checked(const std::string& change) {
    return Joined(
        {{"PrintErrorLine [Veltrane][startup_guard] forbidden during passive startup: " + change},
         ReadInAllScopes("VELTRANE_POC_DISABLE_ALL_NETWORK_MUTATION_ON_STARTUP")});
  }

  // What the guard prints when its variable forbids this change.
  static std::string Aborted(const std::string& change) {
    return "[Veltrane][startup_guard] forbidden during passive startup: " + change +
           "\n[Veltrane][startup_guard] abort "
           "VELTRANE_POC_DISABLE_ALL_NETWORK_MUTATION_ON_STARTUP=1\n";
  }

  const Strings logged_removal = Logged("enabled=0 applied=0 failure=");
};

TEST_F(PassiveHostRoute, CreationIsReportedImmediatelyBeforeAndCountedAfter) {
  std::int32_t counted_before = -1;
  machine.OnCall("CreateForwardRow", 1, [&] { counted_before = Mutations(); });
  EXPECT_TRUE(Add().add_success);
  EXPECT_EQ(machine.calls.All(), Joined({{"ReadForwardTable", "ReadForwardTable"},
                                         Checked("CreateIpForwardEntry"),
                                         Created({"203.0.113.5"}),
                                         {"ReadForwardTable"}}));
  EXPECT_EQ(counted_before, 0);
  EXPECT_EQ(Mutations(), 1);
}

TEST_F(PassiveHostRoute, DeletionIsReportedImmediatelyBeforeAndCountedAfter) {
  Add();
  machine.calls.Clear();
  std::int32_t counted_before = -1;
  machine.OnCall("DeleteForwardRow", 1, [&] { counted_before = Mutations(); });
  RemoveBypassRoutes();
  EXPECT_EQ(machine.calls.All(),
            Joined({Checked("DeleteIpForwardEntry"), Deleted({"203.0.113.5"}), logged_removal}));
  EXPECT_EQ(counted_before, 1);
  EXPECT_EQ(Mutations(), 2);
}

TEST_F(PassiveHostRoute, FailedChangesAreReportedAndCountedToo) {
  Add("198.51.100.7");
  machine.Fail("CreateForwardRow", 1, 5);
  Add();
  EXPECT_EQ(Mutations(), 2);
  Add("203.0.113.5");
  machine.calls.Clear();
  machine.Fail("DeleteForwardRow", 1, 5);
  RemoveBypassRoutes();
  EXPECT_EQ(machine.calls.All(),
            Joined({Checked("DeleteIpForwardEntry"), Deleted({"198.51.100.7"}),
                    Checked("DeleteIpForwardEntry"), Deleted({"203.0.113.5"}), logged_removal}));
  EXPECT_EQ(Mutations(), 5);
}

TEST_F(PassiveHostRoute, WhatChangesNothingIsNotReported) {
  machine.routes.Add("203.0.113.5/32", "192.168.1.1", 12, 1);
  Add("203.0.113.5");
  Add("no-address");
  EXPECT_EQ(machine.console.Error(), L"");
  EXPECT_EQ(Mutations(), 0);
}

TEST_F(PassiveHostRoute, AfterAConnectRequestNothingIsReportedOrEnforced) {
  SetVariable(kGuard, L"1");
  MarkConnectRequested();
  EXPECT_TRUE(Add().add_success);
  RemoveBypassRoutes();
  EXPECT_EQ(LogLines(), logged_removal);
  EXPECT_EQ(Mutations(), 0);
}

TEST_F(PassiveHostRoute, AfterTheStopNothingIsReportedOrEnforced) {
  SetVariable(kGuard, L"1");
  MarkStopRequested();
  EXPECT_TRUE(Add().add_success);
  EXPECT_EQ(LogLines(), Strings{});
  EXPECT_EQ(Mutations(), 0);
}

using PassiveHostRouteDeathTest = PassiveHostRoute;

TEST_F(PassiveHostRouteDeathTest, ForbiddenCreationEndsTheProcessBeforeItHappens) {
  machine.environment.SetMachine(kGuard, L"true");
  machine.console.EchoErrors();
  machine.OnCall("CreateForwardRow", 1, [] { std::fputs("route created\n", stderr); });
  EXPECT_EXIT(Add(), testing::KilledBySignal(SIGABRT),
              AllOf(HasSubstr(Aborted("CreateIpForwardEntry")), Not(HasSubstr("route created"))));
}

TEST_F(PassiveHostRouteDeathTest, ForbiddenDeletionEndsTheProcessBeforeItHappens) {
  Add();
  machine.environment.SetMachine(kGuard, L"true");
  machine.console.EchoErrors();
  machine.OnCall("DeleteForwardRow", 1, [] { std::fputs("route deleted\n", stderr); });
  EXPECT_EXIT(RemoveBypassRoutes(), testing::KilledBySignal(SIGABRT),
              AllOf(HasSubstr(Aborted("DeleteIpForwardEntry")), Not(HasSubstr("route deleted"))));
}

}  // namespace
}  // namespace veltrane
