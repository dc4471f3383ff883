// The commands from end to end: the client on one side of the pipe, the whole service on the other.

#include "tests/client/on_client_machine.h"

namespace veltrane {
namespace {

using Commands = OnClientMachine;

const std::string kWaiting = "waiting for the service's reply (connecting can take 20 s)\n";

TEST_F(Commands, StatusOfAServiceThatHasJustStarted) {
  StartService();
  EXPECT_EQ(Run({"status"}), 0);
  EXPECT_EQ(side.Output(),
            "disconnected\n"
            "  tunnel service  not running\n"
            "\n"
            "Administrator bypass: nothing reported yet\n"
            "\n"
            "Default-route guard: not part of this reply; see the reply to connect, or veltranectl "
            "doctor\n");
  EXPECT_EQ(side.Error(), "");
}

TEST_F(Commands, StatusAsJsonIsTheReplyByteForByte) {
  StartService();
  EXPECT_EQ(Run({"status", "--json"}), 0);
  EXPECT_EQ(
      side.Output(),
      R"({"ok":true,"phase":"disconnected","tunnel_running":false,"admin_bypass":{"enabled":false,)"
      R"("attempted":false,"applied":false,"routes_ready_before_tunnel":false,)"
      R"("route_readded_after_tunnel":false,"required_enforced":false,)"
      R"("skipped_for_safe_mode":false,"auto_stop_seconds":0},"poc_route_guard":{)"
      R"("effective_disable_default_route":false,"poc_route_guard_failed":false,)"
      R"("poc_default_route_detected":false,"poc_env_read_failed":false,)"
      R"("rdp_session_active":false,"auto_stop_scheduled":false,"auto_stop_seconds":0,)"
      R"("effective_auto_stop_seconds":0,"process_env_VELTRANE_POC_DISABLE_DEFAULT_ROUTE":"",)"
      R"("machine_env_VELTRANE_POC_DISABLE_DEFAULT_ROUTE":"",)"
      R"("user_env_VELTRANE_POC_DISABLE_DEFAULT_ROUTE":"",)"
      R"("process_env_VELTRANE_POC_AUTO_STOP_SECONDS":"",)"
      R"("machine_env_VELTRANE_POC_AUTO_STOP_SECONDS":"",)"
      R"("user_env_VELTRANE_POC_AUTO_STOP_SECONDS":""}})");
}

TEST_F(Commands, OnATerminalJsonEndsItsLine) {
  StartService();
  side.SetTerminal(Stream::kOutput, 80);
  EXPECT_EQ(Run({"status", "--json"}), 0);
  EXPECT_EQ(side.Output().substr(side.Output().size() - 3), "}}\n");
}

TEST_F(Commands, ConnectWithAWireGuardConfiguration) {
  StartService();
  EXPECT_EQ(Run({"connect", kConfPath}), 0);
  EXPECT_EQ(side.Output(),
            "Sending to the service\n"
            "  node_id             office\n"
            "  address_cidr        10.66.66.7/32\n"
            "  endpoint_host       192.0.2.10\n"
            "  endpoint_port       51820\n"
            "  server_public_key   XMRuUJay...\n"
            "  client_private_key  (hidden, 44 characters)\n"
            "  pre_shared_key      (hidden, 44 characters)\n"
            "  dns_csv             10.66.66.1\n"
            "  allowed_ips_csv     10.66.66.0/24\n"
            "\n"
            "connected to office\n"
            "\n"
            "Administrator bypass: off\n"
            "  message         admin bypass disabled for this build/config\n"
            "\n"
            "Default-route guard: off\n"
            "  message                 disable-default-route not active\n"
            "  settings                VELTRANE_POC_DISABLE_DEFAULT_ROUTE  not set\n"
            "                          VELTRANE_POC_AUTO_STOP_SECONDS      not set\n"
            "  allowed IPs             10.66.66.0/24\n"
            "  default routes before   0.0.0.0/0->192.168.1.1@if12:Ethernet:metric=25\n"
            "  default routes after    0.0.0.0/0->192.168.1.1@if12:Ethernet:metric=25\n"
            "  host routes before      none\n"
            "  host routes after       none\n");
  EXPECT_EQ(side.Error(), kWaiting);
  EXPECT_EQ(machine.files.Bytes(L"C:\\ProgramData\\Veltrane\\tunnels\\active.conf"),
            "[Interface]\n"
            "PrivateKey = iBnhCLo9Ui/z1eOdrXifD/phj28t9tEs+vG22i9gAHY=\n"
            "Address = 10.66.66.7/32\n"
            "DNS = 10.66.66.1\n"
            "\n"
            "[Peer]\n"
            "PublicKey = XMRuUJayp638fyAx0EkOl68F51NYDKvvv48nFPiYc0Q=\n"
            "PresharedKey = +pU38MwXhbZ1SIcq+mCHnuqvpBsCtbl+BkYrwz/g2vk=\n"
            "AllowedIPs = 10.66.66.0/24\n"
            "Endpoint = 192.0.2.10:51820\n"
            "PersistentKeepalive = 25\n");
}

TEST_F(Commands, ConnectWithAdministratorsGuardAndTimer) {
  machine.environment.SetMachine(L"ADMIN_BYPASS_IP", L"203.0.113.5 192.168.1.9");
  machine.environment.SetMachine(L"VELTRANE_POC_AUTO_STOP_SECONDS", L"3600");
  machine.environment.SetUser(L"VELTRANE_POC_AUTO_STOP_SECONDS", L"60");
  machine.connections.AddEstablished(3389, "198.51.100.7");
  machine.sessions.AddActive(2, "198.51.100.9");
  machine.clock.RunInSteps();
  StartService();
  EXPECT_EQ(Run({"connect", kConfPath, "--node-id", "fra-1"}), 0);
  EXPECT_EQ(side.Output(),
            "Sending to the service\n"
            "  node_id             fra-1\n"
            "  address_cidr        10.66.66.7/32\n"
            "  endpoint_host       192.0.2.10\n"
            "  endpoint_port       51820\n"
            "  server_public_key   XMRuUJay...\n"
            "  client_private_key  (hidden, 44 characters)\n"
            "  pre_shared_key      (hidden, 44 characters)\n"
            "  dns_csv             10.66.66.1\n"
            "  allowed_ips_csv     10.66.66.0/24\n"
            "\n"
            "connected to fra-1\n"
            "\n"
            "Administrator bypass: in force\n"
            "  message         admin bypass routes verified after tunnel\n"
            "  gateway         192.168.1.1 on interface 12\n"
            "  addresses       198.51.100.7     required  Remote Desktop connection   added\n"
            "                  198.51.100.9     optional  Remote Desktop session      added\n"
            "                  203.0.113.5      required  ADMIN_BYPASS_IP             added\n"
            "  not used        192.168.1.9, not a public IPv4 address of another machine\n"
            "  before tunnel   198.51.100.7     ok(metric=1)\n"
            "                  203.0.113.5      ok(metric=1)\n"
            "  after tunnel    198.51.100.7     ok(metric=1)\n"
            "                  203.0.113.5      ok(metric=1)\n"
            "  auto-stop       after 3600 s\n"
            "\n"
            "Default-route guard: off\n"
            "  message                 disable-default-route not active\n"
            "  settings                VELTRANE_POC_DISABLE_DEFAULT_ROUTE  not set\n"
            "                          VELTRANE_POC_AUTO_STOP_SECONDS      \"3600\" from the "
            "machine environment; user environment \"60\" ignored\n"
            "  allowed IPs             10.66.66.0/24\n"
            "  default routes before   0.0.0.0/0->192.168.1.1@if12:Ethernet:metric=25\n"
            "  default routes after    0.0.0.0/0->192.168.1.1@if12:Ethernet:metric=25\n"
            "  host routes before      198.51.100.7/32->192.168.1.1@if12\n"
            "                          198.51.100.9/32->192.168.1.1@if12\n"
            "                          203.0.113.5/32->192.168.1.1@if12\n"
            "  host routes after       198.51.100.7/32->192.168.1.1@if12\n"
            "                          198.51.100.9/32->192.168.1.1@if12\n"
            "                          203.0.113.5/32->192.168.1.1@if12\n"
            "  auto-stop               after 3600 s, at 2026-11-16T03:25:07Z\n");
  EXPECT_EQ(Run({"status"}), 0);
  EXPECT_EQ(side.Output(),
            "connected to fra-1\n"
            "  tunnel service  running\n"
            "\n"
            "Administrator bypass: in force\n"
            "  message         admin bypass routes verified after tunnel\n"
            "  gateway         192.168.1.1 on interface 12\n"
            "  addresses       198.51.100.7     required  Remote Desktop connection   added\n"
            "                  198.51.100.9     optional  Remote Desktop session      added\n"
            "                  203.0.113.5      required  ADMIN_BYPASS_IP             added\n"
            "  not used        192.168.1.9, not a public IPv4 address of another machine\n"
            "  before tunnel   198.51.100.7     ok(metric=1)\n"
            "                  203.0.113.5      ok(metric=1)\n"
            "  after tunnel    198.51.100.7     ok(metric=1)\n"
            "                  203.0.113.5      ok(metric=1)\n"
            "  auto-stop       after 3600 s\n"
            "\n"
            "Default-route guard: not part of this reply; see the reply to connect, or veltranectl "
            "doctor\n");
  machine.clock.RunFreely();
  EXPECT_EQ(Run({"disconnect"}), 0);
  EXPECT_EQ(side.Output(),
            "disconnected\n"
            "\n"
            "Administrator bypass: removed\n"
            "  gateway         192.168.1.1 on interface 12\n"
            "  were pinned     198.51.100.7     required  Remote Desktop connection   added\n"
            "                  198.51.100.9     optional  Remote Desktop session      added\n"
            "                  203.0.113.5      required  ADMIN_BYPASS_IP             added\n"
            "  not used        192.168.1.9, not a public IPv4 address of another machine\n"
            "  before tunnel   198.51.100.7     ok(metric=1)\n"
            "                  203.0.113.5      ok(metric=1)\n"
            "  after tunnel    198.51.100.7     ok(metric=1)\n"
            "                  203.0.113.5      ok(metric=1)\n"
            "\n"
            "Default-route guard: not part of this reply; see the reply to connect, or veltranectl "
            "doctor\n");
}

TEST_F(Commands, ConnectUnderTheDefaultRouteGuard) {
  machine.environment.SetMachine(L"VELTRANE_POC_DISABLE_DEFAULT_ROUTE", L"1");
  machine.environment.SetProcess(L"ADMIN_BYPASS_IPS", L"203.0.113.5");
  machine.files.AddFile(
      L"C:\\profiles\\all.json",
      "{\"node_id\":\"fra-1\",\"address_cidr\":\"10.7.3.9/"
      "32\",\"endpoint_host\":\"vpn.example\",\"allowed_ips_csv\":\"0.0.0.0/"
      "0\",\"server_public_key\":\"XMRuUJayp638fyAx0EkOl68F51NYDKvvv48nFPiYc0Q=\",\"client_private_"
      "key\":\"iBnhCLo9Ui/z1eOdrXifD/phj28t9tEs+vG22i9gAHY=\"}");
  StartService();
  EXPECT_EQ(Run({"connect", "C:\\profiles\\all.json"}), 0);
  EXPECT_EQ(side.Output(),
            "Sending to the service\n"
            "  node_id             fra-1\n"
            "  address_cidr        10.7.3.9/32\n"
            "  endpoint_host       vpn.example\n"
            "  server_public_key   XMRuUJay...\n"
            "  client_private_key  (hidden, 44 characters)\n"
            "  allowed_ips_csv     0.0.0.0/0\n"
            "\n"
            "connected to fra-1\n"
            "\n"
            "Administrator bypass: skipped, the default-route guard is in force\n"
            "  message         admin bypass skipped for POC safe mode (disable-default-route)\n"
            "  addresses       203.0.113.5      required  ADMIN_BYPASS_IPS\n"
            "\n"
            "Default-route guard: in force\n"
            "  message                 POC safe AllowedIPs applied (no catch-all)\n"
            "  settings                VELTRANE_POC_DISABLE_DEFAULT_ROUTE  \"1\" from the machine "
            "environment\n"
            "                          VELTRANE_POC_AUTO_STOP_SECONDS      not set\n"
            "  allowed IPs             0.0.0.0/0 replaced by 10.7.3.0/24\n"
            "  default routes before   0.0.0.0/0->192.168.1.1@if12:Ethernet:metric=25\n"
            "  default routes after    0.0.0.0/0->192.168.1.1@if12:Ethernet:metric=25\n"
            "  host routes before      none\n"
            "  host routes after       none\n");
}

TEST_F(Commands, ConnectFromStandardInputWithSession) {
  StartService();
  EXPECT_EQ(Run({"register", "5c0e7a"}), 0);
  EXPECT_EQ(side.Output(), "session nonce registered\n");
  side.input = kConfText;
  EXPECT_EQ(Run({"connect", "-", "--node-id", "fra-1", "--session", "5c0e7a"}), 0);
  EXPECT_EQ(side.Output().substr(0, side.Output().find("Administrator")),
            "Sending to the service\n"
            "  node_id             fra-1\n"
            "  address_cidr        10.66.66.7/32\n"
            "  endpoint_host       192.0.2.10\n"
            "  endpoint_port       51820\n"
            "  server_public_key   XMRuUJay...\n"
            "  client_private_key  (hidden, 44 characters)\n"
            "  pre_shared_key      (hidden, 44 characters)\n"
            "  dns_csv             10.66.66.1\n"
            "  allowed_ips_csv     10.66.66.0/24\n"
            "  session_nonce       5c0e7a\n"
            "\n"
            "connected to fra-1\n"
            "\n");
}

TEST_F(Commands, ConnectAsJsonPrintsNothingElse) {
  StartService();
  EXPECT_EQ(Run({"connect", kConfPath, "--json"}), 0);
  EXPECT_EQ(side.Output().substr(0, 53),
            R"({"ok":true,"phase":"connected","node_id":"office","ad)");
  EXPECT_EQ(side.Output().substr(side.Output().size() - 2), "}}");
}

TEST_F(Commands, ARefusedConnectShowsTheReportsAndWhatToDo) {
  machine.environment.SetMachine(L"ADMIN_BYPASS_IP", L"203.0.113.5");
  machine.FailAlways("CreateForwardRow", 160);
  StartService();
  EXPECT_EQ(Run({"connect", kConfPath}), 1);
  EXPECT_EQ(side.Output().substr(side.Output().find("refused: ")),
            "refused: admin_bypass_failed\n"
            "  reason          required admin bypass host route failed to add: 203.0.113.5 "
            "(CreateIpForwardEntry failed)\n"
            "\n"
            "Administrator bypass: refused (route_add_failed)\n"
            "  message         required admin bypass host route failed to add: 203.0.113.5 "
            "(CreateIpForwardEntry failed)\n"
            "  gateway         192.168.1.1 on interface 12\n"
            "  tried           203.0.113.5      required  ADMIN_BYPASS_IP             failed: "
            "CreateIpForwardEntry failed (Windows error 160)\n"
            "\n"
            "Default-route guard: off\n"
            "  message                 disable-default-route not active\n"
            "  settings                VELTRANE_POC_DISABLE_DEFAULT_ROUTE  not set\n"
            "                          VELTRANE_POC_AUTO_STOP_SECONDS      not set\n"
            "  allowed IPs             10.66.66.0/24\n");
  EXPECT_EQ(side.Error().substr(kWaiting.size()),
            "veltranectl: the service refused: admin_bypass_failed, required admin bypass host "
            "route failed to add: 203.0.113.5 (CreateIpForwardEntry failed): run veltranectl "
            "doctor to check the interface metric\n");
}

TEST_F(Commands, ARefusedConnectAsJsonIsTheReplyAndTheLine) {
  StartService();
  Run({"register", "5c0e7a"});
  EXPECT_EQ(Run({"connect", kConfPath, "--json"}), 1);
  EXPECT_EQ(side.Output(),
            R"({"ok":false,"error":"session_mismatch","message":"invalid session"})");
  EXPECT_EQ(side.Error(), kWaiting +
                              "veltranectl: the service refused: session_mismatch, invalid "
                              "session: pass the registered nonce with --session\n");
}

TEST_F(Commands, AnEmptyNonceSwitchesTheSessionCheckOff) {
  StartService();
  Run({"register", "5c0e7a"});
  EXPECT_EQ(Run({"register", ""}), 0);
  EXPECT_EQ(side.Output(), "session check turned off\n");
  EXPECT_EQ(Run({"connect", kConfPath, "--json"}), 0);
}

TEST_F(Commands, NoKeyIsEverPrintedAndAllAreWiped) {
  StartService();
  for (const bool json : {false, true}) {
    std::vector<std::string> arguments = {"connect", kConfPath};
    if (json) arguments.push_back("--json");
    EXPECT_EQ(Run(arguments), 0);
    for (const std::string& key : {kPrivateKey, kPreSharedKey}) {
      EXPECT_EQ(side.Output().find(key.substr(0, 8)), std::string::npos);
      EXPECT_EQ(side.Error().find(key.substr(0, 8)), std::string::npos);
    }
  }
  EXPECT_TRUE(side.HasWiped("PrivateKey = " + kPrivateKey));
  EXPECT_TRUE(side.HasWiped("\"client_private_key\":\"" + kPrivateKey));
  EXPECT_TRUE(side.HasWiped("\"pre_shared_key\":\"" + kPreSharedKey));
}

TEST_F(Commands, ATerminalShowsHowLongTheWaitHasBeen) {
  StartService();
  side.SetTerminal(Stream::kError, 80);
  side.DelayReply(3);
  EXPECT_EQ(Run({"connect", kConfPath}), 0);
  EXPECT_EQ(side.Error(),
            "\r\x1b[Kwaiting for the service's reply (connecting can take 20 s), 1 "
            "s\r\x1b[Kwaiting for the service's reply (connecting can take 20 s), 2 "
            "s\r\x1b[Kwaiting for the service's reply (connecting can take 20 s), 3 s\r\x1b[K");
}

TEST_F(Commands, ANarrowTerminalGetsNoMoreThanItsWidth) {
  StartService();
  side.SetTerminal(Stream::kError, 20);
  side.DelayReply(1);
  EXPECT_EQ(Run({"status"}), 0);
  EXPECT_EQ(side.Error(), "\r\x1b[Kwaiting for the ser\r\x1b[K");
}

TEST_F(Commands, ATerminalGetsColours) {
  StartService();
  side.SetTerminal(Stream::kOutput, 80);
  EXPECT_EQ(Run({"status"}), 0);
  EXPECT_EQ(side.Output(),
            "\x1b[1mdisconnected\x1b[0m\n"
            "  tunnel service  not running\n"
            "\n"
            "\x1b[1mAdministrator bypass\x1b[0m: nothing reported yet\n"
            "\n"
            "\x1b[1mDefault-route guard\x1b[0m: not part of this reply; see the reply to connect, "
            "or veltranectl doctor\n");
}

TEST_F(Commands, NoColorIsHonoured) {
  machine.environment.SetProcess(L"NO_COLOR", L"1");
  side.SetTerminal(Stream::kOutput, 80);
  side.SetTerminal(Stream::kError, 80);
  EXPECT_EQ(Run({"status"}), 4);
  EXPECT_EQ(side.Error(),
            "veltranectl: the service is not installed: VeltraneVpnService.exe --install\n");
}

TEST_F(Commands, NoColorIsHonouredByScreensToo) {
  machine.environment.SetProcess(L"NO_COLOR", L"1");
  side.SetTerminal(Stream::kOutput, 80);
  StartService();
  EXPECT_EQ(Run({"status"}), 0);
  EXPECT_EQ(side.Output().substr(0, 43), "disconnected\n  tunnel service  not running\n");
}

TEST_F(Commands, AComplaintOnATerminalIsRed) {
  side.SetTerminal(Stream::kError, 80);
  EXPECT_EQ(Run({"status"}), 4);
  EXPECT_EQ(side.Error(),
            "\x1b[31mveltranectl:\x1b[0m the service is not installed: VeltraneVpnService.exe "
            "--install\n");
}

TEST_F(Commands, WatchLooksAgainAndAgain) {
  StartService();
  EXPECT_EQ(Run({"status", "--watch", "--times", "2", "--every", "5"}), 0);
  EXPECT_EQ(side.Output(),
            "disconnected\n"
            "  tunnel service  not running\n"
            "\n"
            "Administrator bypass: nothing reported yet\n"
            "\n"
            "Default-route guard: not part of this reply; see the reply to connect, or veltranectl "
            "doctor\n"
            "\n"
            "every 5 s; press Ctrl+C to stop\n"
            "\n"
            "disconnected\n"
            "  tunnel service  not running\n"
            "\n"
            "Administrator bypass: nothing reported yet\n"
            "\n"
            "Default-route guard: not part of this reply; see the reply to connect, or veltranectl "
            "doctor\n");
  EXPECT_EQ(machine.clock.Sleeps(), std::vector<std::uint32_t>({5000}));
}

TEST_F(Commands, WatchOnATerminalStaysInPlace) {
  StartService();
  side.SetTerminal(Stream::kOutput, 80);
  EXPECT_EQ(Run({"status", "--watch", "--times", "1"}), 0);
  EXPECT_EQ(side.Output().substr(0, 24), "\x1b[H\x1b[2J\x1b[1mdisconnected\x1b");
}

TEST_F(Commands, WatchGoesOnWhileTheServiceIsAway) {
  EXPECT_EQ(Run({"status", "--watch", "--times", "2"}), 4);
  EXPECT_EQ(side.Error(),
            "veltranectl: the service is not installed: VeltraneVpnService.exe --install\n"
            "veltranectl: the service is not installed: VeltraneVpnService.exe --install\n");
}

TEST_F(Commands, WatchAsJsonIsALineALook) {
  StartService();
  EXPECT_EQ(Run({"status", "--watch", "--times", "2", "--json"}), 0);
  const std::string output = side.Output();
  const std::string line = output.substr(0, output.find('\n') + 1);
  EXPECT_EQ(line.substr(0, 11), "{\"ok\":true,");
  EXPECT_EQ(output, line + line);
}

struct BadProfile {
  const char* name;
  const char* text;
  const char* line;
};

class BadProfiles : public OnClientMachine, public testing::WithParamInterface<BadProfile> {};

TEST_P(BadProfiles, AreNotSent) {
  machine.files.AddFile(L"C:\\profiles\\bad", GetParam().text);
  StartService();
  EXPECT_EQ(Run({"connect", "C:\\profiles\\bad"}), 3);
  EXPECT_EQ(side.Output(), "");
  EXPECT_EQ(side.Error(), std::string("veltranectl: C:\\profiles\\bad") + GetParam().line + "\n");
  EXPECT_EQ(machine.calls.Of("ServerPipe.Read"), std::vector<std::string>());
}

INSTANTIATE_TEST_SUITE_P(
    Files, BadProfiles,
    testing::Values(
        BadProfile{"Empty", " \n", ": empty: not a profile"},
        BadProfile{"MtuInAConf", "[Interface]\nMTU = 1420\n",
                   ":2: MTU: the service does not support it, so delete the line"},
        BadProfile{"TwoPeers", "[Interface]\nPrivateKey = P\n[Peer]\nEndpoint = a:1\n[Peer]\n",
                   ":5: a second [Peer]: the service supports one peer, so remove the others"},
        BadProfile{"NoPrivateKey", "[Interface]\nAddress = 10.0.0.1\n[Peer]\nEndpoint = a:1\n",
                   ":1: [Interface] has no PrivateKey: add the line \"PrivateKey = ...\""},
        BadProfile{
            "AddressInAConf",
            "[Interface]\nPrivateKey = iBnhCLo9Ui/z1eOdrXifD/phj28t9tEs+vG22i9gAHY=\n"
            "Address = 10.0.0.1/33\n[Peer]\nEndpoint = a:1\n",
            ":3: Address contains \"10.0.0.1/33\", which is not an address such as 10.66.66.7/32"},
        BadProfile{
            "NoAllowedIpsInAConf",
            "[Interface]\nPrivateKey = iBnhCLo9Ui/z1eOdrXifD/phj28t9tEs+vG22i9gAHY=\n"
            "Address = 10.0.0.1/32\n[Peer]\nEndpoint = a:1\n"
            "PublicKey = XMRuUJayp638fyAx0EkOl68F51NYDKvvv48nFPiYc0Q=\n",
            ": AllowedIPs is missing: add the networks behind the tunnel, such as 10.66.66.0/24"},
        BadProfile{"NoNodeIdInJson", "{}", ": node_id is missing: add it, or use --node-id"},
        BadProfile{"NumberInJson", "{\n  \"endpoint_port\": 51820\n}\n",
                   ":2: \"endpoint_port\" is not a string: put its value in quotes, because the "
                   "service reads only strings"},
        BadProfile{"WordThatIsRefused",
                   "{\"node_id\":\"conf_path\",\"address_cidr\":\"10.7.3.9/"
                   "32\",\"endpoint_host\":\"vpn.example\",\"allowed_ips_csv\":\"10.0.0.0/"
                   "8\",\"server_public_key\":\"XMRuUJayp638fyAx0EkOl68F51NYDKvvv48nFPiYc0Q=\","
                   "\"client_private_key\":\"iBnhCLo9Ui/z1eOdrXifD/phj28t9tEs+vG22i9gAHY=\"}",
                   ": a value contains \"conf_path\", which the service refuses anywhere in a "
                   "request: rename it"}),
    [](const auto& bad) { return bad.param.name; });

TEST_F(Commands, AProfileInUtf16IsNotSent) {
  machine.files.AddFile(L"C:\\profiles\\wide.conf", std::string("\xFF\xFE[\0I\0", 6));
  EXPECT_EQ(Run({"connect", "C:\\profiles\\wide.conf"}), 3);
  EXPECT_EQ(side.Error(),
            "veltranectl: C:\\profiles\\wide.conf: not UTF-8 text: save it as UTF-8\n");
}

TEST_F(Commands, AByteOrderMarkIsSkipped) {
  machine.files.AddFile(L"C:\\profiles\\bom.conf", "\xEF\xBB\xBF" + kConfText);
  StartService();
  EXPECT_EQ(Run({"connect", "C:\\profiles\\bom.conf"}), 0);
}

TEST_F(Commands, AMissingProfileIsNamed) {
  EXPECT_EQ(Run({"connect", "C:\\profiles\\none.conf"}), 3);
  EXPECT_EQ(side.Error(), "veltranectl: C:\\profiles\\none.conf: no such file: check the path\n");
}

TEST_F(Commands, AFolderIsNoProfile) {
  EXPECT_EQ(Run({"connect", "C:\\profiles"}), 3);
  EXPECT_EQ(
      side.Error(),
      "veltranectl: C:\\profiles: access denied: check that it is a file that you may read\n");
}

TEST_F(Commands, AnUnreadableProfileIsNamedWithItsError) {
  side.file_input_error = 32;
  EXPECT_EQ(Run({"connect", kConfPath}), 3);
  EXPECT_EQ(side.Error(),
            "veltranectl: C:\\profiles\\office.conf: cannot be read (Windows error 32): check the "
            "path\n");
}

TEST_F(Commands, AVeryLongFileIsNoProfile) {
  machine.files.AddFile(L"C:\\profiles\\long.conf", std::string(65536, '#'));
  EXPECT_EQ(Run({"connect", "C:\\profiles\\long.conf"}), 3);
  EXPECT_EQ(side.Error(),
            "veltranectl: C:\\profiles\\long.conf: longer than 65535 bytes: not a profile\n");
}

TEST_F(Commands, StandardInputHasNoNameToTakeTheNodeFrom) {
  side.input = kConfText;
  EXPECT_EQ(Run({"connect", "-"}), 3);
  EXPECT_EQ(side.Error(),
            "veltranectl: standard input: node_id is missing: add it, or use --node-id\n");
}

}  // namespace
}  // namespace veltrane
