// Ends of the server's process that nobody asked for, and what they leave.

#include "tests/windows/clean_machine.h"
#include "tests/windows/control_manager.h"
#include "tests/windows/conversation.h"
#include "tests/windows/pipe_connection.h"

namespace veltrane::windows_tests {
namespace {

using ServerProcess = CleanMachine;

TEST_F(ServerProcess, EndsWithExitCode3AndNoReplyForAPortThatIsNotANumber) {
  ConsoleServer server;
  const std::string before = server.Error();
  EXPECT_EQ(Ask(Fill(kConnect, R"("443")", R"("abc")")), "(no reply)");
  const Outcome outcome = server.Wait();
  EXPECT_EQ(outcome.exit_code, 3u);
  EXPECT_EQ(outcome.error,
            before +
                "terminate called after throwing an instance of 'std::invalid_argument'\n"
                "  what():  invalid stoi argument\n");
}

TEST_F(ServerProcess, EndsWithExitCode3AndNoReplyWhenTheArmedStartupGuardForbidsADisconnect) {
  ConsoleServer server(Variables{{L"VELTRANE_POC_DISABLE_ALL_NETWORK_MUTATION_ON_STARTUP", L"on"}});
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

TEST_F(ServerProcess, ThatIsKilledLeavesATunnelForTheNextOneToReportAndToRemove) {
  ConsoleServer killed;
  BringTunnelUp();
  killed.Kill();
  const ConsoleServer next;
  EXPECT_NE(next.Output().find(R"("leftover_tunnel_service_running":true,)"), std::string::npos);
  const std::string before = next.Error();
  Ask(kDisconnect);
  EXPECT_EQ(
      next.Error(),
      before + "[Veltrane][startup_guard] forbidden during passive startup: TunnelManager::Stop\n" +
          kTeardownLine);
  EXPECT_TRUE(WaitUntilGone(kTunnelServiceName));
  EXPECT_EQ(ReadFileBytes(ActiveConf()), kScrubbed);
}

}  // namespace
}  // namespace veltrane::windows_tests
