// platform/pipes.h: the server's end of a pipe.

#include "platform/pipes.h"

#include <atomic>
#include <thread>
#include <utility>

#include "tests/contract/stage.h"

namespace veltrane::contract {
namespace {

// One read of at most `capacity` bytes as a text.
std::optional<std::string> Read(ServerPipe& pipe, std::size_t capacity = 100) {
  std::string buffer(capacity, '\0');
  const std::optional<std::size_t> size = pipe.Read(buffer);
  if (!size) return std::nullopt;
  return buffer.substr(0, *size);
}

// Cases that begin with one instance of a pipe, as the service makes it.
class Pipes : public Contract {
 protected:
  std::optional<ServerPipe> Create(std::uint32_t max_instances) {
    return ServerPipe::Create(
        {stage.PipeName(), kPipeAccessDuplex, kPipeTypeMessage | kPipeReadModeMessage | kPipeWait,
         max_instances, 65536, 65536, 0},
        nullptr);
  }

  void ClosePipe() { const ServerPipe closed = std::move(pipe); }

  ServerPipe pipe = Create(1).value();
  MessageClient client{stage.PipeName()};
};

TEST_F(Pipes, HaveTheParametersThatTheyWereCreatedWith) {
  ClosePipe();
  const auto other = ServerPipe::Create({stage.PipeName(), kPipeAccessDuplex,
                                         kPipeTypeMessage | kPipeReadModeMessage, 3, 4096, 8192, 0},
                                        nullptr);
  ASSERT_TRUE(other);
  const PipeFacts facts = stage.ServedPipe();
  EXPECT_EQ(facts.pipe_mode, kPipeTypeMessage | kPipeReadModeMessage);
  EXPECT_EQ(facts.max_instances, 3U);
  EXPECT_EQ(facts.out_buffer_bytes, 4096U);
  EXPECT_EQ(facts.in_buffer_bytes, 8192U);
}

TEST_F(Pipes, CannotHaveMoreInstancesThanTheFirstAllowed) {
  EXPECT_FALSE(Create(1));
  EXPECT_FALSE(Create(2));
}

TEST_F(Pipes, AreGoneWithTheirLastInstance) {
  ClosePipe();
  EXPECT_EQ(client.Open(), 2U);
  EXPECT_TRUE(Create(1));
}

TEST_F(Pipes, AreClosedOnceWhenTheyWereMoved) {
  const std::size_t handles = stage.OpenHandles();
  ClosePipe();
  EXPECT_EQ(stage.OpenHandles(), handles - 1);
}

TEST_F(Pipes, ServeEachInstanceAClientOfItsOwn) {
  ClosePipe();
  ServerPipe first = Create(2).value(), second = Create(2).value();
  MessageClient other(stage.PipeName());
  EXPECT_EQ(client.Open(), 0U);
  EXPECT_EQ(other.Open(), 0U);
  client.Send("one");
  other.Send("two");
  EXPECT_EQ(Read(first), "one");
  EXPECT_EQ(Read(second), "two");
}

TEST_F(Pipes, AdmitOneClientToAnInstance) {
  EXPECT_EQ(client.Open(), 0U);
  MessageClient second(stage.PipeName());
  EXPECT_EQ(second.Open(), 231U);
}

TEST_F(Pipes, AnswerTheWaitWith535WhenTheClientCameBefore) {
  EXPECT_EQ(client.Open(), 0U);
  EXPECT_EQ(pipe.WaitForClient(), kErrorPipeConnected);
}

// After a disconnection an instance admits nobody until the server waits again.
TEST_F(Pipes, AnswerTheWaitWith0WhenTheClientCameMeanwhile) {
  client.Open();
  pipe.Disconnect();
  EXPECT_EQ(client.Open(), 231U);
  std::uint32_t answer = 99;
  std::thread server([&] { answer = pipe.WaitForClient(); });
  EXPECT_TRUE(Eventually([&] { return client.Open() == 0; }));
  server.join();
  EXPECT_EQ(answer, 0U);
}

TEST_F(Pipes, AnswerTheWaitWith232WhenTheClientHasGoneAlready) {
  EXPECT_EQ(client.Open(), 0U);
  client.Close();
  EXPECT_EQ(pipe.WaitForClient(), 232U);
}

TEST_F(Pipes, AreReadMessageByMessage) {
  client.Open();
  client.Send("one");
  client.Send("");
  client.Send("three");
  EXPECT_EQ(Read(pipe), "one");
  EXPECT_EQ(Read(pipe), "");
  EXPECT_EQ(Read(pipe), "three");
}

TEST_F(Pipes, ReadAMessageThatFillsTheBuffer) {
  client.Open();
  client.Send(std::string(65535, 'x'));
  const std::optional<std::string> message = Read(pipe, 65535);
  ASSERT_TRUE(message);
  EXPECT_TRUE(*message == std::string(65535, 'x'));
}

TEST_F(Pipes, FailToReadAMessageThatIsLongerAndLeaveItsRest) {
  client.Open();
  client.Send("12345");
  EXPECT_EQ(Read(pipe, 4), std::nullopt);
  EXPECT_EQ(Read(pipe, 4), "5");
}

TEST_F(Pipes, ReadWhatAClientThatHasGoneLeftBehindAndThenFail) {
  client.Open();
  client.Send("left");
  client.Close();
  EXPECT_EQ(Read(pipe), "left");
  EXPECT_EQ(Read(pipe), std::nullopt);
}

TEST_F(Pipes, CannotBeReadWithoutAClient) { EXPECT_EQ(Read(pipe), std::nullopt); }

TEST_F(Pipes, WriteEveryTextAsAMessage) {
  client.Open();
  pipe.Write("one");
  pipe.Write("");
  pipe.Write("three");
  EXPECT_EQ(client.Receive(), "one");
  EXPECT_EQ(client.Receive(), "");
  EXPECT_EQ(client.Receive(), "three");
}

TEST_F(Pipes, IgnoreAWriteToAClientThatHasGone) {
  client.Open();
  client.Close();
  pipe.Write("text");
  EXPECT_EQ(Read(pipe), std::nullopt);
}

TEST_F(Pipes, FlushOnceTheClientHasReadEverything) {
  client.Open();
  pipe.Write("one");
  pipe.Write("two");
  std::atomic<bool> flushed = false;
  std::thread server([&] {
    pipe.Flush();
    flushed = true;
  });
  EXPECT_EQ(client.Receive(), "one");
  EXPECT_FALSE(flushed);
  EXPECT_EQ(client.Receive(), "two");
  server.join();
}

TEST_F(Pipes, FlushOnceTheClientHasGone) {
  client.Open();
  pipe.Write("never read");
  std::thread server([&] { pipe.Flush(); });
  client.Close();
  server.join();
}

TEST_F(Pipes, LoseWithADisconnectionWhatTheClientHasNotRead) {
  client.Open();
  pipe.Write("text");
  pipe.Disconnect();
  EXPECT_EQ(client.Receive(), std::nullopt);
}

TEST_F(Pipes, TakeNothingFromAClientThatWasDisconnected) {
  client.Open();
  pipe.Disconnect();
  EXPECT_FALSE(client.Send("text"));
  EXPECT_EQ(Read(pipe), std::nullopt);
}

TEST_F(Pipes, KeepWhatTheClientHasNotReadWhenTheyAreOnlyClosed) {
  client.Open();
  pipe.Write("one");
  pipe.Write("two");
  ClosePipe();
  EXPECT_EQ(client.Receive(), "one");
  EXPECT_EQ(client.Receive(), "two");
  EXPECT_EQ(client.Receive(), std::nullopt);
}

TEST_F(Pipes, AreOpenedAndClosedToReleaseAServerThatWaits) {
  client.Open();
  pipe.Disconnect();
  std::thread server([&] {
    pipe.WaitForClient();
    EXPECT_EQ(Read(pipe), std::nullopt);
  });
  // The server is not there to be released before it waits, and cannot be opened once it was.
  std::atomic<bool> released = false;
  std::thread opener([&] {
    while (!released) OpenAndClosePipe(stage.PipeName());
  });
  server.join();
  released = true;
  opener.join();
}

TEST_F(Pipes, AreLeftAloneByAnOpeningThatFails) {
  ClosePipe();
  OpenAndClosePipe(stage.PipeName());
  EXPECT_TRUE(Create(1));
}

}  // namespace
}  // namespace veltrane::contract
