// platform/services.h and platform/service_facts.h: services that are installed, and processes.

#include "platform/services.h"

#include <cwctype>
#include <utility>

#include "platform/clock.h"
#include "platform/service_codes.h"
#include "platform/service_facts.h"
#include "tests/contract/stage.h"

namespace veltrane::contract {
namespace {

// Cases that begin without a service of the name.
class Services : public Contract {
 protected:
  ServiceSettings Settings(Pace pace = Pace::kPrompt) {
    return {.name = name,
            .display_name = L"Contract of Veltrane",
            .access = kServiceAllAccess,
            .type = kServiceOwnProcess,
            .start_type = kServiceDemandStart,
            .error_control = kServiceErrorNormal,
            .command_line = stage.ServiceProgram(pace),
            .dependencies = {}};
  }

  Service Create(Pace pace = Pace::kPrompt) { return Take(manager.Create(Settings(pace))); }

  // A service that runs.
  Service Start(Pace pace = Pace::kPrompt) {
    Service service = Create(pace);
    EXPECT_EQ(service.Start(), 0U);
    EXPECT_TRUE(WaitForState(service, kServiceRunning));
    return service;
  }

  static bool WaitForState(Service& service, std::uint32_t state) {
    return Eventually([&] { return service.QueryState() == state; });
  }

