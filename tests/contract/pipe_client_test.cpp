// platform/pipe_client.h: the client's end of a pipe.

#include "platform/pipe_client.h"

#include <thread>
#include <utility>

#include "tests/contract/stage.h"

namespace veltrane::contract {
namespace {

using Progress = ClientPipe::Progress;

// Cases that begin with a pipe of one instance, which nobody has opened.
class PipeClient : public Contract {
 protected:
  static std::optional<ServerPipe> Create(const std::wstring& name) {
    return ServerPipe::Create(
        {name, kPipeAccessDuplex, kPipeTypeMessage | kPipeReadModeMessage | kPipeWait, 1, 65536,
         65536, 0},
        nullptr);
  }

  ClientPipe Open() { return Take(ClientPipe::Open(stage.PipeName())); }

  std::optional<std::string> ReadAsServer() {
    std::string buffer(100, '\0');
    const std::optional<std::size_t> size = server.Read(buffer);
    if (!size) return std::nullopt;
    return buffer.substr(0, *size);
  }

  void CloseServer() { const ServerPipe closed = std::move(server); }

  ServerPipe server = Create(stage.PipeName()).value();
};

// Everything that comes until the server has ended the connection.
std::string ReceiveAll(ClientPipe& client) {
  std::string received;
  while (client.Receive(1000, received) == Progress::kPending) {
  }
  return received;
}

TEST_F(PipeClient, OpensAPipeWhateverTheCaseOfItsName) {
  std::wstring name = stage.PipeName();
  name.back() = L'X';
  const ServerPipe other = Create(name).value();
  name.back() = L'x';
  EXPECT_TRUE(ClientPipe::Open(name));
}

TEST_F(PipeClient, CannotOpenAPipeThatIsNotThere) {
  CloseServer();
  EXPECT_EQ(ClientPipe::Open(stage.PipeName()).Error(), kErrorNoSuchPipe);
}

TEST_F(PipeClient, CannotOpenAPipeWhoseOnlyInstanceIsBusy) {
  const ClientPipe first = Open();
  EXPECT_EQ(ClientPipe::Open(stage.PipeName()).Error(), kErrorPipeBusy);
}

TEST_F(PipeClient, CannotOpenAnInstanceThatWasDisconnected) {
  const ClientPipe first = Open();
  server.Disconnect();
  EXPECT_EQ(ClientPipe::Open(stage.PipeName()).Error(), kErrorPipeBusy);
}

TEST_F(PipeClient, LetsTheServerLearnWhoItIsButNotActInItsName) {
  NOT_SIMULATED("nobody acts in another's name");
  NOT_ON_WINE("every client lets the server act in its name");
  ClientPipe client = Open();
  client.Send("request");
  ReadAsServer();                               // before that no server learns who its client is
  EXPECT_EQ(stage.LevelGrantedByClient(), 1U);  // SecurityIdentification
}

TEST_F(PipeClient, NamesTheServersProcess) {
  EXPECT_EQ(Open().ServerProcessId(), stage.OwnProcessId());
}

TEST_F(PipeClient, SendsAMessage) {
  ClientPipe client = Open();
  EXPECT_TRUE(client.Send("request"));
  EXPECT_EQ(ReadAsServer(), "request");
}

TEST_F(PipeClient, SendsAnEmptyMessage) {
  ClientPipe client = Open();
  EXPECT_TRUE(client.Send(""));
  EXPECT_EQ(ReadAsServer(), "");
}

TEST_F(PipeClient, CannotSendOnceTheServerHasEndedTheConnection) {
  ClientPipe client = Open();
  server.Disconnect();
  EXPECT_FALSE(client.Send("request"));
}

TEST_F(PipeClient, AppendsWhatItReceives) {
  ClientPipe client = Open();
  server.Write("one ");
  server.Write("two");
  std::string received = "before ";
  EXPECT_TRUE(Eventually([&] {
    EXPECT_EQ(client.Receive(10, received), Progress::kPending);
    return received == "before one two";
  }));
}

TEST_F(PipeClient, ReceivesNothingWithinTheTimeWhenNothingComes) {
  ClientPipe client = Open();
  std::string received;
  EXPECT_EQ(client.Receive(20, received), Progress::kPending);
  EXPECT_EQ(received, "");
}

TEST_F(PipeClient, ReceivesWhatComesAfterAWaitInVain) {
  ClientPipe client = Open();
  std::string received;
  client.Receive(20, received);
  server.Write("late");
  EXPECT_EQ(client.Receive(60'000, received), Progress::kPending);
  EXPECT_EQ(received, "late");
}

TEST_F(PipeClient, SendsAndReceivesAfterAWaitInVain) {
  ClientPipe client = Open();
  std::string received;
  client.Receive(20, received);
  EXPECT_TRUE(client.Send("request"));
  client.Receive(20, received);
  EXPECT_EQ(received, "");
  EXPECT_EQ(ReadAsServer(), "request");
  server.Write("reply");
  EXPECT_EQ(client.Receive(60'000, received), Progress::kPending);
  EXPECT_EQ(received, "reply");
}

TEST_F(PipeClient, ReceivesAMessageThatIsLongerThanAnyBuffer) {
  ClientPipe client = Open();
  std::string text;
  while (text.size() < 200'000) text += std::to_string(text.size());
  std::thread writer([&] {
    server.Write(text);
    server.Flush();
    server.Disconnect();
  });
  const std::string received = ReceiveAll(client);
  writer.join();
  EXPECT_EQ(received.size(), text.size());
  EXPECT_TRUE(received == text);
}

TEST_F(PipeClient, ReceivesEverythingBeforeTheEnd) {
  ClientPipe client = Open();
  server.Write("one");
  server.Write("two");
  CloseServer();
  EXPECT_EQ(ReceiveAll(client), "onetwo");
}

TEST_F(PipeClient, IsToldTheEndWhenTheServerDisconnects) {
  ClientPipe client = Open();
  server.Disconnect();
  std::string received;
  EXPECT_EQ(client.Receive(60'000, received), Progress::kEnded);
}

TEST_F(PipeClient, IsToldTheEndAgainAndAgain) {
  ClientPipe client = Open();
  server.Disconnect();
  std::string received;
  client.Receive(60'000, received);
  EXPECT_EQ(client.Receive(60'000, received), Progress::kEnded);
}

TEST_F(PipeClient, EndsTheConnectionWithTheObject) {
  { const ClientPipe client = Open(); }
  EXPECT_EQ(ReadAsServer(), std::nullopt);
}

TEST_F(PipeClient, EndsTheConnectionOnceWhenItWasMoved) {
  ClientPipe first = Open();
  {
    ClientPipe second = std::move(first);
    EXPECT_TRUE(second.Send("request"));
  }
  EXPECT_EQ(ReadAsServer(), "request");
  EXPECT_EQ(ReadAsServer(), std::nullopt);
}

TEST_F(PipeClient, MayBeClosedInTheMiddleOfAWait) {
  const std::size_t handles = stage.OpenHandles();
  {
    ClientPipe client = Open();
    std::string received;
    client.Receive(1, received);
  }
  EXPECT_EQ(stage.OpenHandles(), handles);
  EXPECT_EQ(ReadAsServer(), std::nullopt);
}

TEST_F(PipeClient, FindsAFreePipeAtOnce) {
  EXPECT_EQ(WaitForFreePipe(stage.PipeName(), 60'000), 0U);
}

TEST_F(PipeClient, FindsAPipeThatBecomesFreeMeanwhile) {
  Open();
  server.Disconnect();
  std::thread waiter([this] { server.WaitForClient(); });
  EXPECT_EQ(WaitForFreePipe(stage.PipeName(), 60'000), 0U);
  EXPECT_TRUE(ClientPipe::Open(stage.PipeName()));
  waiter.join();
}

TEST_F(PipeClient, WaitsForABusyPipeUntilTheTimeIsUp) {
  const ClientPipe client = Open();
  EXPECT_EQ(WaitForFreePipe(stage.PipeName(), 20), kErrorWaitTimedOut);
}

TEST_F(PipeClient, DoesNotWaitForAPipeThatIsNotThere) {
  CloseServer();
  EXPECT_EQ(WaitForFreePipe(stage.PipeName(), 60'000), kErrorNoSuchPipe);
}

}  // namespace
}  // namespace veltrane::contract
