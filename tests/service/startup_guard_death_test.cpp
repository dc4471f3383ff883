// The operations that end the process during the passive phase when the machine forbids them. Each
// ends before its change: a change that is reached prints a line of its own, which the whole text
// of standard error does not hold.

#include <cstdio>
#include <string>

#include "bypass/host_routes.h"
#include "ipc/connection_profile.h"
#include "ipc/dispatcher.h"
#include "service/startup_guard.h"
#include "tests/support/on_machine.h"
#include "tunnel/active_conf.h"
#include "tunnel/tunnel_manager.h"

namespace veltrane {
namespace {

using testing::KilledBySignal;
using testing::StrEq;

constexpr wchar_t kGuardVariable[] = L"VELTRANE_POC_DISABLE_ALL_NETWORK_MUTATION_ON_STARTUP";

class StartupGuardDeathTest : public OnMachine {
 protected:
  StartupGuardDeathTest() {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    CurrentPhysicalRoute() = {simulated::Ip("192.168.1.1"), 12};
    machine.environment.SetMachine(kGuardVariable, L"1");
    machine.console.EchoErrors();
    for (const char* change : {"CreateForwardRow", "DeleteForwardRow", "ServiceManager.Open",
                               "CreateFolders", "OutputFile.Open"}) {
      machine.calls.OnEveryCall(change, [change] { std::fprintf(stderr, "%s\n", change); });
    }
  }
};

TEST_F(StartupGuardDeathTest, AnyOperation) {
  EXPECT_EXIT(CheckStartupMutation("AnyOperation"), KilledBySignal(SIGABRT),
              StrEq("[Veltrane][startup_guard] forbidden during passive startup: AnyOperation\n"
                    "[Veltrane][startup_guard] abort "
                    "VELTRANE_POC_DISABLE_ALL_NETWORK_MUTATION_ON_STARTUP=1\n"));
}

TEST_F(StartupGuardDeathTest, ARouteCreationEndsTheProcessBeforeTheCreation) {
  EXPECT_EXIT(
      AddHostRoute({.ip = "203.0.113.5", .source = "env", .required = true}),
      KilledBySignal(SIGABRT),
      StrEq("[Veltrane][startup_guard] forbidden during passive startup: CreateIpForwardEntry\n"
            "[Veltrane][startup_guard] abort "
            "VELTRANE_POC_DISABLE_ALL_NETWORK_MUTATION_ON_STARTUP=1\n"));
}

TEST_F(StartupGuardDeathTest, ARouteDeletionEndsTheProcessBeforeTheDeletion) {
  AddedRouteList().push_back(simulated::MakeRoute("203.0.113.5/32", "192.168.1.1", 12, 1));
  EXPECT_EXIT(
      RemoveBypassRoutes(), KilledBySignal(SIGABRT),
      StrEq("[Veltrane][startup_guard] forbidden during passive startup: DeleteIpForwardEntry\n"
            "[Veltrane][startup_guard] abort "
            "VELTRANE_POC_DISABLE_ALL_NETWORK_MUTATION_ON_STARTUP=1\n"));
}

TEST_F(StartupGuardDeathTest, ATunnelStartEndsTheProcessAtItsFirstCheck) {
  EXPECT_EXIT(
      TunnelManager::Start(L"C:\\a.conf", nullptr), KilledBySignal(SIGABRT),
      StrEq("[Veltrane][startup_guard] forbidden during passive startup: TunnelManager::Start\n"
            "[Veltrane][startup_guard] abort "
            "VELTRANE_POC_DISABLE_ALL_NETWORK_MUTATION_ON_STARTUP=1\n"));
}

TEST_F(StartupGuardDeathTest, ATunnelStopEndsTheProcessBeforeTheManagerIsOpened) {
  EXPECT_EXIT(
      TunnelManager::Stop(), KilledBySignal(SIGABRT),
      StrEq("[Veltrane][startup_guard] forbidden during passive startup: TunnelManager::Stop\n"
            "[Veltrane][startup_guard] abort "
            "VELTRANE_POC_DISABLE_ALL_NETWORK_MUTATION_ON_STARTUP=1\n"));
}

TEST_F(StartupGuardDeathTest, AConfigurationWriteEndsTheProcessBeforeTheFolderIsMade) {
  EXPECT_EXIT(WriteActiveConf(ConnectionProfile{}, nullptr), KilledBySignal(SIGABRT),
              StrEq("[Veltrane][startup_guard] forbidden during passive startup: WriteActiveConf\n"
                    "[Veltrane][startup_guard] abort "
                    "VELTRANE_POC_DISABLE_ALL_NETWORK_MUTATION_ON_STARTUP=1\n"));
}

TEST_F(StartupGuardDeathTest, ADisconnectAsTheFirstRequestEndsTheProcess) {
  EXPECT_EXIT(
      {
        IpcServer server;
        HandleRequest(server, "{\"op\":\"disconnect\"}");
      },
      KilledBySignal(SIGABRT),
      StrEq("[Veltrane][startup_guard] forbidden during passive startup: TunnelManager::Stop\n"
            "[Veltrane][startup_guard] abort "
            "VELTRANE_POC_DISABLE_ALL_NETWORK_MUTATION_ON_STARTUP=1\n"));
}

TEST_F(StartupGuardDeathTest, AValueThatIsNotTrueOnlyLogs) {
  machine.environment.SetMachine(kGuardVariable, L"0");
  EXPECT_EXIT(
      {
        CheckStartupMutation("AnyOperation");
        std::_Exit(7);
      },
      testing::ExitedWithCode(7),
      StrEq("[Veltrane][startup_guard] forbidden during passive startup: AnyOperation\n"));
}

}  // namespace
}  // namespace veltrane
