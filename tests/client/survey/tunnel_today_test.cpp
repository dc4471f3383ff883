#include "client/survey/tunnel_today.h"

#include "tests/client/on_client_machine.h"

namespace veltrane {
namespace {

class TunnelOfToday : public OnClientMachine {
 protected:
  void AddTunnelService(std::uint32_t state) {
    machine.services.Add(L"VeltraneVpnTunnel$Active", state);
  }

  static TunnelFacts Survey() {
    InterfaceFacts ethernet;
    ethernet.index = 12;
    InterfaceFacts other;
    other.index = 20;
    return SurveyTunnel({ethernet, other});
  }

  TunnelOfToday() { machine.routes.AddInterface(20, L"Ethernet 2"); }
};

TEST_F(TunnelOfToday, IsNoneWithoutItsServiceAndItsAdapter) {
  EXPECT_EQ(Survey().today, TunnelToday::kNone);
  EXPECT_EQ(Survey().interface_index, std::nullopt);
}

TEST_F(TunnelOfToday, IsNoneWhenItsServiceHasStopped) {
  AddTunnelService(simulated::kStopped);
  EXPECT_EQ(Survey().today, TunnelToday::kNone);
}

TEST_F(TunnelOfToday, IsUpWhenItsServiceRuns) {
  AddTunnelService(simulated::kRunning);
  EXPECT_EQ(Survey().today, TunnelToday::kUp);
  EXPECT_EQ(Survey().interface_index, std::nullopt);
}

TEST_F(TunnelOfToday, IsUpWhileItsServiceStarts) {
  AddTunnelService(simulated::kStartPending);
  EXPECT_EQ(Survey().today, TunnelToday::kUp);
}

TEST_F(TunnelOfToday, IsUpWhileItsServiceStops) {
  AddTunnelService(simulated::kStopPending);
  EXPECT_EQ(Survey().today, TunnelToday::kUp);
}

TEST_F(TunnelOfToday, HasTheAdapterThatIsNamedAfterTheConfigurationFile) {
  AddTunnelService(simulated::kRunning);
  machine.routes.AddInterface(20, L"active");
  EXPECT_EQ(Survey().today, TunnelToday::kUp);
  EXPECT_EQ(Survey().interface_index, 20u);
}

TEST_F(TunnelOfToday, HasAnAdapterWhoseNameIsInAnyCase) {
  machine.routes.AddInterface(20, L"Active");
  EXPECT_EQ(Survey().interface_index, 20u);
}

TEST_F(TunnelOfToday, IsUpWhenItsAdapterIsThereWithoutItsService) {
  machine.routes.AddInterface(20, L"active");
  EXPECT_EQ(Survey().today, TunnelToday::kUp);
  EXPECT_EQ(Survey().interface_index, 20u);
}

TEST_F(TunnelOfToday, IsUpWhenItsAdapterIsThereAfterItsServiceHasStopped) {
  AddTunnelService(simulated::kStopped);
  machine.routes.AddInterface(20, L"active");
  EXPECT_EQ(Survey().today, TunnelToday::kUp);
}

TEST_F(TunnelOfToday, DoesNotHaveAnAdapterWithALongerName) {
  machine.routes.AddInterface(20, L"active 2");
  machine.routes.AddInterface(12, L"interactive");
  EXPECT_EQ(Survey().today, TunnelToday::kNone);
}

TEST_F(TunnelOfToday, IsUnknownWhenItsServiceCannotBeAskedAbout) {
  side.service_facts_error = 5;
  EXPECT_EQ(Survey().today, TunnelToday::kUnknown);
}

TEST_F(TunnelOfToday, IsUpWhenItsAdapterIsThereAndItsServiceCannotBeAskedAbout) {
  side.service_facts_error = 5;
  machine.routes.AddInterface(20, L"active");
  EXPECT_EQ(Survey().today, TunnelToday::kUp);
}

TEST_F(TunnelOfToday, IsUnknownWhenTheNamesOfAnInterfaceCannotBeRead) {
  machine.FailWhere("ReadInterfaceNames", "20", 5);
  EXPECT_EQ(Survey().today, TunnelToday::kUnknown);
}

TEST_F(TunnelOfToday, IsUpWhenItsServiceRunsAndTheNamesOfAnInterfaceCannotBeRead) {
  AddTunnelService(simulated::kRunning);
  machine.FailWhere("ReadInterfaceNames", "20", 5);
  EXPECT_EQ(Survey().today, TunnelToday::kUp);
}

}  // namespace
}  // namespace veltrane
