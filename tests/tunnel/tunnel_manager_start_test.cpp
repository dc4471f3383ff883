#include "tests/support/name_of.h"
#include "tests/tunnel/on_manager.h"

namespace veltrane {
namespace {

using simulated::kRunning;
using simulated::kStopped;
using simulated::ServiceRecord;

constexpr wchar_t kConf[] = L"C:\\ProgramData\\Veltrane\\tunnels\\active.conf";
constexpr wchar_t kCommandLine[] =
    L"\"C:\\Program Files\\Veltrane\\VeltraneVpnService.exe\" /service "
    L"\"C:\\ProgramData\\Veltrane\\tunnels\\active.conf\"";

constexpr char kSendsStop[] = "Service.SendStop VeltraneVpnTunnel$Active";
constexpr char kDeletes[] = "Service.Delete VeltraneVpnTunnel$Active";
constexpr char kCreates[] = "ServiceManager.Create VeltraneVpnTunnel$Active";
constexpr char kSetsSidType[] = "Service.SetSidType VeltraneVpnTunnel$Active 1";
constexpr char kReconfigures[] = "Service.ChangeCommandLine VeltraneVpnTunnel$Active";
constexpr char kStarts[] = "Service.Start VeltraneVpnTunnel$Active";

constexpr wchar_t kEarlierLine[] = L"earlier.exe";

// An earlier tunnel service, with settings of its own.
void InstallEarlier(std::uint32_t state) {
  Services().Add({.name = kName,
                  .display_name = L"Earlier",
                  .access = 0,
                  .type = 0x20,
                  .start_type = 2,
                  .error_control = 0,
                  .command_line = kEarlierLine,
                  .dependencies = {L"Earlier"}},
                 state);
}

class TunnelStart : public OnManager {
 protected:
  bool Start() { return TunnelManager::Start(kConf, &error); }

  ServiceRecord Installed() { return machine.services.Find(kName).value(); }

  std::wstring CommandLine() {
    return Left() == "nothing" ? L"" : Installed().settings.command_line;
  }

