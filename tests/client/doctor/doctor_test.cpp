// The preflight over machines in each state.

#include "client/doctor/doctor.h"

#include "tests/client/doctor/tunnel_library.h"
#include "tests/client/on_client_machine.h"

namespace veltrane {
namespace {

class Doctor : public OnClientMachine {
 protected:
  Doctor() {
    AddLibrary(TunnelLibrary("WireGuardTunnelService"));
    side.interface_metrics[12] = 1;
  }

  void AddLibrary(const std::string& bytes) {
    machine.files.AddFile(L"C:\\Program Files\\Veltrane\\tunnel.dll", bytes);
  }

  // The lines of one group, without its heading.
  std::string Group(const std::string& name) const {
    const std::string output = "\n" + side.Output();
    const std::size_t heading = output.find("\n" + name + "\n");
    if (heading == std::string::npos) return "(none)";
    const std::size_t begin = heading + name.size() + 2;
    std::size_t end = begin;
    while (output.compare(end, 2, "  ") == 0) end = output.find('\n', end) + 1;
    return output.substr(begin, end - begin);
  }

  std::string Verdict() const {
    const std::string output = side.Output();
    return output.substr(output.rfind("\n\n") + 2);
  }

  // An administrator at 203.0.113.5 who is protected.
  void SetAdministrator() { machine.environment.SetMachine(L"ADMIN_BYPASS_IP", L"203.0.113.5"); }
};

TEST_F(Doctor, AMachineOnWhichAllIsWell) {
  SetAdministrator();
  StartService();
  EXPECT_EQ(Run({"doctor"}), 0);
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
      "settings\n"
      "  ok    VELTRANE_POC_DISABLE_DEFAULT_ROUTE                    not set: AllowedIPs are used "
      "as they are\n"
      "  ok    VELTRANE_POC_AUTO_STOP_SECONDS                        not set: the tunnel stays up\n"
      "  ok    VELTRANE_POC_DISABLE_ALL_NETWORK_MUTATION_ON_STARTUP  not set: startup is not "
      "guarded\n"
      "  note  VELTRANE_POC_ADMIN_BYPASS                             not set: the bypass is on, "
      "decided by the addresses below\n"
      "  ok    ADMIN_BYPASS_IP                                       \"203.0.113.5\" in the "
      "machine scope: 1 address\n"
      "  ok    ADMIN_BYPASS_IPS                                      not set: adds no address\n"
      "session\n"
      "  ok    Remote Desktop  this is not a Remote Desktop session\n"
      "bypass\n"
      "  ok    203.0.113.5  required, named by ADMIN_BYPASS_IP\n"
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
  EXPECT_EQ(Run({"doctor"}), 2);
  EXPECT_EQ(
      side.Output(),
      "service\n"
      "  FAIL  installed  no\n"
      "                   fix: VeltraneVpnService.exe --install\n"
      "pipe\n"
      "  note  served  no pipe while the service is not running\n"
      "tunnel library\n"
      "  ok    tunnel.dll  C:\\Program Files\\Veltrane\\tunnel.dll exports WireGuardTunnelService\n"
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
      "\n"
      "Run the commands in a command prompt (cmd) as administrator.\n"
      "\n"
      "Connecting would fail: 1 failure, 0 warnings.\n");
}

TEST_F(Doctor, TheSameForMachines) {
  EXPECT_EQ(Run({"doctor", "--json"}), 2);
  EXPECT_EQ(
      side.Output(),
      R"({"verdict":"refused","failures":1,"warnings":0,"findings":[{"group":"service")"
      R"(,"check":"installed","mark":"fail","finding":"no")"
      R"(,"fix":"VeltraneVpnService.exe --install"},{)"
      R"("group":"pipe","check":"served","mark":"note")"
      R"(,"finding":"no pipe while the service is not running"},{)"
      R"("group":"tunnel library","check":"tunnel.dll","mark":"ok")"
      R"(,"finding":"C:\\Program Files\\Veltrane\\tunnel.dll exports WireGuardTunnelService"})"
      R"(,{)"
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
      R"("group":"network","check":"gateway","mark":"ok")"
      R"(,"finding":"192.168.1.1 on interface 12, Ethernet"},{)"
      R"("group":"network","check":"route metric","mark":"ok")"
      R"(,"finding":"interface 12 has metric 1: a pinned route with metric 1 can be )"
      R"(created and is accepted"},{)"
      R"("group":"leftovers","check":"tunnel service","mark":"ok","finding":"none"},{)"
      R"("group":"leftovers","check":"active.conf","mark":"ok","finding":"none"},{)"
      R"("group":"leftovers","check":"tunnel default route","mark":"ok","finding":"none"},{)"
      R"("group":"configuration","check":"folder","mark":"ok")"
      R"(,"finding":"C:\\ProgramData\\Veltrane\\tunnels will be created by the first connect"}]})"
      "\n");
}

