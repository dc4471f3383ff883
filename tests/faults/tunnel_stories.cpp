// What happens to a connection that is there.

#include "tests/faults/story.h"
#include "tests/scenarios/connection.h"

namespace veltrane::faults {
namespace {

void ConnectWithAdministrators(Scene& scene) {
  scene.SetAdministrators();
  scene.Ask(kConnect);
}

void ConnectForASecond(Scene& scene) {
  scene.Set(L"VELTRANE_POC_AUTO_STOP_SECONDS", L"1");
  ConnectWithAdministrators(scene);
}

void Disconnect(Scene& scene) { scene.Ask(kDisconnect); }

// A connect during which, at its first call of this name, the timer of the one before expires.
Story TimerBesideConnect(const std::string& name, const std::string& when, const std::string& call,
                         const char* turn) {
  return {name, "A timer that expires during a connect, " + when, ConnectForASecond,
          [call, turn](Scene& scene) {
            scene.DuringStory(call, [&scene, turn] { scene.ExpireTimer(turn); });
            scene.Ask(kConnectElsewhere);
          },
          "connected"};
}

}  // namespace

std::vector<Story> TunnelStories() {
  return {
      {"status", "A status of a connection", ConnectWithAdministrators,
       [](Scene& scene) { scene.Ask(kStatus); }, "status"},
      {"status-without-connection", "A status before any connect", [](Scene&) {},
       [](Scene& scene) { scene.Ask(kStatus); }, "status"},
      {"disconnect", "A disconnect of a connection with two pinned addresses",
       ConnectWithAdministrators, Disconnect, "disconnected"},
      {"disconnect-slow-tunnel", "A disconnect of a tunnel that takes two seconds to stop",
       [](Scene& scene) {
         ConnectWithAdministrators(scene);
         scene.machine.services.StopAfterPolls(2);
       },
       Disconnect, "disconnected"},
      {"disconnect-twice", "A disconnect, and another", ConnectWithAdministrators,
       [](Scene& scene) {
         scene.Ask(kDisconnect);
         scene.Ask(kDisconnect);
       },
       "disconnected"},
      {"disconnect-counting-timer", "A disconnect while a timer counts", ConnectForASecond,
       Disconnect, "disconnected"},
      {"disconnect-first", "A disconnect before any connect", [](Scene&) {}, Disconnect,
       "disconnected"},
      {"disconnect-first-forbidden", "A disconnect before any connect, with the startup switch on",
       [](Scene& scene) {
         scene.Set(L"VELTRANE_POC_DISABLE_ALL_NETWORK_MUTATION_ON_STARTUP", L"1");
       },
       Disconnect, kAborted},
      {"timer-expires", "A timer that expires", ConnectForASecond,
       [](Scene& scene) { scene.ExpireTimer(kTimerLast); }, "disconnected"},
      TimerBesideConnect("timer-beside-connect-begin", "while it reads the settings",
                         "IsRemoteSession", kTimerFirst),
      TimerBesideConnect("timer-beside-connect-file", "before it writes the file", "CreateFolders",
                         kTimerFirst),
      TimerBesideConnect("timer-beside-connect-end", "when it is connected", "UtcTicks",
                         kTimerLast),
  };
}

}  // namespace veltrane::faults
