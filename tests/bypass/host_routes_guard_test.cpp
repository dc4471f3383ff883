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
class PassiveHostRoute : public OnMachine {
 protected:
  PassiveHostRoute() {
    machine.routes.AddPhysicalNetwork();
    CurrentPhysicalRoute() = {.gateway = Ip("192.168.1.1"), .interface_index = 12};
  }

  HostRouteResult Add(const char* ip = "203.0.113.5") {
    return AddHostRoute({.ip = ip, .source = "WTS", .required = false});
  }

  static std::int32_t Mutations() { return ReadStartupState().route_mutation_count; }
};

// The guard's line, the reading of its variable, and the change right after them.
TEST_F(PassiveHostRoute, CreationIsReportedImmediatelyBeforeAndCountedAfter) {
  std::int32_t counted_before = -1;
  machine.OnCall("CreateForwardRow", 1, [&] { counted_before = Mutations(); });
  EXPECT_TRUE(Add().add_success);
  EXPECT_EQ(machine.calls.All(),
            (Strings{"ReadForwardTable", "ReadForwardTable",
                     "PrintErrorLine [Veltrane][startup_guard] forbidden during passive startup: "
                     "CreateIpForwardEntry",
                     "ReadProcessVariable VELTRANE_POC_DISABLE_ALL_NETWORK_MUTATION_ON_STARTUP",
                     "ReadRegistryText HKLM VELTRANE_POC_DISABLE_ALL_NETWORK_MUTATION_ON_STARTUP",
                     "ReadRegistryText HKCU VELTRANE_POC_DISABLE_ALL_NETWORK_MUTATION_ON_STARTUP",
                     "CreateForwardRow 203.0.113.5/32 via 192.168.1.1 if 12 metric 1",
                     "ReadForwardTable"}));
  EXPECT_EQ(counted_before, 0);
  EXPECT_EQ(Mutations(), 1);
}

TEST_F(PassiveHostRoute, FailedCreationIsCountedToo) {
  machine.Fail("CreateForwardRow", 1, 5);
  Add();
  EXPECT_EQ(Mutations(), 1);
}

TEST_F(PassiveHostRoute, EachDeletionIsReportedAndCounted) {
  Add("203.0.113.5");
  Add("198.51.100.7");
  machine.console.Clear();
  machine.Fail("DeleteForwardRow", 1, 5);
  RemoveBypassRoutes();
  EXPECT_EQ(machine.console.Error(),
            L"[Veltrane][startup_guard] forbidden during passive startup: DeleteIpForwardEntry\n"
            L"[Veltrane][startup_guard] forbidden during passive startup: DeleteIpForwardEntry\n"
            L"[Veltrane][admin_bypass] enabled=0 applied=0 failure=\n");
  EXPECT_EQ(Mutations(), 4);
}

TEST_F(PassiveHostRoute, DeletionIsReportedImmediatelyBeforeAndCountedAfter) {
  Add();
  machine.calls.Clear();
  std::int32_t counted_before = -1;
  machine.OnCall("DeleteForwardRow", 1, [&] { counted_before = Mutations(); });
  RemoveBypassRoutes();
  EXPECT_EQ(machine.calls.All(),
            (Strings{"PrintErrorLine [Veltrane][startup_guard] forbidden during passive startup: "
                     "DeleteIpForwardEntry",
                     "ReadProcessVariable VELTRANE_POC_DISABLE_ALL_NETWORK_MUTATION_ON_STARTUP",
                     "ReadRegistryText HKLM VELTRANE_POC_DISABLE_ALL_NETWORK_MUTATION_ON_STARTUP",
                     "ReadRegistryText HKCU VELTRANE_POC_DISABLE_ALL_NETWORK_MUTATION_ON_STARTUP",
                     "DeleteForwardRow 203.0.113.5/32 via 192.168.1.1 if 12 metric 1",
                     "PrintDebugger [Veltrane][admin_bypass] enabled=0 applied=0 failure=",
                     "PrintError [Veltrane][admin_bypass] enabled=0 applied=0 failure="}));
  EXPECT_EQ(counted_before, 1);
  EXPECT_EQ(Mutations(), 2);
}

TEST_F(PassiveHostRoute, RouteThatExistsChangesNothingAndIsNotReported) {
  machine.routes.Add("203.0.113.5/32", "192.168.1.1", 12, 1);
  Add();
  EXPECT_EQ(machine.console.Error(), L"");
  EXPECT_EQ(Mutations(), 0);
}

TEST_F(PassiveHostRoute, UnparsableAddressChangesNothingAndIsNotReported) {
  Add("no-address");
  EXPECT_EQ(machine.console.Error(), L"");
  EXPECT_EQ(Mutations(), 0);
}

TEST_F(PassiveHostRoute, AfterAConnectRequestNothingIsReportedOrEnforced) {
  machine.environment.SetProcess(kGuard, L"1");
  MarkConnectRequested();
  EXPECT_TRUE(Add().add_success);
  RemoveBypassRoutes();
  EXPECT_EQ(machine.console.Error(), L"[Veltrane][admin_bypass] enabled=0 applied=0 failure=\n");
  EXPECT_EQ(Mutations(), 0);
}

TEST_F(PassiveHostRoute, AfterTheStopNothingIsReportedOrEnforced) {
  machine.environment.SetProcess(kGuard, L"1");
  MarkStopRequested();
  EXPECT_TRUE(Add().add_success);
  EXPECT_EQ(machine.console.Error(), L"");
  EXPECT_EQ(Mutations(), 0);
}

using PassiveHostRouteDeathTest = PassiveHostRoute;

TEST_F(PassiveHostRouteDeathTest, ForbiddenCreationEndsTheProcessBeforeItHappens) {
  machine.environment.SetMachine(kGuard, L"true");
  machine.console.EchoErrors();
  machine.OnCall("CreateForwardRow", 1, [] { std::fputs("route created\n", stderr); });
  EXPECT_EXIT(Add(), testing::KilledBySignal(SIGABRT),
              AllOf(HasSubstr("[Veltrane][startup_guard] forbidden during passive startup: "
                              "CreateIpForwardEntry\n"
                              "[Veltrane][startup_guard] abort "
                              "VELTRANE_POC_DISABLE_ALL_NETWORK_MUTATION_ON_STARTUP=1\n"),
                    Not(HasSubstr("route created"))));
}

TEST_F(PassiveHostRouteDeathTest, ForbiddenDeletionEndsTheProcessBeforeItHappens) {
  Add();
  machine.environment.SetMachine(kGuard, L"true");
  machine.console.EchoErrors();
  machine.OnCall("DeleteForwardRow", 1, [] { std::fputs("route deleted\n", stderr); });
  EXPECT_EXIT(RemoveBypassRoutes(), testing::KilledBySignal(SIGABRT),
              AllOf(HasSubstr("[Veltrane][startup_guard] forbidden during passive startup: "
                              "DeleteIpForwardEntry\n"
                              "[Veltrane][startup_guard] abort "
                              "VELTRANE_POC_DISABLE_ALL_NETWORK_MUTATION_ON_STARTUP=1\n"),
                    Not(HasSubstr("route deleted"))));
}

}  // namespace
}  // namespace veltrane