TEST_F(Doctor, AServiceThatIsStopped) {
  InstallService();
  EXPECT_EQ(Run({"doctor"}), 2);
  EXPECT_EQ(Group("service"),
            "  ok    installed     as VeltraneVpnTunnel\n"
            "  FAIL  running       stopped\n"
            "                      fix: sc start VeltraneVpnTunnel\n"
            "  ok    command line  \"C:\\Program Files\\Veltrane\\VeltraneVpnService.exe\" "
            "--run-as-service\n"
            "  ok    account       LocalSystem\n");
  EXPECT_EQ(Group("pipe"), "  note  served  no pipe while the service is not running\n");
  EXPECT_EQ(Verdict(), "Connecting would fail: 1 failure, 0 warnings.\n");
}

TEST_F(Doctor, AServiceWhoseProgramHasGone) {
  ServiceSettings settings;
  settings.name = L"VeltraneVpnTunnel";
  settings.command_line = L"\"D:\\old\\VeltraneVpnService.exe\" --run-as-service";
  machine.services.Add(settings);
  EXPECT_EQ(Run({"doctor"}), 2);
  EXPECT_EQ(Group("service"),
            "  ok    installed     as VeltraneVpnTunnel\n"
            "  FAIL  running       stopped\n"
            "                      fix: sc start VeltraneVpnTunnel\n"
            "  FAIL  command line  \"D:\\old\\VeltraneVpnService.exe\" --run-as-service, whose "
            "program does not exist\n"
            "                      fix: VeltraneVpnService.exe --uninstall, then "
            "VeltraneVpnService.exe --install\n"
            "  ok    account       LocalSystem\n");
}

TEST_F(Doctor, AServiceThatIsRegisteredOtherwise) {
  ServiceSettings settings;
  settings.name = L"VeltraneVpnTunnel";
  settings.command_line = kProgram.substr(0, 2) + L"\\veltrane.exe --console";
  machine.services.Add(settings, simulated::kRunning);
  machine.files.AddFile(L"C:\\veltrane.exe", "MZ");
  side.account = L".\\administrator";
  ServePipe();
  EXPECT_EQ(Run({"doctor"}), 2);
  EXPECT_EQ(
      Group("service"),
      "  ok    installed     as VeltraneVpnTunnel\n"
      "  ok    running       as process 4711\n"
      "  warn  command line  C:\\veltrane.exe --console, which is not what --install registers\n"
      "                      fix: VeltraneVpnService.exe --uninstall, then VeltraneVpnService.exe "
      "--install\n"
      "  warn  account       .\\administrator, which may lack the rights it needs\n"
      "                      fix: sc config VeltraneVpnTunnel obj= LocalSystem\n");
  EXPECT_EQ(Group("tunnel library"),
            "  FAIL  tunnel.dll  C:\\tunnel.dll cannot be read (Windows error 2)\n"
            "                    fix: copy tunnel.dll \"C:\\tunnel.dll\"\n");
}

TEST_F(Doctor, AServiceThatCannotBeAskedAbout) {
  side.service_facts_error = 5;
  EXPECT_EQ(Run({"doctor"}), 2);
  EXPECT_EQ(Group("service"),
            "  FAIL  installed  the service's state cannot be read (Windows error 5)\n"
            "                   fix: sc qc VeltraneVpnTunnel\n");
}

TEST_F(Doctor, AnImpostorBehindThePipe) {
  StartService();
  side.pipe_server = 666;
  EXPECT_EQ(Run({"doctor"}), 2);
  EXPECT_EQ(Group("pipe"),
            "  FAIL  served  the pipe is served by process 666, but the service is process 4711\n"
            "                fix: veltranectl doctor --any-server, if that is the service in "
            "console mode\n");
}

TEST_F(Doctor, APipeThatIsBusy) {
  StartService();
  simulated::PipeClient other;
  other.Connect();
  side.OnWaitForPipe([](std::uint32_t) { return 121; });
  EXPECT_EQ(Run({"doctor"}), 1);
  EXPECT_EQ(Group("pipe"),
            "  warn  served  the service has been busy with another client for 2 s\n"
            "                fix: veltranectl doctor, when that client has finished\n");
  other.Close();
}

TEST_F(Doctor, ConsoleModeNeedsNoInstalledService) {
  machine.libraries.SetExecutablePath(L"C:\\Program Files\\Veltrane\\veltranectl.exe");
  ServePipe();
  EXPECT_EQ(Run({"doctor", "--any-server"}), 0);
  EXPECT_EQ(Group("service"), "  note  installed  no, but console mode does not need it\n");
  EXPECT_EQ(Group("pipe"),
            "  ok    served   by a program that was not checked\n"
            "  ok    answers  disconnected\n");
  EXPECT_EQ(Verdict(), "Connecting should work.\n");
}

