// The teardown alone: its order, and that no error stops it but one.

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "ipc/auto_stop.h"
#include "tests/scenarios/auto_stop_scenario.h"

namespace veltrane {
namespace {

// A connection with two pinned routes.
class TeardownOfConnection : public Scenario {
 protected:
  TeardownOfConnection() {
    SetAdministrator();
    machine.environment.SetMachine(L"ADMIN_BYPASS_IPS", L"198.51.100.7");
    Handle(kConnect);
    StartStory();
  }
};

const std::vector<std::string> kDeletes = {
    "DeleteForwardRow 198.51.100.7/32 via 192.168.1.1 if 12 metric 1",
    "DeleteForwardRow 203.0.113.5/32 via 192.168.1.1 if 12 metric 1"};
const std::vector<std::string> kLogs = {
    "PrintError [Veltrane][admin_bypass] enabled=1 applied=0 failure="};
const std::vector<std::string> kOfficeRoutes = {kDefaultRoute, kLocalRoute};

TEST_F(TeardownOfConnection, StopsTheServiceThenRemovesTheRoutesThenScrubsTheFile) {
  Teardown();
  EXPECT_EQ(Story(), Steps({kStopsTunnel, kDeletes, kLogs, kScrubsConf}));
  EXPECT_EQ(machine.services.Names(), std::vector<std::wstring>{});
  EXPECT_EQ(machine.routes.Texts(), kOfficeRoutes);
  EXPECT_EQ(machine.files.Bytes(kActiveConf), kScrubbed);
}

TEST_F(TeardownOfConnection, LeavesThePhaseToTheCaller) {
  Teardown();
  EXPECT_EQ(Phase(), "connected");
  EXPECT_EQ(NodeId(), "fra-1");
}

TEST_F(TeardownOfConnection, GoesOnWithoutTheServiceManager) {
  machine.FailAlways("ServiceManager.Open", 5);
  Teardown();
  EXPECT_EQ(Story(), Steps({kDeletes, kLogs, kScrubsConf}));
  EXPECT_EQ(machine.services.Find(kTunnelService)->state, simulated::kRunning);
}

TEST_F(TeardownOfConnection, GoesOnWithoutTheService) {
  machine.FailAlways("ServiceManager.OpenExisting", 1060);
  Teardown();
  EXPECT_EQ(Story(), Steps({kDeletes, kLogs, kScrubsConf}));
}

TEST_F(TeardownOfConnection, GoesOnWhenTheServiceCannotBeToldToStop) {
  machine.FailAlways("Service.SendStop", 1053);
  Teardown();
  EXPECT_EQ(Story(), Steps({kStopsTunnel, kDeletes, kLogs, kScrubsConf}));
  EXPECT_EQ(machine.clock.Sleeps(), std::vector<std::uint32_t>(15, 1000));
}

TEST_F(TeardownOfConnection, GoesOnWhenTheServiceNeverStops) {
  machine.services.NeverStop();
  Teardown();
  EXPECT_EQ(Story(), Steps({kStopsTunnel, kDeletes, kLogs, kScrubsConf}));
  EXPECT_EQ(machine.clock.Sleeps(), std::vector<std::uint32_t>(15, 1000));
}

TEST_F(TeardownOfConnection, GoesOnWhenTheServicesStateCannotBeRead) {
  machine.FailAlways("Service.QueryState", 5);
  Teardown();
  EXPECT_EQ(Story(), Steps({kStopsTunnel, kDeletes, kLogs, kScrubsConf}));
  EXPECT_EQ(machine.clock.Sleeps(), std::vector<std::uint32_t>(15, 1000));
}

TEST_F(TeardownOfConnection, GoesOnWhenTheServiceCannotBeDeleted) {
  machine.FailAlways("Service.Delete", 5);
  Teardown();
  EXPECT_EQ(Story(), Steps({kStopsTunnel, kDeletes, kLogs, kScrubsConf}));
  EXPECT_EQ(machine.services.Find(kTunnelService)->state, simulated::kStopped);
}

TEST_F(TeardownOfConnection, GoesOnWhenARouteCannotBeDeleted) {
  machine.FailWhere("DeleteForwardRow", "198.51.100.7", 5);
  Teardown();
  EXPECT_EQ(Story(), Steps({kStopsTunnel, kDeletes, kLogs, kScrubsConf}));
  EXPECT_EQ(machine.routes.Texts(),
            (std::vector<std::string>{kDefaultRoute, kLocalRoute,
                                      "198.51.100.7/32 via 192.168.1.1 if 12 metric 1"}));
}

TEST_F(TeardownOfConnection, ARouteThatCouldNotBeDeletedIsForgotten) {
  machine.Fail("DeleteForwardRow", 1, 5);
  Teardown();
  StartStory();
  Teardown();
  EXPECT_EQ(machine.calls.Count("DeleteForwardRow"), 0U);
}

TEST_F(TeardownOfConnection, DeletesAFileThatCannotBeScrubbed) {
  machine.files.DenyOpen(kActiveConf);
  Teardown();
  EXPECT_EQ(machine.files.AllFiles(), std::vector<std::wstring>{});
}

TEST_F(TeardownOfConnection, EndsWhenTheFileCanNeitherBeScrubbedNorDeleted) {
  machine.files.HoldOpen(kActiveConf, 0);
  Teardown();
  EXPECT_EQ(machine.files.Bytes(kActiveConf), kConf);
  EXPECT_EQ(machine.routes.Texts(), kOfficeRoutes);
}

TEST_F(TeardownOfConnection, EndsWhenThereIsNoFile) {
  machine.files.Remove(kActiveConf);
  Teardown();
  EXPECT_EQ(Story(), Steps({kStopsTunnel, kDeletes, kLogs}));
}

TEST_F(TeardownOfConnection, RaisesWhenItCannotBeToldWhetherThereIsAFile) {
  machine.Fail("TestExistence", 1, 5);
  try {
    Teardown();
    FAIL() << "nothing was raised";
  } catch (const std::filesystem::filesystem_error& error) {
    EXPECT_EQ(error.path1(), std::filesystem::path(kActiveConf));
    EXPECT_EQ(error.code().value(), 5);
    EXPECT_TRUE(std::string(error.what()).starts_with("filesystem error: exists: "))
        << error.what();
  }
  EXPECT_EQ(Story(), Steps({kStopsTunnel, kDeletes, kLogs}));
}

TEST_F(TeardownOfConnection, DoneTwiceFindsOnlyTheScrubbedFile) {
  Teardown();
  StartStory();
  Teardown();
  EXPECT_EQ(Story(), Steps({kLogs, kScrubsConf}));
}

using TeardownOfNothing = Scenario;

TEST_F(TeardownOfNothing, ChangesNothing) {
  Teardown();
  EXPECT_EQ(machine.Changes(), std::vector<std::string>{});
}

class TeardownDeathTest : public AutoStopScenario {
 protected:
  TeardownDeathTest() { GTEST_FLAG_SET(death_test_style, "threadsafe"); }
};

TEST_F(TeardownDeathTest, ATimerThatCannotTellWhetherThereIsAFileEndsTheProcess) {
  EXPECT_EXIT(
      {
        ConnectFor(L"1");
        machine.Fail("TestExistence", 1, 5);
        machine.clock.AdvanceInSteps(10, 100);
        AwaitTheTimersEnd();
      },
      testing::KilledBySignal(SIGABRT), "filesystem error: exists: ");
}

}  // namespace
}  // namespace veltrane