  const std::wstring name = stage.NewServiceName();
  ServiceManager manager = ServiceManager::Open(kManagerAllAccess).value();
};

TEST_F(Services, AreCreatedWithTheirSettings) {
  ServiceSettings settings = Settings();
  settings.dependencies = {L"Nsi", L"TcpIp"};
  EXPECT_EQ(manager.Create(settings).Error(), 0U);
  const InstalledService installed = stage.FindService(name).value();
  EXPECT_EQ(installed.settings.display_name, L"Contract of Veltrane");
  EXPECT_EQ(installed.settings.type, kServiceOwnProcess);
  EXPECT_EQ(installed.settings.start_type, kServiceDemandStart);
  EXPECT_EQ(installed.settings.error_control, kServiceErrorNormal);
  EXPECT_EQ(installed.settings.command_line, settings.command_line);
  EXPECT_EQ(installed.settings.dependencies, (std::vector<std::wstring>{L"Nsi", L"TcpIp"}));
  EXPECT_EQ(installed.account, L"LocalSystem");
}

TEST_F(Services, MayDependOnNothing) {
  Create();
  EXPECT_EQ(stage.FindService(name).value().settings.dependencies, std::vector<std::wstring>{});
}

TEST_F(Services, AreStoppedAtFirst) { EXPECT_EQ(Create().QueryState(), kServiceStopped); }

TEST_F(Services, CannotBeCreatedTwiceWhateverTheCaseOfTheName) {
  Create();
  EXPECT_EQ(manager.Create(Settings()).Error(), kErrorServiceExists);
  ServiceSettings upper = Settings();
  for (wchar_t& c : upper.name) c = static_cast<wchar_t>(std::towupper(static_cast<wint_t>(c)));
  EXPECT_EQ(manager.Create(upper).Error(), kErrorServiceExists);
}

TEST_F(Services, CannotBeCreatedOverAConnectionWithoutTheRightForIt) {
  ServiceManager connection = ServiceManager::Open(kManagerConnect).value();
  EXPECT_EQ(connection.Create(Settings()).Error(), 5U);
  EXPECT_FALSE(stage.FindService(name));
}

TEST_F(Services, AreOpenedWhateverTheCaseOfTheName) {
  Create();
  std::wstring upper = name;
  for (wchar_t& c : upper) c = static_cast<wchar_t>(std::towupper(static_cast<wint_t>(c)));
  EXPECT_TRUE(manager.OpenExisting(upper, kServiceQueryStatus));
}

TEST_F(Services, CannotBeOpenedWhenTheyAreNotThere) {
  EXPECT_FALSE(manager.OpenExisting(name, kServiceQueryStatus));
}

TEST_F(Services, AllowNothingThatTheHandleWasNotOpenedFor) {
  Service all = Start();
  Service query = manager.OpenExisting(name, kServiceQueryStatus).value();
  EXPECT_EQ(query.Start(), 5U);
  EXPECT_FALSE(query.SendStop());
  EXPECT_FALSE(query.Delete());
  EXPECT_FALSE(query.ChangeCommandLine(L"other"));
  EXPECT_FALSE(query.ChangeSettings(Settings()));
  EXPECT_FALSE(query.SetSidType(kServiceSidUnrestricted));
  Service stop = manager.OpenExisting(name, kServiceStop).value();
  EXPECT_EQ(stop.QueryState(), std::nullopt);
  EXPECT_EQ(all.QueryState(), kServiceRunning);
}

TEST_F(Services, HaveTheirCommandLineAloneChanged) {
  Service service = Create();
  EXPECT_TRUE(service.ChangeCommandLine(L"\"C:\\other.exe\" /service"));
  const InstalledService installed = stage.FindService(name).value();
  EXPECT_EQ(installed.settings.command_line, L"\"C:\\other.exe\" /service");
  EXPECT_EQ(installed.settings.display_name, L"Contract of Veltrane");
  EXPECT_EQ(installed.settings.type, kServiceOwnProcess);
  EXPECT_EQ(installed.settings.start_type, kServiceDemandStart);
  EXPECT_EQ(installed.settings.error_control, kServiceErrorNormal);
  EXPECT_EQ(installed.account, L"LocalSystem");
}

TEST_F(Services, KeepTheirDependenciesWhenTheirCommandLineIsChanged) {
  NOT_ON_WINE("ChangeServiceConfigW forgets the dependencies");
  ServiceSettings settings = Settings();
  settings.dependencies = {L"Nsi"};
  EXPECT_TRUE(Take(manager.Create(settings)).ChangeCommandLine(L"other"));
  EXPECT_EQ(stage.FindService(name).value().settings.dependencies,
            std::vector<std::wstring>{L"Nsi"});
}

TEST_F(Services, HaveAllTheirSettingsChanged) {
  ServiceSettings settings = Settings();
  settings.dependencies = {L"Nsi", L"TcpIp"};
  Service service = Take(manager.Create(settings));
  settings.start_type = kServiceAutoStart;
  settings.command_line = L"\"C:\\other.exe\" --run-as-service";
  EXPECT_TRUE(service.ChangeSettings(settings));
  const InstalledService installed = stage.FindService(name).value();
  EXPECT_EQ(installed.settings.command_line, L"\"C:\\other.exe\" --run-as-service");
  EXPECT_EQ(installed.settings.display_name, L"Contract of Veltrane");
  EXPECT_EQ(installed.settings.type, kServiceOwnProcess);
  EXPECT_EQ(installed.settings.start_type, kServiceAutoStart);
  EXPECT_EQ(installed.settings.error_control, kServiceErrorNormal);
  EXPECT_EQ(installed.settings.dependencies, (std::vector<std::wstring>{L"Nsi", L"TcpIp"}));
  EXPECT_EQ(installed.account, L"LocalSystem");
}

TEST_F(Services, HaveTheSidTypeThatIsSet) {
  NOT_ON_WINE("the control manager knows no service SID type");
  Service service = Create();
  EXPECT_TRUE(service.SetSidType(kServiceSidUnrestricted));
  EXPECT_EQ(stage.FindService(name).value().sid_type, kServiceSidUnrestricted);
}

TEST_F(Services, RunAfterAStartAndAreStoppedAfterAStop) {
  Service service = Create();
  EXPECT_EQ(service.Start(), 0U);
  EXPECT_TRUE(WaitForState(service, kServiceRunning));
  EXPECT_TRUE(service.SendStop());
  EXPECT_TRUE(WaitForState(service, kServiceStopped));
}

TEST_F(Services, CannotBeStartedTwice) {
  Service service = Start();
  EXPECT_EQ(service.Start(), kErrorServiceAlreadyRunning);
}

TEST_F(Services, ThatDoNotRunCannotBeStopped) { EXPECT_FALSE(Create().SendStop()); }

TEST_F(Services, AreInStartPendingUntilTheyRun) {
  Service service = Create(Pace::kSlowStart);
  EXPECT_EQ(service.Start(), 0U);
  EXPECT_TRUE(WaitForState(service, kServiceStartPending));
  stage.LetServicesGoOn();
  EXPECT_TRUE(WaitForState(service, kServiceRunning));
}

TEST_F(Services, InStartPendingCanBeNeitherStartedNorStopped) {
  Service service = Create(Pace::kSlowStart);
  service.Start();
  EXPECT_TRUE(WaitForState(service, kServiceStartPending));
  EXPECT_EQ(service.Start(), kErrorServiceAlreadyRunning);
  EXPECT_FALSE(service.SendStop());
}

TEST_F(Services, AreInStopPendingAfterAStopThatNobodyWaitsFor) {
  Service service = Start(Pace::kSlowStop);
  EXPECT_TRUE(service.SendStop());
  EXPECT_TRUE(WaitForState(service, kServiceStopPending));
  EXPECT_FALSE(service.SendStop());
  stage.LetServicesGoOn();
  EXPECT_TRUE(WaitForState(service, kServiceStopped));
}

TEST_F(Services, AreGoneWithTheirLastHandleAfterDeletion) {
  {
    Service service = Create();
    EXPECT_TRUE(service.Delete());
    EXPECT_TRUE(stage.FindService(name));
  }
  EXPECT_TRUE(Eventually([&] { return !stage.FindService(name); }));
}

TEST_F(Services, AreNotGoneBeforeOthersHaveLetGoOfThem) {
  {
    Service service = Create();
    stage.HoldService(name);
    EXPECT_TRUE(service.Delete());
  }
  EXPECT_TRUE(stage.FindService(name));
  stage.LetGoOfService(name);
  EXPECT_TRUE(Eventually([&] { return !stage.FindService(name); }));
}

TEST_F(Services, HaveTheirHandleClosedOnceWhenItWasMoved) {
  {
    Service first = Create();
    Service second = std::move(first);
    EXPECT_TRUE(second.Delete());
  }
  EXPECT_TRUE(Eventually([&] { return !stage.FindService(name); }));
}

TEST_F(Services, ThatRunStayUntilTheyAreStopped) {
  Service service = Start();
  EXPECT_TRUE(service.Delete());
  EXPECT_EQ(service.QueryState(), kServiceRunning);
  EXPECT_TRUE(service.SendStop());
  EXPECT_TRUE(WaitForState(service, kServiceStopped));
}

// Cases of a service that is marked for deletion.
class MarkedService : public Services {
 protected:
  Service service = Marked();

