#include "service/installer.h"

#include "tests/support/name_of.h"
#include "tests/support/on_machine.h"

namespace veltrane {
namespace {

using simulated::ServiceRecord;
using Texts = std::vector<std::string>;

constexpr wchar_t kName[] = L"VeltraneVpnTunnel";
constexpr wchar_t kExePath[] = L"D:\\a \"b\"\\";

class Installer : public OnMachine {
 protected:
  // No test leaves a handle open.
  void TearDown() override { EXPECT_EQ(machine.services.OpenHandles(), 0); }

  bool Install() { return InstallService(kExePath, &error); }
  bool Uninstall() { return UninstallService(&error); }

  ServiceRecord Installed() { return machine.services.Find(kName).value(); }

  // What there is of the service: "nothing", "state 1", "state 4 marked" for deletion.
  std::string Left() {
    const std::optional<ServiceRecord> record = machine.services.Find(kName);
    if (!record) return "nothing";
    return "state " + std::to_string(record->state) + (record->marked_for_delete ? " marked" : "");
  }

  std::wstring error = L"untouched";
};

TEST_F(Installer, CreatesTheServiceOfThePathAsItIsAndDoesNotStartIt) {
  EXPECT_TRUE(Install());
  EXPECT_EQ(machine.calls.All(),
            (Texts{"ServiceManager.Open 0xf003f", "ServiceManager.Create VeltraneVpnTunnel",
                   "Service.SetSidType VeltraneVpnTunnel 1"}));
  EXPECT_EQ(error, L"untouched");
  const ServiceSettings settings = Installed().settings;
  EXPECT_EQ(settings.name, L"VeltraneVpnTunnel");
  EXPECT_EQ(settings.display_name, L"VeltraneVpnTunnel");
  EXPECT_EQ(settings.access, 0xF01FFu);
  EXPECT_EQ(settings.type, 16u);
  EXPECT_EQ(settings.start_type, 3u);
  EXPECT_EQ(settings.error_control, 1u);
  EXPECT_EQ(settings.command_line, L"\"D:\\a \"b\"\\\" --run-as-service");
  EXPECT_EQ(settings.dependencies, (std::vector<std::wstring>{L"Nsi", L"TcpIp"}));
}

TEST_F(Installer, AFailureToSetTheSidTypeIsIgnored) {
  machine.FailAlways("Service.SetSidType", 5);
  EXPECT_TRUE(Install());
  EXPECT_EQ(error, L"untouched");
  EXPECT_EQ(Left(), "state 1");
}

TEST_F(Installer, InstallingTwiceSucceedsAndChangesNothingEvenWhenTheProgramHasMoved) {
  EXPECT_TRUE(Install());
  machine.calls.Clear();
  EXPECT_TRUE(InstallService(L"E:\\Moved.exe", &error));
  EXPECT_EQ(machine.calls.All(),
            (Texts{"ServiceManager.Open 0xf003f", "ServiceManager.Create VeltraneVpnTunnel"}));
  EXPECT_EQ(Installed().settings.command_line, L"\"D:\\a \"b\"\\\" --run-as-service");
  EXPECT_EQ(error, L"untouched");
}

TEST_F(Installer, FailsWhenTheManagerCannotBeOpened) {
  machine.FailAlways("ServiceManager.Open", 5);
  EXPECT_FALSE(Install());
  EXPECT_EQ(error, L"OpenSCManager failed");
  EXPECT_EQ(machine.calls.All(), Texts{"ServiceManager.Open 0xf003f"});
}

class CreationError : public Installer, public testing::WithParamInterface<std::uint32_t> {};

TEST_P(CreationError, FailsAndLeavesNothing) {
  machine.FailAlways("ServiceManager.Create", GetParam());
  EXPECT_FALSE(Install());
  EXPECT_EQ(error, L"CreateService failed");
  EXPECT_EQ(machine.calls.All(),
            (Texts{"ServiceManager.Open 0xf003f", "ServiceManager.Create VeltraneVpnTunnel"}));
  EXPECT_EQ(Left(), "nothing");
}

// Access denied, invalid account, marked for deletion, the neighbour of 1073, duplicate name.
INSTANTIATE_TEST_SUITE_P(Of, CreationError, testing::Values(5, 1057, 1072, 1074, 1078),
                         testing::PrintToStringParamName());

TEST_F(Installer, TheErrorTextMayBeAbsent) {
  machine.FailAlways("ServiceManager.Create", 5);
  EXPECT_FALSE(InstallService(kExePath, nullptr));
  machine.FailAlways("ServiceManager.Open", 5);
  EXPECT_FALSE(InstallService(kExePath, nullptr));
  EXPECT_FALSE(UninstallService(nullptr));
}

class Uninstallation : public Installer {
 protected:
  Uninstallation() { machine.services.Add(kName, simulated::kRunning); }
};

TEST_F(Uninstallation, StopsTheServiceThenDeletesIt) {
  EXPECT_TRUE(Uninstall());
  EXPECT_EQ(
      machine.calls.All(),
      (Texts{"ServiceManager.Open 0xf003f", "ServiceManager.OpenExisting VeltraneVpnTunnel 0x24",
             "Service.SendStop VeltraneVpnTunnel", "ServiceManager.Open 0xf003f",
             "ServiceManager.OpenExisting VeltraneVpnTunnel 0x10024",
             "Service.Delete VeltraneVpnTunnel"}));
  EXPECT_EQ(Left(), "nothing");
  EXPECT_EQ(error, L"untouched");
}

TEST_F(Uninstallation, ClosesTheHandlesOfTheStopBeforeTheDeletion) {
  int open_handles = -1;
  machine.OnCall("ServiceManager.Open", 2, [&] { open_handles = machine.services.OpenHandles(); });
  EXPECT_TRUE(Uninstall());
  EXPECT_EQ(open_handles, 0);
}

TEST_F(Uninstallation, MarksARunningServiceWithoutWaitingForItToStop) {
  machine.services.NeverStop();
  EXPECT_TRUE(Uninstall());
  EXPECT_EQ(Left(), "state 3 marked");
  EXPECT_EQ(machine.calls.Count("Service.QueryState"), 0u);
  EXPECT_EQ(machine.calls.Count("Sleep"), 0u);
  machine.services.SetState(kName, simulated::kStopped);
  EXPECT_EQ(Left(), "nothing");
}

TEST_F(Installer, UninstallOfAServiceThatIsNotInstalledReturnsTrue) {
  EXPECT_TRUE(Uninstall());
  EXPECT_EQ(error, L"untouched");
  EXPECT_EQ(machine.calls.All(), (Texts{"ServiceManager.Open 0xf003f",
                                        "ServiceManager.OpenExisting VeltraneVpnTunnel 0x24",
                                        "ServiceManager.Open 0xf003f",
                                        "ServiceManager.OpenExisting VeltraneVpnTunnel 0x10024"}));
}

constexpr char kStop[] = "Service.SendStop VeltraneVpnTunnel";
constexpr char kDelete[] = "Service.Delete VeltraneVpnTunnel";

struct Failure {
  const char* name;
  const char* call;
  std::size_t nth;
  bool succeeds;
  Texts changes;
  const char* left;
};

class FailedUninstallation : public Uninstallation, public testing::WithParamInterface<Failure> {};

TEST_P(FailedUninstallation, DoesAllTheRestAndFailsOnlyForTheManagerOfTheDeletion) {
  machine.Fail(GetParam().call, GetParam().nth, 5);
  EXPECT_EQ(Uninstall(), GetParam().succeeds);
  EXPECT_EQ(error, GetParam().succeeds ? L"untouched" : L"OpenSCManager failed");
  EXPECT_EQ(machine.Changes(), GetParam().changes);
  EXPECT_EQ(Left(), GetParam().left);
}

const Failure kFailures[] = {
    {"ManagerOfTheStop", "ServiceManager.Open", 1, true, {kDelete}, "state 4 marked"},
    {"ServiceOfTheStop", "ServiceManager.OpenExisting", 1, true, {kDelete}, "state 4 marked"},
    {"Stop", "Service.SendStop", 1, true, {kStop, kDelete}, "state 4 marked"},
    {"ManagerOfTheDeletion", "ServiceManager.Open", 2, false, {kStop}, "state 1"},
    {"ServiceOfTheDeletion", "ServiceManager.OpenExisting", 2, true, {kStop}, "state 1"},
    {"Deletion", "Service.Delete", 1, true, {kStop, kDelete}, "state 1"}};

INSTANTIATE_TEST_SUITE_P(Without, FailedUninstallation, testing::ValuesIn(kFailures),
                         NameOf<Failure>);

}  // namespace
}  // namespace veltrane
