// Failures that leave something behind: half a list, half a write, no thread, no lock, no process.

#include <sys/wait.h>
#include <unistd.h>

#include <string>
#include <system_error>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/connections.h"
#include "platform/console.h"
#include "platform/files.h"
#include "platform/mutex.h"
#include "platform/pipes.h"
#include "platform/routing.h"
#include "platform/services.h"
#include "platform/sessions.h"
#include "tests/simulated/machine.h"
#include "tests/simulated/threads.h"

namespace veltrane::simulated {
namespace {

using testing::ElementsAre;

const std::wstring kFile = L"C:\\ProgramData\\a";

TEST(SimulatedLists, CanBeAnsweredInPart) {
  Machine machine;
  machine.connections.AddEstablished(3389, "203.0.113.5");
  machine.connections.AddEstablished(3389, "203.0.113.6");
  machine.connections.AddEstablished(3389, "203.0.113.7");
  machine.Fail("ReadTcpConnections", 1, kOnlyHalf);
  machine.Fail("ReadTcpConnections", 2, kNothingAtAll);
  machine.Fail("ReadTcpConnections", 3, 5);
  EXPECT_EQ(ReadTcpConnections()->size(), 1u);
  EXPECT_EQ(ReadTcpConnections()->size(), 0u);
  EXPECT_EQ(ReadTcpConnections(), std::nullopt);
  EXPECT_EQ(ReadTcpConnections()->size(), 3u);
}

TEST(SimulatedLists, OfEveryKindCanBeAnsweredInPart) {
  Machine machine;
  machine.routes.AddPhysicalNetwork();
  machine.sessions.AddActive(1, "203.0.113.5");
  machine.sessions.AddActive(2, "203.0.113.6");
  for (const char* call : {"ReadForwardTable", "ReadAdapterAddresses", "ReadSessions"}) {
    machine.Fail(call, 1, kOnlyHalf);
  }
  EXPECT_EQ(ReadForwardTable()->size(), 1u);
  EXPECT_EQ(ReadAdapterAddresses()->size(), 0u);
  EXPECT_EQ(ReadSessions()->size(), 1u);
}

TEST(SimulatedSessions, CanHaveNobodyAtTheConsole) {
  Machine machine;
  machine.sessions.SetConsoleSession(1);
  machine.Fail("ActiveConsoleSession", 1, 5);
  EXPECT_EQ(ActiveConsoleSession(), kNoSession);
  EXPECT_EQ(ActiveConsoleSession(), 1u);
}

TEST(SimulatedConsole, CanRefuseAHandler) {
  Machine machine;
  machine.Fail("InstallConsoleHandler", 1, 8);
  InstallConsoleHandler([](std::uint32_t) { return true; });
  EXPECT_FALSE(machine.console.SendEvent(kConsoleCtrlC));
}

TEST(SimulatedPipes, CanSayThatAClientHadConnectedBefore) {
  Machine machine;
  machine.Fail("ServerPipe.WaitForClient", 1, kErrorPipeConnected);
  std::string request(5, ' ');
  std::thread server([&request] {
    auto pipe = ServerPipe::Create({.name = L"p", .max_instances = 1}, nullptr);
    EXPECT_EQ(pipe->WaitForClient(), kErrorPipeConnected);
    EXPECT_EQ(pipe->Read(request), 5u);
  });
  machine.pipes.WaitUntilServerWaits();
  const Pipes::Opened client = machine.pipes.TryOpen(L"p");
  machine.pipes.Send(*client.connection, "hello");
  server.join();
  EXPECT_EQ(request, "hello");
}

TEST(SimulatedWrites, CanStopInTheMiddle) {
  Machine machine;
  machine.Fail("OutputFile.Write", 1, kOnlyHalf);
  std::optional<OutputFile> file = OutputFile::Open(kFile);
  file->Write("12345678");
  EXPECT_FALSE(file->Close());
  EXPECT_EQ(machine.files.Bytes(kFile), "1234");
}

TEST(SimulatedWrites, CanStopInTheMiddleOfTheClose) {
  Machine machine;
  machine.Fail("OutputFile.Close", 1, kOnlyHalf);
  std::optional<OutputFile> file = OutputFile::Open(kFile);
  file->Write("12345678");
  EXPECT_FALSE(file->Close());
  EXPECT_EQ(machine.files.Bytes(kFile), "1234");
}

TEST(SimulatedOutput, CanBeLost) {
  Machine machine;
  machine.Fail("PrintOutput", 1, 5);
  PrintOutput(L"lost\n");
  PrintOutput(L"printed\n");
  EXPECT_EQ(machine.console.Output(), L"printed\n");
}

TEST(SimulatedCalls, AreObservedWithTheUnloggedOnes) {
  Machine machine;
  std::vector<std::string> observed;
  machine.calls.Observe([&](const std::string& name, const std::string& text) {
    observed.push_back(name + ": " + text);
  });
  FindBestRoute(Ip("203.0.113.5"));
  std::thread([] {}).join();
  EXPECT_THAT(observed, ElementsAre("FindBestRoute: FindBestRoute 203.0.113.5",
                                    "Thread.Start: Thread.Start"));
}

TEST(SimulatedRoutes, TellWhatTheProgramWasAnswered) {
  Machine machine;
  std::vector<std::string> answers;
  machine.routes.OnAnswer([&](const char* change, const std::string& row, std::uint32_t status) {
    answers.push_back(std::string(change) + " " + row + " " + std::to_string(status));
  });
  const ForwardRow row = MakeRoute("203.0.113.5/32", "192.0.2.1", 12, 1);
  CreateForwardRow(row);
  CreateForwardRow(row);
  DeleteForwardRow(row);
  const std::string text = "203.0.113.5/32 via 192.0.2.1 if 12 metric 1";
  EXPECT_THAT(answers, ElementsAre("create " + text + " 0", "create " + text + " 5010",
                                   "delete " + text + " 0"));
}

TEST(SimulatedThreads, CannotBeCreatedWhenThatFails) {
  Machine machine;
  machine.Fail("Thread.Start", 1, 11);
  std::error_code code;
  try {
    std::thread([] {}).join();
  } catch (const std::system_error& error) {
    code = error.code();
  }
  EXPECT_EQ(code, std::errc::resource_unavailable_try_again);
  std::thread([] {}).join();
}

TEST(SimulatedThreads, OfTheTestAreNotCountedAndCannotFail) {
  Machine machine;
  machine.FailAlways("Thread.Start", 11);
  const NotOfTheProgram threads;
  std::thread([] {}).join();
  EXPECT_EQ(machine.calls.Count("Thread.Start"), 0u);
}

TEST(SimulatedMutex, CannotBeLockedWhenThatFails) {
  Machine machine;
  Mutex watched;
  Mutex other;
  WatchMutex(&watched);
  machine.FailAlways("Mutex.Lock", 11);
  EXPECT_THROW(const MutexLock lock(watched), std::system_error);
  { const MutexLock lock(other); }
  WatchMutex(nullptr);
  { const MutexLock lock(watched); }
  EXPECT_EQ(machine.calls.Count("Mutex.Lock"), 1u);
}

TEST(SimulatedProcess, LeavesNothingOpenWhenItEnds) {
  Machine machine;
  machine.services.Add(L"Marked");
  const pid_t child = machine.Fork();
  if (child == 0) {
    // What the program holds is never closed, as by a crash.
    auto* file = new std::optional<OutputFile>(OutputFile::Open(kFile));
    (*file)->Write("kept back");
    auto* manager = new std::optional<ServiceManager>(ServiceManager::Open(0xF003F));
    auto* service = new std::optional<Service>((*manager)->OpenExisting(L"Marked", 0xF01FF));
    (*service)->Delete();
    new std::optional<ServerPipe>(
        ServerPipe::Create({.name = L"pipe", .max_instances = 1}, nullptr));
    machine.EndProcess();
    const bool closed = machine.files.OpenStreams() == 0 && machine.services.OpenHandles() == 0 &&
                        machine.pipes.OpenInstances() == 0;
    const bool lost = machine.files.Bytes(kFile) == "" && machine.services.Names().empty();
    _exit(closed && lost ? 0 : 1);
  }
  int status = -1;
  waitpid(child, &status, 0);
  EXPECT_EQ(status, 0);
}

}  // namespace
}  // namespace veltrane::simulated
