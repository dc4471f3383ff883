// The judges of how a process ends, of what it has open, and of whom it has kept reachable.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/faults/good_accounts.h"
#include "tests/faults/judges.h"
#include "tests/simulated/calls.h"

namespace veltrane::faults {
namespace {

using testing::ElementsAre;

constexpr char kAbortLine[] =
    "[Veltrane][startup_guard] abort VELTRANE_POC_DISABLE_ALL_NETWORK_MUTATION_ON_STARTUP=1";

// ---- the end of the process

TEST(JudgeEnd, ComplainsOfACallThatWasNotMade) {
  EXPECT_THAT(JudgeEnd(GoodConnect(), Failing("RemoveFile")), ElementsAre("the call was not made"));
}

TEST(JudgeEnd, ComplainsOfARequestWithoutAReplyUnlessThePipeFailed) {
  Account account = Struck(GoodConnect(), "RemoveFile");
  account.exchanges[0].reply.clear();
  EXPECT_THAT(JudgeEnd(account, Failing("RemoveFile")), ElementsAre("no reply to " + kConnect));
  account = Struck(account, "ServerPipe.Write");
  EXPECT_EQ(JudgeEnd(account, Failing("ServerPipe.Write")), kNone);
}

TEST(JudgeEnd, ComplainsOfAStoryThatLeadsElsewhereWithoutAFailure) {
  Account account = GoodConnect();
  account.leads_to = "session_mismatch";
  EXPECT_THAT(JudgeEnd(account, std::nullopt),
              ElementsAre("the story leads to connected, not session_mismatch"));
  EXPECT_EQ(JudgeEnd(Struck(account, "RemoveFile"), Failing("RemoveFile")), kNone);
}

struct End {
  const char* leads_to;
  const char* call;
  const char* mode;
  const char* ending;
};

class EndOfProcess : public testing::TestWithParam<End> {};

TEST_P(EndOfProcess, IsThatOfTheCallThatFailedAndNoOther) {
  Account account = Struck(GoodConnect(), GetParam().call);
  account.leads_to = GetParam().leads_to;
  account.mode = GetParam().mode;
  for (const char* ending :
       {kLives, kFilesystemError, kSystemError, kOtherException, kTerminated, kAborted, kKilled,
        "exit 0", "exit 1", "exit 2", "exit 3", "exit 4", "exit 1063"}) {
    account.ending = ending;
    const Complaints complaints = JudgeEnd(account, Failing(GetParam().call, 1063));
    EXPECT_EQ(complaints.empty(), ending == std::string(GetParam().ending))
        << ending << ": " << testing::PrintToString(complaints);
  }
}

INSTANTIATE_TEST_SUITE_P(
    JudgeEnd, EndOfProcess,
    testing::Values(End{"connected", "RemoveFile", "", kLives},
                    End{"connected", "PrintError", "", kLives},
                    End{"disconnected", "TestExistence", "", kFilesystemError},
                    End{"connected", "Thread.Start", "", kSystemError},
                    End{"status", "Thread.Start", "--run-as-service", kSystemError},
                    End{"connected", "Mutex.Lock", "", kSystemError},
                    End{"exit 0", "OpenAndClosePipe", "--run-as-service", kTerminated},
                    End{"exit 0", "OpenAndClosePipe", "--console", "exit 0"},
                    End{"exit 0", "InstallConsoleHandler", "--console", kKilled},
                    End{"status", "InstallConsoleHandler", "--console", kLives},
                    End{"status", "RunServiceDispatcher", "--run-as-service", "exit 1063"},
                    End{"status", "RegisterControlHandler", "--run-as-service", "exit 0"},
                    End{"exit 0", "ServiceManager.Open", "--install", "exit 1"},
                    End{"exit 0", "ServiceManager.Open", "--uninstall", "exit 0"},
                    End{"exit 0", "Service.SetSidType", "--install", "exit 0"},
                    End{"exit 4", "Library.Load", "/service", "exit 2"},
                    End{"exit 4", "Library.Find", "/service", "exit 3"},
                    End{"exit 4", "PrintOutput", "/service", "exit 4"}));

Account Aborted() {
  Account account = GoodDisconnect();
  account.leads_to = kAborted;
  account.settings = {{"HKLM VELTRANE_POC_DISABLE_ALL_NETWORK_MUTATION_ON_STARTUP", "1"}};
  account.ending = kAborted;
  account.error = {kAbortLine};
  return account;
}

TEST(JudgeEnd, AcceptsAnAbortBehindTheLineThatAnnouncesIt) {
  Account account = Aborted();
  EXPECT_EQ(JudgeEnd(account, std::nullopt), kNone);
  account.error.clear();
  EXPECT_THAT(JudgeEnd(account, std::nullopt), ElementsAre("the abort was not announced"));
}

TEST(JudgeEnd, ExcusesTheLineOfAnAbortOnlyWhenThisLineWasLost) {
  Account account = Aborted();
  account.error.clear();
  EXPECT_EQ(JudgeEnd(Struck(account, "PrintError", kAbortLine), Failing("PrintError")), kNone);
  EXPECT_FALSE(JudgeEnd(Struck(account, "PrintError", "other"), Failing("PrintError")).empty());
}

TEST(JudgeEnd, ComplainsOfAnAbortThatIsPassedOverUnlessTheSwitchWasLost) {
  Account account = Aborted();
  account.ending = kLives;
  EXPECT_FALSE(JudgeEnd(account, std::nullopt).empty());
  EXPECT_FALSE(JudgeEnd(Struck(account, "PrintError"), Failing("PrintError")).empty());
  account = Struck(account, "ReadRegistryText", account.settings[0].read_by);
  EXPECT_EQ(JudgeEnd(account, Failing("ReadRegistryText")), kNone);
}

// ---- what is open

TEST(JudgeOpen, ComplainsOfWhatWasNotClosed) {
  Account account = GoodConnect();
  account.open = {"1 service handles", "1 files", "1 locks"};
  EXPECT_THAT(JudgeOpen(account), ElementsAre("left open: 1 service handles", "left open: 1 files",
                                              "left open: 1 locks"));
}

TEST(JudgeOpen, ComplainsOfWhatWasNotClosedBehindTheLastConnect) {
  Account account = GoodConnect();
  account.open_after_connect = {"1 service handles"};
  EXPECT_THAT(JudgeOpen(account), ElementsAre("left open afterwards: 1 service handles"));
}

Account Serving() {
  Account account = GoodConnect();
  account.mode = "--console";
  account.serves = true;
  account.open = {"1 pipes", "1 security records"};
  account.open_after_connect = account.open;
  return account;
}

TEST(JudgeOpen, AcceptsThePipeOfAServerThatWaits) {
  Account account = Serving();
  EXPECT_EQ(JudgeOpen(account), kNone);
  account.open = {"2 pipes"};
  EXPECT_FALSE(JudgeOpen(account).empty());
}

TEST(JudgeOpen, ComplainsOfAProgramThatDoesNotServeAndOfOneThatHasEndedAndDoes) {
  Account deaf = Serving();
  deaf.serves = false;
  deaf.open.clear();
  deaf.open_after_connect.clear();
  EXPECT_THAT(JudgeOpen(deaf), ElementsAre("nobody serves the pipe"));
  Account ended = Serving();
  ended.ending = "exit 0";
  ended.open_after_connect.clear();
  EXPECT_THAT(JudgeOpen(ended), ElementsAre("somebody serves the pipe"));
  EXPECT_EQ(JudgeOpen(Struck(ended, "OpenAndClosePipe")), kNone);
}

}  // namespace
}  // namespace veltrane::faults
