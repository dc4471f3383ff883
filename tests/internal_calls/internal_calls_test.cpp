// Steps whose order or whose arguments the machine cannot show.

#include <gtest/gtest.h>

#include "tests/internal_calls/watched_calls.h"
#include "tests/scenarios/scenario.h"
#include "tests/service/program.h"

namespace veltrane {
namespace {

class InternalCalls : public Scenario {
 protected:
  WatchedCalls watched;
};

TEST_F(InternalCalls, AStopClearsRunningBeforeItIsMarked) {
  bool running = true;
  watched.on_mark_stop = [&] { running = server.running; };
  server.Start();
  machine.pipes.WaitUntilServerWaits();
  server.Stop();
  EXPECT_FALSE(running);
}

TEST_F(InternalCalls, TheErrorTextOfAnInstallationStartsEmpty) {
  RunProgram({L"--install"});
  EXPECT_EQ(watched.error_texts, Texts{"InstallService ''"});
}

TEST_F(InternalCalls, TheErrorTextOfARemovalStartsEmpty) {
  RunProgram({L"--uninstall"});
  EXPECT_EQ(watched.error_texts, Texts{"UninstallService ''"});
}

TEST_F(InternalCalls, TheErrorTextOfAConnectStartsEmpty) {
  Handle(kConnect);
  EXPECT_EQ(watched.error_texts, (Texts{"WriteActiveConf ''", "TunnelManager::Start ''"}));
}

}  // namespace
}  // namespace veltrane
