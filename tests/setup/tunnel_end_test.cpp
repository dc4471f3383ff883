// Bringing a tunnel down before an upgrade or a removal.

#include <algorithm>

#include "tests/setup/on_installing_machine.h"

namespace veltrane {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;

class TunnelEnd : public OnInstallingMachine {
 protected:
  // An upgrade that may bring the tunnel down.
  bool UpgradeAnyway() {
    machine.installer.Set(L"TUNNEL", L"stop");
    return Install();
  }
};

TEST_F(TunnelEnd, IsAskedOfTheService) {
  RunInstalled();
  AddTunnel();
  EXPECT_TRUE(UpgradeAnyway());
  EXPECT_EQ(machine.services.Find(kTunnel), std::nullopt);
  EXPECT_EQ(machine.files.Bytes(kConf), std::string(4096, '\0'));
  EXPECT_THAT(Log(), ElementsAre("Veltrane VPN: A tunnel is up: the service has disconnected.",
                                 "Veltrane VPN: The service has been started."));
}

TEST_F(TunnelEnd, IsMadeByHandWithoutTheService) {
  ASSERT_TRUE(Install());
  AddTunnel();
  EXPECT_TRUE(UpgradeAnyway());
  EXPECT_EQ(State(kTunnel), simulated::kStopped);
  EXPECT_THAT(Log(),
              ElementsAre("Veltrane VPN: A tunnel is up: the service is not running.",
                          "Veltrane VPN: The tunnel is still up: its service is being stopped."));
}

TEST_F(TunnelEnd, IsNotAskedOfAServiceThatItWouldEnd) {
  RunInstalled();
  AddTunnel();
  SetEnvironment({L"VELTRANE_POC_DISABLE_ALL_NETWORK_MUTATION_ON_STARTUP=1"});
  EXPECT_TRUE(UpgradeAnyway());
  EXPECT_EQ(State(kTunnel), simulated::kStopped);
  EXPECT_EQ(Log().front(),
            "Veltrane VPN: A tunnel is up: "
            "VELTRANE_POC_DISABLE_ALL_NETWORK_MUTATION_ON_STARTUP is on.");
}

TEST_F(TunnelEnd, IsNotAskedOfAServiceThatTheMachineTellsToChangeNothing) {
  RunInstalled();
  AddTunnel();
  machine.environment.SetMachine(L"VELTRANE_POC_DISABLE_ALL_NETWORK_MUTATION_ON_STARTUP", L"on");
  EXPECT_TRUE(UpgradeAnyway());
  EXPECT_THAT(Log(), Contains(testing::HasSubstr("ON_STARTUP is on.")));
}

TEST_F(TunnelEnd, IsAskedOfAServiceWhoseOwnSettingSaysOtherwise) {
  RunInstalled();
  AddTunnel();
  machine.environment.SetMachine(L"VELTRANE_POC_DISABLE_ALL_NETWORK_MUTATION_ON_STARTUP", L"on");
  SetEnvironment({L"VELTRANE_POC_DISABLE_ALL_NETWORK_MUTATION_ON_STARTUP=0"});
  machine.environment.SetProcess(L"VELTRANE_POC_DISABLE_ALL_NETWORK_MUTATION_ON_STARTUP", L"0");
  EXPECT_TRUE(UpgradeAnyway());
  EXPECT_EQ(Log().front(), "Veltrane VPN: A tunnel is up: the service has disconnected.");
}

TEST_F(TunnelEnd, FailsTheUpgradeWhenTheTunnelDoesNotStop) {
  ASSERT_TRUE(Install());
  AddTunnel();
  machine.services.NeverStop();
  EXPECT_FALSE(UpgradeAnyway());
  EXPECT_EQ(Log().back(),
            "error: Veltrane VPN: The tunnel does not stop; end the process "
            "\"VeltraneVpnService.exe /service ...\" and try again.");
  EXPECT_THAT(machine.services.Names(), Contains(kTunnel));
}

TEST_F(TunnelEnd, WaitsForATunnelThatStopsSlowly) {
  ASSERT_TRUE(Install());
  AddTunnel();
  int sleeps = 0;
  machine.clock.OnSleep([this, &sleeps](std::uint32_t) {
    if (++sleeps == 100) machine.services.SetState(kTunnel, simulated::kStopped);
  });
  machine.services.NeverStop();
  EXPECT_TRUE(UpgradeAnyway());
}

TEST_F(TunnelEnd, IsAskedAgainOfATunnelThatWasStillStarting) {
  ASSERT_TRUE(Install());
  AddTunnel();
  machine.services.SetState(kTunnel, simulated::kStartPending);
  int sleeps = 0;
  machine.clock.OnSleep([this, &sleeps](std::uint32_t) {
    if (++sleeps == 20) machine.services.SetState(kTunnel, simulated::kRunning);
  });
  EXPECT_TRUE(UpgradeAnyway());
  EXPECT_EQ(State(kTunnel), simulated::kStopped);
}

TEST_F(TunnelEnd, IsNotOverBeforeTheProcessHasEnded) {
  ASSERT_TRUE(Install());
  AddTunnel();
  machine.OnCall("ReadProcessStart", 2, [this] { side.service_process = 4712; });
  side.pipe_server = std::nullopt;
  EXPECT_TRUE(UpgradeAnyway());
  EXPECT_EQ(machine.calls.Of("ReadProcessStart"),
            (std::vector<std::string>{"ReadProcessStart 4711", "ReadProcessStart 4711"}));
}

TEST_F(TunnelEnd, WaitsForTheProcessOfATunnelThatTheServiceHasStopped) {
  RunInstalled();
  AddTunnel();
  EXPECT_TRUE(UpgradeAnyway());
  const std::vector<std::string> calls = machine.calls.All();
  const auto asked = std::ranges::find(calls, "ReadProcessStart 4711");
  const auto stopped = std::ranges::find(calls, "Service.SendStop VeltraneVpnTunnel");
  EXPECT_LT(asked, stopped);
}

TEST_F(TunnelEnd, ComesWithEveryRemoval) {
  RunInstalled();
  AddTunnel();
  EXPECT_TRUE(Uninstall());
  EXPECT_THAT(machine.services.Names(), IsEmpty());
  EXPECT_FALSE(machine.files.Exists(L"C:\\ProgramData\\Veltrane"));
  EXPECT_THAT(Log(), ElementsAre("Veltrane VPN: A tunnel is up: the service has disconnected."));
}

TEST_F(TunnelEnd, ComesToATunnelThatComesUpWhileTheServiceStops) {
  RunInstalled();
  machine.services.OnStopped([this](const std::wstring& name) {
    if (name != kControl) return;
    side.ExpectServer(false);
    server.Stop();
    AddTunnel();
  });
  EXPECT_TRUE(UpgradeAnyway());
  EXPECT_EQ(State(kTunnel), simulated::kStopped);
  EXPECT_THAT(Log(),
              ElementsAre("Veltrane VPN: A tunnel is up: the service is not running.",
                          "Veltrane VPN: The tunnel is still up: its service is being stopped.",
                          "Veltrane VPN: The service has been started."));
}

TEST_F(TunnelEnd, ComesWithARemovalAlsoToATunnelThatComesUpMeanwhile) {
  ASSERT_TRUE(Install());
  machine.OnCall("InstallerSession.SetProperty", 1, [this] { AddTunnel(); });
  EXPECT_TRUE(Uninstall());
  EXPECT_THAT(machine.services.Names(), IsEmpty());
}

TEST_F(TunnelEnd, LetsARemovalDeleteTheTunnelServiceThatItHasStopped) {
  ASSERT_TRUE(Install());
  AddTunnel();
  EXPECT_TRUE(Uninstall());
  EXPECT_THAT(machine.services.Names(), IsEmpty());
}

TEST_F(TunnelEnd, IsNotToldToAnImpostor) {
  RunInstalled();
  AddTunnel();
  side.pipe_server = 666;
  EXPECT_TRUE(UpgradeAnyway());
  EXPECT_EQ(Log().front(),
            "Veltrane VPN: A tunnel is up: the pipe is served by process 666, but the service is "
            "process 4711.");
}

}  // namespace
}  // namespace veltrane
