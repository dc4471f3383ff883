// The end of a process whose pipe thread still serves: Ctrl+C in console mode lets the main thread
// return while a connect is under way.

#include <unistd.h>

#include <cstdlib>
#include <latch>
#include <string>
#include <thread>

#include "tests/scenarios/scenario.h"
#include "tests/service/program.h"
#include "tests/simulated/pipe_client.h"

namespace veltrane {
namespace {

// What the last handler of a process that ends is to do; none at first.
std::function<void()>& LastAct() {
  static auto& act = *new std::function<void()>();
  return act;
}

// Registered before any test runs, so that it is called after every object has been destroyed that
// the program under test destroys at its end.
[[maybe_unused]] const int registered = std::atexit([] {
  if (LastAct()) LastAct()();
});

class ProcessEndDeathTest : public Scenario {
 protected:
  ProcessEndDeathTest() { GTEST_FLAG_SET(death_test_style, "threadsafe"); }

  // Runs the console mode until its client's connect has reached the start of the tunnel, presses
  // Ctrl+C and lets the main thread end. The start fails only after that. Exits with 0 when the
  // connect then still took its route back and answered.
  [[noreturn]] void InterruptAConnect() {
    SetAdministrator();
    machine.Fail("Service.Start", 1, 5);
    auto& ended = *new std::latch(1);
    auto& answered = *new std::latch(1);
    auto& reply = *new std::string();
    LastAct() = [this, &ended, &answered, &reply] {
      ended.count_down();
      answered.wait();
      const bool undone = !machine.routes.Has("203.0.113.5/32 via 192.168.1.1 if 12 metric 1");
      _exit(undone && reply.find("tunnel_start_failed") != std::string::npos ? 0 : 1);
    };
    machine.OnCall("Service.Start", 1, [this, &ended] {
      std::thread([this] { machine.console.SendEvent(0); }).detach();
      ended.wait();
    });
    std::thread([&answered, &reply] {
      reply = simulated::Exchange(kConnect);
      answered.count_down();
    }).detach();
    std::exit(RunProgram({L"--console"}));
  }
};

TEST_F(ProcessEndDeathTest, AConnectThatOutlivesTheMainThreadStillTakesItsRoutesBack) {
  EXPECT_EXIT(InterruptAConnect(), testing::ExitedWithCode(0), "");
}

}  // namespace
}  // namespace veltrane
