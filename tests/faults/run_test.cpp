// One run of a story, from its beginning to its judges: stories in which the program misbehaves.

#include "tests/faults/run.h"

#include <unistd.h>

#include <cstdlib>
#include <exception>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <system_error>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/files.h"
#include "platform/routing.h"
#include "platform/services.h"
#include "service/server_slot.h"
#include "tests/faults/good_accounts.h"
#include "tests/faults/judges.h"
#include "tests/scenarios/connection.h"

namespace veltrane::faults {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::Eq;
using testing::IsEmpty;

Account RunWithout(const std::function<void(Scene&)>& act) {
  return faults::Run({"", "", [](Scene&) {}, act}, std::nullopt);
}

void Connect(Scene& scene) { scene.Ask(kConnect); }

void LeaveLocked(Mutex& mutex) VELTRANE_THREAD_SAFETY(no_thread_safety_analysis) { mutex.Lock(); }

TEST(Run, NumbersTheCallsOfEachFunction) {
  const Account account = RunWithout([](Scene&) {
    RemoveFile(L"C:\\a");
    ReadForwardTable();
    RemoveFile(L"C:\\b");
  });
  std::vector<std::string> calls;
  for (const Call& call : account.calls) {
    calls.push_back(call.name + " " + std::to_string(call.nth) + " " + call.details);
  }
  EXPECT_THAT(calls,
              ElementsAre("RemoveFile 1 C:\\a", "ReadForwardTable 1 ", "RemoveFile 2 C:\\b"));
}

TEST(Run, MakesOneCallFailAndTellsThatItWasMade) {
  const Story story = {"", "", [](Scene&) {}, Connect};
  const Fault fault = {{"MoveFileWithFlags", "fails", 5}, 1};
  const Account account = faults::Run(story, fault);
  EXPECT_EQ(account.struck.name, "MoveFileWithFlags");
  EXPECT_EQ(account.exchanges[0].reply,
            R"({"ok":false,"error":"config_write_failed","message":"rename active.conf failed"})");
  EXPECT_THAT(account.after.files, ElementsAre("active.conf.tmp for fra-1"));
  EXPECT_EQ(faults::Run(story, Fault{{"MoveFileWithFlags", "fails", 5}, 2}).struck.name, "");
}

TEST(Run, GoesOnWithADisconnectAndAConnect) {
  const Account account = RunWithout(Connect);
  EXPECT_EQ(account.ending, kLives);
  EXPECT_THAT(account.after_disconnect.files, ElementsAre("active.conf of zeros"));
  EXPECT_THAT(account.after_connect.services,
              ElementsAre("VeltraneVpnTunnel$Active running for fra-1"));
}

TEST(Run, TellsHowTheProcessEnds) {
  EXPECT_EQ(RunWithout([](Scene&) { std::terminate(); }).ending, kTerminated);
  EXPECT_EQ(RunWithout([](Scene&) { std::abort(); }).ending, kAborted);
  EXPECT_EQ(RunWithout([](Scene&) { _exit(0); }).ending, kHung);
  const auto throws = [](auto exception) {
    return RunWithout([exception](Scene&) { std::thread([&] { throw exception; }).join(); }).ending;
  };
  EXPECT_EQ(throws(std::filesystem::filesystem_error("", {})), kFilesystemError);
  EXPECT_EQ(throws(std::system_error(std::error_code())), kSystemError);
  EXPECT_EQ(throws(std::runtime_error("")), kOtherException);
}

TEST(Run, GivesTheMachineToANewProcessWhenTheProcessHasEnded) {
  const Account account = RunWithout([](Scene& scene) {
    scene.SetAdministrator();
    Connect(scene);
    std::terminate();
  });
  EXPECT_THAT(account.after.services, ElementsAre("VeltraneVpnTunnel$Active running for fra-1"));
  // It does not know whose the route is, and stops the tunnel.
  EXPECT_THAT(account.after_disconnect.routes, Contains(kPinnedRoute));
  EXPECT_THAT(account.after_disconnect.services, IsEmpty());
  EXPECT_THAT(JudgeAftermath(account), IsEmpty());
}

TEST(Run, ClosesWhatAProcessThatHasEndedHadOpen) {
  const Account account = RunWithout([](Scene&) {
    std::optional<OutputFile> file = OutputFile::Open(L"C:\\ProgramData\\a");
    file->Write("lost");
    auto manager = ServiceManager::Open(1);
    std::terminate();
  });
  EXPECT_THAT(account.after.files, ElementsAre("a empty, open to users"));
  EXPECT_THAT(account.connect.reply, testing::StartsWith(R"({"ok":true)"));
}

TEST(Run, ShowsTheJudgesAProgramThatDeletesAnothersRoute) {
  const Account account = RunWithout([](Scene&) {
    DeleteForwardRow(simulated::MakeRoute("198.51.100.99/32", "192.168.1.1", 12, 5));
  });
  const std::string route = "198.51.100.99/32 via 192.168.1.1 if 12 metric 5";
  EXPECT_THAT(JudgeRoutes(account),
              ElementsAre("a route that is not recorded was deleted: " + route,
                          "another's route is gone: " + route));
}

TEST(Run, ShowsTheJudgesAProgramThatLeavesSomethingOpen) {
  const Account account = RunWithout([](Scene&) {
    new std::optional<ServiceManager>(ServiceManager::Open(1));
    new std::optional<OutputFile>(OutputFile::Open(L"C:\\ProgramData\\a"));
  });
  EXPECT_THAT(JudgeOpen(account), ElementsAre("left open: 1 service handles", "left open: 1 files",
                                              "left open afterwards: 1 service handles",
                                              "left open afterwards: 1 files"));
}

TEST(Run, ShowsTheJudgesALockThatIsLeftLocked) {
  const Account account = RunWithout([](Scene& scene) {
    scene.Start(L"--console");
    LeaveLocked(RegisteredServer()->state_mutex);
  });
  EXPECT_THAT(JudgeOpen(account), ElementsAre("left open: 1 locks"));
}

TEST(Run, LetsTheSystemEndAProgramThatDoesNotHandleCtrlC) {
  const Story story = {"", "", [](Scene&) {},
                       [](Scene& scene) {
                         scene.Start(L"--console");
                         scene.PressCtrlC();
                       }};
  EXPECT_EQ(faults::Run(story, std::nullopt).ending, "exit 0");
  EXPECT_EQ(faults::Run(story, Failing("InstallConsoleHandler")).ending, "killed by Ctrl+C");
}

TEST(Run, LetsGoOfAServiceThatAnotherProgramHeldDuringTheStory) {
  const Account account = faults::Run({"", "",
                                       [](Scene& scene) {
                                         scene.Ask(kConnect);
                                         scene.HoldTunnelService();
                                       },
                                       [](Scene& scene) { scene.Ask(kDisconnect); }},
                                      std::nullopt);
  EXPECT_THAT(account.after.services,
              ElementsAre("VeltraneVpnTunnel$Active stopped, marked for deletion"));
  EXPECT_THAT(account.after_disconnect.services, IsEmpty());
}

TEST(Run, ShowsTheJudgesAFileThatIsOpenToUsers) {
  const Account account = RunWithout([](Scene& scene) {
    scene.machine.FailAlways("SetProtectedAccess", 5);
    Connect(scene);
  });
  EXPECT_THAT(JudgeSecrecy(account),
              Contains(Eq("open to users: active.conf for fra-1, open to users")));
}

}  // namespace
}  // namespace veltrane::faults
