// Requests that need no tunnel.

#include "tests/windows/clean_machine.h"
#include "tests/windows/conversation.h"
#include "tests/windows/pipe_connection.h"

namespace veltrane::windows_tests {
namespace {

using Request = ServedMachine;

TEST_F(Request, ForTheStatusOfAFreshServerIsAnsweredWithDefaultReports) {
  EXPECT_EQ(Ask(kStatus), Reply(R"({"ok":true,"phase":"disconnected","tunnel_running":false)"));
}

TEST_F(Request, WithAConfigurationPathIsRefused) {
  EXPECT_EQ(
      Ask(R"({"op":"status","config_path":"C:\\a.conf"})"),
      R"({"ok":false,"error":"forbidden_path","message":"config paths not accepted from UI"})");
}

TEST_F(Request, ToConnectNeedsTheNonceOfTheRegisteredSession) {
  EXPECT_EQ(Ask(R"({"op":"register_session","session_nonce":"abc"})"),
            R"({"ok":true,"phase":"disconnected"})");
  EXPECT_EQ(Ask(R"({"op":"connect","session_nonce":"abd"})"),
            R"({"ok":false,"error":"session_mismatch","message":"invalid session"})");
  EXPECT_EQ(Ask(R"({"op":"connect","session_nonce":"abc"})"), kInvalidProfile);
}

}  // namespace
}  // namespace veltrane::windows_tests
