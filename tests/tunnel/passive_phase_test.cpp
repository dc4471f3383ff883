// What the tunnel's operations log and record while nobody has asked for a connection yet.

#include <csignal>

#include "tests/support/name_of.h"
#include "tests/support/on_machine.h"
#include "tunnel/active_conf.h"
#include "tunnel/tunnel_manager.h"

namespace veltrane {
namespace {

constexpr wchar_t kConf[] = L"C:\\ProgramData\\Veltrane\\tunnels\\active.conf";
constexpr wchar_t kGuardVariable[] = L"VELTRANE_POC_DISABLE_ALL_NETWORK_MUTATION_ON_STARTUP";

bool Start() { return TunnelManager::Start(kConf, nullptr); }
bool Write() { return WriteActiveConf({}, nullptr); }
bool Delete() { return DeleteActiveConf(nullptr); }
bool Restrict() { return ApplyTunnelsAcl(kConf); }

std::string Marks() {
  const StartupState state = ReadStartupState();
  return "tunnel " + std::to_string(state.tunnel_started) + " config " +
         std::to_string(state.config_written) + " routes " +
         std::to_string(state.route_mutation_count);
}

struct Operation {
  const char* name;
  bool (*run)();
  const char* first_call;  // at which everything is logged and marked
  std::string logged;
  const char* marks;
};

class PassivePhase : public OnMachine, public testing::WithParamInterface<Operation> {};

TEST_P(PassivePhase, LogsAndMarksTheOperationBeforeItBegins) {
  std::string logged = "never begun";
  std::string marks;
  machine.OnCall(GetParam().first_call, 1, [&] {
    logged = simulated::Narrow(machine.console.Error());
    marks = Marks();
  });
  GetParam().run();
  EXPECT_EQ(logged, GetParam().logged);
  EXPECT_EQ(marks, GetParam().marks);
  EXPECT_EQ(simulated::Narrow(machine.console.Error()), GetParam().logged);
  EXPECT_EQ(Marks(), GetParam().marks);
}

const Operation kGuarded[] = {
    {"Start", Start, "ServiceManager.Open",
     "[Veltrane][startup_guard] forbidden during passive startup: TunnelManager::Start\n"
     "[Veltrane][startup_guard] forbidden during passive startup: TunnelManager::Stop\n",
     "tunnel 1 config 0 routes 0"},
    {"Stop", TunnelManager::Stop, "ServiceManager.Open",
     "[Veltrane][startup_guard] forbidden during passive startup: TunnelManager::Stop\n",
     "tunnel 0 config 0 routes 0"},
    {"Write", Write, "CreateFolders",
     "[Veltrane][startup_guard] forbidden during passive startup: WriteActiveConf\n",
     "tunnel 0 config 1 routes 0"}};

const Operation kUnguarded[] = {
    {"StateQuery", TunnelManager::IsRunning, "ServiceManager.Open", "",
     "tunnel 0 config 0 routes 0"},
    {"Deletion", Delete, "TestExistence", "", "tunnel 0 config 0 routes 0"},
    {"AccessList", Restrict, "SetProtectedAccess", "", "tunnel 0 config 0 routes 0"}};

INSTANTIATE_TEST_SUITE_P(Guarded, PassivePhase, testing::ValuesIn(kGuarded), NameOf<Operation>);
INSTANTIATE_TEST_SUITE_P(Unguarded, PassivePhase, testing::ValuesIn(kUnguarded), NameOf<Operation>);

using PassivePhaseChange = OnMachine;

TEST_F(PassivePhaseChange, IsMarkedAfterItsOwnLineAndThenMade) {
  std::vector<std::string> marks;
  machine.calls.OnEveryCall("PrintErrorLine", [&] { marks.push_back(Marks()); });
  EXPECT_TRUE(Write());
  EXPECT_TRUE(Start());
  // At the line of the write, at that of the start, and at that of the stop inside the start.
  EXPECT_EQ(marks,
            (std::vector<std::string>{"tunnel 0 config 0 routes 0", "tunnel 0 config 1 routes 0",
                                      "tunnel 1 config 1 routes 0"}));
  EXPECT_TRUE(machine.files.Exists(kConf));
  EXPECT_EQ(machine.services.Find(L"VeltraneVpnTunnel$Active")->state, simulated::kRunning);
}

TEST_F(PassivePhaseChange, IsMarkedWhenItFails) {
  machine.services.DenyManagerAccess(2);
  machine.Fail("CreateFolders", 1, 5);
  EXPECT_FALSE(Start());
  EXPECT_FALSE(Write());
  EXPECT_EQ(Marks(), "tunnel 1 config 1 routes 0");
}

class AfterThePassivePhase : public OnMachine, public testing::WithParamInterface<void (*)()> {};

TEST_P(AfterThePassivePhase, NothingIsLoggedRecordedOrForbidden) {
  machine.environment.SetMachine(kGuardVariable, L"1");
  GetParam()();
  EXPECT_TRUE(Write());
  EXPECT_TRUE(Start());
  EXPECT_TRUE(TunnelManager::Stop());
  EXPECT_EQ(machine.console.Error(), L"");
  EXPECT_EQ(Marks(), "tunnel 0 config 0 routes 0");
}

INSTANTIATE_TEST_SUITE_P(Markers, AfterThePassivePhase,
                         testing::Values(&MarkConnectRequested, &MarkStopRequested));

using PassivePhaseDeathTest = PassivePhase;

// A process that reaches the first change exits with 99.
TEST_P(PassivePhaseDeathTest, AbortsBeforeTheChangeWhenTheMachineForbidsIt) {
  machine.environment.SetMachine(kGuardVariable, L"1");
  machine.console.EchoErrors();
  machine.OnCall(GetParam().first_call, 1, [] { std::_Exit(99); });
  const std::string logged = GetParam().logged;
  EXPECT_EXIT(GetParam().run(), testing::KilledBySignal(SIGABRT),
              testing::Eq(logged.substr(0, logged.find('\n')) +
                          "\n[Veltrane][startup_guard] abort "
                          "VELTRANE_POC_DISABLE_ALL_NETWORK_MUTATION_ON_STARTUP=1\n"));
}

INSTANTIATE_TEST_SUITE_P(Guarded, PassivePhaseDeathTest, testing::ValuesIn(kGuarded),
                         NameOf<Operation>);

}  // namespace
}  // namespace veltrane