TEST_F(Doctor, AMissingTunnelLibrary) {
  machine.files.Remove(L"C:\\Program Files\\Veltrane\\tunnel.dll");
  StartService();
  EXPECT_EQ(Run({"doctor"}), 2);
  EXPECT_EQ(
      Group("tunnel library"),
      "  FAIL  tunnel.dll  C:\\Program Files\\Veltrane\\tunnel.dll cannot be read (Windows error "
      "2)\n"
      "                    fix: copy tunnel.dll \"C:\\Program Files\\Veltrane\\tunnel.dll\"\n");
}

TEST_F(Doctor, ATunnelLibraryThatIsNone) {
  AddLibrary("not a library");
  StartService();
  EXPECT_EQ(Run({"doctor"}), 2);
  EXPECT_EQ(
      Group("tunnel library"),
      "  FAIL  tunnel.dll  C:\\Program Files\\Veltrane\\tunnel.dll is not a Windows library\n"
      "                    fix: copy tunnel.dll \"C:\\Program Files\\Veltrane\\tunnel.dll\"\n");
}

TEST_F(Doctor, ATunnelLibraryFor32Bit) {
  std::string library = TunnelLibrary("WireGuardTunnelService");
  library.replace(0x84, 2, "\x4C\x01");
  AddLibrary(library);
  StartService();
  EXPECT_EQ(Run({"doctor"}), 2);
  EXPECT_EQ(
      Group("tunnel library"),
      "  FAIL  tunnel.dll  C:\\Program Files\\Veltrane\\tunnel.dll is not for 64-bit x86\n"
      "                    fix: copy tunnel.dll \"C:\\Program Files\\Veltrane\\tunnel.dll\"\n");
}

TEST_F(Doctor, ATunnelLibraryWithoutTheExport) {
  AddLibrary(TunnelLibrary("WireGuardGenerateKeypair"));
  StartService();
  EXPECT_EQ(Run({"doctor"}), 2);
  EXPECT_EQ(
      Group("tunnel library"),
      "  FAIL  tunnel.dll  C:\\Program Files\\Veltrane\\tunnel.dll does not export "
      "WireGuardTunnelService\n"
      "                    fix: copy tunnel.dll \"C:\\Program Files\\Veltrane\\tunnel.dll\"\n");
}

TEST_F(Doctor, SettingsThatTheServiceSees) {
  machine.environment.SetMachine(L"VELTRANE_POC_DISABLE_DEFAULT_ROUTE", L"yes");
  machine.environment.SetMachine(L"VELTRANE_POC_AUTO_STOP_SECONDS", L"120");
  machine.environment.SetMachine(L"VELTRANE_POC_DISABLE_ALL_NETWORK_MUTATION_ON_STARTUP", L"1");
  machine.environment.SetMachine(L"ADMIN_BYPASS_IPS", L"203.0.113.5,198.51.100.7");
  StartService();
  EXPECT_EQ(Run({"doctor"}), 0);
  EXPECT_EQ(
      Group("settings"),
      "  ok    VELTRANE_POC_DISABLE_DEFAULT_ROUTE                    \"yes\" in the machine scope: "
      "catch-all AllowedIPs are replaced and DNS is dropped\n"
      "  ok    VELTRANE_POC_AUTO_STOP_SECONDS                        \"120\" in the machine scope: "
      "the tunnel is torn down after 120 s\n"
      "  ok    VELTRANE_POC_DISABLE_ALL_NETWORK_MUTATION_ON_STARTUP  \"1\" in the machine scope: "
      "the service exits rather than change the network before a client asks\n"
      "  note  VELTRANE_POC_ADMIN_BYPASS                             not set: the bypass is on, "
      "decided by the addresses below\n"
      "  ok    ADMIN_BYPASS_IP                                       not set: adds no address\n"
      "  ok    ADMIN_BYPASS_IPS                                      \"203.0.113.5,198.51.100.7\" "
      "in the machine scope: 2 addresses\n");
  EXPECT_EQ(Group("bypass"),
            "  note  pinned routes  none, the default-route guard is on\n"
            "  ok    198.51.100.7   required, named by ADMIN_BYPASS_IPS\n"
            "  ok    203.0.113.5    required, named by ADMIN_BYPASS_IPS\n");
}

