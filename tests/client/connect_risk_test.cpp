// What connect asks before it sends anything.

#include "tests/client/on_client_machine.h"

namespace veltrane {
namespace {

class ConnectAtRisk : public OnClientMachine {
 protected:
  ConnectAtRisk() { side.interface_metrics[12] = 1; }

  // A profile that takes everything in halves.
  void TakeEverything(const std::string& allowed_ips = "0.0.0.0/1, 128.0.0.0/1") {
    machine.files.AddFile(L"C:\\profiles\\all.json", JsonProfileText("all", allowed_ips));
  }

  bool IsConnected() {
    Run({"status"});
    return side.Output().substr(0, 12) == "connected to";
  }

  const std::string kAll = "C:\\profiles\\all.json";
};

TEST_F(ConnectAtRisk, NothingIsSentWhenSomebodyWhoIsConnectedWouldBeLost) {
  TakeEverything();
  machine.connections.AddEstablished(3389, "203.0.113.5");
  StartService();
  EXPECT_EQ(Run({"connect", kAll}), 7);
  EXPECT_EQ(side.Output(),
            "203.0.113.5, connected over Remote Desktop to 192.168.1.10: would be lost to the "
            "tunnel: its packets would leave by the tunnel, which takes 128.0.0.0/1; on Windows an "
            "established connection may survive all the same, a new one would not\n"
            "  fix: pin it, by naming it in ADMIN_BYPASS_IP with the default-route guard off, or "
            "keep its network out of AllowedIPs and Address\n");
  EXPECT_EQ(side.Error(),
            "veltranectl: nothing was sent: somebody who is connected now would not stay: "
            "veltranectl doctor PROFILE, or --accept-risk lose-remote-administration, better with "
            "--confirm SECONDS\n");
  EXPECT_FALSE(IsConnected());
}

TEST_F(ConnectAtRisk, AsJsonTheForecastIsInTheObject) {
  TakeEverything();
  machine.connections.AddEstablished(3389, "203.0.113.5");
  StartService();
  EXPECT_EQ(Run({"connect", kAll, "--json"}), 7);
  RecordProperty("client_error", side.Output());
  EXPECT_EQ(
      side.Output(),
      R"({"ok":false,"error":"client_risk","message":"nothing was sent: somebody who is connected )"
      R"(now would not stay: veltranectl doctor PROFILE, or --accept-risk )"
      R"(lose-remote-administration, better with --confirm SECONDS","forecast":[{"address":"203.0.113.5",)"
      R"("reason":"rdp_connection","local":"192.168.1.10","now":{"kind":"physical",)"
      R"("interface":12,"next_hop":"192.168.1.1"},"after":{"kind":"tunnel"},"verdict":"tunnel",)"
      R"("detail":"its packets would leave by the tunnel, which takes 128.0.0.0/1; on Windows an )"
      R"(established connection may survive all the same, a new one would not","fix":"pin it, by )"
      R"(naming it in ADMIN_BYPASS_IP with the default-route guard off, or keep its network out )"
      R"(of AllowedIPs and Address"}]})"
      "\n");
}

TEST_F(ConnectAtRisk, TheRiskCanBeAccepted) {
  TakeEverything();
  machine.connections.AddEstablished(3389, "203.0.113.5");
  StartService();
  EXPECT_EQ(Run({"connect", kAll, "--accept-risk", "lose-remote-administration"}), 0);
  EXPECT_EQ(side.Error(),
            "veltranectl: warning: somebody who is connected now would not stay\n"
            "veltranectl: warning: 203.0.113.5, connected over Remote Desktop to 192.168.1.10: "
            "would be lost to the tunnel: its packets would leave by the tunnel, which takes "
            "128.0.0.0/1; on Windows an established connection may survive all the same, a new one "
            "would not\n"
            "waiting for the service's reply (connecting can take 20 s)\n");
  EXPECT_TRUE(IsConnected());
}

