// The catalogue of failures, the words of an outcome, and the lines of a table.

#include "tests/faults/table.h"

#include <algorithm>
#include <array>
#include <set>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/faults/failure_kinds.h"
#include "tests/faults/outcome.h"
#include "tests/faults/story.h"
#include "tests/scenarios/connection.h"
#include "tests/scenarios/reply_passages.h"
#include "tests/simulated/boundary_calls.h"
#include "tests/support/calls_of_others.h"

namespace veltrane::faults {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

TEST(FailureKinds, CoverEveryCallOfTheServiceThatCanFail) {
  for (const simulated::BoundaryCall& call : simulated::kBoundaryCalls) {
    const bool expected = call.fails && !kCallsOfOthers.contains(call.name);
    EXPECT_EQ(!KindsOf(call.name).empty(), expected) << call.name;
  }
}

TEST(Stories, HaveNamesOfTheirOwn) {
  std::set<std::string> names;
  for (const Story& story : AllStories())
    EXPECT_TRUE(names.insert(story.name).second) << story.name;
  EXPECT_GE(names.size(), 20u);
}

TEST(Line, HasTheCallTheFailureAndTheOutcomeInColumns) {
  const Call call = {"OutputFile.Open", R"(C:\ProgramData\Veltrane\tunnels\active.conf.tmp)", 2};
  EXPECT_EQ(Line(CallText(call), "fails", "as without a failure"),
            R"(OutputFile.Open 2 ...\active.conf.tmp                           fails         )"
            "as without a failure");
}

TEST(Line, EndsATextOfSeveralLinesAtTheFirst) {
  EXPECT_EQ(CallText({"PrintOutput", "VeltraneVpnService\n  --dry-run-startup", 1}),
            "PrintOutput 1 VeltraneVpnService...");
}

TEST(Differences, AreLinesThatOnlyOneTableHas) {
  EXPECT_THAT(Differences({"a", "b", "c"}, {"a", "c", "d"}), ElementsAre("- b", "+ d"));
  EXPECT_THAT(Differences({"a", "b"}, {"a", "b"}), IsEmpty());
}

TEST(Differences, CountLinesThatOccurMoreThanOnce) {
  EXPECT_THAT(Differences({"a"}, {"a", "a"}), ElementsAre("+ a"));
  EXPECT_THAT(Differences({"a", "a"}, {"a"}), ElementsAre("- a"));
}

Account Connected() {
  Account account;
  account.ending = kLives;
  account.exchanges = {{kConnect, Reply(kConnected)}};
  account.phase = "connected fra-1";
  account.before.routes = {kDefaultRoute};
  account.routes = {{"create", kPinnedRoute, true}};
  account.after = {{kDefaultRoute, kPinnedRoute},
                   {"VeltraneVpnTunnel$Active running for fra-1"},
                   {"active.conf for fra-1"}};
  account.after_disconnect = {{kDefaultRoute}, {}, {"active.conf of zeros"}};
  return account;
}

TEST(Outcome, SaysWhatWasAnsweredThePhaseAndWhatIsLeft) {
  EXPECT_EQ(Outcome(Connected()),
            "connected fra-1 | connected fra-1 | left: pinned 203.0.113.5, tunnel running for "
            "fra-1, active.conf for fra-1 | after a disconnect: active.conf of zeros");
}

TEST(Outcome, SaysThatAnothersRouteIsGone) {
  Account account = Connected();
  account.after = {};
  EXPECT_EQ(Outcome(account, Connected()),
            "connected fra-1 | connected fra-1 | left: no " + kDefaultRoute);
}

TEST(Outcome, IsShortWhereItIsAsUsual) {
  Account account = Connected();
  EXPECT_EQ(Outcome(account, Connected()), "as without a failure");
  account.exchanges[0].reply =
      Reply(kConnected, kFreshBypass, With(kFreshGuard, {R"("message":"other")"}));
  EXPECT_EQ(Outcome(account, Connected()), "as without a failure but for poc_route_guard/message");
  account.after_disconnect.files.clear();
  EXPECT_EQ(Outcome(account, Connected()),
            "connected fra-1 | connected fra-1 | left: pinned 203.0.113.5, tunnel running for "
            "fra-1, active.conf for fra-1 | after a disconnect: nothing");
}

TEST(Outcome, SaysHowTheProcessEnded) {
  Account account = Connected();
  account.exchanges[0].reply.clear();
  account.ending = kSystemError;
  account.phase.clear();
  account.after = account.before;
  EXPECT_EQ(Outcome(account, Connected()),
            "no reply | the process ends: system error | left: nothing");
}

}  // namespace
}  // namespace veltrane::faults
