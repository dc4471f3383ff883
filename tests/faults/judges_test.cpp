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

// ---- the end of the process

TEST(JudgeEnd, ComplainsOfAProcessThatHangsOrCrashes) {
  EXPECT_THAT(Judge(Account{}, std::nullopt), ElementsAre("the run hung or crashed"));
}

TEST(JudgeEnd, ComplainsOfACallThatWasNotMade) {
  EXPECT_THAT(JudgeEnd(GoodConnect(), Failing("RemoveFile")), ElementsAre("the call was not made"));
}

TEST(JudgeEnd, ComplainsOfARequestWithoutAReplyUnlessThePipeFailed) {
  Account account = GoodConnect();
  account.struck = true;
  account.exchanges[0].reply.clear();
  EXPECT_THAT(JudgeEnd(account, Failing("RemoveFile")), ElementsAre("no reply to " + kConnect));
  EXPECT_EQ(JudgeEnd(account, Failing("ServerPipe.Write")), kNone);
}

struct End {
  const char* ending;
  const char* call;
  const char* mode;
  bool documented;
};

class EndOfProcess : public testing::TestWithParam<End> {};

TEST_P(EndOfProcess, IsJudgedByTheCallThatFailed) {
  Account account = GoodConnect();
  account.struck = true;
  account.ending = GetParam().ending;
  account.mode = GetParam().mode;
  const Complaints complaints = JudgeEnd(account, Failing(GetParam().call));
  EXPECT_EQ(complaints.empty(), GetParam().documented) << testing::PrintToString(complaints);
}

INSTANTIATE_TEST_SUITE_P(JudgeEnd, EndOfProcess,
                         testing::Values(End{kFilesystemError, "TestExistence", "", true},
                                         End{kFilesystemError, "RemoveFile", "", false},
                                         End{kLives, "TestExistence", "", false},
                                         End{kSystemError, "Thread.Start", "", true},
                                         End{kSystemError, "Mutex.Lock", "", true},
                                         End{kSystemError, "OutputFile.Open", "", false},
                                         End{kOtherException, "Thread.Start", "", false},
                                         End{kTerminated, "OpenAndClosePipe", "--run-as-service",
                                             true},
                                         End{kTerminated, "OpenAndClosePipe", "--console", false},
                                         End{kAborted, "RemoveFile", "", false},
                                         End{"exit 0", "RemoveFile", "--console", true},
                                         End{"exit 3", "RemoveFile", "--console", false},
                                         End{"exit 1", "ServiceManager.Open", "--install", true},
                                         End{"exit 0", "ServiceManager.Open", "--install", false},
                                         End{"exit 0", "Service.SetSidType", "--install", true},
                                         End{"exit 2", "Library.Load", "/service", true},
                                         End{"exit 3", "Library.Find", "/service", true},
                                         End{"exit 4", "Library.Find", "/service", false}));

TEST(JudgeEnd, AcceptsAnAbortBehindTheLineThatAnnouncesIt) {
  Account account = GoodDisconnect();
  account.ending = kAborted;
  account.error = {
      "[Veltrane][startup_guard] abort VELTRANE_POC_DISABLE_ALL_NETWORK_MUTATION_ON_STARTUP=1"};
  EXPECT_EQ(JudgeEnd(account, std::nullopt), kNone);
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

TEST(JudgeReplies, AcceptsAPhaseThatAnExpiredTimerHasSet) {
  Account account = GoodConnect();
  account.phase = "disconnected";
  EXPECT_FALSE(JudgeReplies(account).empty());
  account.timer_expired = true;
  EXPECT_EQ(JudgeReplies(account), kNone);
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

// ---- administrators

TEST(JudgeProtection, ComplainsOfAnAdministratorWhoIsNotPinned) {
  Account account = GoodConnect();
  account.administrators.emplace_back("198.51.100.7");
  EXPECT_THAT(JudgeProtection(account, Failing("ReadSessions")),
              ElementsAre("connected, and not pinned: 198.51.100.7"));
  EXPECT_EQ(JudgeProtection(account, Failing("ReadRegistryText")), kNone);
}

TEST(JudgeProtection, CountsAMetricOf15AndNot16) {
  Account account = GoodConnect();
  account.after.routes = {"203.0.113.5/32 via 192.168.1.1 if 12 metric 15"};
  EXPECT_EQ(JudgeProtection(account, std::nullopt), kNone);
  account.after.routes = {"203.0.113.5/32 via 192.168.1.1 if 12 metric 16"};
  EXPECT_FALSE(JudgeProtection(account, std::nullopt).empty());
}

TEST(JudgeProtection, ComplainsOfACatchAllUnderTheGuard) {
  Account account = GoodConnect();
  account.guard = true;
  EXPECT_FALSE(JudgeProtection(account, std::nullopt).empty());
  account.after.files = {"active.conf for fra-1 under the guard"};
  EXPECT_EQ(JudgeProtection(account, std::nullopt), kNone);
}

}  // namespace
}  // namespace veltrane::faults
