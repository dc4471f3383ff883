// What status and disconnect report after a connect: the process-wide bypass record and a guard
// record of default values; and how a connection is undone, by the teardown and by a disconnect.

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "bypass/records.h"
#include "ipc/auto_stop.h"
#include "service/startup_guard.h"
#include "tests/scenarios/scenario.h"
#include "tests/support/arrange.h"
#include "tests/support/name_of.h"

namespace veltrane {
namespace {

using StatusAfterConnect = Scenario;
using Disconnect = Scenario;

TEST_F(StatusAfterConnect, WithBypassTheRecordOfTheCheckAfterTheTunnelIsShown) {
  SetAdministrator();
  Handle(kConnect);
  EXPECT_EQ(Handle(kStatus), Reply(kRunning, kBypassVerified));
}

TEST_F(StatusAfterConnect, TheGuardRecordIsNeverTheConnectsOne) {
  SetGuard();
  Handle(kConnect);
  EXPECT_EQ(Handle(kStatus), Reply(kRunning, kBypassOffUnderGuard));
}

TEST_F(Disconnect, ItAndTheStatusAfterwardsShowTheBypassAfterItsRemoval) {
  SetAdministrator();
  Handle(kConnect);
  EXPECT_EQ(Handle(kDisconnect), Reply(kDisconnected, Removed(kBypassVerified)));
  EXPECT_EQ(Handle(kStatus), Reply(kIdle, Removed(kBypassVerified)));
}

TEST_F(Disconnect, TheReplyShowsTheBypassAsTheRemovalLeftIt) {
  Handle(kConnect);
  machine.OnCall("TestExistence", 1, [] { CurrentAdminBypassState().message = "later"; });
  EXPECT_EQ(Handle(kDisconnect), Reply(kDisconnected, kBypassOff));
}

TEST_F(Disconnect, TheGuardRecordIsTheDefaultEvenWhereSettingsAreInForce) {
  SetGuard();
  machine.sessions.SetRemoteSession(true);
  Handle(kConnect);
  SetAutoStop(L"60");
  EXPECT_EQ(Handle(kDisconnect), Reply(kDisconnected, kBypassOffUnderGuard));
}

TEST_F(Disconnect, ThePhaseIsSetAfterEverythingWasTakenAway) {
  SetAdministrator();
  Handle(kConnect);
  NotePhasesAt({"Service.Delete", "DeleteForwardRow", "RemoveFile"});
  Handle(kDisconnect);
  EXPECT_EQ(phases, Texts(3, "connected fra-1"));
  EXPECT_EQ(PhaseAndNode(), "disconnected");
}

TEST_F(Disconnect, InPhaseConnectingEndsDisconnectedToo) {
  server.SetPhase(kPhaseConnecting);
  Handle(kDisconnect);
  EXPECT_EQ(PhaseAndNode(), "disconnected");
}

TEST_F(Disconnect, WithNothingConnectedDoesTheSameStepsAndAnswersTheSameWay) {
  MarkConnectRequested();
  EXPECT_EQ(Handle(kDisconnect),
            Reply(kDisconnected,
                  With(kFreshBypass, {R"("message":"admin bypass host routes removed")"})));
  EXPECT_EQ(machine.calls.All(),
            (Texts{"ServiceManager.Open 0xf003f",
                   "ServiceManager.OpenExisting VeltraneVpnTunnel$Active 0x10024",
                   "PrintDebugger [Veltrane][admin_bypass] enabled=0 applied=0 failure=",
                   "PrintError [Veltrane][admin_bypass] enabled=0 applied=0 failure=",
                   "ReadProcessVariable ProgramData",
                   "TestExistence C:\\ProgramData\\Veltrane\\tunnels\\active.conf"}));
}

TEST_F(Disconnect, TheSessionIsNeitherAskedForNorForgotten) {
  Handle(kRegister);
  Handle(R"({"op":"connect","session_nonce":"abc","node_id":"n","client_private_key":"k"})");
  EXPECT_EQ(Handle(R"({"op":"disconnect","session_nonce":"wrong"})"),
            Reply(kDisconnected, kBypassOff));
  EXPECT_EQ(Handle(kConnect), kMismatch);
}

// ---- undoing, by the teardown or by a disconnect

// A connection with two pinned routes.
class Undoing : public Scenario {
 protected:
  Undoing() {
    SetAdministrator();
    Handle(kConnect);
    const ForwardRow other = simulated::MakeRoute("198.51.100.7/32", "192.168.1.1", 12, 1);
    machine.routes.Add(other);
    AddedRouteList().push_back(other);
    StartStory();
  }
};

const std::string kOtherRoute = "198.51.100.7/32 via 192.168.1.1 if 12 metric 1";
const Texts kDeletes = Steps({{"DeleteForwardRow 203.0.113.5/32 via 192.168.1.1 if 12 metric 1",
                               "DeleteForwardRow 198.51.100.7/32 via 192.168.1.1 if 12 metric 1"},
                              kLogsRemoved});
const std::vector<std::uint32_t> kFifteenSeconds(15, 1000);

struct Trouble {
  const char* name;
  Arrange arrange;
  Texts story;
  std::string left;
  std::vector<std::uint32_t> sleeps = {};
};

const Texts kAll = Steps({kStopsTunnel, kDeletes, kScrubsConf});
const Texts kAllButTheService = Steps({kDeletes, kScrubsConf});
const Texts kAllWithoutScrub = Steps({kStopsTunnel, kDeletes, kDeletesConf});

const Trouble kTroubles[] = {
    {"WithoutTrouble", Nothing(), kAll, "; active.conf of zeros"},
    {"WithoutTheServiceManager", Failing("ServiceManager.Open"), kAllButTheService,
     "; VeltraneVpnTunnel$Active running; active.conf of zeros"},
    {"WithoutTheService", Failing("ServiceManager.OpenExisting"), kAllButTheService,
     "; VeltraneVpnTunnel$Active running; active.conf of zeros"},
    {"WhenTheServiceCannotBeToldToStop", Failing("Service.SendStop"), kAll,
     "; VeltraneVpnTunnel$Active running, marked for deletion; active.conf of zeros",
     kFifteenSeconds},
    {"WhenTheServiceNeverStops", [](simulated::Machine& machine) { machine.services.NeverStop(); },
     kAll, "; VeltraneVpnTunnel$Active stopping, marked for deletion; active.conf of zeros",
     kFifteenSeconds},
    {"WhenTheServicesStateCannotBeRead", Failing("Service.QueryState"), kAll,
     "; active.conf of zeros", kFifteenSeconds},
    {"WhenTheServiceCannotBeDeleted", Failing("Service.Delete"), kAll,
     "; VeltraneVpnTunnel$Active stopped; active.conf of zeros"},
    {"WhenARouteCannotBeDeleted", Failing("DeleteForwardRow", "203.0.113.5"), kAll,
     "; " + kPinnedRoute + "; active.conf of zeros"},
    {"WhenTheFileCannotBeScrubbed", Denying(kActiveConf), kAllWithoutScrub, ""},
    {"WhenTheFileCanNeitherBeScrubbedNorDeleted",
     All({Denying(kActiveConf), Failing("RemoveFile")}), kAllWithoutScrub,
     "; active.conf for fra-1"},
    {"WhenThereIsNoFile", [](simulated::Machine& machine) { machine.files.Remove(kActiveConf); },
     Steps({kStopsTunnel, kDeletes}), ""},
    {"WhenNothingCanBeTakenAway",
     All({Failing("Service.SendStop"), Failing("Service.Delete"), Failing("DeleteForwardRow"),
          Denying(kActiveConf), Failing("RemoveFile")}),
     kAllWithoutScrub, "; " + kPinnedRoute + "; " + kOtherRoute + "; " + kTunnelUp,
     kFifteenSeconds}};

class UndoingInTrouble : public Undoing, public testing::WithParamInterface<Trouble> {
 protected:
  UndoingInTrouble() { GetParam().arrange(machine); }