  std::string error = "untouched";
};

TEST_F(TunnelStart, LooksForAnEarlierServiceThenCreatesConfiguresAndStarts) {
  EXPECT_TRUE(Start());
  EXPECT_EQ(machine.calls.All(),
            (Texts{"ServiceManager.Open 0xf003f",
                   "ServiceManager.OpenExisting VeltraneVpnTunnel$Active 0x10024",
                   "ServiceManager.Open 0xf003f", "ExecutablePath",
                   "ServiceManager.OpenExisting VeltraneVpnTunnel$Active 0xf01ff", kCreates,
                   kSetsSidType, kStarts}));
  EXPECT_EQ(Left(), "state 4");
  EXPECT_EQ(error, "untouched");
}

TEST_F(TunnelStart, CreatesTheServiceWithItsSettings) {
  EXPECT_TRUE(Start());
  const ServiceSettings settings = Installed().settings;
  EXPECT_EQ(settings.name, L"VeltraneVpnTunnel$Active");
  EXPECT_EQ(settings.display_name, L"VeltraneVpnTunnel$Active");
  EXPECT_EQ(settings.access, 0xF01FFu);   // SERVICE_ALL_ACCESS
  EXPECT_EQ(settings.type, 0x10u);        // SERVICE_WIN32_OWN_PROCESS
  EXPECT_EQ(settings.start_type, 3u);     // SERVICE_DEMAND_START
  EXPECT_EQ(settings.error_control, 1u);  // SERVICE_ERROR_NORMAL
  EXPECT_EQ(settings.command_line, kCommandLine);
  EXPECT_EQ(settings.dependencies, (std::vector<std::wstring>{L"Nsi", L"TcpIp"}));
}

TEST_F(TunnelStart, DoesNotWaitForTheRunningState) {
  machine.services.RunAfterPolls(5);
  EXPECT_TRUE(Start());
  EXPECT_EQ(Left(), "state 2");
  EXPECT_EQ(machine.clock.Sleeps(), std::vector<std::uint32_t>{});
}

TEST_F(TunnelStart, QuotesThePathsAsTheyAreAndCutsTheProgramsAt259Characters) {
  machine.libraries.SetExecutablePath(L"D:\\V\u00FC \"x\"\\" + std::wstring(300, L's'));
  EXPECT_TRUE(TunnelManager::Start(L"E:\\a b\\c.conf", nullptr));
  EXPECT_EQ(Installed().settings.command_line, L"\"D:\\V\u00FC \"x\"\\" + std::wstring(249, L's') +
                                                   L"\" /service \"E:\\a b\\c.conf\"");
}

TEST_F(TunnelStart, WaitsForAnEarlierServiceToStopAndReplacesIt) {
  InstallEarlier(kRunning);
  machine.services.StopAfterPolls(3);
  EXPECT_TRUE(Start());
  EXPECT_EQ(machine.Changes(), (Texts{kSendsStop, kDeletes, kCreates, kSetsSidType, kStarts}));
  EXPECT_EQ(machine.clock.Sleeps(), (std::vector<std::uint32_t>{1000, 1000, 1000}));
  EXPECT_EQ(Installed().settings.display_name, L"VeltraneVpnTunnel$Active");
  EXPECT_EQ(Installed().settings.command_line, kCommandLine);
  EXPECT_EQ(Left(), "state 4");
}

TEST_F(TunnelStart, ReconfiguresAServiceWhoseDeletionIsPending) {
  InstallEarlier(kStopped);
  machine.services.HoldHandle(kName);
  machine.services.LetMarkedServicesWork();
  EXPECT_TRUE(TunnelManager::Stop());
  machine.calls.Clear();
  EXPECT_TRUE(Start());
  EXPECT_EQ(machine.Changes(), (Texts{kSendsStop, kDeletes, kReconfigures, kStarts}));
  EXPECT_EQ(Installed().settings.command_line, kCommandLine);
  EXPECT_EQ(Left(), "state 4 marked");
}

TEST_F(TunnelStart, ReconfiguresNothingButTheCommandLineNotEvenTheSidType) {
  InstallEarlier(kStopped);
  machine.Fail("Service.Delete", 1, 5);
  EXPECT_TRUE(Start());
  const ServiceRecord record = Installed();
  EXPECT_EQ(record.settings.command_line, kCommandLine);
  EXPECT_EQ(record.settings.display_name, L"Earlier");
  EXPECT_EQ(record.settings.type, 0x20u);
  EXPECT_EQ(record.settings.start_type, 2u);
  EXPECT_EQ(record.settings.error_control, 0u);
  EXPECT_EQ(record.settings.dependencies, (std::vector<std::wstring>{L"Earlier"}));
  EXPECT_EQ(record.sid_type, std::nullopt);
}

constexpr char kIgnored[] = "untouched";
const Texts kReplaced = {kCreates, kSetsSidType, kStarts};
const Texts kReconfigured = {kSendsStop, kDeletes, kReconfigures, kStarts};

struct Trouble {
  const char* name;
  std::uint32_t earlier;  // the state of an earlier service; 0: there is none
  void (*prepare)();
  std::string error;
  Texts changes;
  std::string left;
  std::wstring command_line;  // of what is left
};

class TunnelStartTrouble : public TunnelStart, public testing::WithParamInterface<Trouble> {
 protected:
  TunnelStartTrouble() {
    if (GetParam().earlier != 0) InstallEarlier(GetParam().earlier);
    GetParam().prepare();
  }
};

TEST_P(TunnelStartTrouble, IsIgnoredOrReportedAndLeavesThis) {
  EXPECT_EQ(Start(), GetParam().error == kIgnored);
  EXPECT_EQ(error, GetParam().error);
  EXPECT_EQ(machine.Changes(), GetParam().changes);
  EXPECT_EQ(Left(), GetParam().left);
  EXPECT_EQ(CommandLine(), GetParam().command_line);
}

TEST_P(TunnelStartTrouble, MayComeWithoutATextToFill) {
  EXPECT_EQ(TunnelManager::Start(kConf, nullptr), GetParam().error == kIgnored);
}

const Trouble kTroubles[] = {
    {"SidType", 0, [] { Fail("Service.SetSidType"); }, kIgnored, kReplaced, "state 4",
     kCommandLine},
    {"RunsAlready", 0, [] { Fail("Service.Start", 1, 1056); }, kIgnored, kReplaced, "state 1",
     kCommandLine},
    {"Reconfiguration", kStopped,
     [] {
       Fail("Service.Delete");
       Fail("Service.ChangeCommandLine");
     },
     kIgnored, kReconfigured, "state 4", kEarlierLine},
    {"EarlierOneDoesNotStop", kRunning,
     [] {
       Services().NeverStop();
       Fail("Service.Delete");
     },
     kIgnored, kReconfigured, "state 3", kCommandLine},
    {"ManagerOfTheRemoval", kRunning, [] { Fail("ServiceManager.Open"); }, kIgnored,
     Texts{kReconfigures, kStarts}, "state 4", kCommandLine},
    {"Manager", 0, [] { Services().DenyManagerAccess(2); }, "OpenSCManager failed", Texts{},
     "nothing", L""},
    {"ManagerAfterTheRemoval", kRunning, [] { Fail("ServiceManager.Open", 2); },
     "OpenSCManager failed", Texts{kSendsStop, kDeletes}, "nothing", L""},
    {"Creation", 0, [] { Fail("ServiceManager.Create"); }, "CreateService tunnel failed",
     Texts{kCreates}, "nothing", L""},
    {"AccessToTheEarlierOne", kStopped, [] { FailAlways("ServiceManager.OpenExisting"); },
     "CreateService tunnel failed", Texts{kCreates}, "state 1", kEarlierLine},
    {"DeletionIsPending", kStopped, [] { Services().HoldHandle(kName); },
     "StartService tunnel failed", kReconfigured, "state 1 marked", kEarlierLine}};

INSTANTIATE_TEST_SUITE_P(With, TunnelStartTrouble, testing::ValuesIn(kTroubles), NameOf<Trouble>);

class TunnelStartError : public TunnelStart, public testing::WithParamInterface<std::uint32_t> {};

TEST_P(TunnelStartError, FailsAndLeavesTheServiceInstalled) {
  machine.Fail("Service.Start", 1, GetParam());
  EXPECT_FALSE(Start());
  EXPECT_EQ(error, "StartService tunnel failed");
  EXPECT_EQ(machine.Changes(), (Texts{kCreates, kSetsSidType, kStarts}));
  EXPECT_EQ(Left(), "state 1");
}

INSTANTIATE_TEST_SUITE_P(Of, TunnelStartError,
                         testing::Values(2, 5, 1053, 1055, 1057, 1058, 1069, 1072),
                         testing::PrintToStringParamName());

}  // namespace
}  // namespace veltrane
