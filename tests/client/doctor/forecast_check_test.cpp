#include "tests/client/doctor/on_examined_machine.h"

namespace veltrane {
namespace {

class DoctorForecast : public OnExaminedMachine {
 protected:
  // Runs doctor for a profile with these AllowedIPs, over a service that runs.
  int ExamineProfile(const std::string& allowed_ips, const std::vector<std::string>& more = {}) {
    machine.files.AddFile(L"C:\\profiles\\fra.json", JsonProfileText("fra-1", allowed_ips));
    StartService();
    std::vector<std::string> words = {"doctor", "C:\\profiles\\fra.json"};
    words.insert(words.end(), more.begin(), more.end());
    return Run(words);
  }

  static constexpr char kHalves[] = "0.0.0.0/1, 128.0.0.0/1";
};

TEST_F(DoctorForecast, SomebodyWhoIsPinnedStays) {
  SetAdministrator();
  EXPECT_EQ(ExamineProfile(kHalves), 0);
  EXPECT_EQ(Group("forecast"),
            "  ok    profile      AllowedIPs 0.0.0.0/1, 128.0.0.0/1, Address 10.7.3.9/32\n"
            "  ok    203.0.113.5  named by the settings: stays: by 192.168.1.1 on interface 12, as "
            "today\n");
}

TEST_F(DoctorForecast, AConnectionThatTheTunnelTakesIsARisk) {
  machine.connections.AddEstablished(3389, "203.0.113.5");
  EXPECT_EQ(ExamineProfile(kHalves), 12);
  EXPECT_EQ(
      Group("forecast"),
      "  ok    profile      AllowedIPs 0.0.0.0/1, 128.0.0.0/1, Address 10.7.3.9/32\n"
      "  RISK  203.0.113.5  connected over Remote Desktop to 192.168.1.10: would be lost to "
      "the tunnel: its packets would leave by the tunnel, which takes 128.0.0.0/1; on Windows "
      "an established connection may survive all the same, a new one would not\n"
      "                     fix: pin it, by naming it in ADMIN_BYPASS_IP with the "
      "default-route guard off, or keep its network out of AllowedIPs and Address\n");
  EXPECT_NE(Group("environment").find("/d \"ADMIN_BYPASS_IP=203.0.113.5\" /f\n"),
            std::string::npos);
}

TEST_F(DoctorForecast, ACatchAllIsTheWorst) {
  SetAdministrator();
  machine.connections.AddEstablished(3389, "192.168.1.50");
  EXPECT_EQ(ExamineProfile("0.0.0.0/0, ::/0", {"--from", "10.9.9.9"}), 12);
  const std::string blocked =
      ": would be blocked: AllowedIPs has 0.0.0.0/0, ::/0 and one peer: the WireGuard library "
      "blocks everything outside the tunnel\n"
      "                      fix: With 0.0.0.0/1, 128.0.0.0/1, ::/1, 8000::/1 it does not, but DNS "
      "and IPv6 may then leak, and whoever is not pinned is lost to the tunnel\n";
  EXPECT_EQ(Group("forecast"),
            "  ok    profile       AllowedIPs 0.0.0.0/0, ::/0, Address 10.7.3.9/32\n"
            "  RISK  192.168.1.50  connected over Remote Desktop to 192.168.1.10" +
                blocked + "  warn  203.0.113.5   named by the settings" + blocked +
                "  warn  10.9.9.9      asked about" + blocked);
}

TEST_F(DoctorForecast, TheWorstComesFirst) {
  SetAdministrator();
  EXPECT_EQ(ExamineProfile(kHalves, {"--from", "10.9.9.9", "--from", "192.168.1.50"}), 10);
  const std::string group = Group("forecast");
  EXPECT_LT(group.find("  warn  10.9.9.9 "), group.find("  ok    203.0.113.5 "));
  EXPECT_LT(group.find("  ok    203.0.113.5 "), group.find("  ok    192.168.1.50 "));
}

TEST_F(DoctorForecast, ARefusalIsAFailure) {
  side.interface_metrics[12] = 25;
  SetAdministrator();
  EXPECT_EQ(ExamineProfile(kHalves), 11);
  EXPECT_EQ(Group("forecast"),
            "  ok    profile      AllowedIPs 0.0.0.0/1, 128.0.0.0/1, Address 10.7.3.9/32\n"
            "  FAIL  203.0.113.5  named by the settings: the connect would be refused: nothing "
            "would be started: admin_bypass_failed (route_add_failed)\n");
}

TEST_F(DoctorForecast, ARefusalIsNoRiskToSomebodyWhoIsConnected) {
  side.interface_metrics[12] = 25;
  SetAdministrator();
  machine.connections.AddEstablished(3389, "203.0.113.5");
  EXPECT_EQ(ExamineProfile(kHalves), 11);
}

TEST_F(DoctorForecast, WhatAClientSaysOfItselfIsANote) {
  machine.sessions.AddSession(2, 1);
  machine.sessions.SetClientAddress(2, "198.51.100.9");
  EXPECT_EQ(ExamineProfile(kHalves), 0);
  EXPECT_EQ(
      Group("forecast"),
      "  ok    profile       AllowedIPs 0.0.0.0/1, 128.0.0.0/1, Address 10.7.3.9/32\n"
      "  note  198.51.100.9  address that a session's client claims: would be lost to the "
      "tunnel: its packets would leave by the tunnel, which takes 128.0.0.0/1; the address is "
      "what the client says of itself and proves nothing about the person\n"
      "                      fix: pin it, by naming it in ADMIN_BYPASS_IP with the "
      "default-route guard off, or keep its network out of AllowedIPs and Address\n");
}

TEST_F(DoctorForecast, WithoutAProfileThoseWhoAreConnectedAreAtRisk) {
  machine.connections.AddEstablished(3389, "203.0.113.5");
  EXPECT_EQ(ExamineService(), 12);
  EXPECT_EQ(
      Group("forecast"),
      "  note  profile      none is given, so the question is asked for 0.0.0.0/0, ::/0, with "
      "which the WireGuard library blocks everything outside the tunnel\n"
      "                     fix: .\\veltranectl doctor PROFILE\n"
      "  RISK  203.0.113.5  connected over Remote Desktop to 192.168.1.10: would be blocked: "
      "a catch-all stands in for a profile\n");
}

TEST_F(DoctorForecast, SettingsThatAreNotProvedAreNamed) {
  machine.FailAlways("ReadProcessStart", 5);
  machine.connections.AddEstablished(3389, "203.0.113.5");
  EXPECT_EQ(ExamineProfile(kHalves), 12);
  EXPECT_NE(
      Group("forecast")
          .find("; that depends on VELTRANE_POC_DISABLE_DEFAULT_ROUTE, VELTRANE_POC_ADMIN_BYPASS, "
                "ADMIN_BYPASS_IP, ADMIN_BYPASS_IPS, whose value in the service is not known\n"),
      std::string::npos);
}

TEST_F(DoctorForecast, AConnectionTableThatCannotBeReadIsARisk) {
  machine.FailAlways("ReadEstablishedConnections", 5);
  EXPECT_EQ(ExamineProfile("10.66.66.0/24"), 12);
  EXPECT_NE(Group("forecast")
                .find("  RISK  connections  not everyone who is connected over Remote "
                      "Desktop can be found\n"
                      "                     fix: netstat -ano -p TCP\n"),
            std::string::npos);
}

TEST_F(DoctorForecast, ASessionWhoseConnectionIsNotFoundIsARisk) {
  machine.sessions.SetRemoteSession(true);
  EXPECT_EQ(ExamineProfile("10.66.66.0/24"), 12);
  EXPECT_NE(Group("forecast")
                .find("  RISK  this session  a Remote Desktop session, but the "
                      "connection that it comes over is not to be found\n"),
            std::string::npos);
}

TEST_F(DoctorForecast, ARemoteSessionWithoutAConnectionIsARisk) {
  machine.connections.AddEstablished(3389, "192.168.1.50");
  machine.sessions.AddActive(2, "192.168.1.50");
  machine.sessions.AddActive(3, "192.168.1.51");
  EXPECT_EQ(ExamineProfile("10.66.66.0/24"), 12);
  EXPECT_NE(Group("forecast")
                .find("  RISK  sessions      somebody is connected whom the forecast does not see "
                      "(active remote sessions: 2, Remote Desktop connections: 1)\n"),
            std::string::npos);
}

TEST_F(DoctorForecast, SessionsThatCannotBeReadAreARisk) {
  machine.FailAlways("ReadSessions", 5);
  EXPECT_EQ(ExamineProfile("10.66.66.0/24"), 12);
  EXPECT_NE(
      Group("forecast")
          .find("  RISK  connections  not everyone who is connected over Remote Desktop can be "
                "found\n"),
      std::string::npos);
}

TEST_F(DoctorForecast, InConsoleModeTheSettingsAreAssumed) {
  machine.environment.SetProcess(L"ADMIN_BYPASS_IP", L"203.0.113.5");
  machine.files.AddFile(L"C:\\profiles\\fra.json", JsonProfileText("fra-1", kHalves));
  ServePipe();
  EXPECT_EQ(Run({"doctor", "C:\\profiles\\fra.json", "--any-server"}), 0);
  EXPECT_EQ(
      Group("forecast"),
      "  ok    profile      AllowedIPs 0.0.0.0/1, 128.0.0.0/1, Address 10.7.3.9/32\n"
      "  note  settings     assumed: the service is taken to have this process's environment\n"
      "  ok    203.0.113.5  named by the settings: stays: by 192.168.1.1 on interface 12, as "
      "today\n");
}

TEST_F(DoctorForecast, HalvesWithoutTheGuardAreWhatTheyAre) {
  EXPECT_EQ(ExamineProfile("128.0.0.0/1, 0.0.0.0/1"), 0);
  EXPECT_EQ(Group("forecast").find("halves"), std::string::npos);
}

TEST_F(DoctorForecast, HalvesUnderTheGuardAreAWarning) {
  machine.environment.SetMachine(L"VELTRANE_POC_DISABLE_DEFAULT_ROUTE", L"1");
  EXPECT_EQ(ExamineProfile("::/1, 8000::/1"), 10);
  EXPECT_EQ(
      Group("forecast"),
      "  ok    profile  AllowedIPs ::/1, 8000::/1, Address 10.7.3.9/32\n"
      "  warn  halves   the default-route guard is on, or may be: it does not see a catch-all "
      "in halves, and nobody is pinned under it\n"
      "  note  nobody   no Remote Desktop connection, and no setting names an address: ask for "
      "one with --from ADDRESS\n");
}

TEST_F(DoctorForecast, HalvesMayBeInPiecesThemselves) {
  machine.environment.SetMachine(L"VELTRANE_POC_DISABLE_DEFAULT_ROUTE", L"1");
  EXPECT_EQ(ExamineProfile("0.0.0.0/2, 64.0.0.0/2, 128.0.0.0/1"), 10);
  EXPECT_NE(Group("forecast").find("  warn  halves "), std::string::npos);
}

TEST_F(DoctorForecast, OneHalfIsNoCatchAll) {
  machine.environment.SetMachine(L"VELTRANE_POC_DISABLE_DEFAULT_ROUTE", L"1");
  EXPECT_EQ(ExamineProfile("0.0.0.0/1, 8000::/1"), 0);
}

TEST_F(DoctorForecast, AsJsonItIsAMemberOfItsOwn) {
  SetAdministrator();
  EXPECT_EQ(ExamineProfile(kHalves, {"--json"}), 0);
  RecordProperty("doctor", side.Output());
  const std::string output = side.Output();
  EXPECT_EQ(output.substr(output.find("\"forecast\":[")),
            R"("forecast":[{"address":"203.0.113.5","reason":"setting","now":{"kind":"physical",)"
            R"("interface":12,"next_hop":"192.168.1.1"},"after":{"kind":"physical",)"
            R"("interface":12,"next_hop":"192.168.1.1"},"verdict":"stays",)"
            R"("detail":"by 192.168.1.1 on interface 12, as today"}]})"
            "\n");
}

TEST_F(DoctorForecast, AProfileThatCannotBeUsedEndsIt) {
  EXPECT_EQ(Run({"doctor", "C:\\profiles\\none.conf"}), 3);
  EXPECT_EQ(side.Output(), "");
  EXPECT_EQ(side.Error(), "veltranectl: C:\\profiles\\none.conf: no such file: check the path\n");
}

TEST_F(DoctorForecast, AProfileMayComeFromStandardInput) {
  side.input = kConfText;
  StartService();
  EXPECT_EQ(Run({"doctor", "-"}), 0);
  EXPECT_NE(Group("forecast").find("AllowedIPs 10.66.66.0/24, Address 10.66.66.7/32\n"),
            std::string::npos);
}

}  // namespace
}  // namespace veltrane
