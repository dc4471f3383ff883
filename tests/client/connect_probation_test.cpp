// How connect --confirm ends, and connect --wait. The watchdog is played.

#include "tests/client/scripted_server.h"
#include "tests/client/watchdog/on_watched_machine.h"

namespace veltrane {
namespace {

using Texts = std::vector<std::string>;

class ConnectOnProbation : public OnWatchedMachine {
 protected:
  ConnectOnProbation() {
    side.console_is_interactive = true;
    side.watchdogs.first_words = {"armed"};
    side.watchdogs.answers["sending"] = {"watching"};
    side.watchdogs.answers["confirmed"] = {"confirmed"};
    side.watchdogs.answers["lost"] = {"undone the connection to \"office\" has been undone"};
  }

  int ConnectAndConfirm() { return Run({"connect", kConfPath, "--confirm", "60"}); }

  std::string LastError() const {
    const std::string error = side.Error();
    const std::size_t end = error.rfind('\n', error.size() - 2);
    return end == std::string::npos ? error : error.substr(end + 1);
  }
};

TEST_F(ConnectOnProbation, StaysWhenTheWordIsTyped) {
  StartService();
  At(20, [this] { side.Type("keep\r"); });
  EXPECT_EQ(ConnectAndConfirm(), 0);
  EXPECT_EQ(side.watchdogs.started,
            (std::vector<Texts>{{"watchdog", "--seconds=60", "--node-id=office"}}));
  EXPECT_EQ(side.watchdogs.heard, (Texts{"sending", "answered", "confirmed"}));
  const std::string output = side.Output();
  EXPECT_EQ(output.substr(output.find("Within 60 s")),
            "Within 60 s it will be undone, unless you confirm it here or by veltranectl confirm.\n"
            "Type keep and press Enter to keep the connection: keep\r\n"
            "the connection stays\n");
}

TEST_F(ConnectOnProbation, IsUndoneWhenTheTimeIsUp) {
  StartService();
  At(61, [this] {
    side.watchdogs.WatchdogSays("undone the connection to \"office\" has been undone");
  });
  EXPECT_EQ(ConnectAndConfirm(), 8);
  EXPECT_EQ(side.watchdogs.heard, (Texts{"sending", "answered"}));
  EXPECT_EQ(LastError(), "veltranectl: the connection to \"office\" has been undone\n");
}

TEST_F(ConnectOnProbation, SaysWhenItCouldNotBeUndone) {
  StartService();
  At(61, [this] { side.watchdogs.WatchdogSays("failed it could not be undone: do this"); });
  EXPECT_EQ(ConnectAndConfirm(), 9);
  EXPECT_EQ(LastError(), "veltranectl: it could not be undone: do this\n");
}

TEST_F(ConnectOnProbation, ARefusalLeavesNothingToUndo) {
  machine.environment.SetMachine(L"VELTRANE_POC_ADMIN_BYPASS", L"1");
  machine.environment.SetProcess(L"VELTRANE_POC_ADMIN_BYPASS", L"1");
  StartService();
  EXPECT_EQ(ConnectAndConfirm(), 1);
  EXPECT_EQ(side.watchdogs.heard, (Texts{"sending", "refused"}));
}

TEST_F(ConnectOnProbation, ARequestThatWasNotSentLeavesNothingToUndo) {
  InstallService();
  EXPECT_EQ(ConnectAndConfirm(), 4);
  EXPECT_EQ(side.watchdogs.heard, Texts{"refused"});
}

TEST_F(ConnectOnProbation, AReplyThatIsLostIsUndoneAtOnce) {
  InstallService(simulated::kRunning);
  ScriptedServer silent("");
  EXPECT_EQ(ConnectAndConfirm(), 8);
  EXPECT_EQ(side.watchdogs.heard, (Texts{"sending", "lost"}));
  EXPECT_EQ(LastError(), "veltranectl: the connection to \"office\" has been undone\n");
}

TEST_F(ConnectOnProbation, AReplyThatCannotBeReadIsUndoneAtOnce) {
  InstallService(simulated::kRunning);
  ScriptedServer other("nonsense");
  EXPECT_EQ(ConnectAndConfirm(), 8);
  EXPECT_EQ(side.watchdogs.heard, (Texts{"sending", "lost"}));
}

TEST_F(ConnectOnProbation, NothingIsSentWithoutAWatchdog) {
  side.watchdogs.first_words = {"another"};
  StartService();
  EXPECT_EQ(ConnectAndConfirm(), 4);
  EXPECT_EQ(LastError().substr(0, 31), "veltranectl: nothing was sent: ");
  EXPECT_FALSE(TunnelRuns());
}

TEST_F(ConnectOnProbation, NothingIsSentWithoutAnInteractiveConsole) {
  side.console_is_interactive = false;
  StartService();
  EXPECT_EQ(ConnectAndConfirm(), 2);
  EXPECT_EQ(side.watchdogs.started, std::vector<Texts>());
  EXPECT_EQ(
      side.Error(),
      "veltranectl: --confirm asks at the console, and this is not an interactive one: run it "
      "at a prompt, without redirection\n");
}

TEST_F(ConnectOnProbation, AWatchdogThatDidNotLeaveTheJobIsAWarning) {
  side.watchdogs.leaves_job = false;
  StartService();
  At(20, [this] { side.Type("keep\r"); });
  EXPECT_EQ(ConnectAndConfirm(), 0);
  EXPECT_EQ(side.Error(),
            "veltranectl: waiting for the service's reply (connecting can take 20 s)\n"
            "veltranectl: warning: the watchdog runs in the same job as this program, as in some "
            "remote shells and schedulers: whatever ends that job leaves the connection up\n");
}

TEST_F(ConnectOnProbation, NothingIsSentWhenTheWatchdogHasEnded) {
  side.watchdogs.answers["sending"] = {};
  StartService();
  EXPECT_EQ(ConnectAndConfirm(), 4);
  EXPECT_EQ(LastError(),
            "veltranectl: nothing was sent, because the watchdog has ended: try again\n");
  EXPECT_FALSE(TunnelRuns());
}

TEST_F(ConnectOnProbation, TheWaitIsPartOfTheTime) {
  StartService();
  At(20, [this] { side.Type("keep\r"); });
  EXPECT_EQ(Run({"connect", kConfPath, "--confirm", "60", "--wait"}), 0);
  EXPECT_NE(side.Output().find("Within 58 s it will be undone, "), std::string::npos);
}

TEST_F(ConnectOnProbation, AWaitThatTakesAllTheTimeIsNoUse) {
  EXPECT_EQ(Run({"connect", kConfPath, "--confirm", "60", "--wait", "60"}), 2);
  EXPECT_EQ(side.Error(),
            "veltranectl: --confirm takes more seconds than --wait, which is part of them\n");
}

TEST_F(ConnectOnProbation, AQuestionCannotBeAskedInJson) {
  EXPECT_EQ(Run({"connect", kConfPath, "--confirm", "60", "--json"}), 2);
  EXPECT_EQ(side.Error(), "veltranectl: --confirm asks at the console and excludes --json\n");
}

TEST_F(ConnectOnProbation, ATunnelThatDoesNotRunIsUndone) {
  StartService();
  machine.OnCall("ServerPipe.Write", 1,
                 [this] { machine.services.SetState(kTunnel, simulated::kStopped); });
  EXPECT_EQ(Run({"connect", kConfPath, "--confirm", "60", "--wait", "5"}), 8);
  EXPECT_EQ(side.watchdogs.heard, (Texts{"sending", "answered", "lost"}));
}

TEST_F(ConnectOnProbation, ATunnelThatDoesNotRunIsAFailureThoughSomebodyHasConfirmed) {
  side.watchdogs.answers["lost"] = {"confirmed"};
  StartService();
  machine.OnCall("ServerPipe.Write", 1,
                 [this] { machine.services.SetState(kTunnel, simulated::kStopped); });
  EXPECT_EQ(Run({"connect", kConfPath, "--confirm", "60", "--wait", "5"}), 13);
}

TEST_F(ConnectOnProbation, AnObjectionArmsNoWatchdog) {
  side.interface_metrics[12] = 25;
  machine.connections.AddEstablished(3389, "10.0.0.7");
  machine.files.AddFile(L"C:\\profiles\\all.json",
                        JsonProfileText("all", "0.0.0.0/1, 128.0.0.0/1"));
  StartService();
  EXPECT_EQ(Run({"connect", "C:\\profiles\\all.json", "--confirm", "60"}), 7);
  EXPECT_EQ(side.watchdogs.started, std::vector<Texts>());
}

TEST_F(ConnectOnProbation, AConnectionThatIsMadeAfterTheWatchdogHasEndedIsUndone) {
  StartService();
  machine.OnCall("ServerPipe.Write", 1, [this] { side.watchdogs.WatchdogEnds(); });
  EXPECT_EQ(ConnectAndConfirm(), 8);
  EXPECT_EQ(LastError(),
            "veltranectl: the watchdog ended before the service answered; the connection to "
            "\"office\" has been undone\n");
  EXPECT_FALSE(TunnelRuns());
}

class ConnectAndWait : public OnWatchedMachine {};

TEST_F(ConnectAndWait, EndsWhenTheTunnelHasRunForThreeAnswers) {
  StartService();
  const double began = Seconds();
  EXPECT_EQ(Run({"connect", kConfPath, "--wait"}), 0);
  EXPECT_EQ(Seconds() - began, 2);
}

TEST_F(ConnectAndWait, TakesTheTimeForThreeAnswersOnceTheTunnelRuns) {
  StartService();
  EXPECT_EQ(Run({"connect", kConfPath, "--wait", "1"}), 0);
}

TEST_F(ConnectAndWait, FailsWhenTheTunnelDoesNotRunInTime) {
  StartService();
  machine.OnCall("ServerPipe.Write", 1,
                 [this] { machine.services.SetState(kTunnel, simulated::kStopped); });
  EXPECT_EQ(Run({"connect", kConfPath, "--wait", "5"}), 13);
  EXPECT_EQ(side.Error(),
            "waiting for the service's reply (connecting can take 20 s)\n"
            "veltranectl: the tunnel service did not run within 5 s: veltranectl status\n");
}

TEST_F(ConnectAndWait, FailsWhenTheTunnelGoesAwayAgain) {
  StartService();
  machine.OnCall("ServerPipe.Write", 3,
                 [this] { machine.services.SetState(kTunnel, simulated::kStopped); });
  EXPECT_EQ(Run({"connect", kConfPath, "--wait=20"}), 13);
  EXPECT_EQ(side.Error(),
            "waiting for the service's reply (connecting can take 20 s)\n"
            "veltranectl: the tunnel service ran and has stopped: veltranectl status\n");
}

TEST_F(ConnectAndWait, FailsWhenTheServiceIsStoppedMeanwhile) {
  StartService();
  machine.OnCall("ServerPipe.Write", 2, [this] {
    side.FailOpen(2);
    machine.services.SetState(L"VeltraneVpnTunnel", simulated::kStopped);
  });
  const double began = Seconds();
  EXPECT_EQ(Run({"connect", kConfPath, "--wait", "7"}), 13);
  EXPECT_LE(Seconds() - began, 8);
  EXPECT_EQ(side.Error(),
            "waiting for the service's reply (connecting can take 20 s)\n"
            "veltranectl: the service did not say that its tunnel service runs within 7 s: "
            "veltranectl status\n");
}

TEST_F(ConnectAndWait, AsksAgainWhenAReplyTakesLongerThanFiveSeconds) {
  StartService();
  // The first pause is the one after the first reply.
  machine.clock.OnSleep([this](std::uint32_t) {
    side.DelayReply(5);
    machine.clock.OnSleep(nullptr);
  });
  EXPECT_EQ(Run({"connect", kConfPath, "--wait", "20"}), 0);
  EXPECT_DOUBLE_EQ(Seconds(), 8);
}

TEST_F(ConnectAndWait, FailsInTimeWhileThePipeIsBusy) {
  StartService();
  machine.OnCall("ServerPipe.Write", 1, [this] { side.FailOpen(231); });
  side.OnWaitForPipe([this](std::uint32_t milliseconds) {
    machine.clock.Advance(milliseconds);
    return 121;
  });
  const double began = Seconds();
  EXPECT_EQ(Run({"connect", kConfPath, "--wait", "7"}), 13);
  EXPECT_LE(Seconds() - began, 10);
}

TEST_F(ConnectAndWait, FailsWhenTheServiceIsNoLongerConnected) {
  StartService();
  machine.OnCall("ServerPipe.Write", 2, [this] { server.SetPhase(kPhaseDisconnected); });
  EXPECT_EQ(Run({"connect", kConfPath, "--wait"}), 13);
  EXPECT_EQ(side.Error(),
            "waiting for the service's reply (connecting can take 20 s)\n"
            "veltranectl: the service is no longer connected: veltranectl status\n");
}

TEST_F(ConnectAndWait, TakesTheProfileAfterItForTheProfile) {
  StartService();
  EXPECT_EQ(Run({"connect", "--wait", kConfPath}), 0);
}

TEST_F(ConnectAndWait, IsNotForARefusedConnect) {
  machine.environment.SetProcess(L"VELTRANE_POC_ADMIN_BYPASS", L"1");
  StartService();
  EXPECT_EQ(Run({"connect", kConfPath, "--wait"}), 1);
}

}  // namespace
}  // namespace veltrane
