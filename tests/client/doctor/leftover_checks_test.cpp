#include "platform/service_codes.h"
#include "platform/services.h"
#include "tests/client/doctor/on_examined_machine.h"

namespace veltrane {
namespace {

class DoctorOnLeftovers : public OnExaminedMachine {
 protected:
  // What a connection leaves on the machine while it lasts, and afterwards when it was cut short.
  void LeaveTunnel() {
    machine.services.Add(L"VeltraneVpnTunnel$Active", simulated::kRunning);
    machine.files.AddFile(kTunnels + L"\\active.conf", "[Interface]\n");
    machine.routes.AddInterface(23, L"Veltrane Tunnel");
    machine.routes.Add("0.0.0.0/0", "10.66.66.1", 23, 100);
  }
};

TEST_F(DoctorOnLeftovers, LeftoversOfAnEarlierRun) {
  LeaveTunnel();
  machine.files.AddFile(kTunnels + L"\\active.conf.tmp", "[Interface]\n");
  EXPECT_EQ(ExamineService(), 10);
  EXPECT_EQ(
      Group("leftovers"),
      "  warn  tunnel service        VeltraneVpnTunnel$Active is left over from an earlier run\n"
      "                              fix: .\\veltranectl disconnect\n"
      "  warn  active.conf           C:\\ProgramData\\Veltrane\\tunnels\\active.conf is left over "
      "from an earlier run and may still contain a key\n"
      "                              fix: .\\veltranectl disconnect\n"
      "  warn  active.conf.tmp       left by an interrupted write; it may contain a key\n"
      "                              fix: del "
      "\"C:\\ProgramData\\Veltrane\\tunnels\\active.conf.tmp\"\n"
      "  warn  tunnel default route  0.0.0.0/0->10.66.66.1@if23:Veltrane Tunnel:metric=100, but "
      "there is no connection\n"
      "                              fix: .\\veltranectl disconnect\n");
}

TEST_F(DoctorOnLeftovers, NothingIsToBeFixedWhileTheServiceIsBusy) {
  LeaveTunnel();
  StartService();
  side.FailOpen(231);
  side.OnWaitForPipe([](std::uint32_t) { return 121; });
  EXPECT_EQ(Run({"doctor"}), 10);
  EXPECT_EQ(Group("leftovers"),
            "  note  tunnel service        VeltraneVpnTunnel$Active exists; only the service can "
            "tell whose it is, and it did not answer\n"
            "  note  active.conf           C:\\ProgramData\\Veltrane\\tunnels\\active.conf exists; "
            "only the service can tell whose it is, and it did not answer\n"
            "  note  tunnel default route  0.0.0.0/0->10.66.66.1@if23:Veltrane Tunnel:metric=100; "
            "only the service can tell whose it is, and it did not answer\n");
}

TEST_F(DoctorOnLeftovers, LeftoversNextToAStoppedService) {
  machine.services.Add(L"VeltraneVpnTunnel$Active", simulated::kRunning);
  InstallService();
  EXPECT_EQ(Run({"doctor"}), 11);
  EXPECT_EQ(
      Group("leftovers"),
      "  warn  tunnel service        VeltraneVpnTunnel$Active is left over from an earlier run\n"
      "                              fix: .\\veltranectl disconnect\n"
      "  ok    active.conf           none\n"
      "  ok    tunnel default route  none\n");
}

TEST_F(DoctorOnLeftovers, AnOverwrittenConfigurationIsHarmless) {
  machine.files.AddFile(kTunnels + L"\\active.conf", std::string(4096, '\0'));
  side.SetAccessList(
      kTunnels,
      AccessList{.owner = "S-1-5-18", .has_list = true, .is_protected = true, .entries = {}});
  EXPECT_EQ(ExamineService(), 0);
  EXPECT_EQ(Group("leftovers"),
            "  ok    tunnel service        none\n"
            "  note  active.conf           left over from an earlier run, overwritten with zeros\n"
            "  ok    tunnel default route  none\n");
}

TEST_F(DoctorOnLeftovers, AConnectionIsNotALeftover) {
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
  EXPECT_EQ(
      Group("configuration"),
      "  ok    folder        C:\\ProgramData\\Veltrane\\tunnels is open only to LocalSystem "
      "and Administrators\n"
      "  ok    owner         C:\\ProgramData\\Veltrane\\tunnels can be written by LocalSystem "
      "and Administrators alone\n"
      "  ok    folder above  C:\\ProgramData\\Veltrane can be written by LocalSystem and "
      "Administrators alone\n");
}

TEST_F(DoctorOnLeftovers, TheDefaultRouteOfAConnectionIsNotALeftover) {
  StartService();
  Run({"connect", kConfPath});
  machine.routes.AddInterface(23, L"Veltrane Tunnel");
  machine.routes.Add("0.0.0.0/0", "10.66.66.1", 23, 100);
  EXPECT_EQ(Run({"doctor"}), 0);
  EXPECT_EQ(
      Group("leftovers"),
      "  ok    tunnel service        VeltraneVpnTunnel$Active belongs to the connection\n"
      "  ok    active.conf           belongs to the connection\n"
      "  note  tunnel default route  0.0.0.0/0->10.66.66.1@if23:Veltrane Tunnel:metric=100\n");
}

TEST_F(DoctorOnLeftovers, AConnectionWhoseTunnelServiceIsGone) {
  StartService();
  Run({"connect", kConfPath});
  machine.services.SetState(L"VeltraneVpnTunnel$Active", simulated::kStopped);
  ServiceManager::Open(kManagerAllAccess)
      ->OpenExisting(L"VeltraneVpnTunnel$Active", kDelete)
      ->Delete();
  EXPECT_EQ(Run({"doctor"}), 10);
  EXPECT_EQ(Group("leftovers"),
            "  warn  tunnel service        connected, but VeltraneVpnTunnel$Active does not exist\n"
            "                              fix: .\\veltranectl disconnect\n"
            "  ok    active.conf           belongs to the connection\n"
            "  ok    tunnel default route  none\n");
}

}  // namespace
}  // namespace veltrane
