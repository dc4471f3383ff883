// What the tunnel's operations log and record while nobody has asked for a connection yet.

#include <csignal>

#include "tests/support/on_machine.h"
#include "tunnel/active_conf.h"
#include "tunnel/tunnel_manager.h"

namespace veltrane {
namespace {

constexpr wchar_t kName[] = L"VeltraneVpnTunnel$Active";
constexpr wchar_t kConf[] = L"C:\\ProgramData\\Veltrane\\tunnels\\active.conf";
constexpr wchar_t kGuardVariable[] = L"VELTRANE_POC_DISABLE_ALL_NETWORK_MUTATION_ON_STARTUP";

class PassivePhase : public OnMachine {};

TEST_F(PassivePhase, AStartLogsStartThenStopAndSetsTheTunnelMark) {
  EXPECT_TRUE(TunnelManager::Start(kConf, nullptr));
  EXPECT_EQ(machine.console.Error(),
            L"[Veltrane][startup_guard] forbidden during passive startup: TunnelManager::Start\n"
            L"[Veltrane][startup_guard] forbidden during passive startup: TunnelManager::Stop\n");
  EXPECT_TRUE(ReadStartupState().tunnel_started);
  EXPECT_FALSE(ReadStartupState().config_written);
  EXPECT_EQ(ReadStartupState().route_mutation_count, 0);
  EXPECT_EQ(machine.services.Find(kName)->state, simulated::kRunning);
}

TEST_F(PassivePhase, AStartLogsBeforeItTouchesTheServiceManager) {
  TunnelManager::Start(kConf, nullptr);
  const std::vector<std::string> calls = machine.calls.All();
  ASSERT_GE(calls.size(), 9u);
  EXPECT_EQ(std::vector<std::string>(calls.begin(), calls.begin() + 9),
            (std::vector<std::string>{
                "PrintErrorLine [Veltrane][startup_guard] forbidden during passive startup: "
                "TunnelManager::Start",
                "ReadProcessVariable VELTRANE_POC_DISABLE_ALL_NETWORK_MUTATION_ON_STARTUP",
                "ReadRegistryText HKLM VELTRANE_POC_DISABLE_ALL_NETWORK_MUTATION_ON_STARTUP",
                "ReadRegistryText HKCU VELTRANE_POC_DISABLE_ALL_NETWORK_MUTATION_ON_STARTUP",
                "PrintErrorLine [Veltrane][startup_guard] forbidden during passive startup: "
                "TunnelManager::Stop",
                "ReadProcessVariable VELTRANE_POC_DISABLE_ALL_NETWORK_MUTATION_ON_STARTUP",
                "ReadRegistryText HKLM VELTRANE_POC_DISABLE_ALL_NETWORK_MUTATION_ON_STARTUP",
                "ReadRegistryText HKCU VELTRANE_POC_DISABLE_ALL_NETWORK_MUTATION_ON_STARTUP",
                "ServiceManager.Open 0xf003f"}));
}

TEST_F(PassivePhase, AStartSetsTheTunnelMarkBetweenItsTwoLines) {
  std::vector<bool> marks;
  machine.calls.OnEveryCall("PrintErrorLine",
                            [&] { marks.push_back(ReadStartupState().tunnel_started); });
  TunnelManager::Start(kConf, nullptr);
  EXPECT_EQ(marks, (std::vector<bool>{false, true}));
}

TEST_F(PassivePhase, AStartThatFailsSetsTheTunnelMarkToo) {
  machine.services.DenyManagerAccess(2);
  EXPECT_FALSE(TunnelManager::Start(kConf, nullptr));
  EXPECT_TRUE(ReadStartupState().tunnel_started);
}

TEST_F(PassivePhase, AStopLogsOneLineAndSetsNoMark) {
  EXPECT_TRUE(TunnelManager::Stop());
  EXPECT_EQ(machine.console.Error(),
            L"[Veltrane][startup_guard] forbidden during passive startup: TunnelManager::Stop\n");
  EXPECT_FALSE(ReadStartupState().tunnel_started);
  EXPECT_FALSE(ReadStartupState().config_written);
}

TEST_F(PassivePhase, AStateQueryLogsNothing) {
  TunnelManager::IsRunning();
  EXPECT_EQ(machine.console.Error(), L"");
}

TEST_F(PassivePhase, AWriteLogsOneLineAndSetsTheConfigurationMark) {
  EXPECT_TRUE(WriteActiveConf({}, nullptr));
  EXPECT_EQ(machine.console.Error(),
            L"[Veltrane][startup_guard] forbidden during passive startup: WriteActiveConf\n");
  EXPECT_TRUE(ReadStartupState().config_written);
  EXPECT_FALSE(ReadStartupState().tunnel_started);
  EXPECT_TRUE(machine.files.Exists(kConf));
}

TEST_F(PassivePhase, AWriteSetsTheConfigurationMarkAfterItsLineAndBeforeTheFolderIsCreated) {
  bool at_line = true;
  bool at_folder = false;
  machine.OnCall("PrintErrorLine", 1, [&] { at_line = ReadStartupState().config_written; });
  machine.OnCall("CreateFolders", 1, [&] { at_folder = ReadStartupState().config_written; });
  WriteActiveConf({}, nullptr);
  EXPECT_FALSE(at_line);
  EXPECT_TRUE(at_folder);
}

TEST_F(PassivePhase, AWriteThatFailsSetsTheConfigurationMarkToo) {
  machine.Fail("CreateFolders", 1, 5);
  EXPECT_FALSE(WriteActiveConf({}, nullptr));
  EXPECT_TRUE(ReadStartupState().config_written);
}

TEST_F(PassivePhase, ADeletionLogsNothing) {
  machine.files.AddFile(kConf, "key");
  DeleteActiveConf(nullptr);
  EXPECT_EQ(machine.console.Error(), L"");
  EXPECT_FALSE(ReadStartupState().config_written);
}

TEST_F(PassivePhase, AnAccessListLogsNothing) {
  machine.files.AddFile(kConf, "key");
  EXPECT_TRUE(ApplyTunnelsAcl(kConf));
  EXPECT_EQ(machine.console.Error(), L"");
}

TEST_F(PassivePhase, AGuardSwitchedOffLogsAndGoesOn) {
  machine.environment.SetMachine(kGuardVariable, L"0");
  EXPECT_TRUE(TunnelManager::Stop());
  EXPECT_EQ(machine.console.Error(),
            L"[Veltrane][startup_guard] forbidden during passive startup: TunnelManager::Stop\n");
}

class AfterThePassivePhase : public OnMachine, public testing::WithParamInterface<void (*)()> {};

TEST_P(AfterThePassivePhase, NothingIsLoggedRecordedOrForbidden) {
  machine.environment.SetMachine(kGuardVariable, L"1");
  GetParam()();
  EXPECT_TRUE(WriteActiveConf({}, nullptr));
  EXPECT_TRUE(TunnelManager::Start(kConf, nullptr));
  EXPECT_TRUE(TunnelManager::Stop());
  EXPECT_EQ(machine.console.Error(), L"");
  EXPECT_FALSE(ReadStartupState().tunnel_started);
  EXPECT_FALSE(ReadStartupState().config_written);
}

INSTANTIATE_TEST_SUITE_P(Markers, AfterThePassivePhase,
                         testing::Values(&MarkConnectRequested, &MarkStopRequested));

// The process must end before the first change; one that goes on exits with 99.
class ForbiddenAtStartup : public OnMachine {
 protected:
  ForbiddenAtStartup() {
    machine.environment.SetMachine(kGuardVariable, L"1");
    machine.console.EchoErrors();
    machine.OnCall("ServiceManager.Open", 1, [] { std::_Exit(99); });
    machine.OnCall("CreateFolders", 1, [] { std::_Exit(99); });
  }
};

using ForbiddenAtStartupDeathTest = ForbiddenAtStartup;

TEST_F(ForbiddenAtStartupDeathTest, AStartAbortsTheProcessBeforeTheChange) {
  EXPECT_EXIT(TunnelManager::Start(kConf, nullptr), testing::KilledBySignal(SIGABRT),
              testing::Eq("[Veltrane][startup_guard] forbidden during passive startup: "
                          "TunnelManager::Start\n"
                          "[Veltrane][startup_guard] abort "
                          "VELTRANE_POC_DISABLE_ALL_NETWORK_MUTATION_ON_STARTUP=1\n"));
}

TEST_F(ForbiddenAtStartupDeathTest, AStopAbortsTheProcessBeforeTheChange) {
  EXPECT_EXIT(TunnelManager::Stop(), testing::KilledBySignal(SIGABRT),
              testing::Eq("[Veltrane][startup_guard] forbidden during passive startup: "
                          "TunnelManager::Stop\n"
                          "[Veltrane][startup_guard] abort "
                          "VELTRANE_POC_DISABLE_ALL_NETWORK_MUTATION_ON_STARTUP=1\n"));
}

TEST_F(ForbiddenAtStartupDeathTest, AWriteAbortsTheProcessBeforeTheChange) {
  EXPECT_EXIT(WriteActiveConf({}, nullptr), testing::KilledBySignal(SIGABRT),
              testing::Eq("[Veltrane][startup_guard] forbidden during passive startup: "
                          "WriteActiveConf\n"
                          "[Veltrane][startup_guard] abort "
                          "VELTRANE_POC_DISABLE_ALL_NETWORK_MUTATION_ON_STARTUP=1\n"));
}

TEST_F(ForbiddenAtStartupDeathTest, ADeletionIsNotForbidden) {
  EXPECT_TRUE(DeleteActiveConf(nullptr));
  EXPECT_EQ(machine.console.Error(), L"");
}

}  // namespace
}  // namespace veltrane