TEST_F(Doctor, SettingsThatTheServiceDoesNotSee) {
  machine.environment.SetProcess(L"VELTRANE_POC_DISABLE_DEFAULT_ROUTE", L"1");
  machine.environment.SetMachine(L"VELTRANE_POC_AUTO_STOP_SECONDS", L"120");
  machine.environment.SetProcess(L"VELTRANE_POC_AUTO_STOP_SECONDS", L"60");
  machine.environment.SetUser(L"ADMIN_BYPASS_IP", L"203.0.113.5");
  machine.environment.SetProcess(L"VELTRANE_POC_ADMIN_BYPASS", L"1");
  StartService();
  EXPECT_EQ(Run({"doctor"}), 1);
  EXPECT_EQ(
      Group("settings"),
      "  warn  VELTRANE_POC_DISABLE_DEFAULT_ROUTE                    \"1\" in the process scope: "
      "catch-all AllowedIPs are replaced and DNS is dropped; the service does not see it, because "
      "the machine scope does not have it\n"
      "                                                              fix: setx "
      "VELTRANE_POC_DISABLE_DEFAULT_ROUTE \"1\" /M\n"
      "  note  VELTRANE_POC_AUTO_STOP_SECONDS                        \"60\" in the process scope, "
      "\"120\" in the machine scope: the tunnel is torn down after 120 s; the service sees the "
      "machine scope's value\n"
      "  ok    VELTRANE_POC_DISABLE_ALL_NETWORK_MUTATION_ON_STARTUP  not set: startup is not "
      "guarded\n"
      "  note  VELTRANE_POC_ADMIN_BYPASS                             \"1\" in the process scope, "
      "which the service does not see: the bypass is off\n"
      "  warn  ADMIN_BYPASS_IP                                       \"203.0.113.5\" in the user "
      "scope: 1 address; the service does not see it, because the machine scope does not have it\n"
      "                                                              fix: setx ADMIN_BYPASS_IP "
      "\"203.0.113.5\" /M\n"
      "  ok    ADMIN_BYPASS_IPS                                      not set: adds no address\n");
}

TEST_F(Doctor, SettingsThatMeanNothing) {
  machine.environment.SetMachine(L"VELTRANE_POC_DISABLE_DEFAULT_ROUTE", L"enabled");
  machine.environment.SetMachine(L"VELTRANE_POC_AUTO_STOP_SECONDS", L"soon");
  machine.environment.SetMachine(L"VELTRANE_POC_ADMIN_BYPASS", L"off");
  machine.environment.SetMachine(L"ADMIN_BYPASS_IP", L"192.168.1.10 office");
  StartService();
  EXPECT_EQ(Run({"doctor"}), 2);
  EXPECT_EQ(
      Group("settings"),
      "  warn  VELTRANE_POC_DISABLE_DEFAULT_ROUTE                    \"enabled\" in the machine "
      "scope: AllowedIPs are used as they are\n"
      "                                                              fix: setx "
      "VELTRANE_POC_DISABLE_DEFAULT_ROUTE \"1\" /M\n"
      "  warn  VELTRANE_POC_AUTO_STOP_SECONDS                        \"soon\" in the machine "
      "scope: the tunnel stays up\n"
      "                                                              fix: setx "
      "VELTRANE_POC_AUTO_STOP_SECONDS \"600\" /M\n"
      "  ok    VELTRANE_POC_DISABLE_ALL_NETWORK_MUTATION_ON_STARTUP  not set: startup is not "
      "guarded\n"
      "  warn  VELTRANE_POC_ADMIN_BYPASS                             \"off\" in the machine scope, "
      "which the service ignores: the bypass is on; the service gets the machine scope's value "
      "when Windows starts\n"
      "                                                              fix: setx "
      "VELTRANE_POC_ADMIN_BYPASS \"1\" /M\n"
      "  warn  ADMIN_BYPASS_IP                                       \"192.168.1.10 office\" in "
      "the machine scope: 192.168.1.10 office ignored, not a public IPv4 address\n"
      "                                                              fix: setx ADMIN_BYPASS_IP "
      "<public address> /M\n"
      "  ok    ADMIN_BYPASS_IPS                                      not set: adds no address\n");
  EXPECT_EQ(Group("bypass"),
            "  FAIL  pinned routes  the bypass is on, but there is no required address\n"
            "                       fix: setx ADMIN_BYPASS_IP <your public address> /M\n");
}

TEST_F(Doctor, ASwitchThatTheServiceGetsWhenWindowsStarts) {
  machine.environment.SetMachine(L"VELTRANE_POC_ADMIN_BYPASS", L"0");
  machine.environment.SetProcess(L"VELTRANE_POC_ADMIN_BYPASS", L"1");
  SetAdministrator();
  StartService();
  EXPECT_EQ(Run({"doctor"}), 0);
  EXPECT_NE(Group("settings")
                .find("  note  VELTRANE_POC_ADMIN_BYPASS                             \"1\" in the "
                      "process scope, \"0\" in the machine scope: the bypass is off; the service "
                      "gets the machine scope's value when Windows starts\n"),
            std::string::npos);
  EXPECT_EQ(Group("bypass"), "  note  pinned routes  none, the bypass is off\n");
}

TEST_F(Doctor, ASwitchOfThisProcessCountsInConsoleMode) {
  machine.environment.SetMachine(L"VELTRANE_POC_ADMIN_BYPASS", L"0");
  machine.environment.SetProcess(L"VELTRANE_POC_ADMIN_BYPASS", L"1");
  machine.environment.SetProcess(L"ADMIN_BYPASS_IP", L"203.0.113.5");
  ServePipe();
  EXPECT_EQ(Run({"doctor", "--any-server"}), 0);
  EXPECT_EQ(Group("bypass"), "  ok    203.0.113.5  required, named by ADMIN_BYPASS_IP\n");
}

