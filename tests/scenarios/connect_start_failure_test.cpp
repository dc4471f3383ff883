// A connect that fails while it writes the configuration or starts the tunnel service: the whole
// reply, and what is left on the machine.

#include <filesystem>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/scenarios/scenario.h"

namespace veltrane {
namespace {

// With the bypass on, so that its routes have to be removed again.
class ConnectStartFailure : public Scenario {
 protected:
  ConnectStartFailure() { SetAdministrator(); }
};

const std::vector<std::string> kPins = {
    "CreateForwardRow 203.0.113.5/32 via 192.168.1.1 if 12 metric 1",
    "PrintError [Veltrane][admin_bypass] enabled=1 applied=1 failure="};
const std::vector<std::string> kUnpins = {
    "DeleteForwardRow 203.0.113.5/32 via 192.168.1.1 if 12 metric 1",
    "PrintError [Veltrane][admin_bypass] enabled=1 applied=0 failure="};

TEST_F(ConnectStartFailure, TheFolderCannotBeCreated) {
  machine.files.AddFile(L"C:\\ProgramData\\Veltrane", "in the way");
  EXPECT_EQ(Handle(kConnect),
            R"({"ok":false,"error":"config_write_failed","message":"create_directories failed"})");
  EXPECT_EQ(Phase(), "disconnected");
  EXPECT_EQ(NodeId(), "");
  EXPECT_EQ(Story(), Steps({kPins, {R"(CreateFolders C:\ProgramData\Veltrane\tunnels)"}, kUnpins}));
  EXPECT_EQ(machine.routes.Texts(), (std::vector<std::string>{kDefaultRoute, kLocalRoute}));
  EXPECT_EQ(machine.services.Names(), std::vector<std::wstring>{});
}

TEST_F(ConnectStartFailure, TheTemporaryFileCannotBeOpened) {
  machine.files.DenyOpen(kTemporaryConf);
  EXPECT_EQ(Handle(kConnect),
            R"({"ok":false,"error":"config_write_failed","message":"open tmp failed"})");
  EXPECT_EQ(Phase(), "disconnected");
  EXPECT_EQ(Story(), Steps({kPins,
                            {R"(CreateFolders C:\ProgramData\Veltrane\tunnels)",
                             R"(SetProtectedAccess C:\ProgramData\Veltrane\tunnels)",
                             R"(OutputFile.Open C:\ProgramData\Veltrane\tunnels\active.conf.tmp)"},
                            kUnpins}));
  EXPECT_EQ(machine.files.AllFiles(), std::vector<std::wstring>{});
}

TEST_F(ConnectStartFailure, AWriteThatFailsLeavesTheTemporaryFileBehind) {
  machine.Fail("OutputFile.Write", 1, 112);
  EXPECT_EQ(Handle(kConnect),
            R"({"ok":false,"error":"config_write_failed","message":"write tmp failed"})");
  EXPECT_EQ(Phase(), "disconnected");
  EXPECT_EQ(Story(),
            Steps({kPins,
                   {R"(CreateFolders C:\ProgramData\Veltrane\tunnels)",
                    R"(SetProtectedAccess C:\ProgramData\Veltrane\tunnels)",
                    R"(OutputFile.Open C:\ProgramData\Veltrane\tunnels\active.conf.tmp)",
                    R"(OutputFile.Write C:\ProgramData\Veltrane\tunnels\active.conf.tmp 189 bytes)",
                    R"(OutputFile.Close C:\ProgramData\Veltrane\tunnels\active.conf.tmp)"},
                   kUnpins}));
  EXPECT_EQ(machine.files.AllFiles(), std::vector<std::wstring>{kTemporaryConf});
  EXPECT_EQ(machine.files.Bytes(kTemporaryConf), "");
}

TEST_F(ConnectStartFailure, ACloseThatFailsLeavesTheTemporaryFileBehind) {
  machine.Fail("OutputFile.Close", 1, 112);
  EXPECT_EQ(Handle(kConnect),
            R"({"ok":false,"error":"config_write_failed","message":"write tmp failed"})");
  EXPECT_EQ(machine.files.AllFiles(), std::vector<std::wstring>{kTemporaryConf});
  EXPECT_EQ(machine.calls.Count("MoveFileWithFlags"), 0U);
}

TEST_F(ConnectStartFailure, ARenameThatFailsLeavesTheWrittenTemporaryFileBehind) {
  machine.Fail("MoveFileWithFlags", 1, 5);
  EXPECT_EQ(Handle(kConnect),
            R"({"ok":false,"error":"config_write_failed","message":"rename active.conf failed"})");
  EXPECT_EQ(Phase(), "disconnected");
  EXPECT_EQ(Story(),
            Steps({kPins,
                   {R"(CreateFolders C:\ProgramData\Veltrane\tunnels)",
                    R"(SetProtectedAccess C:\ProgramData\Veltrane\tunnels)",
                    R"(OutputFile.Open C:\ProgramData\Veltrane\tunnels\active.conf.tmp)",
                    R"(OutputFile.Write C:\ProgramData\Veltrane\tunnels\active.conf.tmp 189 bytes)",
                    R"(OutputFile.Close C:\ProgramData\Veltrane\tunnels\active.conf.tmp)",
                    R"(SetProtectedAccess C:\ProgramData\Veltrane\tunnels\active.conf.tmp)",
                    R"(MoveFileWithFlags C:\ProgramData\Veltrane\tunnels\active.conf.tmp )"
                    R"(to C:\ProgramData\Veltrane\tunnels\active.conf flags 9)"},
                   kUnpins}));
  EXPECT_EQ(machine.files.AllFiles(), std::vector<std::wstring>{kTemporaryConf});
  EXPECT_EQ(machine.files.Bytes(kTemporaryConf), kConf);
}

TEST_F(ConnectStartFailure, AFileThatCannotBeWrittenLeavesARunningTunnelAndItsFile) {
  Handle(kConnect);
  machine.files.DenyOpen(kTemporaryConf);
  Handle(kConnectElsewhere);
  EXPECT_EQ(Phase(), "disconnected");
  EXPECT_EQ(NodeId(), "");
  EXPECT_EQ(machine.files.Bytes(kActiveConf), kConf);
  EXPECT_EQ(machine.services.Find(kTunnelService)->state, simulated::kRunning);
}

TEST_F(ConnectStartFailure, TheServiceManagerCannotBeOpened) {
  machine.files.DenyOpen(kActiveConf);  // so that the file can be deleted
  machine.FailAlways("ServiceManager.Open", 5);
  EXPECT_EQ(Handle(kConnect),
            R"({"ok":false,"error":"tunnel_start_failed","message":"OpenSCManager failed"})");
  EXPECT_EQ(Phase(), "disconnected");
  EXPECT_EQ(NodeId(), "");
  EXPECT_EQ(Story(), Steps({kPins,
                            kWritesConf,
                            kUnpins,
                            {R"(OutputFile.Open C:\ProgramData\Veltrane\tunnels\active.conf)",
                             R"(RemoveFile C:\ProgramData\Veltrane\tunnels\active.conf)"}}));
  EXPECT_EQ(machine.routes.Texts(), (std::vector<std::string>{kDefaultRoute, kLocalRoute}));
  EXPECT_EQ(machine.files.AllFiles(), std::vector<std::wstring>{});
  EXPECT_EQ(machine.services.Names(), std::vector<std::wstring>{});
}

TEST_F(ConnectStartFailure, TheServiceCannotBeCreated) {
  machine.files.DenyOpen(kActiveConf);
  machine.Fail("ServiceManager.Create", 1, 1057);
  EXPECT_EQ(
      Handle(kConnect),
      R"({"ok":false,"error":"tunnel_start_failed","message":"CreateService tunnel failed"})");
  EXPECT_EQ(Phase(), "disconnected");
  EXPECT_EQ(Story(), Steps({kPins,
                            kWritesConf,
                            {"ServiceManager.Create VeltraneVpnTunnel$Active"},
                            kUnpins,
                            {R"(OutputFile.Open C:\ProgramData\Veltrane\tunnels\active.conf)",
                             R"(RemoveFile C:\ProgramData\Veltrane\tunnels\active.conf)"}}));
  EXPECT_EQ(machine.services.Names(), std::vector<std::wstring>{});
  EXPECT_EQ(machine.services.OpenHandles(), 0);
}

TEST_F(ConnectStartFailure, AServiceThatCannotBeStartedStaysInstalled) {
  machine.files.DenyOpen(kActiveConf);
  machine.Fail("Service.Start", 1, 1053);
  EXPECT_EQ(Handle(kConnect),
            R"({"ok":false,"error":"tunnel_start_failed","message":"StartService tunnel failed"})");
  EXPECT_EQ(Phase(), "disconnected");
  EXPECT_EQ(Story(), Steps({kPins,
                            kWritesConf,
                            kStartsTunnel,
                            kUnpins,
                            {R"(OutputFile.Open C:\ProgramData\Veltrane\tunnels\active.conf)",
                             R"(RemoveFile C:\ProgramData\Veltrane\tunnels\active.conf)"}}));
  ASSERT_TRUE(machine.services.Find(kTunnelService));
  EXPECT_EQ(machine.services.Find(kTunnelService)->state, simulated::kStopped);
  EXPECT_EQ(machine.services.OpenHandles(), 0);
}

TEST_F(ConnectStartFailure, AFileThatCannotBeDeletedReplacesTheStartError) {
  machine.Fail("Service.Start", 1, 1053);
  EXPECT_EQ(Handle(kConnect),
            R"({"ok":false,"error":"tunnel_start_failed","message":"delete active.conf failed"})");
  EXPECT_EQ(Phase(), "disconnected");
  EXPECT_EQ(Story(), Steps({kPins, kWritesConf, kStartsTunnel, kUnpins, kScrubsConf}));
  EXPECT_EQ(machine.files.AllFiles(), std::vector<std::wstring>{kActiveConf});
  EXPECT_EQ(machine.files.Bytes(kActiveConf), kScrubbed);
}

TEST_F(ConnectStartFailure, AFileThatIsGoneKeepsTheStartError) {
  machine.FailAlways("ServiceManager.Open", 5);
  machine.OnCall("DeleteForwardRow", 1, [&] {
    machine.files.DenyOpen(kActiveConf);
    machine.files.Remove(kActiveConf);
  });
  EXPECT_EQ(Handle(kConnect),
            R"({"ok":false,"error":"tunnel_start_failed","message":"OpenSCManager failed"})");
  EXPECT_EQ(machine.calls.Count("RemoveFile"), 0U);
}

TEST_F(ConnectStartFailure, AServiceWhoseDeletionIsPendingIsNeitherStartedNorRemoved) {
  Handle(kConnect);
  machine.services.HoldHandle(kTunnelService);
  StartStory();
  EXPECT_EQ(Handle(kConnect),
            R"({"ok":false,"error":"tunnel_start_failed","message":"delete active.conf failed"})");
  EXPECT_EQ(machine.calls.StartingWith("Service.Start"),
            std::vector<std::string>{"Service.Start VeltraneVpnTunnel$Active"});
  EXPECT_EQ(machine.calls.Count("ServiceManager.Create"), 0U);
  EXPECT_TRUE(machine.services.Find(kTunnelService)->marked_for_delete);
}

TEST_F(ConnectStartFailure, ThePhaseIsConnectingUntilEverythingIsUndone) {
  machine.Fail("Service.Start", 1, 1053);
  std::vector<std::string> phases;
  for (const char* call : {"DeleteForwardRow", "RemoveFile"}) {
    machine.OnCall(call, 1, [&] { phases.push_back(Phase()); });
  }
  Handle(kConnect);
  EXPECT_EQ(phases, (std::vector<std::string>{"connecting", "connecting"}));
  EXPECT_EQ(Phase(), "disconnected");
}

TEST_F(ConnectStartFailure, ThePhaseIsConnectingUntilTheRoutesOfAFailedWriteAreRemoved) {
  machine.files.DenyOpen(kTemporaryConf);
  std::string phase;
  machine.OnCall("DeleteForwardRow", 1, [&] { phase = Phase(); });
  Handle(kConnect);
  EXPECT_EQ(phase, "connecting");
  EXPECT_EQ(Phase(), "disconnected");
}

TEST_F(ConnectStartFailure, AnUnreadableFileStateIsRaisedWhenTheStartHasFailed) {
  machine.Fail("Service.Start", 1, 1053);
  machine.Fail("TestExistence", 1, 5);
  EXPECT_THROW(Handle(kConnect), std::filesystem::filesystem_error);
  EXPECT_EQ(Phase(), "connecting");
}

TEST_F(ConnectStartFailure, WithBypassOffTheRemovalIsLoggedAllTheSame) {
  machine.environment.UnsetMachine(L"ADMIN_BYPASS_IP");
  machine.files.DenyOpen(kTemporaryConf);
  Handle(kConnect);
  EXPECT_EQ(machine.console.Error(), kLogOff);
  StartStory();
  machine.files.AllowOpen(kTemporaryConf);
  machine.Fail("Service.Start", 1, 1053);
  Handle(kConnect);
  EXPECT_EQ(machine.console.Error(), kLogOff);
}

TEST_F(ConnectStartFailure, AnotherConnectAfterwardsSucceeds) {
  machine.Fail("Service.Start", 1, 1053);
  Handle(kConnect);
  Handle(kConnect);
  EXPECT_EQ(Phase(), "connected");
  EXPECT_EQ(machine.files.Bytes(kActiveConf), kConf);
  EXPECT_EQ(machine.routes.Texts(),
            (std::vector<std::string>{kDefaultRoute, kLocalRoute, kPinnedRoute}));
}

}  // namespace
}  // namespace veltrane
