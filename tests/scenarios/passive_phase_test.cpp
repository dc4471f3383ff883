// When the passive phase ends: at a connect whose profile is complete, and at nothing else that a
// client can ask for.

#include <csignal>
#include <string>

#include <gtest/gtest.h>

#include "service/startup_guard.h"
#include "tests/scenarios/scenario.h"

namespace veltrane {
namespace {

class PassivePhase : public Scenario {
 protected:
  static bool Lasts() { return !ReadStartupState().connect_requested; }
};

const std::string kForbidden =
    "PrintErrorLine [Veltrane][startup_guard] forbidden during passive startup: ";
const Texts kForbiddenStop = {kForbidden + "TunnelManager::Stop"};

TEST_F(PassivePhase, LastsThroughEverythingButAConnectWithACompleteProfile) {
  for (const char* request :
       {R"({"op":"status"})", R"({"op":"nonsense"})", R"({"op":"connect","node_id":"n"})",
        R"({"op":"connect","node_id":"n","client_private_key":"k","config_path":"x"})",
        R"({"op":"register_session","session_nonce":"abc"})",
        R"({"op":"connect","node_id":"n","client_private_key":"k"})"}) {  // another session
    Handle(request);
    EXPECT_TRUE(Lasts()) << request;
  }
  EXPECT_EQ(Story(), Texts{});
}

TEST_F(PassivePhase, LastsThroughAConnectWhosePortIsNoNumber) {
  EXPECT_ANY_THROW(Handle(R"({"op":"connect","node_id":"n","client_private_key":"k",)"
                          R"("endpoint_port":"abc"})"));
  EXPECT_TRUE(Lasts());
}

TEST_F(PassivePhase, EndsAtAConnectWithACompleteProfileBeforeTheFirstSettingIsRead) {
  bool lasts = true;
  machine.OnCall("IsRemoteSession", 1, [&] { lasts = Lasts(); });
  Handle(kConnect);
  EXPECT_FALSE(lasts);
}

TEST_F(PassivePhase, AConnectAndADisconnectAfterItLogNothingForbiddenAndCountNothing) {
  SetAdministrator();
  Handle(kConnect);
  Handle(kDisconnect);
  EXPECT_EQ(machine.calls.Of("PrintErrorLine"), Texts{});
  const StartupState state = ReadStartupState();
  EXPECT_EQ(state.route_mutation_count, 0);
  EXPECT_FALSE(state.tunnel_started);
  EXPECT_FALSE(state.config_written);
}

TEST_F(PassivePhase, ADisconnectInItTakesAwayWhatIsThere) {
  SetAdministrator();
  Handle(kConnect);
  ResetStartupState();
  StartStory();
  Handle(kDisconnect);
  EXPECT_EQ(Story(), Steps({kForbiddenStop,
                            kStopsTunnel,
                            {kForbidden + "DeleteIpForwardEntry"},
                            kUnpins,
                            kScrubsConf}));
  EXPECT_EQ(State(), "disconnected; active.conf of zeros");
  EXPECT_TRUE(Lasts());
  EXPECT_EQ(ReadStartupState().route_mutation_count, 1);
}

TEST_F(PassivePhase, ADisconnectTakesAwayWhatAnEarlierProcessLeft) {
  machine.services.Add(kTunnelService, simulated::kRunning);
  machine.files.AddFile(kActiveConf, kConf);
  machine.routes.Add("203.0.113.5/32", "192.168.1.1", 12, 1);
  Handle(kDisconnect);
  // Nobody remembers who created the route.
  EXPECT_EQ(State(), "disconnected; " + kPinnedRoute + "; active.conf of zeros");
  EXPECT_EQ(Story(), Steps({kForbiddenStop, kStopsTunnel, kLogsOff, kScrubsConf}));
  StartStory();
  Handle(kDisconnect);
  EXPECT_EQ(Story(), Steps({kForbiddenStop, kLogsOff, kScrubsConf}));
}

using PassivePhaseDeathTest = PassivePhase;

TEST_F(PassivePhaseDeathTest, ADisconnectAsTheFirstRequestAbortsOnAMachineThatForbidsChanges) {
  machine.environment.SetMachine(L"VELTRANE_POC_DISABLE_ALL_NETWORK_MUTATION_ON_STARTUP", L"1");
  machine.console.EchoErrors();
  EXPECT_EXIT(Handle(kDisconnect), testing::KilledBySignal(SIGABRT),
              "^\\[Veltrane\\]\\[startup_guard\\] forbidden during passive startup: "
              "TunnelManager::Stop\n"
              "\\[Veltrane\\]\\[startup_guard\\] abort "
              "VELTRANE_POC_DISABLE_ALL_NETWORK_MUTATION_ON_STARTUP=1\n$");
}

}  // namespace
}  // namespace veltrane