TEST_F(Doctor, AddressesThatTheServiceDoesNotSeeArePinnedByNobody) {
  machine.environment.SetMachine(L"ADMIN_BYPASS_IP", L"203.0.113.5");
  machine.environment.SetProcess(L"ADMIN_BYPASS_IP", L"203.0.113.6");
  machine.environment.SetUser(L"ADMIN_BYPASS_IPS", L"203.0.113.7");
  StartService();
  EXPECT_EQ(Run({"doctor"}), 1);
  EXPECT_EQ(Group("bypass"), "  ok    203.0.113.5  required, named by ADMIN_BYPASS_IP\n");
}

TEST_F(Doctor, ARemoteDesktopSessionWithoutTheGuard) {
  machine.sessions.SetRemoteSession(true);
  StartService();
  EXPECT_EQ(Run({"doctor"}), 1);
  EXPECT_EQ(Group("session"),
            "  warn  Remote Desktop  a Remote Desktop session without the default-route guard: a "
            "tunnel that takes the default route can cut it off, and a service in console mode "
            "would refuse to connect\n"
            "                        fix: setx VELTRANE_POC_DISABLE_DEFAULT_ROUTE \"1\" /M\n");
}

TEST_F(Doctor, ARemoteDesktopSessionInConsoleModeIsRefused) {
  machine.sessions.SetRemoteSession(true);
  ServePipe();
  EXPECT_EQ(Run({"doctor", "--any-server"}), 2);
  EXPECT_EQ(Group("session"),
            "  FAIL  Remote Desktop  a Remote Desktop session without the default-route guard: a "
            "service in console mode refuses every connect\n"
            "                        fix: setx VELTRANE_POC_DISABLE_DEFAULT_ROUTE \"1\" /M\n");
}

TEST_F(Doctor, ARemoteDesktopSessionWithTheGuard) {
  machine.sessions.SetRemoteSession(true);
  machine.environment.SetMachine(L"VELTRANE_POC_DISABLE_DEFAULT_ROUTE", L"1");
  StartService();
  EXPECT_EQ(Run({"doctor"}), 0);
  EXPECT_EQ(
      Group("session"),
      "  ok    Remote Desktop  a Remote Desktop session, and the default-route guard is on\n");
}

TEST_F(Doctor, ARemoteDesktopSessionWhoseGuardIsOverriddenInConsoleMode) {
  machine.sessions.SetRemoteSession(true);
  machine.environment.SetMachine(L"VELTRANE_POC_DISABLE_DEFAULT_ROUTE", L"1");
  machine.environment.SetProcess(L"VELTRANE_POC_DISABLE_DEFAULT_ROUTE", L"0");
  ServePipe();
  EXPECT_EQ(Run({"doctor", "--any-server"}), 2);
  EXPECT_EQ(Group("session"),
            "  FAIL  Remote Desktop  a Remote Desktop session, and another scope overrides the "
            "machine scope's guard\n"
            "                        fix: set VELTRANE_POC_DISABLE_DEFAULT_ROUTE=\n");
}

TEST_F(Doctor, AGuardOverriddenInThisProcessIsOnAllTheSameForTheService) {
  machine.sessions.SetRemoteSession(true);
  machine.environment.SetMachine(L"VELTRANE_POC_DISABLE_DEFAULT_ROUTE", L"1");
  machine.environment.SetProcess(L"VELTRANE_POC_DISABLE_DEFAULT_ROUTE", L"0");
  StartService();
  EXPECT_EQ(Run({"doctor"}), 0);
  EXPECT_EQ(
      Group("session"),
      "  ok    Remote Desktop  a Remote Desktop session, and the default-route guard is on\n");
}

TEST_F(Doctor, AddressesOfEverySource) {
  machine.environment.SetMachine(L"ADMIN_BYPASS_IP", L"203.0.113.5");
  machine.environment.SetMachine(L"ADMIN_BYPASS_IPS", L"203.0.113.6");
  machine.connections.AddEstablished(3389, "198.51.100.7");
  machine.sessions.AddActive(2, "198.51.100.9");
  machine.routes.Add("203.0.113.5/32", "192.168.1.1", 12, 1);
  StartService();
  EXPECT_EQ(Run({"doctor"}), 0);
  EXPECT_EQ(Group("bypass"),
            "  ok    198.51.100.7  required, an established Remote Desktop connection\n"
            "  ok    198.51.100.9  optional, the client of a Remote Desktop session\n"
            "  ok    203.0.113.5   required, named by ADMIN_BYPASS_IP, already pinned\n"
            "  ok    203.0.113.6   required, named by ADMIN_BYPASS_IPS\n");
}

