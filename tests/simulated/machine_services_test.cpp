// The service control manager of the simulated machine.

#include <string>
#include <thread>
#include <utility>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/services.h"
#include "tests/simulated/machine.h"

namespace veltrane::simulated {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr std::uint32_t kManagerAll = 0xF003F;
constexpr std::uint32_t kServiceAll = 0xF01FF;
constexpr wchar_t kName[] = L"VeltraneVpnTunnel$Active";

ServiceSettings Settings() {
  ServiceSettings settings;
  settings.name = kName;
  settings.display_name = kName;
  settings.access = kServiceAll;
  settings.type = 16;
  settings.start_type = 3;
  settings.error_control = 1;
  settings.command_line = L"\"C:\\a.exe\" /service";
  settings.dependencies = {L"Nsi", L"TcpIp"};
  return settings;
}

Service OpenService(std::uint32_t access = kServiceAll) {
  return ServiceManager::Open(kManagerAll).value().OpenExisting(kName, access).value();
}

TEST(SimulatedServices, CreatedServiceKeepsItsSettings) {
  Machine machine;
  {
    Result<Service> created = ServiceManager::Open(kManagerAll).value().Create(Settings());
    ASSERT_TRUE(created);
    EXPECT_FALSE(machine.services.Find(kName).value().sid_type);
    EXPECT_TRUE(created->SetSidType(1));
  }
  const ServiceRecord record = machine.services.Find(L"veltranevpntunnel$active").value();
  EXPECT_EQ(record.settings.command_line, L"\"C:\\a.exe\" /service");
  EXPECT_THAT(record.settings.dependencies, ElementsAre(L"Nsi", L"TcpIp"));
  EXPECT_EQ(record.sid_type, 1U);
  EXPECT_EQ(record.state, 1U);
  EXPECT_EQ(record.open_handles, 0);
  EXPECT_EQ(machine.services.OpenHandles(), 0);
}

TEST(SimulatedServices, CreatingAnExistingServiceAnswers1073) {
  Machine machine;
  machine.services.Add(kName);
  EXPECT_EQ(ServiceManager::Open(kManagerAll).value().Create(Settings()).Error(), 1073U);
  EXPECT_EQ(machine.services.Find(kName).value().settings.command_line, L"");
}

TEST(SimulatedServices, CreatingNeedsTheManagersRightForIt) {
  const Machine machine;
  EXPECT_EQ(ServiceManager::Open(1).value().Create(Settings()).Error(), 5U);
}

TEST(SimulatedServices, UnknownServiceCannotBeOpened) {
  const Machine machine;
  EXPECT_FALSE(ServiceManager::Open(1).value().OpenExisting(kName, 4));
}

TEST(SimulatedServices, DeniedRightsMakeOpeningFail) {
  Machine machine;
  machine.services.Add(kName);
  machine.services.DenyManagerAccess(2);
  EXPECT_FALSE(ServiceManager::Open(kManagerAll));
  ASSERT_TRUE(ServiceManager::Open(1));
  machine.services.DenyServiceAccess(0x10000);
  EXPECT_FALSE(ServiceManager::Open(1).value().OpenExisting(kName, 0x10024));
  EXPECT_TRUE(ServiceManager::Open(1).value().OpenExisting(kName, 4));
}

TEST(SimulatedServices, HandleAllowsOnlyWhatItWasOpenedFor) {
  Machine machine;
  machine.services.Add(kName, kRunning);
  Service service = OpenService(0x8);
  EXPECT_EQ(service.Start(), 5U);
  EXPECT_FALSE(service.SendStop());
  EXPECT_FALSE(service.QueryState());
  EXPECT_FALSE(service.Delete());
  EXPECT_FALSE(service.ChangeCommandLine(L"x"));
  EXPECT_FALSE(service.SetSidType(1));
}

TEST(SimulatedServices, CommandLineAloneIsChanged) {
  Machine machine;
  machine.services.Add(Settings());
  EXPECT_TRUE(OpenService().ChangeCommandLine(L"other"));
  EXPECT_EQ(machine.services.Find(kName).value().settings.command_line, L"other");
  EXPECT_EQ(machine.services.Find(kName).value().settings.type, 16U);
}

TEST(SimulatedServices, StartedServiceRunsAtOnceAndStopsAtOnce) {
  Machine machine;
  machine.services.Add(kName);
  Service service = OpenService();
  EXPECT_EQ(service.Start(), 0U);
  EXPECT_EQ(service.QueryState(), 4U);
  EXPECT_EQ(service.Start(), 1056U);
  EXPECT_TRUE(service.SendStop());
  EXPECT_EQ(service.QueryState(), 1U);
  EXPECT_FALSE(service.SendStop());
}

TEST(SimulatedServices, StartCanTakePolls) {
  Machine machine;
  machine.services.Add(kName);
  machine.services.RunAfterPolls(2);
  Service service = OpenService();
  EXPECT_EQ(service.Start(), 0U);
  EXPECT_EQ(service.Start(), 1056U);
  EXPECT_EQ(service.QueryState(), 2U);
  EXPECT_EQ(service.QueryState(), 2U);
  EXPECT_EQ(service.QueryState(), 4U);
  EXPECT_EQ(service.QueryState(), 4U);
}

TEST(SimulatedServices, StartedServiceCanEndAtOnce) {
  Machine machine;
  machine.services.Add(kName);
  machine.services.StopRightAfterStart();
  Service service = OpenService();
  EXPECT_EQ(service.Start(), 0U);
  EXPECT_EQ(service.QueryState(), 1U);
}

TEST(SimulatedServices, StopCanTakePolls) {
  Machine machine;
  machine.services.Add(kName, kRunning);
  machine.services.StopAfterPolls(2);
  Service service = OpenService();
  EXPECT_TRUE(service.SendStop());
  EXPECT_EQ(service.QueryState(), 3U);
  EXPECT_EQ(service.QueryState(), 3U);
  EXPECT_EQ(service.QueryState(), 1U);
}

TEST(SimulatedServices, StubbornServiceNeverStops) {
  Machine machine;
  machine.services.Add(kName, kRunning);
  machine.services.NeverStop();
  Service service = OpenService();
  EXPECT_TRUE(service.SendStop());
  for (int poll = 0; poll < 20; ++poll) EXPECT_EQ(service.QueryState(), 3U);
  EXPECT_FALSE(service.SendStop());
}

TEST(SimulatedServices, DeletedServiceIsGoneWithItsLastHandle) {
  Machine machine;
  machine.services.Add(kName);
  {
    Service service = OpenService();
    EXPECT_TRUE(service.Delete());
    EXPECT_FALSE(service.Delete());
    EXPECT_TRUE(machine.services.Find(kName).value().marked_for_delete);
  }
  EXPECT_THAT(machine.services.Names(), IsEmpty());
}

TEST(SimulatedServices, DeletedServiceThatRunsStaysMarkedUntilItStops) {
  Machine machine;
  machine.services.Add(kName, kRunning);
  EXPECT_TRUE(OpenService().Delete());
  EXPECT_TRUE(machine.services.Find(kName).value().marked_for_delete);
  machine.services.SetState(kName, kStopped);
  EXPECT_THAT(machine.services.Names(), IsEmpty());
}

TEST(SimulatedServices, HandleOfAnotherProgramKeepsAMarkedService) {
  Machine machine;
  machine.services.Add(kName);
  machine.services.HoldHandle(kName);
  EXPECT_TRUE(OpenService().Delete());
  EXPECT_TRUE(machine.services.Find(kName));
  machine.services.ReleaseHandle(kName);
  EXPECT_FALSE(machine.services.Find(kName));
}

TEST(SimulatedServices, MarkedServiceCanBeOpenedButNeitherCreatedNorStarted) {
  Machine machine;
  machine.services.Add(kName);
  machine.services.HoldHandle(kName);
  EXPECT_TRUE(OpenService().Delete());
  EXPECT_EQ(ServiceManager::Open(kManagerAll).value().Create(Settings()).Error(), 1072U);
  Service service = OpenService();
  EXPECT_EQ(service.QueryState(), 1U);
  EXPECT_EQ(service.Start(), 1072U);
  EXPECT_FALSE(service.ChangeCommandLine(L"other"));
}

TEST(SimulatedServices, MarkedServiceCanBeLetWork) {
  Machine machine;
  machine.services.Add(kName);
  machine.services.HoldHandle(kName);
  machine.services.LetMarkedServicesWork();
  EXPECT_TRUE(OpenService().Delete());
  Service service = OpenService();
  EXPECT_TRUE(service.ChangeCommandLine(L"other"));
  EXPECT_EQ(service.Start(), 0U);
}

TEST(SimulatedServices, HooksRunWhenAServiceComesUpAndGoesDown) {
  Machine machine;
  machine.services.Add(kName);
  machine.services.RunAfterPolls(0);
  machine.services.OnRunning([&machine](const std::wstring& name) {
    machine.routes.Add("0.0.0.0/0", "0.0.0.0", 23, 0);
    EXPECT_EQ(name, kName);
  });
  machine.services.OnStopped(
      [&machine](const std::wstring&) { machine.routes.Remove("0.0.0.0/0"); });
  Service service = OpenService();
  service.Start();
  EXPECT_THAT(machine.routes.Texts(), IsEmpty());
  service.QueryState();
  EXPECT_THAT(machine.routes.Texts(), ElementsAre("0.0.0.0/0 via 0.0.0.0 if 23 metric 0"));
  service.SendStop();
  EXPECT_THAT(machine.routes.Texts(), IsEmpty());
}

TEST(SimulatedServices, MovedServiceKeepsOneHandle) {
  Machine machine;
  machine.services.Add(kName);
  {
    Service first = OpenService();
    const Service second = std::move(first);
    EXPECT_EQ(machine.services.OpenHandles(), 1);
  }
  EXPECT_EQ(machine.services.OpenHandles(), 0);
}

TEST(SimulatedServices, CallsNameTheServiceAndTheAccess) {
  Machine machine;
  machine.services.Add(kName);
  machine.Fail("Service.Start", 1, 1056);
  {
    Service service = OpenService(0x10);
    EXPECT_EQ(service.Start(), 1056U);
  }
  EXPECT_THAT(machine.calls.All(),
              ElementsAre("ServiceManager.Open 0xf003f",
                          "ServiceManager.OpenExisting VeltraneVpnTunnel$Active 0x10",
                          "Service.Start VeltraneVpnTunnel$Active"));
  EXPECT_EQ(machine.services.Find(kName).value().state, 1U);
}

ServiceStatusHandle status_handle = nullptr;

void Report(std::uint32_t state) { ReportServiceStatus(status_handle, {16, state, 0, 0, 0, 0, 0}); }

void ServiceMain() {
  status_handle = RegisterControlHandler(L"VeltraneVpnTunnel", [](std::uint32_t control) {
    if (control == 1) Report(kStopped);
  });
  Report(kRunning);
  Machine::Current().service_host.WaitForState(kStopped);
}

TEST(SimulatedServiceHost, DispatcherRunsTheServiceUntilItsMainFunctionReturns) {
  Machine machine;
  std::thread control([&machine] {
    machine.service_host.WaitForState(kRunning);
    EXPECT_TRUE(machine.service_host.SendControl(4));
    EXPECT_TRUE(machine.service_host.SendControl(1));
  });
  EXPECT_EQ(RunServiceDispatcher(L"VeltraneVpnTunnel", &ServiceMain), 0U);
  control.join();
  EXPECT_THAT(machine.service_host.States(), ElementsAre(4, 1));
  EXPECT_EQ(machine.service_host.DispatchedName(), L"VeltraneVpnTunnel");
  EXPECT_EQ(machine.service_host.HandlerName(), L"VeltraneVpnTunnel");
  EXPECT_FALSE(machine.service_host.SendControl(1));
}

TEST(SimulatedServiceHost, FailedDispatcherRunsNothing) {
  Machine machine;
  machine.Fail("RunServiceDispatcher", 1, 1063);
  EXPECT_EQ(RunServiceDispatcher(L"VeltraneVpnTunnel", &ServiceMain), 1063U);
  EXPECT_THAT(machine.service_host.States(), IsEmpty());
}

TEST(SimulatedServiceHost, StatusWithoutAHandleIsDropped) {
  Machine machine;
  machine.Fail("RegisterControlHandler", 1, 1063);
  status_handle = RegisterControlHandler(L"VeltraneVpnTunnel", [](std::uint32_t) {});
  EXPECT_EQ(status_handle, nullptr);
  Report(kRunning);
  EXPECT_THAT(machine.service_host.Statuses(), IsEmpty());
}

}  // namespace
}  // namespace veltrane::simulated
