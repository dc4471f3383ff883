#include "service/startup_guard.h"

#include <cstdio>

#include "bypass/host_routes.h"
#include "tests/service/program.h"
#include "tests/support/name_of.h"

namespace veltrane {
namespace {

using simulated::Machine;

constexpr wchar_t kGuardVariable[] = L"VELTRANE_POC_DISABLE_ALL_NETWORK_MUTATION_ON_STARTUP";

void NoteEverything() {
  NoteRouteMutation();
  NoteTunnelStarted();
  NoteConfigWritten();
}

class StartupGuard : public OnMachine {
 protected:
  StartupGuard() { CurrentPhysicalRoute() = {simulated::Ip("192.168.1.1"), 12}; }
};

TEST_F(StartupGuard, NotesCountAndMarkDuringThePassivePhase) {
  NoteRouteMutation();
  NoteEverything();
  EXPECT_EQ(StartupRecord(), "connect 0 stop 0 routes 2 tunnel 1 config 1 since ");
}

TEST_F(StartupGuard, TheEndOfThePassivePhaseKeepsWhatWasNotedAndResetClearsIt) {
  NoteEverything();
  SetProcessStartTimestamp("2026-11-16T02:25:07Z");
  MarkConnectRequested();
  MarkStopRequested();
  EXPECT_EQ(StartupRecord(),
            "connect 1 stop 1 routes 1 tunnel 1 config 1 since 2026-11-16T02:25:07Z");
  ResetStartupState();
  EXPECT_EQ(StartupRecord(), "connect 0 stop 0 routes 0 tunnel 0 config 0 since ");
}

TEST_F(StartupGuard, ACheckDuringThePassivePhaseLogsTheOperationAndReturns) {
  machine.environment.SetMachine(kGuardVariable, L"0");
  CheckStartupMutation("AnyOperation");
  EXPECT_EQ(machine.console.Error(),
            L"[Veltrane][startup_guard] forbidden during passive startup: AnyOperation\n");
  EXPECT_EQ(machine.console.Log().size(), 1u);
}

TEST_F(StartupGuard, ACheckLogsTheOperationBeforeItReadsWhetherItIsForbidden) {
  CheckStartupMutation("AnyOperation");
  EXPECT_EQ(machine.calls.All(),
            (Texts{"PrintErrorLine [Veltrane][startup_guard] forbidden during passive startup: "
                   "AnyOperation",
                   "ReadProcessVariable VELTRANE_POC_DISABLE_ALL_NETWORK_MUTATION_ON_STARTUP",
                   "ReadRegistryText HKLM VELTRANE_POC_DISABLE_ALL_NETWORK_MUTATION_ON_STARTUP",
                   "ReadRegistryText HKCU VELTRANE_POC_DISABLE_ALL_NETWORK_MUTATION_ON_STARTUP"}));
}

// Creates a route; removes one that is there and recorded.
void AddRoute() { AddHostRoute({.ip = "203.0.113.5", .source = "env", .required = true}); }
void RemoveRoute() {
  Machine::Current().routes.Add("203.0.113.5/32", "192.168.1.1", 12, 1);
  AddedRouteList() = Machine::Current().routes.Rows();
  RemoveBypassRoutes();
}

struct RouteChange {
  const char* name;
  void (*make)();
  const char* call;
  std::string change;
  std::wstring logged;  // before it
};

class RouteChangeDuringThePassivePhase : public StartupGuard,
                                         public testing::WithParamInterface<RouteChange> {};

TEST_P(RouteChangeDuringThePassivePhase, IsLoggedThenMadeThenCounted) {
  std::wstring logged;
  std::string record;
  machine.OnCall(GetParam().call, 1, [&] {
    logged = machine.console.Error();
    record = StartupRecord();
  });
  GetParam().make();
  EXPECT_EQ(logged, GetParam().logged);
  EXPECT_EQ(record, "connect 0 stop 0 routes 0 tunnel 0 config 0 since ");
  EXPECT_EQ(machine.Changes(), Texts{GetParam().change});
  EXPECT_EQ(StartupRecord(), "connect 0 stop 0 routes 1 tunnel 0 config 0 since ");
}

TEST_P(RouteChangeDuringThePassivePhase, IsCountedWhenItFails) {
  machine.FailAlways(GetParam().call, 5);
  GetParam().make();
  EXPECT_EQ(ReadStartupState().route_mutation_count, 1);
}

const RouteChange kRouteChanges[] = {
    {"Creation", AddRoute, "CreateForwardRow",
     "CreateForwardRow 203.0.113.5/32 via 192.168.1.1 if 12 metric 1",
     L"[Veltrane][startup_guard] forbidden during passive startup: CreateIpForwardEntry\n"},
    {"Deletion", RemoveRoute, "DeleteForwardRow",
     "DeleteForwardRow 203.0.113.5/32 via 192.168.1.1 if 12 metric 1",
     L"[Veltrane][startup_guard] forbidden during passive startup: DeleteIpForwardEntry\n"}};

INSTANTIATE_TEST_SUITE_P(The, RouteChangeDuringThePassivePhase, testing::ValuesIn(kRouteChanges),
                         NameOf<RouteChange>);

TEST_F(StartupGuard, ARouteThatIsThereIsNeitherLoggedNorCounted) {
  machine.routes.Add("203.0.113.5/32", "192.168.1.1", 12, 1);
  AddRoute();
  EXPECT_EQ(machine.console.Error(), L"");
  EXPECT_EQ(ReadStartupState().route_mutation_count, 0);
}

struct Marker {
  const char* name;
  void (*mark)();
  const char* record;
};

class AfterThePassivePhase : public StartupGuard, public testing::WithParamInterface<Marker> {
 protected:
  AfterThePassivePhase() {
    machine.environment.SetProcess(kGuardVariable, L"1");
    GetParam().mark();
  }
};

TEST_P(AfterThePassivePhase, NothingIsNoted) {
  NoteEverything();
  EXPECT_EQ(StartupRecord(), GetParam().record);
}

TEST_P(AfterThePassivePhase, ACheckDoesNothingEvenWhenTheGuardIsOn) {
  CheckStartupMutation("AnyOperation");
  EXPECT_EQ(machine.calls.All(), Texts{});
}

TEST_P(AfterThePassivePhase, RoutesComeAndGoUnloggedAndUncounted) {
  AddRoute();
  RemoveBypassRoutes();
  EXPECT_EQ(machine.Changes(),
            (Texts{"CreateForwardRow 203.0.113.5/32 via 192.168.1.1 if 12 metric 1",
                   "DeleteForwardRow 203.0.113.5/32 via 192.168.1.1 if 12 metric 1"}));
  EXPECT_EQ(machine.console.Error(), L"[Veltrane][admin_bypass] enabled=0 applied=0 failure=\n");
  EXPECT_EQ(StartupRecord(), GetParam().record);
}

const Marker kMarkers[] = {
    {"ConnectRequest", MarkConnectRequested, "connect 1 stop 0 routes 0 tunnel 0 config 0 since "},
    {"StopRequest", MarkStopRequested, "connect 0 stop 1 routes 0 tunnel 0 config 0 since "}};

INSTANTIATE_TEST_SUITE_P(By, AfterThePassivePhase, testing::ValuesIn(kMarkers), NameOf<Marker>);

using RouteChangeDeathTest = RouteChangeDuringThePassivePhase;

// A change that is reached prints a line of its own, which the whole text does not hold.
TEST_P(RouteChangeDeathTest, EndsTheProcessBeforehandWhenTheMachineForbidsIt) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  machine.environment.SetMachine(kGuardVariable, L"1");
  machine.console.EchoErrors();
  machine.OnCall(GetParam().call, 1, [] { std::fputs("the change\n", stderr); });
  EXPECT_EXIT(GetParam().make(), testing::KilledBySignal(SIGABRT),
              testing::StrEq(simulated::Narrow(GetParam().logged) +
                             "[Veltrane][startup_guard] abort "
                             "VELTRANE_POC_DISABLE_ALL_NETWORK_MUTATION_ON_STARTUP=1\n"));
}

INSTANTIATE_TEST_SUITE_P(The, RouteChangeDeathTest, testing::ValuesIn(kRouteChanges),
                         NameOf<RouteChange>);

}  // namespace
}  // namespace veltrane