TEST_F(Doctor, ABypassThatIsOnWithoutARequiredAddress) {
  machine.environment.SetMachine(L"VELTRANE_POC_ADMIN_BYPASS", L"1");
  machine.sessions.AddActive(2, "198.51.100.9");
  StartService();
  EXPECT_EQ(Run({"doctor"}), 2);
  EXPECT_EQ(Group("bypass"),
            "  ok    198.51.100.9   optional, the client of a Remote Desktop session\n"
            "  FAIL  pinned routes  the bypass is on, but there is no required address\n"
            "                       fix: setx ADMIN_BYPASS_IP <your public address> /M\n");
}

TEST_F(Doctor, ARemoteDesktopConnectionThatNothingProtects) {
  machine.connections.AddEstablished(3389, "198.51.100.7");
  machine.connections.AddEstablished(3389, "198.51.100.7");
  StartService();
  EXPECT_EQ(Run({"doctor"}), 1);
  EXPECT_EQ(
      Group("bypass"),
      "  note  pinned routes  none, the bypass is off\n"
      "  warn  198.51.100.7   an established Remote Desktop connection that nothing protects\n"
      "                       fix: setx ADMIN_BYPASS_IP \"198.51.100.7\" /M\n");
}

TEST_F(Doctor, NoGateway) {
  machine.routes.Clear();
  SetAdministrator();
  StartService();
  EXPECT_EQ(Run({"doctor"}), 2);
  EXPECT_EQ(Group("network"),
            "  FAIL  gateway  no default route with a gateway\n"
            "                 fix: route print -4\n");
}

TEST_F(Doctor, NoGatewayMattersLessWithoutTheBypass) {
  machine.routes.Clear();
  StartService();
  EXPECT_EQ(Run({"doctor"}), 1);
}

TEST_F(Doctor, AGatewayBehindATunnel) {
  machine.routes.AddInterface(12, L"Veltrane WireGuard");
  StartService();
  EXPECT_EQ(Run({"doctor"}), 1);
  EXPECT_EQ(Group("network"),
            "  warn  gateway       192.168.1.1 on interface 12, Veltrane WireGuard, a tunnel "
            "rather than the physical network\n"
            "                      fix: veltranectl disconnect\n"
            "  ok    route metric  interface 12 has metric 1: a pinned route with metric 1 can be "
            "created and is accepted\n");
}

TEST_F(Doctor, AnInterfaceMetricBelowWhichWindowsRefusesTheCreate) {
  side.interface_metrics[12] = 5;
  SetAdministrator();
  StartService();
  EXPECT_EQ(Run({"doctor"}), 2);
  EXPECT_EQ(Group("network"),
            "  ok    gateway       192.168.1.1 on interface 12, Ethernet\n"
            "  FAIL  route metric  interface 12 has metric 5: Windows refuses a route with metric "
            "1, below that of its interface\n"
            "                      fix: netsh interface ipv4 set interface 12 metric=1\n");
}

TEST_F(Doctor, AnInterfaceMetricWithWhichNoRouteCounts) {
  side.interface_metrics[12] = 25;
  SetAdministrator();
  StartService();
  EXPECT_EQ(Run({"doctor"}), 2);
  EXPECT_EQ(Group("network"),
            "  ok    gateway       192.168.1.1 on interface 12, Ethernet\n"
            "  FAIL  route metric  interface 12 has metric 25: Windows refuses a route with metric "
            "1, and the service accepts a pinned route only up to 15\n"
            "                      fix: netsh interface ipv4 set interface 12 metric=1\n");
}

TEST_F(Doctor, AnInterfaceMetricThatRoutesAlreadyThereGetAround) {
  side.interface_metrics[12] = 5;
  machine.routes.Add("203.0.113.5/32", "192.168.1.1", 12, 6);
  SetAdministrator();
  StartService();
  EXPECT_EQ(Run({"doctor"}), 1);
  EXPECT_EQ(Group("network"),
            "  ok    gateway       192.168.1.1 on interface 12, Ethernet\n"
            "  warn  route metric  interface 12 has metric 5: Windows refuses a route with metric "
            "1, below that of its interface; the existing routes are accepted\n"
            "                      fix: netsh interface ipv4 set interface 12 metric=1\n");
}

TEST_F(Doctor, AnInterfaceMetricMattersOnlyWithTheBypass) {
  side.interface_metrics[12] = 25;
  StartService();
  EXPECT_EQ(Run({"doctor"}), 0);
  EXPECT_EQ(Group("network"),
            "  ok    gateway       192.168.1.1 on interface 12, Ethernet\n"
            "  note  route metric  interface 12 has metric 25, which matters only once the bypass "
            "is on: Windows refuses a route with metric 1, and the service accepts a pinned route "
            "only up to 15\n");
}

TEST_F(Doctor, AnInterfaceMetricThatCannotBeRead) {
  side.interface_metrics.clear();
  SetAdministrator();
  StartService();
  EXPECT_EQ(Run({"doctor"}), 0);
  EXPECT_EQ(Group("network"),
            "  ok    gateway       192.168.1.1 on interface 12, Ethernet\n"
            "  note  route metric  the metric of interface 12 cannot be read\n");
}

