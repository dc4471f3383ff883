#include "tests/client/doctor/on_examined_machine.h"

namespace veltrane {
namespace {

using DoctorOnNetwork = OnExaminedMachine;

TEST_F(DoctorOnNetwork, AddressesOfEverySource) {
  machine.environment.SetMachine(L"ADMIN_BYPASS_IP", L"203.0.113.5");
  machine.environment.SetMachine(L"ADMIN_BYPASS_IPS", L"203.0.113.6");
  machine.connections.AddEstablished(3389, "198.51.100.7");
  machine.sessions.AddActive(2, "198.51.100.9");
  machine.routes.Add("203.0.113.5/32", "192.168.1.1", 12, 1);
  EXPECT_EQ(ExamineService(), 12);  // a catch-all stands in for a profile
  EXPECT_EQ(Group("bypass"),
            "  ok    198.51.100.7  required, an established Remote Desktop connection\n"
            "  ok    198.51.100.9  optional, the client of a Remote Desktop session\n"
            "  ok    203.0.113.5   required, named by ADMIN_BYPASS_IP, already pinned\n"
            "  ok    203.0.113.6   required, named by ADMIN_BYPASS_IPS\n");
}

TEST_F(DoctorOnNetwork, ASwitchOfThisProcessCountsInConsoleMode) {
  machine.environment.SetMachine(L"VELTRANE_POC_ADMIN_BYPASS", L"0");
  machine.environment.SetProcess(L"VELTRANE_POC_ADMIN_BYPASS", L"1");
  machine.environment.SetProcess(L"ADMIN_BYPASS_IP", L"203.0.113.5");
  EXPECT_EQ(ExamineConsoleMode(), 0);
  EXPECT_EQ(Group("bypass"), "  ok    203.0.113.5  required, named by ADMIN_BYPASS_IP\n");
}

TEST_F(DoctorOnNetwork, AddressesThatTheServiceDoesNotSeeAreNotPinned) {
  machine.environment.SetMachine(L"ADMIN_BYPASS_IP", L"203.0.113.5");
  machine.environment.SetProcess(L"ADMIN_BYPASS_IP", L"203.0.113.6");
  machine.environment.SetUser(L"ADMIN_BYPASS_IPS", L"203.0.113.7");
  EXPECT_EQ(ExamineService(), 10);
  EXPECT_EQ(Group("bypass"), "  ok    203.0.113.5  required, named by ADMIN_BYPASS_IP\n");
}

TEST_F(DoctorOnNetwork, ABypassThatIsOnWithoutARequiredAddress) {
  machine.environment.SetMachine(L"VELTRANE_POC_ADMIN_BYPASS", L"1");
  machine.sessions.AddSession(2, 1);
  machine.sessions.SetClientAddress(2, "198.51.100.9");
  EXPECT_EQ(ExamineService(), 11);
  EXPECT_EQ(Group("bypass"),
            "  ok    198.51.100.9   optional, the client of a Remote Desktop session\n"
            "  FAIL  pinned routes  the bypass is on, but there is no required address\n");
  EXPECT_NE(Group("environment").find("/d \"ADMIN_BYPASS_IP=YOUR.PUBLIC.IPV4.ADDRESS\" /f\n"),
            std::string::npos);
}

TEST_F(DoctorOnNetwork, ARemoteDesktopConnectionThatNothingProtects) {
  machine.connections.AddEstablished(3389, "198.51.100.7");
  machine.connections.AddEstablished(3389, "198.51.100.7");
  EXPECT_EQ(ExamineService(), 12);
  EXPECT_EQ(Group("bypass"), "  note  pinned routes  none, the bypass is off\n");
  EXPECT_NE(Group("environment").find("/d \"ADMIN_BYPASS_IP=198.51.100.7\" /f\n"),
            std::string::npos);
  EXPECT_EQ(Verdict(), "Connecting could cut somebody off: 1 risk, 0 failures, 0 warnings.\n");
}

TEST_F(DoctorOnNetwork, NothingIsAskedForARemoteDesktopConnectionWithARouteOfItsOwn) {
  machine.connections.AddEstablished(3389, "198.51.100.7");
  machine.routes.Add("198.51.100.7/32", "192.168.1.1", 12, 15);
  EXPECT_EQ(ExamineService(), 12);
  EXPECT_EQ(Group("environment").find("198.51.100.7"), std::string::npos);
}

TEST_F(DoctorOnNetwork, NothingIsAskedForARemoteDesktopConnectionUnderTheGuard) {
  machine.environment.SetMachine(L"VELTRANE_POC_DISABLE_DEFAULT_ROUTE", L"1");
  machine.connections.AddEstablished(3389, "198.51.100.7");
  EXPECT_EQ(ExamineService(), 12);
  EXPECT_EQ(Group("environment").find("198.51.100.7"), std::string::npos);
}

TEST_F(DoctorOnNetwork, ARiskCountsMoreThanAFailure) {
  machine.connections.AddEstablished(3389, "198.51.100.7");
  EXPECT_EQ(Run({"doctor"}), 12);
  EXPECT_EQ(Verdict(), "Connecting could cut somebody off: 1 risk, 1 failure, 0 warnings.\n");
}

TEST_F(DoctorOnNetwork, NoGateway) {
  machine.routes.Clear();
  SetAdministrator();
  EXPECT_EQ(ExamineService(), 11);
  EXPECT_EQ(Group("network"),
            "  FAIL  gateway  no default route with a gateway\n"
            "                 fix: route print -4\n");
}

TEST_F(DoctorOnNetwork, NoGatewayIsOnlyAWarningWithoutTheBypass) {
  machine.routes.Clear();
  EXPECT_EQ(ExamineService(), 10);
  EXPECT_EQ(Group("network"),
            "  warn  gateway  no default route with a gateway\n"
            "                 fix: route print -4\n");
}

TEST_F(DoctorOnNetwork, AGatewayBehindATunnel) {
  machine.routes.AddInterface(12, L"Veltrane WireGuard");
  EXPECT_EQ(ExamineService(), 10);
  EXPECT_EQ(Group("network"),
            "  warn  gateway       192.168.1.1 on interface 12, Veltrane WireGuard, a tunnel "
            "rather than the physical network\n"
            "                      fix: .\\veltranectl disconnect\n"
            "  ok    route metric  interface 12 has metric 1: a pinned route with metric 1 can be "
            "created and is accepted\n");
}

struct InterfaceMetric {
  const char* name;
  std::optional<std::uint32_t> metric;
  std::optional<std::uint32_t> pinned_metric;  // of the administrator's route, if there is one
  bool administrator;
  int exit_code;
  const char* lines;
};

class DoctorOnMetric : public OnExaminedMachine,
                       public testing::WithParamInterface<InterfaceMetric> {};

TEST_P(DoctorOnMetric, SaysWhetherRoutesCanBePinned) {
  side.interface_metrics.clear();
  if (GetParam().metric) side.interface_metrics[12] = *GetParam().metric;
  if (GetParam().pinned_metric) {
    machine.routes.Add("203.0.113.5/32", "192.168.1.1", 12, *GetParam().pinned_metric);
  }
  if (GetParam().administrator) SetAdministrator();
  EXPECT_EQ(ExamineService(), GetParam().exit_code);
  EXPECT_EQ(Group("network"), GetParam().lines);
}

INSTANTIATE_TEST_SUITE_P(
    Metrics, DoctorOnMetric,
    testing::Values(
        InterfaceMetric{
            "AboveThatOfAPinnedRoute", 5, std::nullopt, true, 11,
            "  ok    gateway       192.168.1.1 on interface 12, Ethernet\n"
            "  FAIL  route metric  interface 12 has metric 5: Windows refuses a route with metric "
            "1, below that of its interface\n"
            "                      fix: netsh interface ipv4 set interface 12 metric=1\n"},
        InterfaceMetric{
            "AboveEveryAcceptedMetric", 25, std::nullopt, true, 11,
            "  ok    gateway       192.168.1.1 on interface 12, Ethernet\n"
            "  FAIL  route metric  interface 12 has metric 25: Windows refuses a route with metric "
            "1, and the service accepts a pinned route only up to 15\n"
            "                      fix: netsh interface ipv4 set interface 12 metric=1\n"},
        InterfaceMetric{
            "WithTheRouteInPlaceAlready", 5, 6, true, 10,
            "  ok    gateway       192.168.1.1 on interface 12, Ethernet\n"
            "  warn  route metric  interface 12 has metric 5: Windows refuses a route with metric "
            "1, below that of its interface; the existing routes are accepted\n"
            "                      fix: netsh interface ipv4 set interface 12 metric=1\n"},
        InterfaceMetric{"WithoutTheBypass", 25, std::nullopt, false, 0,
                        "  ok    gateway       192.168.1.1 on interface 12, Ethernet\n"
                        "  note  route metric  interface 12 has metric 25, which matters only once "
                        "the bypass is on: Windows refuses a route with metric 1, and the service "
                        "accepts a pinned route only up to 15\n"},
        InterfaceMetric{"Unreadable", std::nullopt, std::nullopt, true, 0,
                        "  ok    gateway       192.168.1.1 on interface 12, Ethernet\n"
                        "  note  route metric  the metric of interface 12 cannot be read\n"}),
    [](const auto& metric) { return metric.param.name; });

}  // namespace
}  // namespace veltrane
