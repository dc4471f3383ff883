// The judges of what a run says: each accepts what is right, and complains of what is not.

#include "tests/faults/judges.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/faults/good_accounts.h"

namespace veltrane::faults {
namespace {

using testing::ElementsAre;

TEST(Judges, AcceptAConnectAndADisconnect) {
  EXPECT_EQ(Judge(GoodConnect(), std::nullopt), kNone);
  EXPECT_EQ(Judge(GoodDisconnect(), std::nullopt), kNone);
}

TEST(Judges, ComplainOfAProcessThatHangsOrCrashesAndOfNothingElse) {
  EXPECT_THAT(Judge(Account{}, std::nullopt), ElementsAre("the run hung or crashed"));
}

// ---- replies

TEST(JudgeReplies, ComplainsOfAReplyThatIsCutOff) {
  Account account = GoodConnect();
  account.exchanges[0].reply.pop_back();
  EXPECT_FALSE(JudgeReplies(account).empty());
}

TEST(JudgeReplies, ComplainsOfAnErrorThatIsNotDocumented) {
  EXPECT_THAT(JudgeReplies(Refused(R"({"ok":false,"error":"oops","message":"x"})")),
              ElementsAre("an undocumented error: oops"));
}

TEST(JudgeReplies, ComplainsOfAMessageThatIsNotDocumented) {
  const std::string reply = R"({"ok":false,"error":"config_write_failed","message":"disk full"})";
  EXPECT_THAT(JudgeReplies(Refused(reply)),
              ElementsAre("an undocumented message of config_write_failed: disk full"));
}

TEST(JudgeReplies, ComplainsOfAMissingReport) {
  const std::string reply = R"({"ok":false,"error":"admin_bypass_failed","message":"x"})";
  EXPECT_FALSE(JudgeReplies(Refused(reply)).empty());
}

TEST(JudgeReplies, ComplainsOfReportsWhereNoneBelong) {
  EXPECT_FALSE(JudgeReplies(Refused(Reply(kMismatch.substr(0, kMismatch.size() - 1)))).empty());
}

TEST(JudgeReplies, ComplainsOfABypassReportThatDoesNotExplainTheRefusal) {
  const std::string head = R"({"ok":false,"error":"admin_bypass_failed","message":"x")";
  const std::string explained =
      With(kFreshBypass, {R"("message":"x")", R"("failure_reason":"route_add_failed")"});
  EXPECT_EQ(JudgeReplies(Refused(Reply(head, explained))), kNone);
  EXPECT_FALSE(JudgeReplies(Refused(Reply(head))).empty());
}

TEST(JudgeReplies, ComplainsOfAConnectionWithTheBypassOnAndNotApplied) {
  Account account = GoodConnect();
  account.exchanges[0].reply = Reply(kConnected, With(kFreshBypass, {"enabled"}));
  EXPECT_THAT(JudgeReplies(account),
              ElementsAre("connected, and the bypass is not as it has to be"));
}

TEST(JudgeReplies, ComplainsOfAConnectionToAnotherNode) {
  Account account = GoodConnect();
  account.exchanges[0].reply = Reply(R"({"ok":true,"phase":"connected","node_id":"ams-2")",
                                     With(kFreshBypass, {"enabled", "attempted", "applied"}));
  account.phase = "connected ams-2";
  EXPECT_THAT(JudgeReplies(account), ElementsAre("connected to ams-2",
                                                 "the phase is connected ams-2, not connected "
                                                 "fra-1"));
}

// ---- the phase

TEST(JudgeReplies, ComplainsOfAPhaseThatDoesNotAgree) {
  Account connected = GoodConnect();
  connected.phase = "connecting";
  EXPECT_THAT(JudgeReplies(connected), ElementsAre("the phase is connecting, not connected fra-1"));
  Account refused = Refused(R"({"ok":false,"error":"config_write_failed","message":)"
                            R"("open tmp failed"})");
  refused.phase = "connected fra-1";
  EXPECT_THAT(JudgeReplies(refused), ElementsAre("the phase is connected fra-1, not disconnected"));
}

TEST(JudgeReplies, AcceptsAPhaseThatARefusedSessionLeaves) {
  Account account = Refused(kMismatch);
  account.phase_before = "connected fra-1";
  account.phase = "connected fra-1";
  EXPECT_EQ(JudgeReplies(account), kNone);
}

TEST(JudgeReplies, ExpectsThePhaseOfAFreshServerWhereNoneWasThereBefore) {
  Account account = GoodConnect();
  account.phase_before.clear();
  account.exchanges = {{kStatus, Reply(kIdle)}};
  account.phase = "disconnected";
  EXPECT_EQ(JudgeReplies(account), kNone);
  account.phase = "connecting";
  EXPECT_THAT(JudgeReplies(account), ElementsAre("the phase is connecting, not disconnected"));
}

TEST(JudgeReplies, ComplainsOfAStatusThatSaysAnotherPhase) {
  Account account = GoodConnect();
  account.phase_before = "connected fra-1";
  account.exchanges = {{kStatus, Reply(kIdle)}};
  EXPECT_THAT(JudgeReplies(account),
              ElementsAre("a status says another phase than connected fra-1"));
}

TEST(JudgeReplies, ExpectsThePhaseOfTheStoryWhereNoReplyCame) {
  Account unread = Struck(GoodConnect(), "ServerPipe.Read");
  unread.exchanges[0].reply.clear();
  EXPECT_THAT(JudgeReplies(unread), ElementsAre("the phase is connected fra-1, not disconnected"));
  Account lost = Struck(unread, "ServerPipe.Write");
  EXPECT_EQ(JudgeReplies(lost), kNone);
}

TEST(JudgeReplies, ExpectsThePhaseOfATimerThatExpiresLastAndNotOfAnEarlierOne) {
  Account account = GoodConnect();
  account.phase = "disconnected";
  account.timer = kTimerFirst;
  EXPECT_FALSE(JudgeReplies(account).empty());
  account.timer = kTimerLast;
  EXPECT_EQ(JudgeReplies(account), kNone);
  account.exchanges.clear();
  account.phase = "connected fra-1";
  EXPECT_THAT(JudgeReplies(account), ElementsAre("the phase is connected fra-1, not disconnected"));
}

// ---- keys

TEST(JudgeSecrecy, ComplainsOfAKeyInAReplyOrInTheOutput) {
  Account reply = GoodConnect();
  reply.exchanges[0].reply += "CLIENTKEY=";
  EXPECT_THAT(JudgeSecrecy(reply), ElementsAre("a key is in a reply"));
  Account debugger = GoodConnect();
  debugger.debugger = {"PrivateKey = CLIENTKEY="};
  EXPECT_THAT(JudgeSecrecy(debugger), ElementsAre("a key is in the output"));
}

TEST(JudgeSecrecy, ComplainsOfAFileWithAKeyThatIsOpenToUsers) {
  Account account = GoodConnect();
  account.after.files = {"active.conf for fra-1, open to users"};
  EXPECT_FALSE(JudgeSecrecy(account).empty());
  account.after.files = {"active.conf of zeros, open to users"};
  EXPECT_EQ(JudgeSecrecy(account), kNone);
}

}  // namespace
}  // namespace veltrane::faults
