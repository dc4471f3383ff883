#include "client/doctor/doctor.h"

#include <gmock/gmock.h>

#include "tests/client/doctor/on_examined_machine.h"

namespace veltrane {
namespace {

using testing::StartsWith;

using Doctor = OnExaminedMachine;

TEST_F(Doctor, AMachineThatIsFine) {
  SetAdministrator();
  EXPECT_EQ(ExamineService(), 0);
  EXPECT_EQ(
      side.Output(),
      "service\n"
      "  ok    installed     as VeltraneVpnTunnel\n"
      "  ok    running       as process 4711\n"
      "  ok    command line  \"C:\\Program Files\\Veltrane\\VeltraneVpnService.exe\" "
      "--run-as-service\n"
      "  ok    account       LocalSystem\n"
      "pipe\n"
      "  ok    served   by the service's process\n"
      "  ok    answers  disconnected\n"
      "tunnel library\n"
      "  ok    tunnel.dll  C:\\Program Files\\Veltrane\\tunnel.dll exports WireGuardTunnelService\n"
      "program\n"
      "  ok    folder      C:\\Program Files\\Veltrane can be written by LocalSystem and "
      "Administrators alone\n"
      "  ok    executable  C:\\Program Files\\Veltrane\\VeltraneVpnService.exe can be written by "
      "LocalSystem and Administrators alone\n"
      "  ok    tunnel.dll  C:\\Program Files\\Veltrane\\tunnel.dll can be written by LocalSystem "
      "and Administrators alone\n"
      "settings\n"
      "  ok    VELTRANE_POC_DISABLE_DEFAULT_ROUTE                    not set: AllowedIPs are used "
      "as they are\n"
      "  ok    VELTRANE_POC_AUTO_STOP_SECONDS                        not set: the tunnel stays up\n"
      "  ok    VELTRANE_POC_DISABLE_ALL_NETWORK_MUTATION_ON_STARTUP  not set: startup is not "
      "guarded\n"
      "  note  VELTRANE_POC_ADMIN_BYPASS                             not set: the bypass is on, "
      "decided by the addresses below\n"
      "  ok    ADMIN_BYPASS_IP                                       \"203.0.113.5\" in the "
      "machine scope: 1 address; the running service may see an older machine value until Windows "
      "restarts\n"
      "  ok    ADMIN_BYPASS_IPS                                      not set: adds no address\n"
      "session\n"
      "  ok    Remote Desktop  this is not a Remote Desktop session\n"
      "bypass\n"
      "  ok    203.0.113.5  required, named by ADMIN_BYPASS_IP\n"
      "environment\n"
      "  note  order      the service reads its own Environment value as it was when the service "
      "started, then the machine scope as it was when Windows started, then the machine scope now; "
      "what it was then cannot be read (docs/limits.md)\n"
      "  ok    own value  none\n"
      "network\n"
      "  ok    gateway       192.168.1.1 on interface 12, Ethernet\n"
      "  ok    route metric  interface 12 has metric 1: a pinned route with metric 1 can be "
      "created and is accepted\n"
      "leftovers\n"
      "  ok    tunnel service        none\n"
      "  ok    active.conf           none\n"
      "  ok    tunnel default route  none\n"
      "configuration\n"
      "  ok    folder  C:\\ProgramData\\Veltrane\\tunnels will be created by the first connect\n"
      "forecast\n"
      "  note  profile      none is given, so the question is asked for 0.0.0.0/0, ::/0, with "
      "which the "
      "WireGuard library blocks everything outside the tunnel\n"
      "                     fix: .\\veltranectl doctor PROFILE\n"
      "  note  203.0.113.5  named by the settings: would be blocked: a catch-all stands in for a "
      "profile\n"
      "\n"
      "Run the commands as administrator, in a command prompt or in PowerShell.\n"
      "\n"
      "Connecting should work.\n");
  EXPECT_EQ(side.Error(), "");
}

TEST_F(Doctor, ChangesNothing) {
  SetAdministrator();
  StartService();
  machine.calls.Clear();
  Run({"doctor"});
  EXPECT_EQ(machine.Changes(), std::vector<std::string>());
}

TEST_F(Doctor, AMachineWithoutTheService) {
  EXPECT_EQ(Run({"doctor"}), 11);
  EXPECT_EQ(
      side.Output(),
      "service\n"
      "  FAIL  installed  no\n"
      "                   fix: .\\VeltraneVpnService.exe --install\n"
      "pipe\n"
      "  note  served  no pipe while the service is not running\n"
      "tunnel library\n"
      "  ok    tunnel.dll  C:\\Program Files\\Veltrane\\tunnel.dll exports WireGuardTunnelService\n"
      "program\n"
      "  ok    folder      C:\\Program Files\\Veltrane can be written by LocalSystem and "
      "Administrators alone\n"
      "  ok    tunnel.dll  C:\\Program Files\\Veltrane\\tunnel.dll can be written by LocalSystem "
      "and Administrators alone\n"
      "settings\n"
      "  ok    VELTRANE_POC_DISABLE_DEFAULT_ROUTE                    not set: AllowedIPs are used "
      "as they are\n"
      "  ok    VELTRANE_POC_AUTO_STOP_SECONDS                        not set: the tunnel stays up\n"
      "  ok    VELTRANE_POC_DISABLE_ALL_NETWORK_MUTATION_ON_STARTUP  not set: startup is not "
      "guarded\n"
      "  note  VELTRANE_POC_ADMIN_BYPASS                             not set: the bypass is off, "
      "decided by the addresses below\n"
      "  ok    ADMIN_BYPASS_IP                                       not set: adds no address\n"
      "  ok    ADMIN_BYPASS_IPS                                      not set: adds no address\n"
      "session\n"
      "  ok    Remote Desktop  this is not a Remote Desktop session\n"
      "bypass\n"
      "  note  pinned routes  none, the bypass is off\n"
      "environment\n"
      "  note  order      the service reads its own Environment value as it was when the service "
      "started, then the machine scope as it was when Windows started, then the machine scope now; "
      "what it was then cannot be read (docs/limits.md)\n"
      "  ok    own value  none\n"
      "network\n"
      "  ok    gateway       192.168.1.1 on interface 12, Ethernet\n"
      "  ok    route metric  interface 12 has metric 1: a pinned route with metric 1 can be "
      "created and is accepted\n"
      "leftovers\n"
      "  ok    tunnel service        none\n"
      "  ok    active.conf           none\n"
      "  ok    tunnel default route  none\n"
      "configuration\n"
      "  ok    folder  C:\\ProgramData\\Veltrane\\tunnels will be created by the first connect\n"
      "forecast\n"
      "  note  profile  none is given, so the question is asked for 0.0.0.0/0, ::/0, with which "
      "the "
      "WireGuard library blocks everything outside the tunnel\n"
      "                 fix: .\\veltranectl doctor PROFILE\n"
      "  note  nobody   no Remote Desktop connection, and no setting names an address: ask for one "
      "with --from ADDRESS\n"
      "\n"
      "Run the commands as administrator, in a command prompt or in PowerShell.\n"
      "\n"
      "Connecting would fail: 1 failure, 0 warnings.\n");
}

TEST_F(Doctor, JsonCallsAMachineFine) {
  SetAdministrator();
  StartService();
  EXPECT_EQ(Run({"doctor", "--json"}), 0);
  EXPECT_THAT(side.Output(),
              StartsWith(R"({"verdict":"fine","risks":0,"failures":0,"warnings":0,"findings":[)"));
}

TEST_F(Doctor, JsonCountsWarnings) {
  machine.routes.Clear();
  StartService();
  EXPECT_EQ(Run({"doctor", "--json"}), 10);
  EXPECT_THAT(
      side.Output(),
      StartsWith(R"({"verdict":"warnings","risks":0,"failures":0,"warnings":1,"findings":[)"));
}

TEST_F(Doctor, JsonCountsRisks) {
  machine.connections.AddEstablished(3389, "198.51.100.7");
  StartService();
  EXPECT_EQ(Run({"doctor", "--json"}), 12);
  EXPECT_THAT(side.Output(),
              StartsWith(R"({"verdict":"risk","risks":1,"failures":0,"warnings":0,"findings":[)"));
}

TEST_F(Doctor, JsonHasTheSameFindings) {
  EXPECT_EQ(Run({"doctor", "--json"}), 11);
  RecordProperty("doctor", side.Output());
  EXPECT_EQ(
      side.Output(),
      R"({"verdict":"refused","risks":0,"failures":1,"warnings":0,"findings":[{"group":"service")"
      R"(,"check":"installed","mark":"fail","finding":"no")"
      R"(,"fix":".\\VeltraneVpnService.exe --install"},{)"
      R"("group":"pipe","check":"served","mark":"note")"
      R"(,"finding":"no pipe while the service is not running"},{)"
      R"("group":"tunnel library","check":"tunnel.dll","mark":"ok")"
      R"(,"finding":"C:\\Program Files\\Veltrane\\tunnel.dll exports WireGuardTunnelService"})"
      R"(,{)"
      R"("group":"program","check":"folder","mark":"ok")"
      R"(,"finding":"C:\\Program Files\\Veltrane can be written by LocalSystem and )"
      R"(Administrators alone"},{)"
      R"("group":"program","check":"tunnel.dll","mark":"ok")"
      R"(,"finding":"C:\\Program Files\\Veltrane\\tunnel.dll can be written by LocalSystem and )"
      R"(Administrators alone"},{)"
      R"("group":"settings","check":"VELTRANE_POC_DISABLE_DEFAULT_ROUTE","mark":"ok")"
      R"(,"finding":"not set: AllowedIPs are used as they are"},{)"
      R"("group":"settings","check":"VELTRANE_POC_AUTO_STOP_SECONDS","mark":"ok")"
      R"(,"finding":"not set: the tunnel stays up"},{)"
      R"("group":"settings","check":"VELTRANE_POC_DISABLE_ALL_NETWORK_MUTATION_ON_STARTUP")"
      R"(,"mark":"ok","finding":"not set: startup is not guarded"},{)"
      R"("group":"settings","check":"VELTRANE_POC_ADMIN_BYPASS","mark":"note")"
      R"(,"finding":"not set: the bypass is off, decided by the addresses below"},{)"
      R"("group":"settings","check":"ADMIN_BYPASS_IP","mark":"ok")"
      R"(,"finding":"not set: adds no address"},{)"
      R"("group":"settings","check":"ADMIN_BYPASS_IPS","mark":"ok")"
      R"(,"finding":"not set: adds no address"},{)"
      R"("group":"session","check":"Remote Desktop","mark":"ok")"
      R"(,"finding":"this is not a Remote Desktop session"},{)"
      R"("group":"bypass","check":"pinned routes","mark":"note")"
      R"(,"finding":"none, the bypass is off"},{)"
      R"("group":"environment","check":"order","mark":"note")"
      R"(,"finding":"the service reads its own Environment value as it was when the service )"
      R"(started, then the machine scope as it was when Windows started, then the machine scope )"
      R"j(now; what it was then cannot be read (docs/limits.md)"},{)j"
      R"("group":"environment","check":"own value","mark":"ok","finding":"none"},{)"
      R"("group":"network","check":"gateway","mark":"ok")"
      R"(,"finding":"192.168.1.1 on interface 12, Ethernet"},{)"
      R"("group":"network","check":"route metric","mark":"ok")"
      R"(,"finding":"interface 12 has metric 1: a pinned route with metric 1 can be )"
      R"(created and is accepted"},{)"
      R"("group":"leftovers","check":"tunnel service","mark":"ok","finding":"none"},{)"
      R"("group":"leftovers","check":"active.conf","mark":"ok","finding":"none"},{)"
      R"("group":"leftovers","check":"tunnel default route","mark":"ok","finding":"none"},{)"
      R"("group":"configuration","check":"folder","mark":"ok")"
      R"(,"finding":"C:\\ProgramData\\Veltrane\\tunnels will be created by the first connect"},{)"
      R"("group":"forecast","check":"profile","mark":"note")"
      R"(,"finding":"none is given, so the question is asked for 0.0.0.0/0, ::/0, with which the )"
      R"(WireGuard library blocks everything outside the tunnel")"
      R"(,"fix":".\\veltranectl doctor PROFILE"},{)"
      R"("group":"forecast","check":"nobody","mark":"note")"
      R"(,"finding":"no Remote Desktop connection, and no setting names an address: ask for one )"
      R"(with --from ADDRESS"}],"forecast":[]})"
      "\n");
}

TEST_F(Doctor, ATerminalGetsColours) {
  side.SetTerminal(Stream::kOutput, 80);
  EXPECT_EQ(Run({"doctor"}), 11);
  EXPECT_EQ(side.Output().substr(0, 74),
            "\x1b[1mservice\x1b[0m\n"
            "  \x1b[31mFAIL  \x1b[0minstalled  no\n"
            "                   fix: .\\V");
}

}  // namespace
}  // namespace veltrane
