// Each invariant of calls holds for what the program does, and breaks when that is doctored.

#include <gtest/gtest.h>

#include "tests/simulation/invariants.h"

namespace veltrane::simulation {
namespace {

constexpr char kRow[] = "203.0.113.5/32 via 192.168.1.1 if 12 metric 1";

CallFacts Call(Role role, const std::string& name, const std::string& details = {}) {
  CallFacts call;
  call.role = role;
  call.serves = true;
  call.name = name;
  call.text = details.empty() ? name : name + " " + details;
  return call;
}

TEST(CallInvariants, ARouteThatIsNotRecordedMayNotBeDeleted) {
  CallFacts call = Call(Role::kPipe, "DeleteForwardRow", kRow);
  call.recorded = {kRow};
  EXPECT_EQ(OnlyRecordedRoutesAreDeleted(call), "");
  call.recorded = {"203.0.113.5/32 via 192.168.1.1 if 13 metric 1"};
  EXPECT_NE(OnlyRecordedRoutesAreDeleted(call), "");
}

TEST(CallInvariants, OnlyAHostRouteThroughTheGatewayMayBeCreated) {
  CallFacts call = Call(Role::kPipe, "CreateForwardRow", kRow);
  call.gateway = "192.168.1.1 if 12";
  EXPECT_EQ(OnlyHostRoutesThroughTheGatewayAreCreated(call), "");
  call.gateway = "10.0.0.1 if 13";
  EXPECT_NE(OnlyHostRoutesThroughTheGatewayAreCreated(call), "");
  call.gateway.reset();
  EXPECT_NE(OnlyHostRoutesThroughTheGatewayAreCreated(call), "");
  CallFacts wide =
      Call(Role::kPipe, "CreateForwardRow", "203.0.113.0/24 via 192.168.1.1 if 12 metric 1");
  wide.gateway = "192.168.1.1 if 12";
  EXPECT_NE(OnlyHostRoutesThroughTheGatewayAreCreated(wide), "");
}

TEST(CallInvariants, TheThreadsThatOnlyWaitMayNotChangeTheMachine) {
  CallFacts call = Call(Role::kPipe, "RemoveFile", "C:\\active.conf");
  call.changes = true;
  EXPECT_EQ(OnlyRequestsAndTimersChangeTheMachine(call), "");
  for (const Role role : {Role::kMain, Role::kServiceMain, Role::kHandler}) {
    call.role = role;
    EXPECT_NE(OnlyRequestsAndTimersChangeTheMachine(call), "");
  }
  call.serves = false;  // an installer may
  EXPECT_EQ(OnlyRequestsAndTimersChangeTheMachine(call), "");
}

TEST(CallInvariants, ATimerMayNotTearDownBeforeItsTime) {
  CallFacts call = Call(Role::kTimer, "ServiceManager.Open", "0xf003f");
  call.timer_delay = 2;
  call.timer_sleeps = 20;
  EXPECT_EQ(TheTimerWaitsItsTime(call), "");
  call.timer_sleeps = 19;
  EXPECT_NE(TheTimerWaitsItsTime(call), "");
}

TEST(CallInvariants, ATimerMayNotSleepLongerAtATime) {
  CallFacts call = Call(Role::kTimer, "Sleep", "100");
  call.timer_delay = 2;
  EXPECT_EQ(TheTimerWaitsItsTime(call), "");
  EXPECT_NE(TheTimerWaitsItsTime([&] {
              call.text = "Sleep 1000";
              return call;
            }()),
            "");
}

TEST(CallInvariants, NoCallMayCarryAKey) {
  EXPECT_EQ(NoCallCarriesAKey(Call(Role::kPipe, "PrintError", "line")), "");
  EXPECT_NE(NoCallCarriesAKey(Call(Role::kPipe, "PrintError", "SECRET-1=")), "");
}

TEST(CallInvariants, StatesMayNotComeInAnotherOrder) {
  CallFacts call = Call(Role::kMain, "ReportServiceStatus", "3");
  call.states = {2, 4, 3};
  EXPECT_EQ(StatesFollowTheirOrder(call), "");
  call.states = {2, 3};
  EXPECT_NE(StatesFollowTheirOrder(call), "");
  call.states = {2, 4, 3, 1, 1};
  EXPECT_NE(StatesFollowTheirOrder(call), "");
}

TEST(CallInvariants, AStoppedServiceMayNotHaveTheTimerThatItHad) {
  CallFacts call = Call(Role::kMain, "ReportServiceStatus", "1");
  EXPECT_EQ(AStoppedServiceHasNoTimer(call), "");
  call.timer_outlives_stop = true;
  EXPECT_NE(AStoppedServiceHasNoTimer(call), "");
}

TEST(CallInvariants, ATunnelThatHasNotStoppedMayNotBeDeletedAtOnce) {
  CallFacts call = Call(Role::kPipe, "Service.Delete", "VeltraneVpnTunnel$Active");
  call.polls = 15;
  EXPECT_EQ(TheTunnelIsGivenTimeToStop(call), "");
  call.polls = 14;
  EXPECT_NE(TheTunnelIsGivenTimeToStop(call), "");
  call.tunnel_stopped = true;
  EXPECT_EQ(TheTunnelIsGivenTimeToStop(call), "");
}

TEST(CallInvariants, TheStartupReportMayNotSayAnythingElse) {
  const std::string passive =
      R"([Veltrane] passive startup report: {"service_started_utc":"2026-11-16T02:25:07Z",)"
      R"("startup_passive":true,"startup_route_mutation_count":0,"startup_tunnel_started":false,)"
      R"("startup_config_written":false,"leftover_tunnel_service_running":false})";
  CallFacts call = Call(Role::kServiceMain, "PrintOutput", passive);
  call.undisturbed = true;
  EXPECT_EQ(TheStartIsReportedAsItWas(call), "");
  call.tunnel_running = true;
  EXPECT_NE(TheStartIsReportedAsItWas(call), "");
  call.undisturbed = false;  // the tunnel may have come up since it was looked at
  EXPECT_EQ(TheStartIsReportedAsItWas(call), "");
  call.text.replace(call.text.find("count\":0"), 8, "count\":1");
  EXPECT_NE(TheStartIsReportedAsItWas(call), "");
}

TEST(CallInvariants, NoMutexMayBeHeldInACall) {
  CallFacts call = Call(Role::kPipe, "Service.QueryState");
  EXPECT_EQ(NoMutexIsHeldAcrossACall(call), "");
  call.locks = 1;
  EXPECT_NE(NoMutexIsHeldAcrossACall(call), "");
}

}  // namespace
}  // namespace veltrane::simulation