TEST_F(ConnectAtRisk, AnotherRiskIsNotThisOne) {
  TakeEverything();
  machine.connections.AddEstablished(3389, "203.0.113.5");
  StartService();
  EXPECT_EQ(Run({"connect", kAll, "--accept-risk", "leaks"}), 7);
}

TEST_F(ConnectAtRisk, AnUnreadableTableOfConnectionsStopsIt) {
  StartService();
  machine.FailAlways("ReadEstablishedConnections", 5);
  EXPECT_EQ(Run({"connect", kConfPath}), 7);
  EXPECT_EQ(side.Error(),
            "veltranectl: nothing was sent: it cannot be read who is connected over Remote "
            "Desktop: veltranectl doctor PROFILE, or --accept-risk lose-remote-administration, "
            "better with --confirm SECONDS\n");
}

TEST_F(ConnectAtRisk, AnUnreadableTableOfRoutesStopsItWhenSomebodyIsConnected) {
  machine.connections.AddEstablished(3389, "203.0.113.5");
  StartService();
  machine.FailAlways("ReadForwardTable", 5);
  EXPECT_EQ(Run({"connect", kConfPath}), 7);
}

TEST_F(ConnectAtRisk, ThePeerOfSshStopsIt) {
  TakeEverything();
  machine.environment.SetProcess(L"SSH_CONNECTION", L"203.0.113.5 50123 192.168.1.10 22");
  StartService();
  EXPECT_EQ(Run({"connect", kAll}), 7);
  EXPECT_EQ(side.Output(),
            "203.0.113.5, connected over SSH to 192.168.1.10: would be lost to the tunnel: its "
            "packets would leave by the tunnel, which takes 128.0.0.0/1; on Windows an established "
            "connection may survive all the same, a new one would not\n"
            "  fix: pin it, by naming it in ADMIN_BYPASS_IP with the default-route guard off, or "
            "keep its network out of AllowedIPs and Address\n");
}

TEST_F(ConnectAtRisk, ThePeersOfWinRmStopAPromptThatIsReachedOverIt) {
  TakeEverything();
  side.ancestors = {{L"wsmprovhost.exe"}};
  machine.connections.AddEstablished(5985, "203.0.113.5");
  StartService();
  EXPECT_EQ(Run({"connect", kAll, "--json"}), 7);
  RecordProperty("client_error", side.Output());
  EXPECT_EQ(
      side.Output(),
      R"({"ok":false,"error":"client_risk","message":"nothing was sent: somebody who is connected )"
      R"(now would not stay: veltranectl doctor PROFILE, or --accept-risk )"
      R"(lose-remote-administration, better with --confirm SECONDS","forecast":[)"
      R"({"address":"203.0.113.5","reason":"winrm_connection","local":"192.168.1.10",)"
      R"("now":{"kind":"physical","interface":12,"next_hop":"192.168.1.1"},)"
      R"("after":{"kind":"tunnel"},"verdict":"tunnel",)"
      R"("detail":"its packets would leave by the tunnel, which takes 128.0.0.0/1; on Windows an )"
      R"(established connection may survive all the same, a new one would not","fix":"pin it, by )"
      R"(naming it in ADMIN_BYPASS_IP with the default-route guard off, or keep its network out )"
      R"(of AllowedIPs and Address"}]})"
      "\n");
}

TEST_F(ConnectAtRisk, APromptOverWinRmFromNobodyKnowsWhereStopsIt) {
  side.ancestors = {{L"wsmprovhost.exe"}};
  StartService();
  EXPECT_EQ(Run({"connect", kConfPath}), 7);
  EXPECT_EQ(side.Error(),
            "veltranectl: nothing was sent: this prompt is reached over WinRM, and it cannot be "
            "found out from where: say it with --from ADDRESS, or --accept-risk "
            "lose-remote-administration, better with --confirm SECONDS\n");
  EXPECT_EQ(Run({"connect", kConfPath, "--from", "203.0.113.5"}), 0);
}

