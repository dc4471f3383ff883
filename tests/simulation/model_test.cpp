// The smaller parts of the simulation: how rules are asked, which phases are possible, which calls
// fail.

#include <algorithm>

#include <gtest/gtest.h>

#include "tests/simulated/boundary_calls.h"
#include "tests/simulation/exchange_examples.h"
#include "tests/simulation/failures.h"
#include "tests/simulation/phases.h"
#include "tests/support/calls_of_others.h"

namespace veltrane::simulation {
namespace {

using Phases = std::set<Phase>;

Verdict SaysNothing(const int& /*facts*/) { return NotAsked(); }
Verdict WantsOne(const int& facts) { return facts == 1 ? "" : "it is no one"; }

TEST(Court, CountsHowOftenARuleHadSomethingToJudge) {
  const std::vector<Invariant<int>> rules = {{"SaysNothing", SaysNothing}, {"WantsOne", WantsOne}};
  Court<int> court(rules);
  EXPECT_EQ(court.Judge(1), "");
  EXPECT_EQ(court.Judge(2), "WantsOne: it is no one");
  Counts counts;
  court.AddTo(counts);
  ASSERT_EQ(counts.size(), 2U);
  EXPECT_EQ(counts[0].name, "SaysNothing");
  EXPECT_EQ(counts[0].times, 0U);
  EXPECT_EQ(counts[1].name, "WantsOne");
  EXPECT_EQ(counts[1].times, 2U);
}

TEST(PossiblePhases, FollowTheReplies) {
  PossiblePhases phases;
  EXPECT_EQ(phases.Now(), (Phases{{"disconnected", ""}}));
  phases.OnExchange(Connect(), true);
  EXPECT_EQ(phases.Now(), (Phases{{"connected", "fra-1"}}));
  phases.OnExchange(Status(), false);
  phases.OnExchange(Refused("{" + Error("invalid_profile") + "}"), false);
  EXPECT_EQ(phases.Now(), (Phases{{"connected", "fra-1"}}));
  phases.OnExchange(RefusedByBypass("route_add_failed"), true);
  EXPECT_EQ(phases.Now(), (Phases{{"disconnected", ""}}));
}

TEST(PossiblePhases, FollowTheTimer) {
  PossiblePhases phases;
  phases.OnExchange(Connect(), true);
  phases.OnTimerEnd();
  EXPECT_EQ(phases.Now(), (Phases{{"disconnected", ""}}));
  ExchangeFacts beside = Connect();
  beside.beside_timer = true;
  phases.OnExchange(beside, true);
  EXPECT_EQ(phases.Now(), (Phases{{"connected", "fra-1"}, {"disconnected", ""}}));
}

TEST(PossiblePhases, AreTwoAfterAReplyThatWasLost) {
  PossiblePhases phases;
  ExchangeFacts lost = Connect();
  lost.reply.reset();
  phases.OnExchange(lost, true);
  EXPECT_EQ(phases.Now(), (Phases{{"connected", "fra-1"}, {"disconnected", ""}}));
  phases.OnExchange(Status(), false);
  EXPECT_EQ(phases.Now(), (Phases{{"disconnected", ""}}));
}

// A call of the service that can fail is made to fail some day.
TEST(Failures, LeaveOutNoCallOfTheService) {
  for (const auto& call : simulated::kBoundaryCalls) {
    const std::string name(call.name);
    // The dice refuse threads in another way (Process::RefuseNextThread).
    if (!call.fails || kCallsOfOthers.contains(name) || name == "Thread.Start") continue;
    EXPECT_TRUE(std::any_of(FailingCalls().begin(), FailingCalls().end(),
                            [&name](const FailingCall& failing) { return failing.name == name; }))
        << name;
  }
}

}  // namespace
}  // namespace veltrane::simulation
