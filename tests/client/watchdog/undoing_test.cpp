#include "client/watchdog/undoing.h"

#include "tests/client/scripted_server.h"
#include "tests/client/watchdog/on_watched_machine.h"

namespace veltrane {
namespace {

constexpr char kUndone[] = "the connection to \"office\" has been undone";
constexpr char kNotUndone[] =
    "the connection to \"office\" could not be undone within 5 minutes, because ";
constexpr char kAdvice[] = ": .\\veltranectl disconnect";

constexpr char kPinsStay[] =
    "; the service did not know that tunnel (it had been restarted, or had refused a connect over "
    "it), so host routes that were pinned for it may stay until Windows restarts: route print -4";

class Undoings : public OnWatchedMachine {
 protected:
  // Undoes the connection to office. Time passes in the meanwhile.
  Undoing UndoOffice(bool any_server = false) {
    return Undo({"office", any_server}, [this](std::uint32_t milliseconds) {
      ++calls;
      machine.clock.PassUntil([] { return false; }, milliseconds);
    });
  }

  void Expect(const Undoing& undoing, bool undone, const std::string& text) {
    EXPECT_EQ(undoing.undone, undone);
    EXPECT_EQ(undoing.text, text);
  }

  int calls = 0;
};

TEST_F(Undoings, DisconnectsAndChecksThatTheTunnelIsDown) {
  StartService();
  ConnectTo("office");
  Expect(UndoOffice(), true, kUndone);
  EXPECT_FALSE(TunnelRuns());
}

TEST_F(Undoings, WaitUntilTheTunnelIsDown) {
  StartService();
  ConnectTo("office");
  machine.services.NeverStop();
  At(20, [this] { machine.services.SetState(kTunnel, simulated::kStopped); });
  Expect(UndoOffice(), true, kUndone);
}

TEST_F(Undoings, DisconnectAgainAndAgainWhileTheTunnelRunsOn) {
  StartService();
  ConnectTo("office");
  machine.services.NeverStop();
  Expect(UndoOffice(), false,
         std::string(kNotUndone) + "the tunnel has not stopped after a disconnect" + kAdvice);
  EXPECT_GE(machine.calls.Count("Service.SendStop"), 5U);
}

TEST_F(Undoings, UndoATunnelThatHasOnlyBegunToStart) {
  machine.services.Add(kTunnel, simulated::kStartPending);
  StartService();
  At(60, [this] { machine.services.SetState(kTunnel, simulated::kRunning); });
  const Undoing undoing = UndoOffice();
  EXPECT_TRUE(undoing.undone);
  EXPECT_FALSE(machine.services.Find(kTunnel).has_value());
}

TEST_F(Undoings, DisconnectAtOnceWhenATunnelComesUpLate) {
  machine.services.Add(kTunnel, simulated::kStartPending);
  StartService();
  At(20, [this] { machine.services.SetState(kTunnel, simulated::kRunning); });
  Expect(UndoOffice(), true, std::string(kUndone) + kPinsStay);
  EXPECT_FALSE(machine.services.Find(kTunnel).has_value());
  EXPECT_LT(Seconds(), 25);
}

TEST_F(Undoings, BelieveTheServiceAfterADisconnectWhenWindowsDoesNotSayHowTheTunnelIs) {
  StartService();
  ConnectTo("office");
  side.service_facts_error = 5;
  Expect(UndoOffice(true), true, kUndone);
  EXPECT_FALSE(TunnelRuns());
  EXPECT_DOUBLE_EQ(Seconds(), 30);
}

TEST_F(Undoings, TryAgainWhileTheServiceIsStopped) {
  StartService();
  ConnectTo("office");
  StopService();
  At(100, [this] { StartServiceAgain(); });
  Expect(UndoOffice(), true, std::string(kUndone) + kPinsStay);
  EXPECT_FALSE(TunnelRuns());
  EXPECT_DOUBLE_EQ(Seconds(), 100);
}

TEST_F(Undoings, TryAgainEveryTwoSecondsForFiveMinutes) {
  StartService();
  ConnectTo("office");
  StopService();
  Expect(UndoOffice(), false,
         std::string(kNotUndone) +
             "the service is not running: sc.exe start VeltraneVpnTunnel, then .\\veltranectl "
             "disconnect");
  EXPECT_DOUBLE_EQ(Seconds(), 300);
  EXPECT_EQ(calls, 150);
}

TEST_F(Undoings, TryAgainWhileThePipeIsBusy) {
  StartService();
  ConnectTo("office");
  side.FailOpen(231);
  side.OnWaitForPipe([this](std::uint32_t milliseconds) {
    machine.clock.Advance(milliseconds);
    if (Seconds() > 200) side.FailOpen(0);
    return Seconds() > 200 ? 0 : 121;
  });
  Expect(UndoOffice(), true, kUndone);
  EXPECT_FALSE(TunnelRuns());
}

TEST_F(Undoings, SayThatThePipeStayedBusy) {
  StartService();
  ConnectTo("office");
  side.FailOpen(231);
  side.OnWaitForPipe([this](std::uint32_t milliseconds) {
    machine.clock.Advance(milliseconds);
    return 121;
  });
  Expect(
      UndoOffice(), false,
      std::string(kNotUndone) + "the service has been busy with another client for 2 s" + kAdvice);
  EXPECT_GE(Seconds(), 300);
  EXPECT_LT(Seconds(), 310);
  EXPECT_TRUE(TunnelRuns());
}

TEST_F(Undoings, SendNothingToAnotherProgram) {
  InstallService();
  ScriptedServer impostor(R"({"ok":true,"phase":"connected","node_id":"office"})");
  side.OnWaitForPipe([this](std::uint32_t milliseconds) {
    machine.clock.Advance(milliseconds);
    return 121;
  });
  EXPECT_FALSE(UndoOffice().undone);
  EXPECT_EQ(impostor.Request(), "");
}

TEST_F(Undoings, TrustAnyServerWhenTold) {
  ServePipe();
  ConnectTo("office");
  Expect(UndoOffice(true), true, kUndone);
}

TEST_F(Undoings, LeaveAloneWhatSomebodyElseHasConnectedTo) {
  StartService();
  ConnectTo("fra-1");
  Expect(UndoOffice(), true,
         "that connection has gone; somebody has connected to \"fra-1\" since, which was left "
         "alone");
  EXPECT_TRUE(TunnelRuns());
}

TEST_F(Undoings, LeaveAloneWhatSomebodyElseConnectsToAfterTheDisconnect) {
  StartService();
  ConnectTo("office");
  machine.services.NeverStop();
  // The service itself waits 15 s for the tunnel to stop.
  At(15.5, [this] { server.SetPhase(kPhaseConnected, "fra-1"); });
  Expect(
      UndoOffice(), true,
      std::string(kUndone) + "; somebody has connected to \"fra-1\" since, which was left alone");
}

TEST_F(Undoings, UndoAlsoAConnectionToTheSameNodeThatIsMadeAfterTheDisconnect) {
  StartService();
  ConnectTo("office");
  machine.services.NeverStop();
  At(15.5, [this] { server.SetPhase(kPhaseConnected, "office"); });
  At(20, [this] { machine.services.SetState(kTunnel, simulated::kStopped); });
  Expect(UndoOffice(), true, kUndone);
  EXPECT_FALSE(TunnelRuns());
}

TEST_F(Undoings, DisconnectWhenWindowsDoesNotSayWhetherThereIsATunnel) {
  StartService();
  side.service_facts_error = 5;
  Expect(UndoOffice(true), true, kUndone);
}

TEST_F(Undoings, DisconnectWhenNoReplyCanBeRead) {
  StartService();
  ConnectTo(R"(a\"b)");
  Expect(UndoOffice(), true, kUndone);
  EXPECT_FALSE(TunnelRuns());
}

}  // namespace
}  // namespace veltrane