TEST_F(Doctor, LeftoversOfAnEarlierRun) {
  machine.services.Add(L"VeltraneVpnTunnel$Active", simulated::kRunning);
  machine.files.AddFile(L"C:\\ProgramData\\Veltrane\\tunnels\\active.conf", "[Interface]\n");
  machine.files.AddFile(L"C:\\ProgramData\\Veltrane\\tunnels\\active.conf.tmp", "[Interface]\n");
  machine.routes.AddInterface(23, L"Veltrane Tunnel");
  machine.routes.Add("0.0.0.0/0", "10.66.66.1", 23, 100);
  StartService();
  EXPECT_EQ(Run({"doctor"}), 1);
  EXPECT_EQ(
      Group("leftovers"),
      "  warn  tunnel service        VeltraneVpnTunnel$Active is left over from an earlier run\n"
      "                              fix: veltranectl disconnect\n"
      "  warn  active.conf           C:\\ProgramData\\Veltrane\\tunnels\\active.conf is left over "
      "from an earlier run and may still contain a key\n"
      "                              fix: veltranectl disconnect\n"
      "  warn  active.conf.tmp       left by an interrupted write; it may contain a key\n"
      "                              fix: del "
      "\"C:\\ProgramData\\Veltrane\\tunnels\\active.conf.tmp\"\n"
      "  warn  tunnel default route  0.0.0.0/0->10.66.66.1@if23:Veltrane Tunnel:metric=100, but "
      "there is no connection\n"
      "                              fix: veltranectl disconnect\n");
}

TEST_F(Doctor, AConnectionIsNotMendedAwayWhileTheServiceIsBusy) {
  machine.services.Add(L"VeltraneVpnTunnel$Active", simulated::kRunning);
  machine.files.AddFile(L"C:\\ProgramData\\Veltrane\\tunnels\\active.conf", "[Interface]\n");
  machine.routes.AddInterface(23, L"Veltrane Tunnel");
  machine.routes.Add("0.0.0.0/0", "10.66.66.1", 23, 100);
  StartService();
  side.FailOpen(231);
  side.OnWaitForPipe([](std::uint32_t) { return 121; });
  EXPECT_EQ(Run({"doctor"}), 1);
  EXPECT_EQ(Group("leftovers"),
            "  note  tunnel service        VeltraneVpnTunnel$Active exists; only the service can "
            "tell whose it is, and it did not answer\n"
            "  note  active.conf           C:\\ProgramData\\Veltrane\\tunnels\\active.conf exists; "
            "only the service can tell whose it is, and it did not answer\n"
            "  note  tunnel default route  0.0.0.0/0->10.66.66.1@if23:Veltrane Tunnel:metric=100; "
            "only the service can tell whose it is, and it did not answer\n");
}

TEST_F(Doctor, LeftoversBesideAStoppedService) {
  machine.services.Add(L"VeltraneVpnTunnel$Active", simulated::kRunning);
  InstallService();
  EXPECT_EQ(Run({"doctor"}), 2);
  EXPECT_EQ(
      Group("leftovers"),
      "  warn  tunnel service        VeltraneVpnTunnel$Active is left over from an earlier run\n"
      "                              fix: veltranectl disconnect\n"
      "  ok    active.conf           none\n"
      "  ok    tunnel default route  none\n");
}

TEST_F(Doctor, AnOverwrittenConfigurationIsHarmless) {
  machine.files.AddFile(L"C:\\ProgramData\\Veltrane\\tunnels\\active.conf",
                        std::string(4096, '\0'));
  side.SetAccessList(L"C:\\ProgramData\\Veltrane\\tunnels",
                     {.has_list = true, .is_protected = true, .entries = {}});
  StartService();
  EXPECT_EQ(Run({"doctor"}), 0);
  EXPECT_EQ(Group("leftovers"),
            "  ok    tunnel service        none\n"
            "  note  active.conf           left over from an earlier run, overwritten with zeros\n"
            "  ok    tunnel default route  none\n");
}

TEST_F(Doctor, AConnectionIsNoLeftover) {
  StartService();
  Run({"connect", kConfPath});
  EXPECT_EQ(Run({"doctor"}), 0);
  EXPECT_EQ(Group("pipe"),
            "  ok    served   by the service's process\n"
            "  ok    answers  connected to office\n");
  EXPECT_EQ(Group("leftovers"),
            "  ok    tunnel service        VeltraneVpnTunnel$Active belongs to the connection\n"
            "  ok    active.conf           belongs to the connection\n"
            "  ok    tunnel default route  none\n");
  EXPECT_EQ(Group("configuration"),
            "  ok    folder  C:\\ProgramData\\Veltrane\\tunnels is open only to LocalSystem and "
            "Administrators\n");
}