  void ExpectUndone() {
    EXPECT_EQ(Story(), GetParam().story);
    EXPECT_EQ(Left(), GetParam().left);
    EXPECT_EQ(machine.clock.Sleeps(), GetParam().sleeps);
    // Whether they could be deleted or not, nobody remembers the routes.
    StartStory();
    Teardown();
    EXPECT_EQ(machine.calls.Count("DeleteForwardRow"), 0U);
  }
};

TEST_P(UndoingInTrouble, TheTeardownGoesOnToItsEndAndLeavesThePhase) {
  Teardown();
  EXPECT_EQ(PhaseAndNode(), "connected fra-1");
  ExpectUndone();
}

TEST_P(UndoingInTrouble, ADisconnectGoesOnToItsEndAndAnswersTheSameWay) {
  EXPECT_EQ(Handle(kDisconnect), Reply(kDisconnected, Removed(kBypassVerified)));
  EXPECT_EQ(PhaseAndNode(), "disconnected");
  ExpectUndone();
}

INSTANTIATE_TEST_SUITE_P(Connection, UndoingInTrouble, testing::ValuesIn(kTroubles),
                         NameOf<Trouble>);

TEST_F(Undoing, RaisesWhenItCannotBeToldWhetherThereIsAFileAndThePhaseStays) {
  machine.FailAlways("TestExistence", 5);
  EXPECT_THROW(Handle(kDisconnect), std::filesystem::filesystem_error);
  EXPECT_EQ(Story(), Steps({kStopsTunnel, kDeletes}));
  EXPECT_EQ(PhaseAndNode(), "connected fra-1");
  EXPECT_THROW(Teardown(), std::filesystem::filesystem_error);
}

TEST_F(Undoing, DoneTwiceFindsOnlyTheScrubbedFile) {
  Teardown();
  StartStory();
  Teardown();
  EXPECT_EQ(Story(), Steps({kLogsRemoved, kScrubsConf}));
  EXPECT_EQ(State(), "connected fra-1; active.conf of zeros");
}

}  // namespace
}  // namespace veltrane