 private:
  Service Marked() {
    Service marked = Create();
    EXPECT_TRUE(marked.Delete());
    return marked;
  }
};

TEST_F(MarkedService, CanBeOpenedAndQueried) {
  EXPECT_EQ(manager.OpenExisting(name, kServiceAllAccess).value().QueryState(), kServiceStopped);
}

TEST_F(MarkedService, CannotBeDeletedAgain) { EXPECT_FALSE(service.Delete()); }

TEST_F(MarkedService, KeepsItsNameTaken) { EXPECT_EQ(manager.Create(Settings()).Error(), 1072U); }

TEST_F(MarkedService, CannotBeChanged) {
  EXPECT_FALSE(service.ChangeCommandLine(L"other"));
  EXPECT_FALSE(service.SetSidType(kServiceSidUnrestricted));
}

TEST_F(MarkedService, CannotBeStarted) {
  NOT_ON_WINE("the control manager starts a service that is marked for deletion");
  EXPECT_EQ(service.Start(), 1072U);
}

using ServiceFact = Services;

TEST_F(ServiceFact, IsWhatWasRegistered) {
  const ServiceSettings settings = Settings();
  EXPECT_TRUE(manager.Create(settings));
  const ServiceFacts facts = Take(ReadServiceFacts(name));
  EXPECT_EQ(facts.state, kServiceStopped);
  EXPECT_EQ(facts.process_id, 0U);
  EXPECT_EQ(facts.start_type, kServiceDemandStart);
  EXPECT_EQ(facts.command_line, settings.command_line);
  EXPECT_EQ(facts.account, L"LocalSystem");
}

TEST_F(ServiceFact, IsTheProcessOfAServiceThatRuns) {
  const Service service = Start();
  const ServiceFacts facts = Take(ReadServiceFacts(name));
  EXPECT_EQ(facts.state, kServiceRunning);
  EXPECT_NE(facts.process_id, 0U);
}

TEST_F(ServiceFact, IsTheProcessThatWasStartedAfterWindows) {
  const Service service = Start();
  const std::uint32_t process = Take(ReadServiceFacts(name)).process_id;
  const std::int64_t start = Take(ReadProcessStart(process));
  const auto uptime = static_cast<std::int64_t>(UptimeMilliseconds()) * (kTicksPerSecond / 1000);
  EXPECT_GE(start, UtcTicks() - uptime - kTicksPerSecond);
  EXPECT_LE(start, UtcTicks() + kTicksPerSecond);
}

TEST_F(ServiceFact, IsError1060WhenNoServiceHasTheName) {
  EXPECT_EQ(ReadServiceFacts(name).Error(), kErrorServiceDoesNotExist);
}

using ProcessStart = Contract;

TEST_F(ProcessStart, IsInTicksSince1970) {
  constexpr std::int64_t kMinute = 60 * kTicksPerSecond;
  const std::int64_t expected = stage.OwnStart();
  const std::int64_t start = Take(ReadProcessStart(stage.OwnProcessId()));
  EXPECT_GE(start, expected - kMinute);
  EXPECT_LE(start, expected + kMinute);
}

TEST_F(ProcessStart, IsError87WhenThereIsNoSuchProcess) {
  EXPECT_EQ(ReadProcessStart(0).Error(), 87U);
  EXPECT_EQ(ReadProcessStart(0x7FFFFFFC).Error(), 87U);
}

}  // namespace
}  // namespace veltrane::contract
