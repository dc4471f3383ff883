// The named pipes of the simulated machine.

#include <optional>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/pipes.h"
#include "tests/simulated/machine.h"
#include "tests/simulated/pipe_client.h"

namespace veltrane::simulated {
namespace {

using testing::ElementsAre;

constexpr wchar_t kName[] = L"\\\\.\\pipe\\VeltraneVpn";

std::optional<ServerPipe> CreatePipe(const SecurityAttributes* attributes = nullptr) {
  return ServerPipe::Create({kName, 3, 6, 1, 65536, 65536, 0}, attributes);
}

// One read of at most `capacity` bytes as a text.
std::optional<std::string> ReadText(ServerPipe& pipe, std::size_t capacity = 100) {
  std::string buffer(capacity, '\0');
  const std::optional<std::size_t> size = pipe.Read(buffer);
  if (!size) return std::nullopt;
  return buffer.substr(0, *size);
}

// Serves connections that are answered with the request in brackets, until the request "end".
void Serve() {
  for (std::string request; request != "end";) {
    ServerPipe pipe = CreatePipe().value();
    const std::uint32_t error = pipe.WaitForClient();
    ASSERT_TRUE(error == 0 || error == 535) << error;
    request = ReadText(pipe).value_or("");
    pipe.Write("[" + request);
    pipe.Write("]");
    pipe.Flush();
    pipe.Disconnect();
  }
}

TEST(SimulatedPipes, ExchangesCrossThreads) {
  Machine machine;
  std::thread server(&Serve);
  EXPECT_EQ(Exchange("one"), "[one]");
  EXPECT_EQ(Exchange(""), "[]");
  EXPECT_EQ(Exchange("end"), "[end]");
  server.join();
  EXPECT_EQ(machine.pipes.Created().size(), 3U);
  EXPECT_EQ(machine.pipes.OpenInstances(), 0U);
  EXPECT_EQ(machine.calls.Count("ServerPipe.Flush"), 3U);
  EXPECT_EQ(machine.calls.Count("ServerPipe.Disconnect"), 3U);
  EXPECT_EQ(machine.calls.Count("ServerPipe.Close"), 3U);
}

TEST(SimulatedPipes, ClientsOfOneInstanceAreServedOneAfterAnother) {
  Machine machine;
  std::thread server(&Serve);
  std::vector<std::thread> clients;
  for (int i = 0; i < 4; ++i) {
    clients.emplace_back(
        [i] { EXPECT_EQ(Exchange(std::to_string(i)), "[" + std::to_string(i) + "]"); });
  }
  for (std::thread& client : clients) client.join();
  EXPECT_EQ(Exchange("end"), "[end]");
  server.join();
}

TEST(SimulatedPipes, TryingWithoutAPipeAnswers2AndWithABusyOne231) {
  const Machine machine;
  PipeClient first;
  EXPECT_EQ(first.TryConnect(), 2U);
  const std::optional<ServerPipe> pipe = CreatePipe();
  EXPECT_EQ(first.TryConnect(), 0U);
  PipeClient second;
  EXPECT_EQ(second.TryConnect(), 231U);
}

TEST(SimulatedPipes, ClientThatCameBeforeTheWaitMakesItAnswer535) {
  const Machine machine;
  ServerPipe pipe = CreatePipe().value();
  PipeClient client;
  EXPECT_EQ(client.TryConnect(), 0U);
  EXPECT_EQ(pipe.WaitForClient(), 535U);
  EXPECT_TRUE(client.Send("request"));
  EXPECT_EQ(ReadText(pipe), "request");
}

TEST(SimulatedPipes, ClientThatCameAndWentBeforeTheWaitMakesItAnswer232) {
  const Machine machine;
  ServerPipe pipe = CreatePipe().value();
  OpenAndClosePipe(kName);
  EXPECT_EQ(pipe.WaitForClient(), 232U);
}

TEST(SimulatedPipes, OpeningAndClosingReleasesAWaitingServerWithNothingToRead) {
  Machine machine;
  std::thread server([] {
    ServerPipe pipe = CreatePipe().value();
    EXPECT_EQ(pipe.WaitForClient(), 0U);
    EXPECT_EQ(ReadText(pipe), std::nullopt);
  });
  machine.pipes.WaitUntilServerWaits();
  OpenAndClosePipe(kName);
  server.join();
}

TEST(SimulatedPipes, WaitCanBeMadeToFail) {
  Machine machine;
  ServerPipe pipe = CreatePipe().value();
  machine.Fail("ServerPipe.WaitForClient", 1, 1450);
  EXPECT_EQ(pipe.WaitForClient(), 1450U);
}

TEST(SimulatedPipes, MessagesAreReadOneByOne) {
  const Machine machine;
  ServerPipe pipe = CreatePipe().value();
  PipeClient client;
  client.Connect();
  client.Send("one");
  client.Send("");
  client.Send("three");
  client.Close();
  EXPECT_EQ(ReadText(pipe), "one");
  EXPECT_EQ(ReadText(pipe), "");
  EXPECT_EQ(ReadText(pipe), "three");
  EXPECT_EQ(ReadText(pipe), std::nullopt);
}

TEST(SimulatedPipes, MessageLongerThanTheBufferFailsTheReadAndLeavesItsRest) {
  const Machine machine;
  ServerPipe pipe = CreatePipe().value();
  PipeClient client;
  client.Connect();
  client.Send("12345");
  EXPECT_EQ(ReadText(pipe, 4), std::nullopt);
  EXPECT_EQ(ReadText(pipe, 4), "5");
}

TEST(SimulatedPipes, MessageOfExactlyTheBufferIsReadWhole) {
  const Machine machine;
  ServerPipe pipe = CreatePipe().value();
  PipeClient client;
  client.Connect();
  client.Send(std::string(65535, 'x'));
  EXPECT_EQ(ReadText(pipe, 65535), std::string(65535, 'x'));
}

TEST(SimulatedPipes, DisconnectLosesWhatTheClientHasNotRead) {
  const Machine machine;
  ServerPipe pipe = CreatePipe().value();
  PipeClient client;
  client.Connect();
  pipe.Write("reply");
  pipe.Disconnect();
  EXPECT_EQ(client.Receive(), std::nullopt);
  EXPECT_FALSE(client.Send("more"));
}

TEST(SimulatedPipes, CloseKeepsWhatTheClientHasNotRead) {
  const Machine machine;
  PipeClient client;
  {
    ServerPipe pipe = CreatePipe().value();
    client.Connect();
    pipe.Write("reply");
  }
  EXPECT_EQ(client.ReceiveAll(), "reply");
}

TEST(SimulatedPipes, FlushEndsWhenTheClientGoes) {
  const Machine machine;
  ServerPipe pipe = CreatePipe().value();
  PipeClient client;
  client.Connect();
  pipe.Write("never read");
  std::thread server([&pipe] { pipe.Flush(); });
  client.Close();
  server.join();
}

TEST(SimulatedPipes, DisconnectedInstanceListensAgainOnlyWhenItWaits) {
  Machine machine;
  ServerPipe pipe = CreatePipe().value();
  PipeClient client;
  client.Connect();
  pipe.Disconnect();
  EXPECT_EQ(client.TryConnect(), 231U);
  std::thread server([&pipe] { EXPECT_EQ(pipe.WaitForClient(), 0U); });
  client.Connect();
  server.join();
}

TEST(SimulatedPipes, SecondInstanceOfASingleInstancePipeCannotBeCreated) {
  const Machine machine;
  {
    const std::optional<ServerPipe> first = CreatePipe();
    EXPECT_FALSE(CreatePipe());
  }
  EXPECT_TRUE(CreatePipe());
}

TEST(SimulatedPipes, ParametersAndAccessListAreRecorded) {
  Machine machine;
  const AccessEntry entry{NtSid({18}), TrusteeType::kUser, 0x10000000, 0};
  CreatePipe(MakeSecurityAttributes({entry}).get());
  CreatePipe();
  const std::vector<CreatedPipe> created = machine.pipes.Created();
  ASSERT_EQ(created.size(), 2U);
  EXPECT_EQ(created[0].parameters.pipe_mode, 6U);
  EXPECT_EQ(created[0].parameters.in_buffer_bytes, 65536U);
  EXPECT_THAT(AccessTexts(created[0].access.value()),
              ElementsAre("user S-1-5-18 0x10000000 inherit 0"));
  EXPECT_FALSE(created[1].access);
}

TEST(SimulatedPipes, FailedCreationRecordsNothing) {
  Machine machine;
  machine.Fail("ServerPipe.Create", 1, 231);
  EXPECT_FALSE(CreatePipe());
  EXPECT_TRUE(machine.pipes.Created().empty());
}

TEST(SimulatedPipes, FailedWriteLosesTheBytes) {
  Machine machine;
  ServerPipe pipe = CreatePipe().value();
  PipeClient client;
  client.Connect();
  machine.Fail("ServerPipe.Write", 1, 232);
  pipe.Write("lost");
  pipe.Write("kept");
  EXPECT_EQ(client.Receive(), "kept");
}

}  // namespace
}  // namespace veltrane::simulated
