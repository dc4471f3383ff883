// A connect that fails while it writes the configuration or starts the tunnel service: the whole
// reply, and what is left on the machine.

#include <filesystem>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/scenarios/scenario.h"
#include "tests/support/arrange.h"
#include "tests/support/name_of.h"

namespace veltrane {
namespace {

// With the bypass on, so that its routes have to be removed again.
class ConnectStartFailure : public Scenario {
 protected:
  ConnectStartFailure() { SetAdministrator(); }
};

struct Failure {
  const char* name;
  Arrange arrange;
  const char* reply;
  Texts story;  // after the route was pinned
  std::string state;
};

class ConnectThatFails : public ConnectStartFailure, public testing::WithParamInterface<Failure> {};

TEST_P(ConnectThatFails, UndoesWhatWasDoneAndThenSetsThePhase) {
  GetParam().arrange(machine);
  NotePhasesAt({"DeleteForwardRow", "RemoveFile"});
  EXPECT_EQ(Handle(kConnect), GetParam().reply);
  EXPECT_EQ(Story(), Steps({kPins, GetParam().story}));
  EXPECT_THAT(phases, testing::Each("connecting"));
  EXPECT_EQ(State(), GetParam().state);
}

void PutAFileInTheWay(simulated::Machine& machine) {
  machine.files.AddFile(L"C:\\ProgramData\\Veltrane", "in the way");
}
void RemoveTheFileMeanwhile(simulated::Machine& machine) {
  machine.OnCall("DeleteForwardRow", 1, [&machine] { machine.files.Remove(kActiveConf); });
}

// The file can be deleted where it cannot be opened; otherwise it is scrubbed and stays.
const Failure kFailures[] = {
    {"FolderCannotBeCreated", PutAFileInTheWay,
     R"({"ok":false,"error":"config_write_failed","message":"create_directories failed"})",
     Steps({UpTo("CreateFolders", WritesConf()), kUnpins}), "disconnected; Veltrane: in the way"},
    {"TemporaryFileCannotBeOpened", Denying(kTemporaryConf),
     R"({"ok":false,"error":"config_write_failed","message":"open tmp failed"})",
     Steps({UpTo("OutputFile.Open", WritesConf()), kUnpins}), "disconnected"},
    {"TemporaryFileCannotBeWritten", Failing("OutputFile.Write"),
     R"({"ok":false,"error":"config_write_failed","message":"write tmp failed"})",
     Steps({UpTo("OutputFile.Close", WritesConf()), kUnpins}), "disconnected; active.conf.tmp: "},
    {"TemporaryFileCannotBeClosed", Failing("OutputFile.Close"),
     R"({"ok":false,"error":"config_write_failed","message":"write tmp failed"})",
     Steps({UpTo("OutputFile.Close", WritesConf()), kUnpins}), "disconnected; active.conf.tmp: "},
    {"TemporaryFileCannotBeRenamed", Failing("MoveFileWithFlags"),
     R"({"ok":false,"error":"config_write_failed","message":"rename active.conf failed"})",
     Steps({UpTo("MoveFileWithFlags", WritesConf()), kUnpins}),
     "disconnected; active.conf.tmp for fra-1"},
    {"ManagerCannotBeOpened", All({Failing("ServiceManager.Open"), Denying(kActiveConf)}),
     R"({"ok":false,"error":"tunnel_start_failed","message":"OpenSCManager failed"})",
     Steps({WritesConf(), kUnpins, kDeletesConf}), "disconnected"},
    {"ServiceCannotBeCreated", All({Failing("ServiceManager.Create"), Denying(kActiveConf)}),
     R"({"ok":false,"error":"tunnel_start_failed","message":"CreateService tunnel failed"})",
     Steps({WritesConf(), UpTo("ServiceManager.Create", kStartsTunnel), kUnpins, kDeletesConf}),
     "disconnected"},
    {"ServiceThatCannotBeStartedStaysInstalled",
     All({Failing("Service.Start"), Denying(kActiveConf)}),
     R"({"ok":false,"error":"tunnel_start_failed","message":"StartService tunnel failed"})",
     Steps({WritesConf(), kStartsTunnel, kUnpins, kDeletesConf}),
     "disconnected; VeltraneVpnTunnel$Active stopped"},
    {"FileThatCannotBeDeletedReplacesTheStartError", Failing("Service.Start"),
     R"({"ok":false,"error":"tunnel_start_failed","message":"delete active.conf failed"})",
     Steps({WritesConf(), kStartsTunnel, kUnpins, kScrubsConf}),
     "disconnected; VeltraneVpnTunnel$Active stopped; active.conf of zeros"},
    {"FileThatIsGoneKeepsTheStartError",
     All({Failing("ServiceManager.Open"), RemoveTheFileMeanwhile}),
     R"({"ok":false,"error":"tunnel_start_failed","message":"OpenSCManager failed"})",
     Steps({WritesConf(), kUnpins}), "disconnected"}};

INSTANTIATE_TEST_SUITE_P(ConnectStartFailure, ConnectThatFails, testing::ValuesIn(kFailures),
                         NameOf<Failure>);

TEST_F(ConnectStartFailure, AFileThatCannotBeWrittenLeavesARunningTunnelAndItsFile) {
  Handle(kConnect);
  machine.files.DenyOpen(kTemporaryConf);
  Handle(kConnectElsewhere);
  EXPECT_EQ(State(), "disconnected; " + kPinnedRoute + "; " + kTunnelUp);
}

TEST_F(ConnectStartFailure, AServiceWhoseDeletionIsPendingIsNeitherStartedNorRemoved) {
  Handle(kConnect);
  machine.services.HoldHandle(kTunnelService);
  StartStory();
  EXPECT_EQ(Handle(kConnect),
            R"({"ok":false,"error":"tunnel_start_failed","message":"delete active.conf failed"})");
  EXPECT_EQ(machine.calls.StartingWith("Service.Start"),
            Texts{"Service.Start VeltraneVpnTunnel$Active"});
  EXPECT_EQ(machine.calls.Count("ServiceManager.Create"), 0U);
  EXPECT_TRUE(machine.services.Find(kTunnelService)->marked_for_delete);
}

TEST_F(ConnectStartFailure, AnUnreadableFileStateIsRaisedWhenTheStartHasFailed) {
  machine.Fail("Service.Start", 1, 1053);
  machine.Fail("TestExistence", 1, 5);
  EXPECT_THROW(Handle(kConnect), std::filesystem::filesystem_error);
  EXPECT_EQ(PhaseAndNode(), "connecting");
}

TEST_F(ConnectStartFailure, WithBypassOffTheRemovalIsLoggedAllTheSame) {
  machine.environment.UnsetMachine(L"ADMIN_BYPASS_IP");
  machine.files.DenyOpen(kTemporaryConf);
  Handle(kConnect);
  EXPECT_EQ(machine.calls.Of("PrintError"), kLogsOff);
  StartStory();
  machine.files.AllowOpen(kTemporaryConf);
  machine.Fail("Service.Start", 1, 1053);
  Handle(kConnect);
  EXPECT_EQ(machine.calls.Of("PrintError"), kLogsOff);
}

}  // namespace
}  // namespace veltrane
