// Connect, with neither the bypass nor the guard in force.

#include <gmock/gmock.h>

#include "tests/windows/clean_machine.h"
#include "tests/windows/control_manager.h"
#include "tests/windows/conversation.h"
#include "tests/windows/network.h"
#include "tests/windows/pipe_connection.h"

namespace veltrane::windows_tests {
namespace {

using testing::ElementsAre;

const std::string kConnectElsewhere =
    R"({"op":"connect","node_id":"ams-2","address_cidr":"10.8.0.4/32",)"
    R"("endpoint_host":"198.51.100.30","server_public_key":"OTHERKEY=",)"
    R"("client_private_key":"CLIENTKEY2=","allowed_ips_csv":"10.8.0.0/24"})";
constexpr char kConfElsewhere[] =
    "[Interface]\n"
    "PrivateKey = CLIENTKEY2=\n"
    "Address = 10.8.0.4/32\n"
    "\n"
    "[Peer]\n"
    "PublicKey = OTHERKEY=\n"
    "AllowedIPs = 10.8.0.0/24\n"
    "Endpoint = 198.51.100.30:51820\n"
    "PersistentKeepalive = 25\n";
constexpr char kInvalidProfile[] =
    R"({"ok":false,"error":"invalid_profile","message":"missing required fields"})";

class Connect : public CleanMachine {
 protected:
  ConsoleServer server_;
};

TEST_F(Connect, AnswersWithThePhaseTheNodeAndBothReports) {
  EXPECT_EQ(Ask(kConnect), Fill(R"({"ok":true,"phase":"connected","node_id":"fra-1",)" +
                                    kBypassOff + "," + kGuardOff + "}",
                                "{routes}", DefaultRoutes()));
}

TEST_F(Connect, WritesTheConfigurationFile) {
  BringTunnelUp();
  EXPECT_EQ(ReadFileBytes(L"C:\\ProgramData\\Veltrane\\tunnels\\active.conf"), kConf);
}

TEST_F(Connect, LeavesNoTemporaryFile) {
  BringTunnelUp();
  EXPECT_FALSE(std::filesystem::exists(TunnelsFolder() / L"active.conf.tmp"));
}

TEST_F(Connect, RegistersTheTunnelServiceAsAnOwnProcessStartedOnDemand) {
  BringTunnelUp();
  const ServiceConfig config = ReadServiceConfig(L"VeltraneVpnTunnel$Active");
  EXPECT_EQ(config.type, 16u);          // SERVICE_WIN32_OWN_PROCESS
  EXPECT_EQ(config.start_type, 3u);     // SERVICE_DEMAND_START
  EXPECT_EQ(config.error_control, 1u);  // SERVICE_ERROR_NORMAL
  EXPECT_EQ(config.display_name, L"VeltraneVpnTunnel$Active");
  EXPECT_EQ(config.account, L"LocalSystem");
  EXPECT_EQ(config.load_order_group, L"");
  EXPECT_EQ(config.tag, 0u);
}

TEST_F(Connect, RegistersTheQuotedExecutableAndTheQuotedFile) {
  BringTunnelUp();
  EXPECT_EQ(ReadServiceConfig(kTunnelService).command_line,
            L"\"" + ServiceExecutable() +
                L"\" /service \"C:\\ProgramData\\Veltrane\\tunnels\\active.conf\"");
}

TEST_F(Connect, RegistersTheDependenciesOfTheTunnelServiceInOrder) {
  BringTunnelUp();
  EXPECT_THAT(RegisteredDependencies(kTunnelService), ElementsAre(L"Nsi", L"TcpIp"));
}

TEST_F(Connect, StartsTheTunnelServiceInAProcessOfItsOwn) {
  BringTunnelUp();
  EXPECT_NE(ServiceStatus(kTunnelService).dwProcessId, 0u);
  EXPECT_NE(ServiceStatus(kTunnelService).dwProcessId, server_.Id());
}

TEST_F(Connect, IsSeenByTheNextStatus) {
  BringTunnelUp();
  EXPECT_EQ(Ask(kStatus),
            R"({"ok":true,"phase":"connected","node_id":"fra-1","tunnel_running":true,)" +
                kBypassOff + "," + kFreshGuard + "}");
}

TEST_F(Connect, LogsNothing) {
  const std::string before = server_.Error();
  BringTunnelUp();
  EXPECT_EQ(server_.Error(), before);
}

TEST_F(Connect, OverARunningTunnelReplacesItsFile) {
  BringTunnelUp();
  BringTunnelUp(kConnectElsewhere);
  EXPECT_EQ(ReadFileBytes(ActiveConf()), kConfElsewhere);
}

TEST_F(Connect, OverARunningTunnelReplacesItsProcess) {
  BringTunnelUp();
  const DWORD first = ServiceStatus(kTunnelService).dwProcessId;
  BringTunnelUp(kConnectElsewhere);
  EXPECT_NE(ServiceStatus(kTunnelService).dwProcessId, first);
}

TEST_F(Connect, OverARunningTunnelMovesToTheOtherNode) {
  BringTunnelUp();
  BringTunnelUp(kConnectElsewhere);
  EXPECT_EQ(Ask(kStatus),
            R"({"ok":true,"phase":"connected","node_id":"ams-2","tunnel_running":true,)" +
                kBypassOff + "," + kFreshGuard + "}");
}

TEST_F(Connect, WhileConnectedARegistrationStillAnswersDisconnected) {
  BringTunnelUp();
  EXPECT_EQ(Ask(R"({"op":"register_session","session_nonce":"abc"})"),
            R"({"ok":true,"phase":"disconnected"})");
  EXPECT_EQ(Ask(kStatus).find(R"({"ok":true,"phase":"connected","node_id":"fra-1",)"), 0u);
}

TEST_F(Connect, NeedsANodeAndAPrivateKeyAlone) {
  const std::string reply = Ask(R"({"op":"connect","node_id":"n","client_private_key":"k"})");
  EXPECT_EQ(reply.find(R"({"ok":true,"phase":"connected","node_id":"n",)"), 0u) << reply;
  EXPECT_EQ(ReadFileBytes(ActiveConf()),
            "[Interface]\n"
            "PrivateKey = k\n"
            "Address = \n"
            "\n"
            "[Peer]\n"
            "PublicKey = \n"
            "AllowedIPs = \n"
            "Endpoint = :51820\n"
            "PersistentKeepalive = 25\n");
}

TEST_F(Connect, RefusesAProfileWithoutANode) {
  EXPECT_EQ(Ask(R"({"op":"connect","client_private_key":"k"})"), kInvalidProfile);
  EXPECT_FALSE(std::filesystem::exists(TunnelsFolder()));
}

TEST_F(Connect, RefusesAProfileWithoutAPrivateKey) {
  EXPECT_EQ(Ask(R"({"op":"connect","node_id":"n"})"), kInvalidProfile);
  EXPECT_FALSE(ServiceExists(kTunnelService));
}

TEST_F(Connect, ThatIsRefusedForItsProfileLeavesTheConnectionAsItIs) {
  BringTunnelUp();
  EXPECT_EQ(Ask(R"({"op":"connect"})"), kInvalidProfile);
  EXPECT_EQ(Ask(kStatus),
            R"({"ok":true,"phase":"connected","node_id":"fra-1","tunnel_running":true,)" +
                kBypassOff + "," + kFreshGuard + "}");
}

}  // namespace
}  // namespace veltrane::windows_tests
