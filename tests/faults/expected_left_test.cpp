// The judge of what a story leaves of the tunnel.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/faults/good_accounts.h"
#include "tests/faults/judges.h"
#include "tests/faults/last_word.h"
#include "tests/simulated/calls.h"

namespace veltrane::faults {
namespace {

using testing::ElementsAre;

const std::string kService = "VeltraneVpnTunnel$Active ";
const std::string kMarkedService = kService + "running for fra-1, marked for deletion";

// A disconnect that leaves this of the service and of the file, with that call failing.
Complaints JudgeDisconnect(const std::string& service, const std::string& conf, const char* call,
                           std::uint32_t status = 5) {
  Account account = Struck(GoodDisconnect(), call);
  if (!service.empty()) account.after.services = {service};
  account.after.files.clear();
  if (!conf.empty()) account.after.files = {"active.conf " + conf};
  return JudgeLeft(account, Failing(call, status));
}

TEST(JudgeLeft, ComplainsOfATunnelThatADisconnectHasNotStopped) {
  Account account = GoodDisconnect();
  account.after.services = {kService + "running for fra-1"};
  EXPECT_THAT(JudgeLeft(account, std::nullopt),
              ElementsAre("the tunnel service is running for fra-1, not absent"));
}

TEST(JudgeLeft, ExcusesATunnelOnlyByACallThatStopsIt) {
  const std::string running = kService + "running for fra-1";
  EXPECT_EQ(JudgeDisconnect(running, "of zeros", "ServiceManager.Open"), kNone);
  EXPECT_EQ(JudgeDisconnect(running, "of zeros", "ServiceManager.OpenExisting"), kNone);
  EXPECT_EQ(JudgeDisconnect(kMarkedService, "of zeros", "Service.SendStop"), kNone);
  EXPECT_EQ(JudgeDisconnect(kService + "stopped", "of zeros", "Service.Delete"), kNone);
  for (const char* call : {"Service.QueryState", "Service.SetSidType", "Service.Start",
                           "ServiceManager.Create", "OutputFile.Open"}) {
    EXPECT_FALSE(JudgeDisconnect(running, "of zeros", call).empty()) << call;
  }
  EXPECT_FALSE(JudgeDisconnect(running, "of zeros", "Service.SendStop").empty());
  EXPECT_FALSE(JudgeDisconnect(running, "of zeros", "Service.Delete").empty());
}

TEST(JudgeLeft, ExpectsOfTheFileWhatTheScrubCouldDo) {
  constexpr std::uint32_t kHalf = simulated::kOnlyHalf;
  EXPECT_EQ(JudgeDisconnect("", "", "OutputFile.Open"), kNone);
  EXPECT_EQ(JudgeDisconnect("", "empty", "OutputFile.Write"), kNone);
  EXPECT_EQ(JudgeDisconnect("", "of 2048 zeros", "OutputFile.Close", kHalf), kNone);
  EXPECT_EQ(JudgeDisconnect("", "of zeros", "RemoveFile"), kNone);
  EXPECT_THAT(JudgeDisconnect("", "in part", "OutputFile.Write", kHalf),
              ElementsAre("the file is in part, not of 2048 zeros"));
  EXPECT_FALSE(JudgeDisconnect("", "for fra-1", "OutputFile.Write").empty());
  EXPECT_FALSE(JudgeDisconnect("", "empty", "RemoveFile").empty());
}

TEST(JudgeLeft, ExpectsASecondDisconnectToDoWhatTheFirstCouldNot) {
  Account account = Struck(GoodDisconnect(), "ServiceManager.Open");
  account.exchanges.push_back(account.exchanges[0]);
  EXPECT_EQ(JudgeLeft(account, Failing("ServiceManager.Open")), kNone);
  account.after.services = {kService + "running for fra-1"};
  EXPECT_FALSE(JudgeLeft(account, Failing("ServiceManager.Open")).empty());
}

TEST(JudgeLeft, ComplainsOfARefusalThatHasTouchedTheTunnel) {
  Account account = Refused(Reply(R"({"ok":false,"error":"admin_bypass_failed","message":"x")"));
  EXPECT_EQ(JudgeLeft(account, std::nullopt), kNone);
  account.after.files = {"active.conf for fra-1"};
  EXPECT_THAT(JudgeLeft(account, std::nullopt), ElementsAre("the file is for fra-1, not absent"));
}

TEST(JudgeLeft, ComplainsOfATunnelWithAnothersConfiguration) {
  Account account = GoodConnect();
  account.after.services = {kService + "running for ams-2"};
  account.after.files = {"active.conf for ams-2"};
  EXPECT_THAT(JudgeLeft(account, std::nullopt),
              ElementsAre("the tunnel service is running for ams-2, not running for fra-1",
                          "the file is for ams-2, not for fra-1"));
}

TEST(JudgeLeft, ComplainsOfAConnectThatTakesAFailedStartForASuccess) {
  Account account = Struck(GoodConnect(), "Service.Start");
  account.after.services = {kService + "stopped"};
  EXPECT_EQ(JudgeLeft(account, Failing("Service.Start", 1056)), kNone);
  EXPECT_FALSE(JudgeLeft(account, Failing("Service.Start", 1053)).empty());
}

// ---- tunnel_start_failed

Account NotStarted(const char* call) {
  Account account = Struck(Refused(R"({"ok":false,"error":"tunnel_start_failed","message":)"
                                   R"("delete active.conf failed"})"),
                           call);
  account.struck.nth = call == std::string("ServiceManager.Open") ? 2 : 1;
  account.after.files = {"active.conf of zeros"};
  return account;
}

TEST(JudgeLeft, ExpectsAServiceThatDoesNotStartToBeRegisteredUnlessItCouldNotBeCreated) {
  for (const char* call : {"ServiceManager.Open", "ServiceManager.Create"}) {
    EXPECT_EQ(JudgeLeft(NotStarted(call), Failing(call)), kNone) << call;
  }
  EXPECT_THAT(JudgeLeft(NotStarted("Service.Start"), Failing("Service.Start")),
              ElementsAre("the tunnel service is absent, not stopped"));
}

TEST(JudgeLeft, ExcusesARunningServiceBehindAFailedStartOnlyWhenItCouldNotBeStopped) {
  for (const char* call : {"Service.SendStop", "Service.Start", "ServiceManager.Create"}) {
    Account account = NotStarted(call);
    account.before.services = {kService + "running for fra-1"};
    account.after.services = {kMarkedService};
    const bool excused = call == std::string("Service.SendStop");
    EXPECT_EQ(JudgeLeft(account, Failing(call)).empty(), excused) << call;
  }
}

// ---- a service that another program holds

TEST(JudgeLeft, ExpectsAServiceThatIsHeldToBeReconfiguredAndMarked) {
  Account account = GoodConnect();
  account.held = true;
  account.before.services = {kService + "running for fra-1, old command line"};
  EXPECT_FALSE(JudgeLeft(account, std::nullopt).empty());
  account.after.services = {kMarkedService};
  EXPECT_EQ(JudgeLeft(account, std::nullopt), kNone);
  account.after.services = {kMarkedService + ", old command line"};
  EXPECT_FALSE(JudgeLeft(account, std::nullopt).empty());
  const std::string change = "Service.ChangeCommandLine";
  EXPECT_EQ(JudgeLeft(Struck(account, change), Failing(change.c_str())), kNone);
}

// ---- a timer

TEST(JudgeLeft, ExpectsAConnectToStandWhereATimerExpiredBeforeItsEnd) {
  Account account = GoodConnect();
  account.timer = kTimerFirst;
  EXPECT_EQ(JudgeLeft(account, std::nullopt), kNone);
  account.after = GoodDisconnect().after;
  EXPECT_FALSE(JudgeLeft(account, std::nullopt).empty());
}

TEST(JudgeLeft, ExpectsNothingToStandWhereATimerExpiredLast) {
  Account account = GoodConnect();
  account.timer = kTimerLast;
  EXPECT_FALSE(JudgeLeft(account, std::nullopt).empty());
  account.after = GoodDisconnect().after;
  EXPECT_EQ(JudgeLeft(account, std::nullopt), kNone);
}

// ---- a process that has ended

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

TEST(JudgeLeft, ExpectsTheTunnelOfAProcessThatCannotStartATimer) {
  Account account = Struck(GoodConnect(), "Thread.Start");
  account.ending = kSystemError;
  EXPECT_EQ(JudgeLeft(account, Failing("Thread.Start")), kNone);
  account.after.services.clear();
  EXPECT_FALSE(JudgeLeft(account, Failing("Thread.Start")).empty());
}

TEST(JudgeLeft, ExpectsTheKeyOfAProcessThatEndsBeforeTheScrubAndNoTunnel) {
  Account account = Struck(GoodDisconnect(), "TestExistence");
  account.ending = kFilesystemError;
  account.after.files = {"active.conf for fra-1"};
  EXPECT_EQ(JudgeLeft(account, Failing("TestExistence")), kNone);
  account.after.files = {"active.conf of zeros"};
  EXPECT_FALSE(JudgeLeft(account, Failing("TestExistence")).empty());
  account.after = account.before;
  EXPECT_FALSE(JudgeLeft(account, Failing("TestExistence")).empty());
}

TEST(JudgeLeft, ExpectsOfAProcessThatIsRefusedALockWhatItHadDoneByThen) {
  Account account = Struck(GoodConnect(), "Mutex.Lock");
  account.ending = kSystemError;
  EXPECT_FALSE(JudgeLeft(account, Failing("Mutex.Lock")).empty());  // the first: nothing is done
  account.struck.nth = 2;
  EXPECT_EQ(JudgeLeft(account, Failing("Mutex.Lock")), kNone);
  account.after = account.before;
  EXPECT_FALSE(JudgeLeft(account, Failing("Mutex.Lock")).empty());
  account.leads_to = "admin_bypass_failed";
  EXPECT_EQ(JudgeLeft(account, Failing("Mutex.Lock")), kNone);
}

}  // namespace
}  // namespace veltrane::faults