TEST_F(Doctor, AConnectionWhoseTunnelServiceHasGone) {
  StartService();
  Run({"connect", kConfPath});
  simulated::Machine& here = machine;
  here.services.SetState(L"VeltraneVpnTunnel$Active", simulated::kStopped);
  auto manager = ServiceManager::Open(0xF003F);
  manager->OpenExisting(L"VeltraneVpnTunnel$Active", 0x10000)->Delete();
  EXPECT_EQ(Run({"doctor"}), 1);
  EXPECT_EQ(Group("leftovers"),
            "  warn  tunnel service        connected, but VeltraneVpnTunnel$Active does not exist\n"
            "                              fix: veltranectl disconnect\n"
            "  ok    active.conf           belongs to the connection\n"
            "  ok    tunnel default route  none\n");
}

struct FolderState {
  const char* name;
  AccessListReading reading;
  int exit_code;
  const char* lines;
};

class DoctorOnFolders : public Doctor, public testing::WithParamInterface<FolderState> {};

TEST_P(DoctorOnFolders, SaysWhoMayOpenIt) {
  side.SetAccessList(L"C:\\ProgramData\\Veltrane\\tunnels", GetParam().reading);
  StartService();
  EXPECT_EQ(Run({"doctor"}), GetParam().exit_code);
  EXPECT_EQ(Group("configuration"), GetParam().lines);
}

INSTANTIATE_TEST_SUITE_P(
    Folders, DoctorOnFolders,
    testing::Values(
        FolderState{
            "Closed",
            {.error = 5, .has_list = false, .is_protected = false, .entries = {}},
            0,
            "  ok    folder  C:\\ProgramData\\Veltrane\\tunnels is not accessible to this user\n"},
        FolderState{"AsTheServiceMakesIt",
                    {.error = 0,
                     .has_list = true,
                     .is_protected = true,
                     .entries = {{"S-1-5-18", true, 0x1F01FF}, {"S-1-5-32-544", true, 0x1F01FF}}},
                    0,
                    "  ok    folder  C:\\ProgramData\\Veltrane\\tunnels is open only to "
                    "LocalSystem and Administrators\n"},
        FolderState{"DenyingSomebodyElse",
                    {.error = 0,
                     .has_list = true,
                     .is_protected = true,
                     .entries = {{"S-1-5-32-545", false, 0x1F01FF}}},
                    0,
                    "  ok    folder  C:\\ProgramData\\Veltrane\\tunnels is open only to "
                    "LocalSystem and Administrators\n"},
        FolderState{
            "OpenToUsers",
            {.error = 0,
             .has_list = true,
             .is_protected = true,
             .entries = {{"S-1-5-32-545", true, 0x1200A9},
                         {"S-1-1-0", true, 0x1200A9},
                         {"S-1-1-0", true, 0x2}}},
            1,
            "  warn  folder  C:\\ProgramData\\Veltrane\\tunnels is open to S-1-5-32-545, S-1-1-0\n"
            "                fix: icacls \"C:\\ProgramData\\Veltrane\\tunnels\" /inheritance:r "
            "/grant:r \"*S-1-5-18:(OI)(CI)F\" \"*S-1-5-32-544:(OI)(CI)F\" /remove:g "
            "\"*S-1-5-32-545\" \"*S-1-1-0\"\n"},
        FolderState{
            "WithoutAList",
            {.error = 0, .has_list = false, .is_protected = true, .entries = {}},
            1,
            "  warn  folder  C:\\ProgramData\\Veltrane\\tunnels is open to everyone\n"
            "                fix: icacls \"C:\\ProgramData\\Veltrane\\tunnels\" /inheritance:r "
            "/grant:r \"*S-1-5-18:(OI)(CI)F\" \"*S-1-5-32-544:(OI)(CI)F\"\n"},
        FolderState{
            "Inheriting",
            {.error = 0, .has_list = true, .is_protected = false, .entries = {}},
            1,
            "  warn  folder  C:\\ProgramData\\Veltrane\\tunnels inherits access rights from its "
            "parent folder\n"
            "                fix: icacls \"C:\\ProgramData\\Veltrane\\tunnels\" /inheritance:r "
            "/grant:r \"*S-1-5-18:(OI)(CI)F\" \"*S-1-5-32-544:(OI)(CI)F\"\n"},
        FolderState{"Unreadable",
                    {.error = 87, .has_list = false, .is_protected = false, .entries = {}},
                    1,
                    "  warn  folder  C:\\ProgramData\\Veltrane\\tunnels cannot be examined "
                    "(Windows error 87)\n"
                    "                fix: icacls \"C:\\ProgramData\\Veltrane\\tunnels\"\n"}),
    [](const auto& state) { return state.param.name; });

TEST_F(Doctor, ATerminalGetsColours) {
  side.SetTerminal(Stream::kOutput, 80);
  EXPECT_EQ(Run({"doctor"}), 2);
  EXPECT_EQ(side.Output().substr(0, 74),
            "\x1b[1mservice\x1b[0m\n"
            "  \x1b[31mFAIL  \x1b[0minstalled  no\n"
            "                   fix: Vel");
}

}  // namespace
}  // namespace veltrane
