#include "ipc/pipe_server.h"

#include <cstdint>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "tests/ipc/on_pipe_server.h"
#include "tests/support/name_of.h"

using namespace std::string_literals;

namespace veltrane {
namespace {

using simulated::Exchange;
using simulated::PipeClient;

constexpr char kRegister[] = R"({"op":"register_session","session_nonce":"abc"})";
constexpr char kRegistered[] = R"({"ok":true,"phase":"disconnected"})";

using PipeServer = OnPipeServer;

// ---- the pipe

TEST_F(PipeServer, EveryInstanceHasTheParametersOfTheControlPipe) {
  server.Start();
  Exchange("{}");
  machine.pipes.WaitUntilServerWaits();
  ASSERT_EQ(machine.pipes.Created().size(), 2u);
  for (const auto& created : machine.pipes.Created()) {
    EXPECT_EQ(created.parameters.name, L"\\\\.\\pipe\\VeltraneVpn");
    EXPECT_EQ(created.parameters.open_mode, 3u);
    EXPECT_EQ(created.parameters.pipe_mode, 6u);
    EXPECT_EQ(created.parameters.max_instances, 1u);
    EXPECT_EQ(created.parameters.out_buffer_bytes, 65536u);
    EXPECT_EQ(created.parameters.in_buffer_bytes, 65536u);
    EXPECT_EQ(created.parameters.default_timeout_ms, 0u);
  }
}

TEST_F(PipeServer, WithoutAnAccessListThePipeHasDefaultSecurityAndNothingIsPrinted) {
  machine.Fail("MakeSecurityAttributes", 1, 1336);
  server.Start();
  EXPECT_EQ(Exchange(kRegister), kRegistered);
  EXPECT_EQ(machine.pipes.Created().at(0).access, std::nullopt);
  EXPECT_EQ(machine.console.Log().size(), 0u);
}

TEST_F(PipeServer, WithoutAnySidThePipeHasDefaultSecurityAndServesOn) {
  machine.FailAlways("MakeNtSid", 1337);
  server.Start();
  EXPECT_EQ(Exchange(kRegister), kRegistered);
  machine.pipes.WaitUntilServerWaits();
  ASSERT_EQ(machine.pipes.Created().size(), 2u);
  for (const auto& created : machine.pipes.Created()) EXPECT_EQ(created.access, std::nullopt);
  EXPECT_EQ(machine.console.Log().size(), 0u);
}

TEST_F(PipeServer, AccessListIsBuiltOnceForAllInstancesAndFreedWhenTheLoopEnds) {
  machine.sessions.SetConsoleSession(1);
  machine.sessions.SetUser(1, simulated::NtSid({21, 1, 2, 3, 1001}));
  server.Start();
  machine.pipes.WaitUntilServerWaits();
  machine.sessions.SetConsoleSession(2);
  Exchange("{}");
  machine.pipes.WaitUntilServerWaits();
  EXPECT_EQ(machine.calls.Count("MakeSecurityAttributes"), 1u);
  EXPECT_EQ(machine.security.LiveRecords(), 1u);
  ASSERT_EQ(machine.pipes.Created().size(), 2u);
  for (const auto& created : machine.pipes.Created()) {
    EXPECT_EQ(simulated::AccessTexts(created.access.value()),
              (Texts{"user S-1-5-18 0x10000000 inherit 0", "user S-1-5-32-544 0x10000000 inherit 0",
                     "user S-1-5-21-1-2-3-1001 0xc0100000 inherit 0"}));
  }
  StopServer();
  EXPECT_EQ(machine.security.LiveRecords(), 0u);
  EXPECT_EQ(machine.pipes.OpenInstances(), 0u);
}

// ---- one exchange

TEST_F(PipeServer, ExchangeIsReadWriteFlushDisconnectCloseAndThenTheNextInstance) {
  server.Start();
  Exchange("{}");
  EXPECT_EQ(Connections(),
            (Texts{"ServerPipe.Create \\\\.\\pipe\\VeltraneVpn", "ServerPipe.WaitForClient",
                   "ServerPipe.Read 65535", "ServerPipe.Write 67 bytes", "ServerPipe.Flush",
                   "ServerPipe.Disconnect", "ServerPipe.Close",
                   "ServerPipe.Create \\\\.\\pipe\\VeltraneVpn", "ServerPipe.WaitForClient"}));
  EXPECT_EQ(machine.clock.Sleeps().size(), 0u);
}

TEST_F(PipeServer, ReplyIsOneMessageWithoutATerminatingZero) {
  server.Start();
  PipeClient client;
  client.Connect();
  client.Send(kRegister);
  EXPECT_EQ(client.Receive(), kRegistered);
  EXPECT_EQ(client.Receive(), std::nullopt);
}

TEST_F(PipeServer, SecondMessageOfAConnectionIsDiscarded) {
  server.Start();
  PipeClient client;
  client.Connect();
  client.Send(kRegister);
  client.Send(R"({"op":"register_session","session_nonce":"second"})");
  EXPECT_EQ(client.ReceiveAll(), kRegistered);
  StopServer();
  EXPECT_EQ(server.session_nonce, "abc");
}

TEST_F(PipeServer, ClientThatDoesNotReadHoldsTheConnectionUntilItGoes) {
  server.Start();
  PipeClient client;
  client.Connect();
  client.Send(kRegister);
  machine.calls.WaitForCount("ServerPipe.Flush", 1);
  EXPECT_EQ(machine.calls.Count("ServerPipe.Disconnect"), 0u);
  client.Close();
  EXPECT_EQ(Exchange("{}"), kUnknown);
}

TEST_F(PipeServer, ReplyThatCannotBeWrittenDoesNotDisturbTheLoop) {
  machine.Fail("ServerPipe.Write", 1, 232);
  server.Start();
  EXPECT_EQ(Exchange("{}"), "");
  EXPECT_EQ(Exchange("{}"), kUnknown);
}

// ---- framing

TEST_F(PipeServer, RequestOf65535BytesIsReadWhole) {
  server.Start();
  EXPECT_EQ(Exchange(RequestOfSize(65535)), kRegistered);
  StopServer();
  EXPECT_EQ(server.session_nonce, "last");
}

TEST_F(PipeServer, RequestIsCutAtItsFirstZeroByte) {
  server.Start();
  EXPECT_EQ(Exchange(kRegister + "\0config_path"s), kRegistered);
  StopServer();
  EXPECT_EQ(server.session_nonce, "abc");
}

TEST_F(PipeServer, RequestThatBeginsWithAZeroByteIsEmptyAndAnswered) {
  server.Start();
  EXPECT_EQ(Exchange("\0{\"op\":\"register_session\"}"s), kUnknown);
}

TEST_F(PipeServer, ShorterRequestDoesNotSeeTheBytesOfAnEarlierOne) {
  server.Start();
  Exchange(RequestOfSize(1000));
  EXPECT_EQ(Exchange(R"({"padding":)"), kUnknown);
}

struct Unneeded {
  const char* name;
  std::string request;
};

class RequestInMemory : public PipeServer, public testing::WithParamInterface<Unneeded> {};

TEST_P(RequestInMemory, IsWipedBeforeTheClientHasReadTheReply) {
  std::string memory;
  machine.OnCall("ServerPipe.Flush", 1, [&] { memory = machine.pipes.LastReadBuffer(); });
  server.Start();
  Exchange(GetParam().request);
  machine.pipes.WaitUntilServerWaits();
  EXPECT_EQ(memory, std::string(65535, '\0'));
}

INSTANTIATE_TEST_SUITE_P(PipeServer, RequestInMemory,
                         testing::Values(Unneeded{"Answered", kRegister},
                                         Unneeded{"OfEverySize", RequestOfSize(65535)},
                                         Unneeded{"TooLongToBeAnswered", RequestOfSize(65536)}),
                         NameOf<Unneeded>);

// ---- clients

TEST_F(PipeServer, SecondClientIsBusyWhileTheFirstIsConnected) {
  server.Start();
  PipeClient first;
  first.Connect();
  PipeClient second;
  EXPECT_EQ(second.TryConnect(), 231u);
  first.Send(kRegister);
  EXPECT_EQ(first.ReceiveAll(), kRegistered);
  EXPECT_EQ(Exchange("{}"), kUnknown);
}

TEST_F(PipeServer, RequestRunsOnTheServerThreadAndKeepsOthersOut) {
  server.Start();
  const std::thread::id server_thread = server.server_thread.get_id();
  std::thread::id request_thread;
  std::uint32_t other_client = 0;
  machine.OnCall("ServiceManager.Open", 1, [&request_thread, &other_client] {
    request_thread = std::this_thread::get_id();
    other_client = PipeClient().TryConnect();
  });
  Exchange(R"({"op":"status"})");
  EXPECT_EQ(request_thread, server_thread);
  EXPECT_EQ(other_client, 231u);
}

TEST_F(PipeServer, ClientsThatComeTogetherAreServedOneAfterAnother) {
  server.Start();
  Texts replies(4);
  std::vector<std::thread> clients;
  for (std::string& reply : replies) {
    clients.emplace_back([&reply] {
      for (int i = 0; i < 20; ++i) reply += Exchange("{}");
    });
  }
  for (std::thread& client : clients) client.join();
  std::string twenty_replies;
  for (int i = 0; i < 20; ++i) twenty_replies += kUnknown;
  EXPECT_EQ(replies, Texts(4, twenty_replies));
  machine.pipes.WaitUntilServerWaits();
  EXPECT_EQ(machine.calls.Count("ServerPipe.Create"), 81u);
  EXPECT_EQ(machine.calls.Count("ServerPipe.Write"), 80u);
}

}  // namespace
}  // namespace veltrane
