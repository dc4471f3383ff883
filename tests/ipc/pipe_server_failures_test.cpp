#include <csignal>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "platform/pipes.h"
#include "tests/ipc/on_pipe_server.h"
#include "tests/support/arrange.h"
#include "tests/support/name_of.h"

namespace veltrane {
namespace {

using simulated::Exchange;
using simulated::PipeClient;
using Milliseconds = std::vector<std::uint32_t>;

class PipeServerFailures : public OnPipeServer {
 protected:
  // Runs the loop on this thread; a hook has to clear `running`.
  void RunUntilTold() {
    server.running = true;
    RunPipeServer(server);
    EXPECT_EQ(machine.security.LiveRecords(), 0u);
    EXPECT_EQ(machine.pipes.OpenInstances(), 0u);
  }

  void TellToEnd() { server.running = false; }
};

// ---- no instance

TEST_F(PipeServerFailures, CreationIsTriedAgainEvery500Milliseconds) {
  machine.Fail("ServerPipe.Create", 1, 231);
  machine.Fail("ServerPipe.Create", 2, 5);
  machine.Fail("ServerPipe.Create", 3, 231);
  server.Start();
  const Texts create = UpTo("ServerPipe.Create", kWaits);
  EXPECT_EQ(Connections(), Steps({create, create, create, kWaits}));
  EXPECT_EQ(machine.clock.Sleeps(), (Milliseconds{500, 500, 500}));
  EXPECT_EQ(machine.calls.Count("MakeSecurityAttributes"), 1u);
  EXPECT_EQ(machine.console.Log().size(), 0u);
  EXPECT_EQ(Exchange("{}"), kUnknown);
}

TEST_F(PipeServerFailures, InstanceOfAnotherProgramIsWaitedFor) {
  std::optional<ServerPipe> others =
      ServerPipe::Create({L"\\\\.\\pipe\\VeltraneVpn", 3, 6, 1, 65536, 65536, 0}, nullptr);
  int sleeps = 0;
  machine.clock.OnSleep([&others, &sleeps](std::uint32_t) {
    if (++sleeps == 2) others.reset();
  });
  server.Start();
  machine.pipes.WaitUntilServerWaits();
  EXPECT_EQ(machine.clock.Sleeps(), (Milliseconds{500, 500}));
  EXPECT_EQ(Exchange("{}"), kUnknown);
}

TEST_F(PipeServerFailures, LoopToldToEndWhileItCannotCreateAnInstanceEndsAfterTheSleep) {
  machine.FailAlways("ServerPipe.Create", 231);
  int sleeps = 0;
  machine.clock.OnSleep([this, &sleeps](std::uint32_t) {
    if (++sleeps == 3) TellToEnd();
  });
  RunUntilTold();
  EXPECT_EQ(machine.clock.Sleeps(), (Milliseconds{500, 500, 500}));
  EXPECT_EQ(machine.calls.Count("ServerPipe.Create"), 3u);
}

// ---- no client

TEST_F(PipeServerFailures, FailedWaitClosesTheInstanceAndStartsAgainAtOnce) {
  machine.Fail("ServerPipe.WaitForClient", 1, 232);
  machine.Fail("ServerPipe.WaitForClient", 2, 6);
  server.Start();
  const Texts close = {"ServerPipe.Close"};
  EXPECT_EQ(Connections(), Steps({kWaits, close, kWaits, close, kWaits}));
  EXPECT_EQ(machine.clock.Sleeps(), Milliseconds{});
  EXPECT_EQ(Exchange("{}"), kUnknown);
}

TEST_F(PipeServerFailures, FailedWaitEndsTheLoopThatWasToldToEnd) {
  machine.Fail("ServerPipe.WaitForClient", 1, 6);
  machine.OnCall("ServerPipe.WaitForClient", 1, [this] { TellToEnd(); });
  RunUntilTold();
  EXPECT_EQ(machine.calls.StartingWith("ServerPipe."), Steps({kWaits, {"ServerPipe.Close"}}));
}

TEST_F(PipeServerFailures, ClientThatCameBeforeTheWaitIsServed) {
  PipeClient client;
  machine.OnCall("ServerPipe.WaitForClient", 1, [&client] {
    EXPECT_EQ(client.TryConnect(), 0u);
    client.Send("{}");
  });
  server.Start();
  machine.calls.WaitForCount("ServerPipe.Read", 1);
  EXPECT_EQ(client.ReceiveAll(), kUnknown);
  EXPECT_EQ(Connections(), Steps({kWaits, kAnswers, kEnds, kWaits}));
}

TEST_F(PipeServerFailures, ClientThatCameAndWentBeforeTheWaitDoesNotDisturbTheLoop) {
  machine.OnCall("ServerPipe.WaitForClient", 1, [] {
    PipeClient client;
    EXPECT_EQ(client.TryConnect(), 0u);
  });
  server.Start();
  EXPECT_EQ(Connections(), Steps({kWaits, {"ServerPipe.Close"}, kWaits}));
  EXPECT_EQ(Exchange("{}"), kUnknown);
}

// ---- no request, and so no reply

struct Silence {
  const char* name;
  std::optional<std::string> request;  // without one the client closes at once
  Arrange arrange = Nothing();
};

class UnreadableRequest : public PipeServerFailures, public testing::WithParamInterface<Silence> {};

TEST_P(UnreadableRequest, GetsNoReplyAndTheConnectionIsClosedInOrder) {
  server.Start();
  machine.pipes.WaitUntilServerWaits();
  GetParam().arrange(machine);
  if (GetParam().request) {
    EXPECT_EQ(Exchange(*GetParam().request), "");
  } else {
    PipeClient().Connect();
  }
  EXPECT_EQ(Connections(), Steps({kWaits, kReads, kEnds, kWaits}));
  EXPECT_EQ(Exchange("{}"), kUnknown);
  EXPECT_EQ(server.session_nonce, "");
}

const Silence kSilences[] = {
    {"WhoseReadFails", "{}", [](auto& machine) { machine.Fail("ServerPipe.Read", 1, 109); }},
    {"Of65536Bytes", RequestOfSize(65536)},
    {"OfNoBytes", ""},
    {"OfAClientThatClosesAtOnce", std::nullopt}};

INSTANTIATE_TEST_SUITE_P(PipeServer, UnreadableRequest, testing::ValuesIn(kSilences),
                         NameOf<Silence>);

// ---- the end of the loop

TEST_F(PipeServerFailures, LoopThatIsNotToRunCreatesNoInstance) {
  machine.FailAlways("ServerPipe.Create", 5);
  RunPipeServer(server);
  EXPECT_EQ(machine.calls.All(),
            (Texts{"ActiveConsoleSession", "MakeNtSid S-1-5-18", "MakeNtSid S-1-5-32-544",
                   "MakeSecurityAttributes 2 entries", "FreeSecurityAttributes"}));
}

TEST_F(PipeServerFailures, RequestDuringWhichTheLoopIsToldToEndIsStillAnswered) {
  PipeClient client;
  machine.OnCall("ServerPipe.WaitForClient", 1, [&client] {
    client.TryConnect();
    client.Send("{}");
  });
  machine.OnCall("ServerPipe.Read", 1, [this] { TellToEnd(); });
  std::optional<std::string> reply;
  machine.OnCall("ServerPipe.Flush", 1, [&client, &reply] { reply = client.Receive(); });
  RunUntilTold();
  EXPECT_EQ(reply, kUnknown);
  EXPECT_EQ(machine.calls.StartingWith("ServerPipe."), Steps({kWaits, kAnswers, kEnds}));
}

TEST_F(PipeServerFailures, ConnectionThatUnblocksTheStopGetsNoReply) {
  server.Start();
  StopServer();
  EXPECT_EQ(machine.calls.StartingWith("ServerPipe."), Steps({kWaits, kReads, kEnds}));
  EXPECT_FALSE(server.server_thread.joinable());
}

// ---- the end of the process

struct Escape {
  const char* name;
  const char* request;
  Arrange arrange;
  const char* printed;
};

class PipeServerDeathTest : public PipeServerFailures, public testing::WithParamInterface<Escape> {
 protected:
  PipeServerDeathTest() { GTEST_FLAG_SET(death_test_style, "threadsafe"); }

