// Requests that would change the network before a user has asked for a connection.

#include "tests/windows/clean_machine.h"
#include "tests/windows/control_manager.h"
#include "tests/windows/conversation.h"
#include "tests/windows/pipe_connection.h"

namespace veltrane::windows_tests {
namespace {

class PassivePhase : public CleanMachine {};

const Variables kArmed = {{L"VELTRANE_POC_DISABLE_ALL_NETWORK_MUTATION_ON_STARTUP", L"on"}};

TEST_F(PassivePhase, ADisconnectIsLoggedAndCarriedOut) {
  ASSERT_NE(CreateServiceNamed(kTunnelService, L"C:\\windows\\notepad.exe"), nullptr);
  ConsoleServer server;
  const std::string before = server.Error();
  Ask(kDisconnect);
  EXPECT_EQ(server.Error(),
            before +
                "[Veltrane][startup_guard] forbidden during passive startup: TunnelManager::Stop\n"
                "[Veltrane][admin_bypass] enabled=0 applied=0 failure=\n");
  EXPECT_TRUE(WaitUntilGone(kTunnelService));
}

TEST_F(PassivePhase, ADisconnectEndsTheProcessWhenTheGuardIsArmed) {
  ConsoleServer server(kArmed);
  const std::string before = server.Error();
  EXPECT_EQ(Ask(kDisconnect), "(no reply)");
  const Outcome outcome = server.Wait();
  EXPECT_EQ(outcome.exit_code, 3u);
  EXPECT_EQ(outcome.error,
            before +
                "[Veltrane][startup_guard] forbidden during passive startup: TunnelManager::Stop\n"
                "[Veltrane][startup_guard] abort "
                "VELTRANE_POC_DISABLE_ALL_NETWORK_MUTATION_ON_STARTUP=1\n");
}

TEST_F(PassivePhase, AnArmedGuardEndsTheProcessBeforeTheChange) {
  ASSERT_NE(CreateServiceNamed(kTunnelService, L"C:\\windows\\notepad.exe"), nullptr);
  ConsoleServer server(kArmed);
  Ask(kDisconnect);
  server.Wait();
  EXPECT_TRUE(ServiceExists(kTunnelService));
}

TEST_F(PassivePhase, AnArmedGuardAllowsAConnect) {
  ConsoleServer server(kArmed);
  const std::string before = server.Error();
  EXPECT_EQ(Ask(kConnect).find(R"({"ok":true,"phase":"connected","node_id":"fra-1",)"), 0u);
  EXPECT_EQ(server.Error(), before);
}

TEST_F(PassivePhase, AnArmedGuardAllowsADisconnectAfterAConnect) {
  ConsoleServer server(kArmed);
  BringTunnelUp();
  EXPECT_EQ(Ask(kDisconnect),
            R"({"ok":true,"phase":"disconnected",)" + kBypassOff + "," + kFreshGuard + "}");
}

TEST_F(PassivePhase, OutlastsAConnectThatIsRefusedForItsProfile) {
  ConsoleServer server(kArmed);
  Ask(R"({"op":"connect"})");
  EXPECT_EQ(Ask(kDisconnect), "(no reply)");
  EXPECT_EQ(server.Wait().exit_code, 3u);
}

}  // namespace
}  // namespace veltrane::windows_tests
