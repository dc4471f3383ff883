#include "tests/client/doctor/on_examined_machine.h"

namespace veltrane {
namespace {

using DoctorOnSettings = OnExaminedMachine;

TEST_F(DoctorOnSettings, SettingsThatTheServiceSees) {
  machine.environment.SetMachine(L"VELTRANE_POC_DISABLE_DEFAULT_ROUTE", L"yes");
  machine.environment.SetMachine(L"VELTRANE_POC_AUTO_STOP_SECONDS", L"120");
  machine.environment.SetMachine(L"VELTRANE_POC_DISABLE_ALL_NETWORK_MUTATION_ON_STARTUP", L"1");
  machine.environment.SetMachine(L"ADMIN_BYPASS_IPS", L"203.0.113.5,198.51.100.7");
  EXPECT_EQ(ExamineService(), 0);
  EXPECT_EQ(
      Group("settings"),
      "  ok    VELTRANE_POC_DISABLE_DEFAULT_ROUTE                    \"yes\" in the machine scope: "
      "catch-all AllowedIPs are replaced and DNS is dropped"
      "; the running service may see an older machine value until Windows restarts\n"
      "  ok    VELTRANE_POC_AUTO_STOP_SECONDS                        \"120\" in the machine scope: "
      "the tunnel is torn down after 120 s"
      "; the running service may see an older machine value until Windows restarts\n"
      "  ok    VELTRANE_POC_DISABLE_ALL_NETWORK_MUTATION_ON_STARTUP  \"1\" in the machine scope: "
      "the service exits rather than change the network before a client asks"
      "; the running service may see an older machine value until Windows restarts\n"
      "  note  VELTRANE_POC_ADMIN_BYPASS                             not set: the bypass is on, "
      "decided by the addresses below\n"
      "  ok    ADMIN_BYPASS_IP                                       not set: adds no address\n"
      "  ok    ADMIN_BYPASS_IPS                                      \"203.0.113.5,198.51.100.7\" "
      "in the machine scope: 2 addresses"
      "; the running service may see an older machine value until Windows restarts\n");
  EXPECT_EQ(Group("bypass"), "  note  pinned routes  none, the default-route guard is on\n");
}

TEST_F(DoctorOnSettings, SettingsThatTheServiceDoesNotSee) {
  machine.environment.SetProcess(L"VELTRANE_POC_DISABLE_DEFAULT_ROUTE", L"1");
  machine.environment.SetMachine(L"VELTRANE_POC_AUTO_STOP_SECONDS", L"120");
  machine.environment.SetProcess(L"VELTRANE_POC_AUTO_STOP_SECONDS", L"60");
  machine.environment.SetUser(L"ADMIN_BYPASS_IP", L"203.0.113.5");
  machine.environment.SetProcess(L"VELTRANE_POC_ADMIN_BYPASS", L"1");
  EXPECT_EQ(ExamineService(), 10);
  EXPECT_EQ(
      Group("settings"),
      "  warn  VELTRANE_POC_DISABLE_DEFAULT_ROUTE                    \"1\" in the process scope: "
      "catch-all AllowedIPs are replaced and DNS is dropped; the service does not see it, because "
      "neither its own environment nor the machine scope has it\n"
      "  note  VELTRANE_POC_AUTO_STOP_SECONDS                        \"60\" in the process scope, "
      "\"120\" in the machine scope: the tunnel is torn down after 120 s; the service sees the "
      "machine scope's value"
      "; the running service may see an older machine value until Windows restarts\n"
      "  ok    VELTRANE_POC_DISABLE_ALL_NETWORK_MUTATION_ON_STARTUP  not set: startup is not "
      "guarded\n"
      "  note  VELTRANE_POC_ADMIN_BYPASS                             \"1\" in the process scope, "
      "which the service does not see: the bypass is off\n"
      "  warn  ADMIN_BYPASS_IP                                       \"203.0.113.5\" in the user "
      "scope: 1 address; the service does not see it, because "
      "neither its own environment nor the machine scope has it\n"
      "  ok    ADMIN_BYPASS_IPS                                      not set: adds no address\n");
}

TEST_F(DoctorOnSettings, SettingsThatMeanNothing) {
  machine.environment.SetMachine(L"VELTRANE_POC_DISABLE_DEFAULT_ROUTE", L"enabled");
  machine.environment.SetMachine(L"VELTRANE_POC_AUTO_STOP_SECONDS", L"soon");
  machine.environment.SetMachine(L"VELTRANE_POC_ADMIN_BYPASS", L"off");
  machine.environment.SetMachine(L"ADMIN_BYPASS_IP", L"192.168.1.10 office");
  EXPECT_EQ(ExamineService(), 11);
  EXPECT_EQ(
      Group("settings"),
      "  warn  VELTRANE_POC_DISABLE_DEFAULT_ROUTE                    \"enabled\" in the machine "
      "scope: AllowedIPs are used as they are"
      "; the running service may see an older machine value until Windows restarts\n"
      "  warn  VELTRANE_POC_AUTO_STOP_SECONDS                        \"soon\" in the machine "
      "scope: the tunnel stays up"
      "; the running service may see an older machine value until Windows restarts\n"
      "  ok    VELTRANE_POC_DISABLE_ALL_NETWORK_MUTATION_ON_STARTUP  not set: startup is not "
      "guarded\n"
      "  warn  VELTRANE_POC_ADMIN_BYPASS                             \"off\" in the machine scope, "
      "which the service ignores: the bypass is on; the service gets the machine scope's value "
      "when Windows starts\n"
      "  warn  ADMIN_BYPASS_IP                                       \"192.168.1.10 office\" in "
      "the machine scope: 192.168.1.10 office ignored, not a public IPv4 address"
      "; the running service may see an older machine value until Windows restarts\n"
      "  ok    ADMIN_BYPASS_IPS                                      not set: adds no address\n");
  EXPECT_EQ(Group("bypass"),
            "  FAIL  pinned routes  the bypass is on, but there is no required address\n");
}

TEST_F(DoctorOnSettings, ASwitchThatTheServiceGetsWhenWindowsStarts) {
  machine.environment.SetMachine(L"VELTRANE_POC_ADMIN_BYPASS", L"0");
  machine.environment.SetProcess(L"VELTRANE_POC_ADMIN_BYPASS", L"1");
  SetAdministrator();
  EXPECT_EQ(ExamineService(), 0);
  EXPECT_NE(Group("settings")
                .find("  note  VELTRANE_POC_ADMIN_BYPASS                             \"1\" in the "
                      "process scope, \"0\" in the machine scope: the bypass is off; the service "
                      "gets the machine scope's value when Windows starts\n"),
            std::string::npos);
  EXPECT_EQ(Group("bypass"), "  note  pinned routes  none, the bypass is off\n");
}

struct Session {
  const char* name;
  const wchar_t* machine_guard;
  const wchar_t* process_guard;
  bool console_mode;
  int exit_code;
  const char* lines;
};

class DoctorOnSession : public OnExaminedMachine, public testing::WithParamInterface<Session> {};

TEST_P(DoctorOnSession, SaysWhetherConnectingWouldBeRefused) {
  machine.sessions.SetRemoteSession(true);
  machine.environment.SetMachine(L"VELTRANE_POC_DISABLE_DEFAULT_ROUTE", GetParam().machine_guard);
  machine.environment.SetProcess(L"VELTRANE_POC_DISABLE_DEFAULT_ROUTE", GetParam().process_guard);
  EXPECT_EQ(GetParam().console_mode ? ExamineConsoleMode() : ExamineService(),
            GetParam().exit_code);
  EXPECT_EQ(Group("session"), GetParam().lines);
}

INSTANTIATE_TEST_SUITE_P(
    Sessions, DoctorOnSession,
    testing::Values(
        Session{"WithoutTheGuard", L"", L"", false, 12,
                "  note  Remote Desktop  a Remote Desktop session without the default-route guard: "
                "the forecast says whom a connect would cut off\n"},
        Session{"InConsoleModeWithoutTheGuard", L"", L"", true, 12,
                "  FAIL  Remote Desktop  a Remote Desktop session without the default-route guard: "
                "a service in console mode refuses every connect\n"},
        Session{"WithTheGuard", L"1", L"", false, 12,
                "  ok    Remote Desktop  a Remote Desktop session, and the default-route guard is "
                "on\n"},
        Session{"InConsoleModeWithTheGuardOverridden", L"1", L"0", true, 12,
                "  FAIL  Remote Desktop  a Remote Desktop session, and another scope overrides the "
                "machine scope's guard\n"
                "                        fix: in a command prompt: set "
                "VELTRANE_POC_DISABLE_DEFAULT_ROUTE=\n"
                "                             in PowerShell: "
                "$env:VELTRANE_POC_DISABLE_DEFAULT_ROUTE = ''\n"},
        // The service does not see this process's environment.
        Session{"WithTheGuardOverriddenInThisProcess", L"1", L"0", false, 12,
                "  ok    Remote Desktop  a Remote Desktop session, and the default-route guard is "
                "on\n"}),
    [](const auto& session) { return session.param.name; });

}  // namespace
}  // namespace veltrane
