#include "tests/support/name_of.h"
#include "tests/tunnel/on_manager.h"

namespace veltrane {
namespace {

using simulated::kRunning;
using simulated::kStopped;

using TunnelStop = OnManager;

TEST_F(TunnelStop, StopsAndDeletesTheService) {
  machine.services.Add(kName, kRunning);
  EXPECT_TRUE(TunnelManager::Stop());
  EXPECT_EQ(machine.calls.All(),
            (Texts{"ServiceManager.Open 0xf003f",
                   "ServiceManager.OpenExisting VeltraneVpnTunnel$Active 0x10024",
                   "Service.SendStop VeltraneVpnTunnel$Active",
                   "Service.QueryState VeltraneVpnTunnel$Active",
                   "Service.Delete VeltraneVpnTunnel$Active"}));
  EXPECT_EQ(Left(), "nothing");
}

TEST_F(TunnelStop, WithoutTheServiceReturnsTrue) {
  EXPECT_TRUE(TunnelManager::Stop());
  EXPECT_EQ(machine.calls.All(),
            (Texts{"ServiceManager.Open 0xf003f",
                   "ServiceManager.OpenExisting VeltraneVpnTunnel$Active 0x10024"}));
}

TEST_F(TunnelStop, WithoutRightsToTheManagerOrTheServiceReturnsTrueAndDoesNothing) {
  machine.services.Add(kName, kRunning);
  machine.services.DenyServiceAccess(0x10000);
  EXPECT_TRUE(TunnelManager::Stop());
  machine.calls.Clear();
  machine.services.DenyManagerAccess(2);
  EXPECT_TRUE(TunnelManager::Stop());
  EXPECT_EQ(machine.calls.All(), Texts{"ServiceManager.Open 0xf003f"});
  EXPECT_EQ(Left(), "state 4");
}

struct Stopping {
  const char* name;
  void (*prepare)();  // the service runs
  std::size_t polls;
  std::size_t sleeps;  // of a second, one after each poll but the one that saw it stopped
  const char* left;
};

class TunnelStopPolls : public TunnelStop, public testing::WithParamInterface<Stopping> {};

TEST_P(TunnelStopPolls, OnceASecondThenDeletesWhateverBecameOfIt) {
  machine.services.Add(kName, kRunning);
  GetParam().prepare();
  EXPECT_TRUE(TunnelManager::Stop());
  Texts calls = {"ServiceManager.Open 0xf003f",
                 "ServiceManager.OpenExisting VeltraneVpnTunnel$Active 0x10024",
                 "Service.SendStop VeltraneVpnTunnel$Active"};
  for (std::size_t i = 0; i < GetParam().polls; ++i) {
    calls.push_back("Service.QueryState VeltraneVpnTunnel$Active");
    if (i < GetParam().sleeps) calls.push_back("Sleep 1000");
  }
  calls.push_back("Service.Delete VeltraneVpnTunnel$Active");
  EXPECT_EQ(machine.calls.All(), calls);
  EXPECT_EQ(Left(), GetParam().left);
}

const Stopping kStoppings[] = {
    {"ThatStopsAtTheFourthPoll", [] { Services().StopAfterPolls(3); }, 4, 3, "nothing"},
    {"ThatStopsAtTheFifteenthPoll", [] { Services().StopAfterPolls(14); }, 15, 14, "nothing"},
    {"ThatNeverStops", [] { Services().NeverStop(); }, 15, 15, "state 3 marked"},
    {"ThatHadStopped", [] { Services().SetState(kName, kStopped); }, 1, 0, "nothing"},
    {"ThatRefusesToStop", [] { Fail("Service.SendStop"); }, 15, 15, "state 4 marked"},
    {"WhoseFirstTwoQueriesFail",
     [] {
       Fail("Service.QueryState");
       Fail("Service.QueryState", 2);
     },
     3, 2, "nothing"},
    {"WhoseQueriesFail", [] { FailAlways("Service.QueryState"); }, 15, 15, "nothing"},
    {"ThatCannotBeDeleted", [] { Fail("Service.Delete"); }, 1, 0, "state 1"},
    {"ThatIsOpenElsewhere", [] { Services().HoldHandle(kName); }, 1, 0, "state 1 marked"}};

INSTANTIATE_TEST_SUITE_P(AService, TunnelStopPolls, testing::ValuesIn(kStoppings),
                         NameOf<Stopping>);

TEST_F(TunnelStop, OfAServiceWhoseDeletionIsPendingReturnsTrue) {
  machine.services.Add(kName, kRunning);
  machine.services.NeverStop();
  EXPECT_TRUE(TunnelManager::Stop());
  EXPECT_TRUE(TunnelManager::Stop());
  EXPECT_EQ(Left(), "state 3 marked");
  machine.services.SetState(kName, kStopped);
  EXPECT_EQ(Left(), "nothing");
}

using TunnelIsRunning = OnManager;

TEST_F(TunnelIsRunning, AsksForTheStateOnceWithTheLeastAccess) {
  machine.services.Add(kName, kRunning);
  machine.services.DenyManagerAccess(2);
  machine.services.DenyServiceAccess(0x10020);
  EXPECT_TRUE(TunnelManager::IsRunning());
  EXPECT_EQ(machine.calls.All(), (Texts{"ServiceManager.Open 0x1",
                                        "ServiceManager.OpenExisting VeltraneVpnTunnel$Active 0x4",
                                        "Service.QueryState VeltraneVpnTunnel$Active"}));
}

TEST_F(TunnelIsRunning, IsTrueForARunningServiceThatIsMarkedForDeletion) {
  machine.services.Add(kName, kRunning);
  machine.Fail("Service.SendStop", 1, 1061);
  TunnelManager::Stop();
  EXPECT_TRUE(TunnelManager::IsRunning());
}

TEST_F(TunnelIsRunning, IsFalseWithoutTheService) {
  machine.services.Add(L"VeltraneVpnTunnel", kRunning);
  EXPECT_FALSE(TunnelManager::IsRunning());
}

class TunnelQuery : public OnManager, public testing::WithParamInterface<const char*> {};

TEST_P(TunnelQuery, ThatFailsIsFalse) {
  machine.services.Add(kName, kRunning);
  machine.FailAlways(GetParam(), 5);
  EXPECT_FALSE(TunnelManager::IsRunning());
}

INSTANTIATE_TEST_SUITE_P(OfEachStep, TunnelQuery,
                         testing::Values("ServiceManager.Open", "ServiceManager.OpenExisting",
                                         "Service.QueryState"));

class TunnelState : public OnManager, public testing::WithParamInterface<std::uint32_t> {};

TEST_P(TunnelState, OtherThanRunningIsFalseAtOnce) {
  machine.services.Add(kName, GetParam());
  EXPECT_FALSE(TunnelManager::IsRunning());
  EXPECT_EQ(machine.calls.Count("Service.QueryState"), 1u);
  EXPECT_EQ(machine.calls.Count("Sleep"), 0u);
}

// Stopped, start pending, stop pending, continue pending, pause pending, paused.
INSTANTIATE_TEST_SUITE_P(State, TunnelState, testing::Values(1, 2, 3, 5, 6, 7),
                         testing::PrintToStringParamName());

}  // namespace
}  // namespace veltrane
