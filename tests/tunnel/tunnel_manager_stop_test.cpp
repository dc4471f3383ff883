#include "tests/support/on_machine.h"
#include "tunnel/tunnel_manager.h"

namespace veltrane {
namespace {

using simulated::kRunning;
using simulated::kStopped;
using simulated::kStopPending;

constexpr wchar_t kName[] = L"VeltraneVpnTunnel$Active";
constexpr char kStopCall[] = "Service.SendStop VeltraneVpnTunnel$Active";
constexpr char kQueryCall[] = "Service.QueryState VeltraneVpnTunnel$Active";
constexpr char kDeleteCall[] = "Service.Delete VeltraneVpnTunnel$Active";

class TunnelStop : public OnMachine {
 protected:
  TunnelStop() { MarkConnectRequested(); }

  // The calls of a Stop that finds the service and polls it `polls` times, sleeping after each but
  // the last, or after every one.
  static std::vector<std::string> CallsOfStop(int polls, int sleeps) {
    std::vector<std::string> calls = {
        "ServiceManager.Open 0xf003f",
        "ServiceManager.OpenExisting VeltraneVpnTunnel$Active 0x10024", kStopCall};
    for (int i = 0; i < polls; ++i) {
      calls.push_back(kQueryCall);
      if (i < sleeps) calls.push_back("Sleep 1000");
    }
    calls.push_back(kDeleteCall);
    return calls;
  }
};

TEST_F(TunnelStop, StopsAndDeletesTheService) {
  machine.services.Add(kName, kRunning);
  EXPECT_TRUE(TunnelManager::Stop());
  EXPECT_EQ(machine.calls.All(), (std::vector<std::string>{
                                     "ServiceManager.Open 0xf003f",
                                     "ServiceManager.OpenExisting VeltraneVpnTunnel$Active 0x10024",
                                     "Service.SendStop VeltraneVpnTunnel$Active",
                                     "Service.QueryState VeltraneVpnTunnel$Active",
                                     "Service.Delete VeltraneVpnTunnel$Active"}));
  EXPECT_EQ(machine.services.Names(), std::vector<std::wstring>{});
  EXPECT_EQ(machine.services.OpenHandles(), 0);
}

TEST_F(TunnelStop, WithoutTheServiceReturnsTrue) {
  EXPECT_TRUE(TunnelManager::Stop());
  EXPECT_EQ(
      machine.calls.All(),
      (std::vector<std::string>{"ServiceManager.Open 0xf003f",
                                "ServiceManager.OpenExisting VeltraneVpnTunnel$Active 0x10024"}));
  EXPECT_EQ(machine.services.OpenHandles(), 0);
}

TEST_F(TunnelStop, WithoutRightsToTheManagerReturnsTrueAndDoesNothing) {
  machine.services.Add(kName, kRunning);
  machine.services.DenyManagerAccess(2);
  EXPECT_TRUE(TunnelManager::Stop());
  EXPECT_EQ(machine.calls.All(), (std::vector<std::string>{"ServiceManager.Open 0xf003f"}));
  EXPECT_EQ(machine.services.Find(kName)->state, kRunning);
  EXPECT_FALSE(machine.services.Find(kName)->marked_for_delete);
}

TEST_F(TunnelStop, WithoutRightsToTheServiceReturnsTrueAndDoesNothing) {
  machine.services.Add(kName, kRunning);
  machine.services.DenyServiceAccess(0x10000);
  EXPECT_TRUE(TunnelManager::Stop());
  EXPECT_EQ(machine.services.Find(kName)->state, kRunning);
  EXPECT_EQ(machine.Changes(), std::vector<std::string>{});
  EXPECT_EQ(machine.services.OpenHandles(), 0);
}

TEST_F(TunnelStop, LeavesOtherServicesAlone) {
  machine.services.Add(L"VeltraneVpnTunnel", kRunning);
  machine.services.Add(L"VeltraneVpnTunnel$Other", kRunning);
  EXPECT_TRUE(TunnelManager::Stop());
  EXPECT_EQ(machine.services.Find(L"VeltraneVpnTunnel")->state, kRunning);
  EXPECT_EQ(machine.services.Find(L"VeltraneVpnTunnel$Other")->state, kRunning);
}

TEST_F(TunnelStop, PollsOnceASecondUntilTheServiceHasStopped) {
  machine.services.Add(kName, kRunning);
  machine.services.StopAfterPolls(3);
  EXPECT_TRUE(TunnelManager::Stop());
  EXPECT_EQ(machine.calls.All(), CallsOfStop(4, 3));
  EXPECT_EQ(machine.services.Names(), std::vector<std::wstring>{});
}

TEST_F(TunnelStop, SeesAServiceThatStopsAtTheFifteenthPoll) {
  machine.services.Add(kName, kRunning);
  machine.services.StopAfterPolls(14);
  EXPECT_TRUE(TunnelManager::Stop());
  EXPECT_EQ(machine.calls.All(), CallsOfStop(15, 14));
  EXPECT_EQ(machine.clock.Sleeps(), std::vector<std::uint32_t>(14, 1000));
  EXPECT_EQ(machine.services.Names(), std::vector<std::wstring>{});
}

TEST_F(TunnelStop, GivesUpAfterFifteenPollsOfASecondAndDeletesAllTheSame) {
  machine.services.Add(kName, kRunning);
  machine.services.NeverStop();
  EXPECT_TRUE(TunnelManager::Stop());
  EXPECT_EQ(machine.calls.All(), CallsOfStop(15, 15));
  EXPECT_EQ(machine.clock.Sleeps(), std::vector<std::uint32_t>(15, 1000));
  EXPECT_EQ(machine.services.Find(kName)->state, kStopPending);
  EXPECT_TRUE(machine.services.Find(kName)->marked_for_delete);
  EXPECT_EQ(machine.services.OpenHandles(), 0);
}

TEST_F(TunnelStop, LeavesAStubbornServiceThatGoesWhenItStopsAtLast) {
  machine.services.Add(kName, kRunning);
  machine.services.NeverStop();
  EXPECT_TRUE(TunnelManager::Stop());
  machine.services.SetState(kName, kStopped);
  EXPECT_EQ(machine.services.Names(), std::vector<std::wstring>{});
}

TEST_F(TunnelStop, DeletesAServiceThatHadStoppedBefore) {
  machine.services.Add(kName, kStopped);
  EXPECT_TRUE(TunnelManager::Stop());
  EXPECT_EQ(machine.calls.All(), CallsOfStop(1, 0));  // the refused stop is ignored
  EXPECT_EQ(machine.services.Names(), std::vector<std::wstring>{});
}

TEST_F(TunnelStop, IgnoresARefusedStop) {
  machine.services.Add(kName, kRunning);
  machine.Fail("Service.SendStop", 1, 1061);
  EXPECT_TRUE(TunnelManager::Stop());
  EXPECT_EQ(machine.calls.All(), CallsOfStop(15, 15));
  EXPECT_EQ(machine.services.Find(kName)->state, kRunning);
  EXPECT_TRUE(machine.services.Find(kName)->marked_for_delete);
}

TEST_F(TunnelStop, PollsOnAfterAFailedQuery) {
  machine.services.Add(kName, kRunning);
  machine.Fail("Service.QueryState", 1, 6);
  machine.Fail("Service.QueryState", 2, 6);
  EXPECT_TRUE(TunnelManager::Stop());
  EXPECT_EQ(machine.calls.All(), CallsOfStop(3, 2));
  EXPECT_EQ(machine.services.Names(), std::vector<std::wstring>{});
}

TEST_F(TunnelStop, DeletesAfterFifteenFailedQueries) {
  machine.services.Add(kName, kRunning);
  machine.FailAlways("Service.QueryState", 6);
  EXPECT_TRUE(TunnelManager::Stop());
  EXPECT_EQ(machine.calls.All(), CallsOfStop(15, 15));
  EXPECT_EQ(machine.services.Names(), std::vector<std::wstring>{});
}

TEST_F(TunnelStop, IgnoresAFailedDeletion) {
  machine.services.Add(kName, kRunning);
  machine.Fail("Service.Delete", 1, 5);
  EXPECT_TRUE(TunnelManager::Stop());
  EXPECT_EQ(machine.services.Find(kName)->state, kStopped);
  EXPECT_FALSE(machine.services.Find(kName)->marked_for_delete);
  EXPECT_EQ(machine.services.OpenHandles(), 0);
}

TEST_F(TunnelStop, LeavesADeletionPendingWhileAnotherProgramHasTheServiceOpen) {
  machine.services.Add(kName, kRunning);
  machine.services.HoldHandle(kName);
  EXPECT_TRUE(TunnelManager::Stop());
  EXPECT_TRUE(machine.services.Find(kName)->marked_for_delete);
  machine.services.ReleaseHandle(kName);
  EXPECT_EQ(machine.services.Names(), std::vector<std::wstring>{});
}

TEST_F(TunnelStop, OfAServiceWhoseDeletionIsPendingReturnsTrue) {
  machine.services.Add(kName, kRunning);
  machine.services.HoldHandle(kName);
  EXPECT_TRUE(TunnelManager::Stop());
  EXPECT_TRUE(TunnelManager::Stop());
  EXPECT_TRUE(machine.services.Find(kName)->marked_for_delete);
}

class TunnelIsRunning : public OnMachine {};

TEST_F(TunnelIsRunning, AsksForTheStateWithTheLeastAccess) {
  machine.services.Add(kName, kRunning);
  EXPECT_TRUE(TunnelManager::IsRunning());
  EXPECT_EQ(machine.calls.All(),
            (std::vector<std::string>{"ServiceManager.Open 0x1",
                                      "ServiceManager.OpenExisting VeltraneVpnTunnel$Active 0x4",
                                      "Service.QueryState VeltraneVpnTunnel$Active"}));
  EXPECT_EQ(machine.services.OpenHandles(), 0);
}

TEST_F(TunnelIsRunning, WorksWithoutTheRightToChangeServices) {
  machine.services.Add(kName, kRunning);
  machine.services.DenyManagerAccess(2);
  machine.services.DenyServiceAccess(0x10020);
  EXPECT_TRUE(TunnelManager::IsRunning());
}

class TunnelState : public OnMachine, public testing::WithParamInterface<std::uint32_t> {};

TEST_P(TunnelState, OtherThanRunningIsNotRunning) {
  machine.services.Add(kName, GetParam());
  EXPECT_FALSE(TunnelManager::IsRunning());
  EXPECT_EQ(machine.services.OpenHandles(), 0);
}

// Stopped, start pending, stop pending, continue pending, pause pending, paused.
INSTANTIATE_TEST_SUITE_P(States, TunnelState, testing::Values(1u, 2u, 3u, 5u, 6u, 7u));

TEST_F(TunnelIsRunning, IsFalseWithoutTheService) {
  machine.services.Add(L"VeltraneVpnTunnel", kRunning);
  EXPECT_FALSE(TunnelManager::IsRunning());
  EXPECT_EQ(machine.services.OpenHandles(), 0);
}

TEST_F(TunnelIsRunning, IsFalseWhenTheManagerCannotBeOpened) {
  machine.services.Add(kName, kRunning);
  machine.Fail("ServiceManager.Open", 1, 5);
  EXPECT_FALSE(TunnelManager::IsRunning());
}

TEST_F(TunnelIsRunning, IsFalseWhenTheServiceCannotBeOpened) {
  machine.services.Add(kName, kRunning);
  machine.services.DenyServiceAccess(4);
  EXPECT_FALSE(TunnelManager::IsRunning());
  EXPECT_EQ(machine.services.OpenHandles(), 0);
}

TEST_F(TunnelIsRunning, IsFalseWhenTheQueryFails) {
  machine.services.Add(kName, kRunning);
  machine.Fail("Service.QueryState", 1, 6);
  EXPECT_FALSE(TunnelManager::IsRunning());
  EXPECT_EQ(machine.services.OpenHandles(), 0);
}

TEST_F(TunnelIsRunning, IsTrueForARunningServiceThatIsMarkedForDeletion) {
  machine.services.Add(kName, kRunning);
  machine.Fail("Service.SendStop", 1, 1061);
  TunnelManager::Stop();
  EXPECT_TRUE(TunnelManager::IsRunning());
}

TEST_F(TunnelIsRunning, WaitsForNothing) {
  machine.services.Add(kName, simulated::kStartPending);
  EXPECT_FALSE(TunnelManager::IsRunning());
  EXPECT_EQ(machine.calls.Count("Service.QueryState"), 1u);
  EXPECT_EQ(machine.clock.Sleeps(), std::vector<std::uint32_t>{});
}

}  // namespace
}  // namespace veltrane
