#include "tests/client/doctor/on_examined_machine.h"

namespace veltrane {
namespace {

using DoctorOnService = OnExaminedMachine;

TEST_F(DoctorOnService, AServiceThatIsStopped) {
  InstallService();
  EXPECT_EQ(Run({"doctor"}), 11);
  EXPECT_EQ(Group("service"),
            "  ok    installed     as VeltraneVpnTunnel\n"
            "  FAIL  running       stopped\n"
            "                      fix: sc.exe start VeltraneVpnTunnel\n"
            "  ok    command line  \"C:\\Program Files\\Veltrane\\VeltraneVpnService.exe\" "
            "--run-as-service\n"
            "  ok    account       LocalSystem\n");
  EXPECT_EQ(Group("pipe"), "  note  served  no pipe while the service is not running\n");
  EXPECT_EQ(Verdict(), "Connecting would fail: 1 failure, 0 warnings.\n");
}

TEST_F(DoctorOnService, AServiceWhoseProgramIsGone) {
  RegisterService(L"\"D:\\old\\VeltraneVpnService.exe\" --run-as-service");
  EXPECT_EQ(Run({"doctor"}), 11);
  EXPECT_EQ(Group("service"),
            "  ok    installed     as VeltraneVpnTunnel\n"
            "  FAIL  running       stopped\n"
            "                      fix: sc.exe start VeltraneVpnTunnel\n"
            "  FAIL  command line  \"D:\\old\\VeltraneVpnService.exe\" --run-as-service, whose "
            "program does not exist\n"
            "                      fix: .\\VeltraneVpnService.exe --uninstall\n"
            "                           .\\VeltraneVpnService.exe --install\n"
            "  ok    account       LocalSystem\n");
}

TEST_F(DoctorOnService, AServiceThatIsRegisteredDifferently) {
  RegisterService(L"C:\\veltrane.exe --console", simulated::kRunning);
  machine.files.AddFile(L"C:\\veltrane.exe", "MZ");
  side.account = L".\\administrator";
  ServePipe();
  EXPECT_EQ(Run({"doctor"}), 11);
  EXPECT_EQ(
      Group("service"),
      "  ok    installed     as VeltraneVpnTunnel\n"
      "  ok    running       as process 4711\n"
      "  warn  command line  C:\\veltrane.exe --console, which is not what --install registers\n"
      "                      fix: .\\VeltraneVpnService.exe --uninstall\n"
      "                           .\\VeltraneVpnService.exe --install\n"
      "  warn  account       .\\administrator, which may lack the rights it needs\n"
      "                      fix: sc.exe config VeltraneVpnTunnel obj= LocalSystem\n");
  EXPECT_EQ(Group("tunnel library"),
            "  FAIL  tunnel.dll  C:\\tunnel.dll cannot be read (Windows error 2)\n"
            "                    fix: copy tunnel.dll \"C:\\tunnel.dll\"\n");
}

TEST_F(DoctorOnService, AServiceWhoseStateCannotBeRead) {
  side.service_facts_error = 5;
  EXPECT_EQ(Run({"doctor"}), 11);
  EXPECT_EQ(Group("service"),
            "  FAIL  installed  the service's state cannot be read (Windows error 5)\n"
            "                   fix: sc.exe qc VeltraneVpnTunnel\n");
}

TEST_F(DoctorOnService, ConsoleModeNeedsNoInstalledService) {
  machine.libraries.SetExecutablePath(L"C:\\Program Files\\Veltrane\\veltranectl.exe");
  EXPECT_EQ(ExamineConsoleMode(), 0);
  EXPECT_EQ(Group("service"), "  note  installed  no, but console mode does not need it\n");
  EXPECT_EQ(Group("pipe"),
            "  ok    served   by a program that was not checked\n"
            "  ok    answers  disconnected\n");
  EXPECT_EQ(Verdict(), "Connecting should work.\n");
}

}  // namespace
}  // namespace veltrane
