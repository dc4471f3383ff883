// Each invariant of moments holds for what the program does, and breaks when that is doctored.

#include <gtest/gtest.h>

#include "tests/simulation/invariants.h"

namespace veltrane::simulation {
namespace {

MomentFacts Connected() {
  MomentFacts moment;
  moment.process_lives = true;
  moment.has_server = true;
  moment.phase = "connected";
  moment.node = "fra-1";
  moment.timers = 1;
  moment.pipe_threads = 1;
  moment.idle = true;
  moment.phases = {{"connected", "fra-1"}};
  moment.open.pipe_instances = 1;
  moment.open.security_records = 1;
  moment.looked_for_keys = true;
  return moment;
}

// What a rule says of the moment after the change.
template <typename Change>
Verdict After(Change change, Verdict (*rule)(const MomentFacts&)) {
  MomentFacts moment = Connected();
  change(moment);
  return rule(moment);
}

TEST(MomentInvariants, HoldWhileConnected) {
  EXPECT_EQ(Court<MomentFacts>(MomentInvariants()).Judge(Connected()), "");
}

TEST(MomentInvariants, ThePhaseMayNotBeAnotherWord) {
  EXPECT_NE(After([](MomentFacts& moment) { moment.phase = "Connected"; }, ThePhaseIsOneOfThree),
            "");
}

TEST(MomentInvariants, ANodeMayNotOutliveItsConnection) {
  EXPECT_NE(
      After([](MomentFacts& moment) { moment.phase = "disconnected"; }, TheNodeBelongsToConnected),
      "");
  EXPECT_NE(After([](MomentFacts& moment) { moment.node.clear(); }, TheNodeBelongsToConnected), "");
}

TEST(MomentInvariants, NothingButAConnectMayBeConnecting) {
  const auto connecting = [](MomentFacts& moment) { moment.phase = "connecting"; };
  EXPECT_NE(After(connecting, OnlyAConnectIsConnecting), "");
}

TEST(MomentInvariants, AConnectOnItsWayMayNotBeConnectedYet) {
  EXPECT_NE(
      After([](MomentFacts& moment) { moment.prepares_connect = true; }, AConnectIsConnecting), "");
}

TEST(MomentInvariants, ThereMayNotBeTwoTimers) {
  EXPECT_NE(After([](MomentFacts& moment) { moment.timers = 2; }, ThereIsOneTimerAtMost), "");
}

TEST(MomentInvariants, ThereMayNotBeTwoPipes) {
  EXPECT_NE(After([](MomentFacts& moment) { moment.open.pipe_instances = 2; },
                  ThereIsOnePipeInstanceAtMost),
            "");
}

TEST(MomentInvariants, NothingMayBeOpenBetweenRequests) {
  const std::vector<void (*)(OpenThings&)> leavings = {
      [](OpenThings& open) { open.service_handles = 1; },
      [](OpenThings& open) { open.streams = 1; },
      [](OpenThings& open) { open.security_records = 2; },
      [](OpenThings& open) { open.libraries = 1; },
      [](OpenThings& open) { open.locks = 1; },
  };
  for (const auto& leave : leavings) {
    MomentFacts moment = Connected();
    leave(moment.open);
    EXPECT_NE(NothingIsLeftOpen(moment), "") << OpenText(moment.open);
    moment.idle = false;
    EXPECT_FALSE(NothingIsLeftOpen(moment).WasAsked());
  }
}

TEST(MomentInvariants, ThePhaseMayNotChangeBetweenRequests) {
  EXPECT_NE(After(
                [](MomentFacts& moment) {
                  moment.phases = {{"disconnected", ""}};
                },
                ThePhaseIsTheLatestOutcome),
            "");
  EXPECT_NE(After([](MomentFacts& moment) { moment.node = "ams-2"; }, ThePhaseIsTheLatestOutcome),
            "");
}

TEST(MomentInvariants, NoOtherFileMayHaveAKey) {
  EXPECT_NE(After([](MomentFacts& moment) { moment.files_with_keys = {"C:\\log.txt"}; },
                  KeysAreInActiveConfAlone),
            "");
}

}  // namespace
}  // namespace veltrane::simulation
