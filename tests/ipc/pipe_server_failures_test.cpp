#include <csignal>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "platform/pipes.h"
#include "tests/ipc/on_pipe_server.h"

namespace veltrane {
namespace {

using simulated::Exchange;
using simulated::PipeClient;
using Milliseconds = std::vector<std::uint32_t>;
using Texts = std::vector<std::string>;

constexpr char kUnknown[] =
    R"({"ok":false,"error":"unknown_op","message":"unsupported operation"})";

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
  EXPECT_EQ(Exchange("{}"), kUnknown);
  machine.pipes.WaitUntilServerWaits();
  EXPECT_EQ(machine.clock.Sleeps(), (Milliseconds{500, 500, 500}));
  EXPECT_EQ(machine.calls.StartingWith("ServerPipe.C"),
            (Texts{"ServerPipe.Create \\\\.\\pipe\\VeltraneVpn",
                   "ServerPipe.Create \\\\.\\pipe\\VeltraneVpn",
                   "ServerPipe.Create \\\\.\\pipe\\VeltraneVpn",
                   "ServerPipe.Create \\\\.\\pipe\\VeltraneVpn", "ServerPipe.Close",
                   "ServerPipe.Create \\\\.\\pipe\\VeltraneVpn"}));
  EXPECT_EQ(machine.calls.Count("MakeSecurityAttributes"), 1u);
  EXPECT_EQ(machine.console.Log().size(), 0u);
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
  machine.pipes.WaitUntilServerWaits();
  EXPECT_EQ(machine.calls.StartingWith("ServerPipe."),
            (Texts{"ServerPipe.Create \\\\.\\pipe\\VeltraneVpn", "ServerPipe.WaitForClient",
                   "ServerPipe.Close", "ServerPipe.Create \\\\.\\pipe\\VeltraneVpn",
                   "ServerPipe.WaitForClient", "ServerPipe.Close",
                   "ServerPipe.Create \\\\.\\pipe\\VeltraneVpn", "ServerPipe.WaitForClient"}));
  EXPECT_EQ(machine.clock.Sleeps(), Milliseconds{});
  EXPECT_EQ(Exchange("{}"), kUnknown);
}

TEST_F(PipeServerFailures, FailedWaitEndsTheLoopThatWasToldToEnd) {
  machine.Fail("ServerPipe.WaitForClient", 1, 6);
  machine.OnCall("ServerPipe.WaitForClient", 1, [this] { TellToEnd(); });
  RunUntilTold();
  EXPECT_EQ(machine.calls.StartingWith("ServerPipe."),
            (Texts{"ServerPipe.Create \\\\.\\pipe\\VeltraneVpn", "ServerPipe.WaitForClient",
                   "ServerPipe.Close"}));
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
  machine.pipes.WaitUntilServerWaits();
  EXPECT_EQ(machine.calls.StartingWith("ServerPipe."),
            (Texts{"ServerPipe.Create \\\\.\\pipe\\VeltraneVpn", "ServerPipe.WaitForClient",
                   "ServerPipe.Read 65535", "ServerPipe.Write 67 bytes", "ServerPipe.Flush",
                   "ServerPipe.Disconnect", "ServerPipe.Close",
                   "ServerPipe.Create \\\\.\\pipe\\VeltraneVpn", "ServerPipe.WaitForClient"}));
}

TEST_F(PipeServerFailures, ClientThatCameAndWentBeforeTheWaitDoesNotDisturbTheLoop) {
  machine.OnCall("ServerPipe.WaitForClient", 1, [] {
    PipeClient client;
    EXPECT_EQ(client.TryConnect(), 0u);
  });
  server.Start();
  machine.pipes.WaitUntilServerWaits();
  EXPECT_EQ(machine.calls.StartingWith("ServerPipe."),
            (Texts{"ServerPipe.Create \\\\.\\pipe\\VeltraneVpn", "ServerPipe.WaitForClient",
                   "ServerPipe.Close", "ServerPipe.Create \\\\.\\pipe\\VeltraneVpn",
                   "ServerPipe.WaitForClient"}));
  EXPECT_EQ(Exchange("{}"), kUnknown);
}

// ---- no request

TEST_F(PipeServerFailures, FailedReadGetsNoReplyAndTheConnectionIsClosedInOrder) {
  machine.Fail("ServerPipe.Read", 1, 109);
  server.Start();
  EXPECT_EQ(Exchange("{}"), "");
  machine.pipes.WaitUntilServerWaits();
  EXPECT_EQ(machine.calls.StartingWith("ServerPipe."),
            (Texts{"ServerPipe.Create \\\\.\\pipe\\VeltraneVpn", "ServerPipe.WaitForClient",
                   "ServerPipe.Read 65535", "ServerPipe.Flush", "ServerPipe.Disconnect",
                   "ServerPipe.Close", "ServerPipe.Create \\\\.\\pipe\\VeltraneVpn",
                   "ServerPipe.WaitForClient"}));
  EXPECT_EQ(Exchange("{}"), kUnknown);
}

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
  EXPECT_EQ(machine.calls.StartingWith("ServerPipe."),
            (Texts{"ServerPipe.Create \\\\.\\pipe\\VeltraneVpn", "ServerPipe.WaitForClient",
                   "ServerPipe.Read 65535", "ServerPipe.Write 67 bytes", "ServerPipe.Flush",
                   "ServerPipe.Disconnect", "ServerPipe.Close"}));
}

TEST_F(PipeServerFailures, ConnectionThatUnblocksTheStopGetsNoReply) {
  server.Start();
  StopServer();
  EXPECT_EQ(machine.calls.StartingWith("ServerPipe."),
            (Texts{"ServerPipe.Create \\\\.\\pipe\\VeltraneVpn", "ServerPipe.WaitForClient",
                   "ServerPipe.Read 65535", "ServerPipe.Flush", "ServerPipe.Disconnect",
                   "ServerPipe.Close"}));
  EXPECT_FALSE(server.server_thread.joinable());
}

// ---- the end of the process

class PipeServerDeathTest : public PipeServerFailures {
 protected:
  PipeServerDeathTest() { GTEST_FLAG_SET(death_test_style, "threadsafe"); }

  void Serve(const std::string& request) {
    server.Start();
    Exchange(request);
    StopServer();
  }
};

TEST_F(PipeServerDeathTest, PortWithoutDigitsEndsTheProcess) {
  EXPECT_EXIT(Serve(R"({"op":"connect","endpoint_port":"abc"})"), testing::KilledBySignal(SIGABRT),
              "std::invalid_argument.*invalid stoi argument");
}

TEST_F(PipeServerDeathTest, PortBeyond32BitsEndsTheProcess) {
  EXPECT_EXIT(Serve(R"({"op":"connect","endpoint_port":"99999999999"})"),
              testing::KilledBySignal(SIGABRT), "std::out_of_range.*stoi argument out of range");
}

TEST_F(PipeServerDeathTest, FileWhoseExistenceIsUnknownEndsTheProcessOfADisconnect) {
  machine.FailAlways("TestExistence", 5);
  EXPECT_EXIT(Serve(R"({"op":"disconnect"})"), testing::KilledBySignal(SIGABRT),
              "filesystem_error.*exists");
}

}  // namespace
}  // namespace veltrane
