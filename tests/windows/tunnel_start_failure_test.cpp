// Connects whose tunnel service does not start.

#include <gmock/gmock.h>

#include "tests/windows/clean_machine.h"
#include "tests/windows/control_manager.h"
#include "tests/windows/conversation.h"
#include "tests/windows/pipe_connection.h"

namespace veltrane::windows_tests {
namespace {

// A server whose folder holds no tunnel library: its tunnel service ends before it meets the
// control manager.
class WithoutTunnelLibrary : public CleanMachine {
 protected:
  ProgramCopy program_;
  ConsoleServer server_{Variables{}, program_.Executable()};
};

TEST_F(WithoutTunnelLibrary, AConnectSaysThatTheFileCouldNotBeDeleted) {
  EXPECT_EQ(Ask(kConnect),
            R"({"ok":false,"error":"tunnel_start_failed","message":"delete active.conf failed"})");
}

TEST_F(WithoutTunnelLibrary, AConnectLeavesAFileOf4096Zeros) {
  Ask(kConnect);
  EXPECT_EQ(ReadFileBytes(ActiveConf()), kScrubbed);
}

TEST_F(WithoutTunnelLibrary, AConnectLeavesTheTunnelServiceRegisteredAndStopped) {
  Ask(kConnect);
  EXPECT_TRUE(ServiceExists(kTunnelService));
  EXPECT_EQ(ServiceStatus(kTunnelService).dwCurrentState, DWORD{SERVICE_STOPPED});
}

TEST_F(WithoutTunnelLibrary, AConnectLeavesThePhaseDisconnected) {
  Ask(kConnect);
  EXPECT_EQ(Ask(kStatus), R"({"ok":true,"phase":"disconnected","tunnel_running":false,)" +
                              kBypassOff + "," + kFreshGuard + "}");
}

TEST_F(WithoutTunnelLibrary, AConnectLogsTheRemovalOfTheBypassRoutes) {
  const std::string before = server_.Error();
  Ask(kConnect);
  EXPECT_EQ(server_.Error(), before + "[Veltrane][admin_bypass] enabled=0 applied=0 failure=\n");
}

TEST_F(WithoutTunnelLibrary, ADisconnectRemovesTheTunnelService) {
  Ask(kConnect);
  Ask(kDisconnect);
  EXPECT_TRUE(WaitUntilGone(kTunnelService));
}

class TunnelStart : public CleanMachine {};

TEST_F(TunnelStart, ThatFailsIsReportedAsSuchWhenTheFileIsGone) {
  const ProgramCopy program(L"deleting_conf");
  ConsoleServer server(Variables{}, program.Executable());
  EXPECT_EQ(Ask(kConnect),
            R"({"ok":false,"error":"tunnel_start_failed","message":"StartService tunnel failed"})");
}

TEST_F(TunnelStart, ReplacesAStoppedServiceOfAnEarlierRunWithItsOwnSettings) {
  ASSERT_NE(CreateServiceNamed(kTunnelService, L"C:\\windows\\notepad.exe"), nullptr);
  ConsoleServer server;
  Ask(kConnect);
  EXPECT_EQ(ReadServiceConfig(kTunnelService).command_line,
            L"\"" + ServiceExecutable() +
                L"\" /service \"C:\\ProgramData\\Veltrane\\tunnels\\active.conf\"");
  EXPECT_THAT(RegisteredDependencies(kTunnelService), testing::ElementsAre(L"Nsi", L"TcpIp"));
}

}  // namespace
}  // namespace veltrane::windows_tests