TEST_F(ConnectAtRisk, WhoeverIsAtANamedAddressIsConnected) {
  TakeEverything();
  StartService();
  EXPECT_EQ(Run({"connect", kAll, "--from", "192.168.1.50", "--from", "203.0.113.5"}), 7);
  EXPECT_EQ(side.Output(),
            "203.0.113.5, asked about: would be lost to the tunnel: its packets would leave by the "
            "tunnel, which takes 128.0.0.0/1\n"
            "  fix: pin it, by naming it in ADMIN_BYPASS_IP with the default-route guard off, or "
            "keep its network out of AllowedIPs and Address\n");
  EXPECT_EQ(Run({"connect", kAll, "--from", "192.168.1.50"}), 0);
}

TEST_F(ConnectAtRisk, ARemoteSessionWithoutAConnectionStopsIt) {
  machine.connections.AddEstablished(3389, "192.168.1.50");
  machine.sessions.AddActive(2, "192.168.1.50");
  machine.sessions.AddActive(3, "10.0.0.7");
  StartService();
  EXPECT_EQ(Run({"connect", kConfPath}), 7);
  EXPECT_EQ(side.Error(),
            "veltranectl: nothing was sent: somebody is connected whom the forecast does not see "
            "(active remote sessions: 2, Remote Desktop connections: 1): veltranectl doctor "
            "PROFILE, or --accept-risk lose-remote-administration, better with --confirm "
            "SECONDS\n");
}

// Two people behind one router have one address.
TEST_F(ConnectAtRisk, TwoConnectionsOfOnePeerAreEnoughForTwoRemoteSessions) {
  machine.connections.AddEstablished(3389, "192.168.1.50");
  machine.connections.AddEstablished(3389, "192.168.1.50");
  machine.sessions.AddActive(2, "192.168.1.50");
  machine.sessions.AddActive(3, "10.0.0.7");
  StartService();
  EXPECT_EQ(Run({"connect", kConfPath}), 0);
}

TEST_F(ConnectAtRisk, SessionsThatCannotBeReadStopIt) {
  StartService();
  machine.FailAlways("ReadSessions", 5);
  EXPECT_EQ(Run({"connect", kConfPath}), 7);
  EXPECT_EQ(side.Error(),
            "veltranectl: nothing was sent: it cannot be read who is connected over Remote "
            "Desktop: veltranectl doctor PROFILE, or --accept-risk lose-remote-administration, "
            "better with --confirm SECONDS\n");
}

TEST_F(ConnectAtRisk, WithNobodyConnectedItWarnsAndGoesOn) {
  TakeEverything();
  machine.environment.SetMachine(L"ADMIN_BYPASS_IP", L"10.0.0.7");
  machine.environment.SetProcess(L"VELTRANE_POC_ADMIN_BYPASS", L"0");
  machine.environment.SetMachine(L"VELTRANE_POC_ADMIN_BYPASS", L"0");
  StartService();
  EXPECT_EQ(Run({"connect", kAll}), 0);
  EXPECT_EQ(side.Error(),
            "veltranectl: warning: 10.0.0.7, named by the settings: would be lost to the tunnel: "
            "its packets would leave by the tunnel, which takes 0.0.0.0/1\n"
            "waiting for the service's reply (connecting can take 20 s)\n");
}

TEST_F(ConnectAtRisk, HalvesAreSentInThePlaceOfACatchAll) {
  TakeEverything("0.0.0.0/0, ::/0");
  StartService();
  EXPECT_EQ(Run({"connect", kAll, "--split-default"}), 0);
  EXPECT_NE(side.Output().find("  allowed_ips_csv     0.0.0.0/1, 128.0.0.0/1, ::/1, 8000::/1\n"),
            std::string::npos);
  EXPECT_EQ(side.Error(),
            "veltranectl: halves in place of the catch-all: the WireGuard library neither "
            "restricts DNS to the tunnel's servers nor blocks what is not tunnelled\n"
            "waiting for the service's reply (connecting can take 20 s)\n");
  EXPECT_NE(machine.files.Bytes(L"C:\\ProgramData\\Veltrane\\tunnels\\active.conf")
                .value_or("")
                .find("AllowedIPs = 0.0.0.0/1, 128.0.0.0/1, ::/1, 8000::/1\n"),
            std::string::npos);
}

