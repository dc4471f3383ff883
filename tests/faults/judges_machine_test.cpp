// The judges of what a run leaves: each accepts what is right, and complains of what is not.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/faults/good_accounts.h"
#include "tests/faults/judges.h"

namespace veltrane::faults {
namespace {

using testing::ElementsAre;

// ---- routes

TEST(JudgeRoutes, ComplainsOfADeletionOfARouteThatIsNotRecorded) {
  Account account = GoodDisconnect();
  account.routes = {{"create", kPinnedRoute, false}, {"delete", kPinnedRoute, true}};
  EXPECT_THAT(JudgeRoutes(account),
              ElementsAre("a route that is not recorded was deleted: " + kPinnedRoute));
}

TEST(JudgeRoutes, ComplainsOfADeletionOfARouteThatAConnectHasForgotten) {
  Account account = GoodDisconnect();
  account.routes = {
      {"create", kPinnedRoute, true}, {"apply", "", true}, {"delete", kPinnedRoute, true}};
  EXPECT_FALSE(JudgeRoutes(account).empty());
}

TEST(JudgeRoutes, ComplainsOfADeletionByAProcessThatHasNotCreatedTheRoute) {
  Account account = GoodDisconnect();
  account.routes = {
      {"create", kPinnedRoute, true}, {"new process", "", true}, {"delete", kPinnedRoute, true}};
  EXPECT_FALSE(JudgeRoutes(account).empty());
}

TEST(JudgeRoutes, ComplainsOfARouteThatIsNotTakenBack) {
  Account account = GoodDisconnect();
  account.routes.pop_back();
  EXPECT_THAT(JudgeRoutes(account),
              ElementsAre("a recorded route was not taken back: " + kPinnedRoute));
}

TEST(JudgeRoutes, ComplainsOfTheLossOfAnothersRoute) {
  Account account = GoodConnect();
  account.after.routes = {kPinnedRoute};
  EXPECT_THAT(JudgeRoutes(account), ElementsAre("another's route is gone: " + kDefaultRoute));
}

TEST(JudgeRoutes, ExpectsThemTakenBackBeforeAProcessAsksForTheFileAndEnds) {
  Account account = Struck(GoodDisconnect(), "TestExistence");
  account.ending = kFilesystemError;
  account.routes.push_back({"new process", "", true});
  EXPECT_EQ(JudgeRoutes(account), kNone);
  account.routes = {{"create", kPinnedRoute, true}, {"new process", "", true}};
  EXPECT_THAT(JudgeRoutes(account),
              ElementsAre("a recorded route was not taken back: " + kPinnedRoute));
}

// ---- what comes next

TEST(JudgeAftermath, ComplainsOfWhatADisconnectLeaves) {
  Account routes = GoodConnect();
  routes.after_disconnect.routes.push_back(kPinnedRoute);
  EXPECT_THAT(JudgeAftermath(routes), ElementsAre("a disconnect left other routes"));
  Account tunnel = GoodConnect();
  tunnel.after_disconnect.services = {"VeltraneVpnTunnel$Active stopped"};
  EXPECT_THAT(JudgeAftermath(tunnel), ElementsAre("a disconnect left the tunnel service stopped"));
  Account file = GoodConnect();
  file.after_disconnect.files = {"active.conf for fra-1"};
  EXPECT_THAT(JudgeAftermath(file), ElementsAre("a disconnect left the file for fra-1"));
}

TEST(JudgeAftermath, ExpectsTheRoutesOfAProcessThatHasEndedToStay) {
  Account account = GoodConnect();
  account.ending = kSystemError;
  EXPECT_THAT(JudgeAftermath(account), ElementsAre("a disconnect left other routes"));
  account.after_disconnect.routes.push_back(kPinnedRoute);
  EXPECT_EQ(JudgeAftermath(account), kNone);
}

TEST(JudgeAftermath, ComplainsOfAConnectThatFails) {
  Account account = GoodConnect();
  account.connect.reply = kMismatch;
  EXPECT_THAT(JudgeAftermath(account),
              ElementsAre("a connect afterwards was answered with " + kMismatch));
  account = GoodConnect();
  account.after_connect.services.clear();
  EXPECT_THAT(JudgeAftermath(account), ElementsAre("a connect afterwards left other things"));
}

TEST(JudgeAftermath, ComplainsOfOtherRoutesThanThePinOfThatConnect) {
  const Complaints complaint = {"a connect afterwards left other routes"};
  Account account = GoodConnect();
  account.after_connect.routes = {kDefaultRoute};
  EXPECT_EQ(JudgeAftermath(account), complaint);
  account.after_connect.routes = {kDefaultRoute, kPinnedRoute, kPinnedRoute};
  EXPECT_EQ(JudgeAftermath(account), complaint);
  account.after_connect.routes = {kPinnedRoute};
  EXPECT_EQ(JudgeAftermath(account), complaint);
  account.after_connect.routes = {kPinnedRoute, kDefaultRoute};
  EXPECT_EQ(JudgeAftermath(account), kNone);
}

TEST(JudgeAftermath, AcceptsARouteThatWasThereAsThePin) {
  Account account = GoodConnect();
  account.ending = kSystemError;
  account.after_disconnect.routes = {kDefaultRoute, kPinnedRoute};
  EXPECT_EQ(JudgeAftermath(account), kNone);
}

}  // namespace
}  // namespace veltrane::faults
