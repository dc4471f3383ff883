// The end of a connection: by a disconnect, and by its timer.

#include "tests/windows/clean_machine.h"
#include "tests/windows/control_manager.h"
#include "tests/windows/conversation.h"
#include "tests/windows/pipe_connection.h"
#include "tests/windows/wait.h"

namespace veltrane::windows_tests {
namespace {

using Disconnect = ServedMachine;
using AutoStop = CleanMachine;

TEST_F(Disconnect, AnswersWithBothReportsAndRemovesTheTunnelService) {
  BringTunnelUp();
  EXPECT_EQ(Ask(kDisconnect), Reply(R"({"ok":true,"phase":"disconnected")", kBypassOff));
  EXPECT_TRUE(WaitUntilGone(kTunnelServiceName));
}

TEST_F(Disconnect, LeavesAFileOf4096Zeros) {
  BringTunnelUp();
  Ask(kDisconnect);
  EXPECT_EQ(ReadFileBytes(ActiveConf()), kScrubbed);
}

TEST_F(Disconnect, OfNothingAnswersTheSameWayAndMakesNoFile) {
  EXPECT_EQ(Ask(kDisconnect),
            Reply(R"({"ok":true,"phase":"disconnected")",
                  With(kFreshBypass, {R"("message":"admin bypass host routes removed")"})));
  EXPECT_FALSE(std::filesystem::exists(TunnelsFolder()));
}

TEST_F(AutoStop, TakesTheConnectionDownWhenItsTimeIsUp) {
  const ConsoleServer server(Variables{{L"VELTRANE_POC_AUTO_STOP_SECONDS", L"2"}});
  const std::string before = server.Error();
  EXPECT_NE(BringTunnelUp().find(R"("auto_stop_scheduled":true,"auto_stop_seconds":2,)"),
            std::string::npos);
  EXPECT_TRUE(
      WaitUntil([] { return Ask(kStatus).find(R"({"ok":true,"phase":"disconnected",)") == 0; }));
  EXPECT_TRUE(WaitUntilGone(kTunnelServiceName));
  EXPECT_EQ(ReadFileBytes(ActiveConf()), kScrubbed);
  EXPECT_EQ(server.Error(), before + kTeardownLine);
}

}  // namespace
}  // namespace veltrane::windows_tests
