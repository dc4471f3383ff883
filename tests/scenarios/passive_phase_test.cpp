// When the passive phase ends: at a connect whose profile is complete, and at nothing else that a
// client can ask for.

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "service/startup_guard.h"
#include "tests/scenarios/scenario.h"

namespace veltrane {
namespace {

class PassivePhase : public Scenario {
 protected:
  static bool Lasts() { return !ReadStartupState().connect_requested; }
};

using PassivePhaseDeathTest = PassivePhase;

const std::wstring kForbidden =
    L"[Veltrane][startup_guard] forbidden during passive startup: TunnelManager::Stop\n";

TEST_F(PassivePhase, LastsThroughStatusAndRegistration) {
  Handle(kStatus);
  Handle(R"({"op":"register_session","session_nonce":"abc"})");
  Handle(R"({"op":"nonsense"})");
  EXPECT_TRUE(Lasts());
  EXPECT_EQ(machine.console.Error(), L"");
}

TEST_F(PassivePhase, LastsThroughAConnectThatIsRefusedForItsSession) {
  Handle(R"({"op":"register_session","session_nonce":"abc"})");
  Handle(kConnect);
  EXPECT_TRUE(Lasts());
}

TEST_F(PassivePhase, LastsThroughAConnectThatMentionsAConfigurationPath) {
  Handle(R"({"op":"connect","node_id":"n","client_private_key":"k","config_path":"x"})");
  EXPECT_TRUE(Lasts());
}

TEST_F(PassivePhase, LastsThroughAConnectWithAnIncompleteProfile) {
  Handle(R"({"op":"connect","node_id":"n"})");
  EXPECT_TRUE(Lasts());
}

TEST_F(PassivePhase, LastsThroughAConnectWhosePortIsNoNumber) {
  EXPECT_ANY_THROW(Handle(R"({"op":"connect","node_id":"n","client_private_key":"k",)"
                          R"("endpoint_port":"abc"})"));
  EXPECT_TRUE(Lasts());
}

TEST_F(PassivePhase, EndsAtAConnectWithACompleteProfileEvenIfItIsRefused) {
  SetGuard();
  machine.environment.SetProcess(L"VELTRANE_POC_DISABLE_DEFAULT_ROUTE", L"0");
  machine.sessions.SetRemoteSession(true);
  Handle(kConnect);
  EXPECT_FALSE(Lasts());
}

TEST_F(PassivePhase, HasEndedBeforeTheFirstSettingIsRead) {
  bool lasts = true;
  machine.OnCall("IsRemoteSession", 1, [&] { lasts = Lasts(); });
  Handle(kConnect);
  EXPECT_FALSE(lasts);
}

TEST_F(PassivePhase, AConnectLogsNothingForbiddenAndCountsNothing) {
  SetAdministrator();
  Handle(kConnect);
  EXPECT_EQ(machine.console.Error(), kLogApplied + kLogApplied);
  const StartupState state = ReadStartupState();
  EXPECT_EQ(state.route_mutation_count, 0);
  EXPECT_FALSE(state.tunnel_started);
  EXPECT_FALSE(state.config_written);
}

TEST_F(PassivePhase, ADisconnectAsTheFirstRequestLogsAndDoesNotEndIt) {
  Handle(kDisconnect);
  EXPECT_EQ(machine.console.Error(), kForbidden + kLogOff);
  EXPECT_TRUE(Lasts());
  Handle(kDisconnect);
  EXPECT_EQ(machine.console.Error(), kForbidden + kLogOff + kForbidden + kLogOff);
}

TEST_F(PassivePhase, ADisconnectAfterAConnectLogsNothingForbidden) {
  Handle(kConnect);
  Handle(kDisconnect);
  EXPECT_EQ(machine.console.Error(), kLogOff);
}

TEST_F(PassivePhase, ADisconnectTakesAwayWhatAnEarlierProcessLeft) {
  machine.services.Add(kTunnelService, simulated::kRunning);
  machine.files.AddFile(kActiveConf, kConf);
  machine.routes.Add("203.0.113.5/32", "192.168.1.1", 12, 1);
  Handle(kDisconnect);
  EXPECT_EQ(machine.services.Names(), std::vector<std::wstring>{});
  EXPECT_EQ(machine.files.Bytes(kActiveConf), kScrubbed);
  EXPECT_TRUE(machine.routes.Has(kPinnedRoute));  // nobody remembers who created it
  EXPECT_EQ(machine.console.Error(), kForbidden + kLogOff);
}

TEST_F(PassivePhaseDeathTest, ADisconnectAsTheFirstRequestAbortsOnAMachineThatForbidsChanges) {
  machine.environment.SetMachine(L"VELTRANE_POC_DISABLE_ALL_NETWORK_MUTATION_ON_STARTUP", L"1");
  machine.console.EchoErrors();
  EXPECT_EXIT(Handle(kDisconnect), testing::KilledBySignal(SIGABRT),
              "^\\[Veltrane\\]\\[startup_guard\\] forbidden during passive startup: "
              "TunnelManager::Stop\n"
              "\\[Veltrane\\]\\[startup_guard\\] abort "
              "VELTRANE_POC_DISABLE_ALL_NETWORK_MUTATION_ON_STARTUP=1\n$");
}

TEST_F(PassivePhase, OnAMachineThatForbidsChangesAConnectWorksAndSoDoesADisconnectAfterIt) {
  machine.environment.SetMachine(L"VELTRANE_POC_DISABLE_ALL_NETWORK_MUTATION_ON_STARTUP", L"1");
  Handle(kConnect);
  EXPECT_EQ(Phase(), "connected");
  Handle(kDisconnect);
  EXPECT_EQ(Phase(), "disconnected");
}

}  // namespace
}  // namespace veltrane
