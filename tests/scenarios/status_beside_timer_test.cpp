// Statuses that are asked for while a timer expires. No lock guards the bypass record, which the
// status copies and the teardown replaces: tests/tsan.supp names that race, and ThreadSanitizer
// reports every other.

#include <set>
#include <string>

#include <gtest/gtest.h>

#include "tests/scenarios/auto_stop_scenario.h"

namespace veltrane {
namespace {

using StatusBesideTheTimer = AutoStopScenario;

// Every state that a status may come upon: the tunnel stops first, then the routes go, which
// changes two members of the record one after the other, and the phase goes last.
std::set<std::string> Moments() {
  const std::string connected = With(kBypassVerified, {R"("auto_stop_seconds":1)"});
  const std::string half_removed = With(connected, {R"("applied":false)"});
  const std::string removed = Removed(connected);
  const std::string stopped = kConnected + R"(,"tunnel_running":false)";
  return {Reply(kRunning, connected), Reply(stopped, connected), Reply(stopped, half_removed),
          Reply(stopped, removed), Reply(kIdle, removed)};
}

TEST_F(StatusBesideTheTimer, IsWholeAtEveryMoment) {
  const std::set<std::string> moments = Moments();
  const std::string last =
      Reply(kIdle, Removed(With(kBypassVerified, {R"("auto_stop_seconds":1)"})));
  SetAdministrator();
  ConnectFor(L"1");
  PassSleeps(9);
  machine.clock.Advance(100);
  std::string reply;
  Await("the timer's end", [&] {
    reply = HandleRequest(server, kStatus);
    EXPECT_TRUE(moments.contains(reply)) << reply;
    return reply == last;
  });
}

}  // namespace
}  // namespace veltrane
