// Connect, with neither the bypass nor the guard in force.

#include "tests/windows/clean_machine.h"
#include "tests/windows/control_manager.h"
#include "tests/windows/conversation.h"
#include "tests/windows/network.h"
#include "tests/windows/pipe_connection.h"

namespace veltrane::windows_tests {
namespace {

using Connect = ServedMachine;
using ConnectWithoutTunnelLibrary = CleanMachine;

TEST_F(Connect, AnswersWithThePhaseTheNodeAndBothReports) {
  const std::string routes = DefaultRoutes();
  EXPECT_EQ(Ask(kConnect), R"({"ok":true,"phase":"connected","node_id":"fra-1",)" + kBypassOff +
                               "," + kGuardOff + R"(,"default_routes_before_tunnel":")" + routes +
                               R"(","default_routes_after_tunnel":")" + routes +
                               R"(","rdp_routes_before_tunnel":"none",)"
                               R"("rdp_routes_after_tunnel":"none",)"
                               R"("message":"disable-default-route not active"}})");
}

TEST_F(Connect, WritesTheConfigurationFileAndLeavesNoTemporaryOne) {
  BringTunnelUp();
  EXPECT_EQ(ReadFileBytes(L"C:\\ProgramData\\Veltrane\\tunnels\\active.conf"), kConf);
  EXPECT_FALSE(std::filesystem::exists(TemporaryConf()));
}

TEST_F(Connect, StartsTheTunnelServiceInAProcessOfItsOwn) {
  BringTunnelUp();
  EXPECT_NE(ServiceStatus(kTunnelServiceName).dwProcessId, 0u);
  EXPECT_NE(ServiceStatus(kTunnelServiceName).dwProcessId, server_.Id());
}

TEST_F(Connect, IsSeenByTheNextStatus) {
  BringTunnelUp();
  EXPECT_EQ(Ask(kStatus),
            Reply(R"({"ok":true,"phase":"connected","node_id":"fra-1","tunnel_running":true)",
                  kBypassOff));
}

TEST_F(Connect, ReplacesTheTunnelServiceOfAnEarlierRunByItsOwn) {
  ASSERT_NE(CreateServiceNamed(kTunnelServiceName, L"C:\\windows\\notepad.exe"), nullptr);
  BringTunnelUp();
  ExpectRegistration(L"VeltraneVpnTunnel$Active",
                     L"\"" + ServiceExecutable() +
                         L"\" /service \"C:\\ProgramData\\Veltrane\\tunnels\\active.conf\"");
}

TEST_F(Connect, OverARunningTunnelReplacesItsProcessAndItsFile) {
  BringTunnelUp();
  const DWORD first = ServiceStatus(kTunnelServiceName).dwProcessId;
  BringTunnelUp(R"({"op":"connect","node_id":"ams-2","address_cidr":"10.8.0.4/32",)"
                R"("endpoint_host":"198.51.100.30","server_public_key":"OTHERKEY=",)"
                R"("client_private_key":"CLIENTKEY2=","allowed_ips_csv":"10.8.0.0/24"})");
  EXPECT_NE(ServiceStatus(kTunnelServiceName).dwProcessId, first);
  EXPECT_EQ(ReadFileBytes(ActiveConf()),
            "[Interface]\n"
            "PrivateKey = CLIENTKEY2=\n"
            "Address = 10.8.0.4/32\n"
            "\n"
            "[Peer]\n"
            "PublicKey = OTHERKEY=\n"
            "AllowedIPs = 10.8.0.0/24\n"
            "Endpoint = 198.51.100.30:51820\n"
            "PersistentKeepalive = 25\n");
}

// The tunnel service ends before it meets the control manager, and the start fails with it. The
// scrub keeps the file open, so that it cannot be deleted, and the reply names the later failure.
TEST_F(ConnectWithoutTunnelLibrary, FailsAndLeavesTheTunnelServiceStopped) {
  const ProgramCopy program;
  const ConsoleServer server({}, program.Executable());
  EXPECT_EQ(Ask(kConnect),
            R"({"ok":false,"error":"tunnel_start_failed","message":"delete active.conf failed"})");
  EXPECT_EQ(ServiceStatus(kTunnelServiceName).dwCurrentState, DWORD{SERVICE_STOPPED});
}

}  // namespace
}  // namespace veltrane::windows_tests