TEST_F(ConnectAtRisk, HalvesThatTheGuardWouldNotSeeAreNotSent) {
  TakeEverything("0.0.0.0/0, ::/0");
  machine.environment.SetMachine(L"VELTRANE_POC_DISABLE_DEFAULT_ROUTE", L"1");
  StartService();
  EXPECT_EQ(Run({"connect", kAll, "--split-default"}), 7);
  EXPECT_EQ(side.Error(),
            "veltranectl: --split-default: the default-route guard, which does not see halves, is "
            "on or may be: veltranectl doctor says which setting decides\n");
}

TEST_F(ConnectAtRisk, AsJsonAnotherObjectionHasAnEmptyForecast) {
  TakeEverything("0.0.0.0/0, ::/0");
  machine.environment.SetMachine(L"VELTRANE_POC_DISABLE_DEFAULT_ROUTE", L"1");
  StartService();
  EXPECT_EQ(Run({"connect", kAll, "--split-default", "--json"}), 7);
  RecordProperty("client_error", side.Output());
  EXPECT_EQ(side.Output(),
            R"({"ok":false,"error":"client_risk","message":"--split-default: the default-route )"
            R"(guard, which does not see halves, is on or may be: veltranectl doctor says which )"
            R"(setting decides","forecast":[]})"
            "\n");
}

TEST_F(ConnectAtRisk, HalvesAreNotSentWhenTheGuardIsNotProvedOff) {
  TakeEverything("0.0.0.0/0, ::/0");
  StartService();
  machine.FailAlways("ReadKeyWriteTime", 5);
  EXPECT_EQ(Run({"connect", kAll, "--split-default"}), 7);
}

TEST_F(ConnectAtRisk, HalvesPastWhichIpv6WouldLeakNeedToBeAccepted) {
  TakeEverything("0.0.0.0/0");
  machine.routes.AddIpv6("::/0", "fe80::1", 12, 25);
  side.ipv6_interface_metrics[12] = 25;
  StartService();
  EXPECT_EQ(Run({"connect", kAll, "--split-default"}), 7);
  EXPECT_EQ(side.Error(),
            "veltranectl: --split-default: IPv6 would go past the tunnel, where the catch-all "
            "blocks it: add ::/0 to AllowedIPs, or --accept-risk leaks\n");
  EXPECT_EQ(Run({"connect", kAll, "--split-default", "--accept-risk", "leaks"}), 0);
}

TEST_F(ConnectAtRisk, NothingLeaksPastAFamilyThatIsInHalvesAlready) {
  TakeEverything("0.0.0.0/0, ::/1, 8000::/1");
  machine.routes.AddIpv6("::/0", "fe80::1", 12, 25);
  side.ipv6_interface_metrics[12] = 25;
  StartService();
  EXPECT_EQ(Run({"connect", kAll, "--split-default"}), 0);
}

TEST_F(ConnectAtRisk, AnIpv4MappedNetworkIsNotSplit) {
  TakeEverything("::ffff:0.0.0.0/0");
  StartService();
  EXPECT_EQ(Run({"connect", kAll, "--split-default"}), 3);
  EXPECT_EQ(side.Error(),
            "veltranectl: C:\\profiles\\all.json: AllowedIPs contains \"::ffff:0.0.0.0/0\", an "
            "IPv4-mapped network, which is IPv4 to one program and IPv6 to another, so that "
            "--split-default cannot replace it: write it as one of the two\n");
  EXPECT_FALSE(IsConnected());
}

TEST_F(ConnectAtRisk, AListWithoutACatchAllIsSentAsItIs) {
  StartService();
  EXPECT_EQ(Run({"connect", kConfPath, "--split-default"}), 0);
  EXPECT_EQ(side.Error(), "waiting for the service's reply (connecting can take 20 s)\n");
}

}  // namespace
}  // namespace veltrane
