#include "tests/client/on_client_machine.h"

namespace veltrane {
namespace {

using Connect = OnClientMachine;

const std::string kWaiting = "waiting for the service's reply (connecting can take 20 s)\n";

TEST_F(Connect, WithAWireGuardConfiguration) {
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

TEST_F(Connect, StatusAndDisconnectWithAdministratorsAndTimer) {
  machine.environment.SetMachine(L"ADMIN_BYPASS_IP", L"203.0.113.5 192.168.1.9");
  machine.environment.SetMachine(L"VELTRANE_POC_AUTO_STOP_SECONDS", L"3600");
  machine.environment.SetUser(L"VELTRANE_POC_AUTO_STOP_SECONDS", L"60");
  machine.connections.AddEstablished(3389, "198.51.100.7");
  side.interface_metrics[12] = 1;
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

TEST_F(Connect, UnderTheDefaultRouteGuard) {
  machine.environment.SetMachine(L"VELTRANE_POC_DISABLE_DEFAULT_ROUTE", L"1");
  machine.environment.SetProcess(L"ADMIN_BYPASS_IPS", L"203.0.113.5");
  machine.files.AddFile(L"C:\\profiles\\all.json", JsonProfileText("fra-1", "0.0.0.0/0"));
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

TEST_F(Connect, FromStandardInputWithSession) {
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

TEST_F(Connect, AsJsonPrintsNothingElse) {
  StartService();
  EXPECT_EQ(Run({"connect", kConfPath, "--json"}), 0);
  EXPECT_EQ(side.Output().substr(0, 53),
            R"({"ok":true,"phase":"connected","node_id":"office","ad)");
  EXPECT_EQ(side.Output().substr(side.Output().size() - 2), "}}");
}

TEST_F(Connect, ARefusedConnectShowsTheReportsAndWhatToDo) {
  machine.environment.SetMachine(L"ADMIN_BYPASS_IP", L"203.0.113.5");
  machine.FailAlways("CreateForwardRow", 160);
  side.interface_metrics[12] = 1;
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

TEST_F(Connect, ARefusedConnectAsJsonIsTheReplyAndTheLine) {
  StartService();
  Run({"register", "5c0e7a"});
  EXPECT_EQ(Run({"connect", kConfPath, "--json"}), 1);
  EXPECT_EQ(side.Output(),
            R"({"ok":false,"error":"session_mismatch","message":"invalid session"})");
  EXPECT_EQ(side.Error(), kWaiting +
                              "veltranectl: the service refused: session_mismatch, invalid "
                              "session: pass the registered nonce with --session\n");
}

TEST_F(Connect, AnEmptyNonceTurnsTheSessionCheckOff) {
  StartService();
  Run({"register", "5c0e7a"});
  EXPECT_EQ(Run({"register", ""}), 0);
  EXPECT_EQ(side.Output(), "session check turned off\n");
  EXPECT_EQ(Run({"connect", kConfPath, "--json"}), 0);
}

TEST_F(Connect, NoKeyIsEverPrintedAndAllAreWiped) {
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

}  // namespace
}  // namespace veltrane