  void Serve(const std::string& request) {
    server.Start();
    Exchange(request);
    server.server_thread.join();  // the client may learn of the end before the process does
  }
};

TEST_P(PipeServerDeathTest, EndsTheProcess) {
  GetParam().arrange(machine);
  EXPECT_EXIT(Serve(GetParam().request), testing::KilledBySignal(SIGABRT), GetParam().printed);
}

const Escape kEscapes[] = {
    {"OfAPortWithoutDigits",
     R"({"op":"connect","node_id":"n","client_private_key":"k","endpoint_port":"abc"})", Nothing(),
     "std::invalid_argument.*invalid stoi argument"},
    {"OfAPortBeyond32Bits", R"({"op":"connect","endpoint_port":"2147483648"})", Nothing(),
     "std::out_of_range.*stoi argument out of range"},
    {"OfADisconnectThatCannotTellWhetherThereIsAFile", R"({"op":"disconnect"})",
     Failing("TestExistence"), "filesystem error: exists: "},
    {"OfAFailedStartThatCannotTellWhetherThereIsAFile",
     R"({"op":"connect","node_id":"n","client_private_key":"k"})",
     All({Failing("Service.Start"), Failing("TestExistence")}), "filesystem error: exists: "}};

INSTANTIATE_TEST_SUITE_P(Exception, PipeServerDeathTest, testing::ValuesIn(kEscapes),
                         NameOf<Escape>);

}  // namespace
}  // namespace veltrane
