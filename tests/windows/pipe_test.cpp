// The control pipe as a client meets it.

#include "tests/windows/clean_machine.h"
#include "tests/windows/conversation.h"
#include "tests/windows/pipe_connection.h"

namespace veltrane::windows_tests {
namespace {

using Pipe = ServedMachine;

// A message of `size` bytes that asks to register a session.
std::string RegistrationOfSize(std::size_t size) {
  const std::string head = R"({"op":"register_session","session_nonce":")";
  return head + std::string(size - head.size() - 2, 'n') + R"("})";
}

TEST_F(Pipe, HasOneInstanceInMessageModeWithBuffersOf65536Bytes) {
  const PipeConnection connection;
  DWORD flags = 0, out_bytes = 0, in_bytes = 0, instances = 0;
  ASSERT_TRUE(GetNamedPipeInfo(connection.Handle(), &flags, &out_bytes, &in_bytes, &instances));
  EXPECT_EQ(flags, DWORD{PIPE_CLIENT_END | PIPE_TYPE_MESSAGE});
  EXPECT_EQ(out_bytes, 65536u);
  EXPECT_EQ(in_bytes, 65536u);
  EXPECT_EQ(instances, 1u);
}

TEST_F(Pipe, IsBusyForASecondClient) {
  const PipeConnection first;
  EXPECT_EQ(TryToConnect(), 231u);  // ERROR_PIPE_BUSY
}

TEST_F(Pipe, AnswersOneRequestOnAConnection) {
  PipeConnection connection;
  ASSERT_TRUE(connection.Write("{}"));
  EXPECT_EQ(connection.Read(), kUnknownOp);
  EXPECT_EQ(connection.Read(), std::nullopt);
}

TEST_F(Pipe, ReadsAMessageOf65535BytesWhole) {
  const std::string message = RegistrationOfSize(65535);
  ASSERT_EQ(message.size(), 65535u);
  EXPECT_EQ(Ask(message), R"({"ok":true,"phase":"disconnected"})");
}

TEST_F(Pipe, GivesNoReplyToAMessageOf65536BytesAndServesTheNextClient) {
  const std::string message = RegistrationOfSize(65536);
  ASSERT_EQ(message.size(), 65536u);
  PipeConnection connection;
  connection.Write(message);
  EXPECT_EQ(connection.Read(), std::nullopt);
  connection.Close();
  EXPECT_EQ(Ask("{}"), kUnknownOp);
}

TEST_F(Pipe, GivesNoReplyToAnEmptyWriteAndServesTheNextClient) {
  PipeConnection connection;
  ASSERT_TRUE(connection.Write(""));
  EXPECT_EQ(connection.Read(), std::nullopt);
  connection.Close();
  EXPECT_EQ(Ask("{}"), kUnknownOp);
}

TEST_F(Pipe, IsNotDisturbedByAClientThatConnectsAndCloses) {
  PipeConnection().Close();
  EXPECT_EQ(Ask("{}"), kUnknownOp);
}

TEST_F(Pipe, IsNotDisturbedByAClientThatLeavesBeforeTheReply) {
  PipeConnection connection;
  connection.Write("{}");
  connection.Close();
  EXPECT_EQ(Ask("{}"), kUnknownOp);
}

TEST_F(Pipe, IsTakenOverByAServerThatWaitedForIt) {
  Ask(R"({"op":"register_session","session_nonce":"of the first"})");
  ConsoleServer second;
  server_.Kill();
  // The second server knows no nonce, so its answer is another.
  EXPECT_EQ(Ask(R"({"op":"connect"})"), kInvalidProfile);
}

}  // namespace
}  // namespace veltrane::windows_tests
