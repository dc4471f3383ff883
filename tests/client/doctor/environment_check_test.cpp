#include "tests/client/doctor/on_examined_machine.h"

namespace veltrane {
namespace {

class DoctorOnEnvironment : public OnExaminedMachine {
 protected:
  void SetOwn(const std::vector<std::wstring>& entries) {
    machine.registry.SetTexts(L"SYSTEM\\CurrentControlSet\\Services\\VeltraneVpnTunnel",
                              L"Environment", entries);
  }

  const std::string order =
      "  note  order      the service reads its own Environment value as it was when the service "
      "started, then the machine scope as it was when Windows started, then the machine scope now; "
      "what it was then cannot be read (docs/limits.md)\n";
};

TEST_F(DoctorOnEnvironment, TheServicesOwnValueComesBeforeTheMachineScope) {
  machine.environment.SetMachine(L"ADMIN_BYPASS_IP", L"203.0.113.5");
  SetOwn({L"Path=C:\\x", L"admin_bypass_ip=203.0.113.6"});
  EXPECT_EQ(ExamineService(), 0);
  EXPECT_NE(
      Group("settings")
          .find("ADMIN_BYPASS_IP                                       \"203.0.113.6\" in the "
                "service's own environment, \"203.0.113.5\" in the machine scope: 1 address; the "
                "service sees the one of its own\n"),
      std::string::npos);
  EXPECT_NE(Group("bypass").find("  ok    203.0.113.6  required, named by ADMIN_BYPASS_IP\n"),
            std::string::npos);
  EXPECT_EQ(Group("bypass").find("203.0.113.5"), std::string::npos);
  EXPECT_EQ(Group("environment"), order + "  ok    own value  Path, admin_bypass_ip\n");
}

TEST_F(DoctorOnEnvironment, OneCommandNamesEveryPeerAndKeepsTheOtherEntries) {
  SetOwn({L"VELTRANE_POC_AUTO_STOP_SECONDS=600", L"ADMIN_BYPASS_IP=192.168.1.7"});
  machine.environment.SetMachine(L"VELTRANE_POC_ADMIN_BYPASS", L"0");
  machine.connections.AddEstablished(3389, "198.51.100.7");
  machine.connections.AddEstablished(3389, "198.51.100.8");
  EXPECT_EQ(ExamineService(), 12);
  EXPECT_EQ(
      Group("environment"),
      order +
          "  ok    own value  VELTRANE_POC_AUTO_STOP_SECONDS, ADMIN_BYPASS_IP\n"
          "  note  to set     the findings above ask for "
          "ADMIN_BYPASS_IP=198.51.100.7,198.51.100.8, VELTRANE_POC_ADMIN_BYPASS=1; the "
          "command replaces the whole value and keeps 1 other entry\n"
          "                   fix: reg add "
          "HKLM\\SYSTEM\\CurrentControlSet\\Services\\VeltraneVpnTunnel /v Environment /t "
          "REG_MULTI_SZ /d \"VELTRANE_POC_AUTO_STOP_SECONDS=600\\0ADMIN_BYPASS_IP=198.51.100.7"
          ",198.51.100.8\\0VELTRANE_POC_ADMIN_BYPASS=1\" /f\n"
          "                        net stop VeltraneVpnTunnel\n"
          "                        net start VeltraneVpnTunnel\n");
}

TEST_F(DoctorOnEnvironment, OneBadAddressDoesNotCostTheOthers) {
  machine.environment.SetMachine(L"ADMIN_BYPASS_IPS", L"203.0.113.5 office;203.0.113.6");
  EXPECT_EQ(ExamineService(), 10);
  EXPECT_NE(Group("environment").find("/d \"ADMIN_BYPASS_IPS=203.0.113.5,203.0.113.6\" /f\n"),
            std::string::npos);
}

TEST_F(DoctorOnEnvironment, AConnectionIsEndedBeforeTheServiceIsRestarted) {
  StartService();
  Run({"connect", kConfPath});
  machine.environment.SetMachine(L"VELTRANE_POC_AUTO_STOP_SECONDS", L"soon");
  EXPECT_EQ(Run({"doctor"}), 10);
  EXPECT_NE(Group("environment")
                .find("/d \"VELTRANE_POC_AUTO_STOP_SECONDS=600\" /f\n"
                      "                        .\\veltranectl disconnect\n"
                      "                        net stop VeltraneVpnTunnel\n"
                      "                        net start VeltraneVpnTunnel\n"),
            std::string::npos);
}

TEST_F(DoctorOnEnvironment, AnEntryThatACommandLineWouldChangeIsNotRepeated) {
  SetOwn({L"X=%PATH%"});
  machine.environment.SetMachine(L"VELTRANE_POC_AUTO_STOP_SECONDS", L"soon");
  EXPECT_EQ(ExamineService(), 10);
  EXPECT_EQ(Group("environment"),
            order +
                "  ok    own value  X\n"
                "  note  to set     the findings above ask for VELTRANE_POC_AUTO_STOP_SECONDS=600; "
                "no command is given, because the value has entries that a command line would "
                "change: use regedit\n");
}

TEST_F(DoctorOnEnvironment, AValueThatCannotBeReadIsNotReplaced) {
  machine.FailAlways("ReadRegistryTexts", 5);
  machine.environment.SetMachine(L"VELTRANE_POC_AUTO_STOP_SECONDS", L"soon");
  EXPECT_EQ(ExamineService(), 10);
  EXPECT_EQ(Group("environment"),
            order +
                "  note  own value  the service's own Environment value cannot be looked at by "
                "this user\n"
                "  note  to set     the findings above ask for VELTRANE_POC_AUTO_STOP_SECONDS=600; "
                "no command is given, because it would replace a value that could not be read\n");
  EXPECT_EQ(Group("rights"),
            "  note  not looked at  the service's own Environment value: run veltranectl doctor in "
            "an elevated prompt\n");
}

TEST_F(DoctorOnEnvironment, TheMachineScopeIsSetForConsoleMode) {
  machine.connections.AddEstablished(3389, "198.51.100.7");
  machine.connections.AddEstablished(3389, "198.51.100.8");
  EXPECT_EQ(ExamineConsoleMode(), 12);
  EXPECT_EQ(Group("environment"),
            "  ok    order   this process's environment is taken for that of the console\n"
            "  note  to set  the findings above ask for ADMIN_BYPASS_IP=198.51.100.7,198.51.100.8; "
            "a value in the console's own environment comes first\n"
            "                fix: setx ADMIN_BYPASS_IP \"198.51.100.7,198.51.100.8\" /M\n");
}

}  // namespace
}  // namespace veltrane
