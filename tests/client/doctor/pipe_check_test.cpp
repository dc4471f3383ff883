#include "tests/client/doctor/on_examined_machine.h"
#include "tests/client/scripted_server.h"

namespace veltrane {
namespace {

using DoctorOnPipe = OnExaminedMachine;

TEST_F(DoctorOnPipe, AnImpostorBehindThePipe) {
  StartService();
  side.pipe_server = 666;
  EXPECT_EQ(Run({"doctor"}), 11);
  EXPECT_EQ(Group("pipe"),
            "  FAIL  served  the pipe is served by process 666, but the service is process 4711; "
            "look again with --any-server if that is in console mode\n"
            "                fix: .\\veltranectl doctor --any-server\n");
}

TEST_F(DoctorOnPipe, APipeThatIsBusy) {
  StartService();
  simulated::PipeClient other;
  other.Connect();
  side.OnWaitForPipe([](std::uint32_t) { return 121; });
  EXPECT_EQ(Run({"doctor"}), 10);
  EXPECT_EQ(Group("pipe"),
            "  warn  served  the service has been busy with another client for 2 s; look again "
            "when it has finished\n"
            "                fix: .\\veltranectl doctor\n");
}

TEST_F(DoctorOnPipe, APipeThatCannotBeOpened) {
  InstallService(simulated::kRunning);
  side.FailOpen(5);
  EXPECT_EQ(Run({"doctor"}), 11);
  EXPECT_EQ(Group("pipe"),
            "  FAIL  served  the service's pipe denies access to this user\n"
            "                fix: use an elevated prompt, or restart the service while this user "
            "is logged on at the console\n");
}

TEST_F(DoctorOnPipe, AServerWithoutAReadableReply) {
  ScriptedServer odd("not json");
  EXPECT_EQ(Run({"doctor", "--any-server"}), 11);
  EXPECT_EQ(Group("pipe"),
            "  ok    served   by a program that was not checked\n"
            "  FAIL  answers  no readable reply to a status request\n"
            "                 fix: sc.exe query VeltraneVpnTunnel\n");
}

}  // namespace
}  // namespace veltrane
