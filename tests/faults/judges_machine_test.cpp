// The judges of what a run leaves: each accepts what is right, and complains of what is not.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/faults/good_accounts.h"
#include "tests/faults/judges.h"

namespace veltrane::faults {
namespace {

using testing::ElementsAre;

// ---- what is open

TEST(JudgeOpen, ComplainsOfWhatWasNotClosed) {
  Account account = GoodConnect();
  account.open = {"1 service handles", "1 files"};
  EXPECT_THAT(JudgeOpen(account, std::nullopt),
              ElementsAre("left open: 1 service handles", "left open: 1 files"));
}

TEST(JudgeOpen, AcceptsThePipeOfAServerThatWaits) {
  Account account = GoodConnect();
  account.open = {"1 pipes", "1 security records"};
  EXPECT_FALSE(JudgeOpen(account, std::nullopt).empty());
  account.serves = true;
  EXPECT_EQ(JudgeOpen(account, std::nullopt), kNone);
  account.open = {"2 pipes"};
  EXPECT_FALSE(JudgeOpen(account, std::nullopt).empty());
}

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
  EXPECT_THAT(JudgeRoutes(account), ElementsAre("disconnected, and a recorded route was not taken "
                                                "back: " +
                                                kPinnedRoute));
}

TEST(JudgeRoutes, ComplainsOfTheLossOfAnothersRoute) {
  Account account = GoodConnect();
  account.after.routes = {kPinnedRoute};
  EXPECT_THAT(JudgeRoutes(account), ElementsAre("another's route is gone: " + kDefaultRoute));
}

// ---- what is left

TEST(JudgeLeft, ComplainsOfATunnelThatADisconnectHasNotStopped) {
  Account account = GoodDisconnect();
  account.after.services = {"VeltraneVpnTunnel$Active running for fra-1"};
  EXPECT_FALSE(JudgeLeft(account, std::nullopt).empty());
  EXPECT_EQ(JudgeLeft(account, Failing("Service.SendStop")), kNone);
}

TEST(JudgeLeft, ComplainsOfAKeyThatADisconnectHasLeftWhateverFailed) {
  Account account = GoodDisconnect();
  account.after.files = {"active.conf for fra-1"};
  EXPECT_FALSE(JudgeLeft(account, Failing("OutputFile.Write")).empty());
}

TEST(JudgeLeft, ComplainsOfARefusalThatHasTouchedTheTunnel) {
  Account account = Refused(Reply(R"({"ok":false,"error":"admin_bypass_failed","message":"x")"));
  EXPECT_EQ(JudgeLeft(account, std::nullopt), kNone);
  account.after.files = {"active.conf for fra-1"};
  EXPECT_THAT(JudgeLeft(account, std::nullopt), ElementsAre("the tunnel was changed"));
}

TEST(JudgeLeft, ComplainsOfATunnelWithAnothersConfiguration) {
  Account account = GoodConnect();
  account.after.services = {"VeltraneVpnTunnel$Active running for ams-2"};
  EXPECT_FALSE(JudgeLeft(account, std::nullopt).empty());
}

TEST(JudgeLeft, ComplainsOfAConnectThatTakesAFailedStartForASuccess) {
  Account account = GoodConnect();
  account.after.services = {"VeltraneVpnTunnel$Active stopped"};
  EXPECT_EQ(JudgeLeft(account, Failing("Service.Start", 1056)), kNone);
  EXPECT_FALSE(JudgeLeft(account, Failing("Service.Start", 1053)).empty());
}

TEST(JudgeLeft, ComplainsOfAServiceStopThatHasTouchedTheTunnel) {
  Account account = GoodConnect();
  account.exchanges.clear();
  account.mode = "--run-as-service";
  account.ending = "exit 0";
  account.before = account.after;
  EXPECT_EQ(JudgeLeft(account, std::nullopt), kNone);
  account.after.services.clear();
  EXPECT_FALSE(JudgeLeft(account, std::nullopt).empty());
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

}  // namespace
}  // namespace veltrane::faults
