// An endpoint port that is no number ends the process.

#include "tests/windows/clean_machine.h"
#include "tests/windows/control_manager.h"
#include "tests/windows/conversation.h"
#include "tests/windows/pipe_connection.h"

namespace veltrane::windows_tests {
namespace {

class BadPort : public CleanMachine {
 protected:
  void ExpectEndWithoutReply(const std::string& request, const std::string& exception) {
    const std::string before = server_.Error();
    EXPECT_EQ(Ask(request), "(no reply)");
    const Outcome outcome = server_.Wait();
    EXPECT_EQ(outcome.exit_code, 3u);
    EXPECT_EQ(outcome.error, before + exception);
  }

  ConsoleServer server_;
};

constexpr char kInvalidArgument[] =
    "terminate called after throwing an instance of 'std::invalid_argument'\n"
    "  what():  invalid stoi argument\n";
constexpr char kOutOfRange[] =
    "terminate called after throwing an instance of 'std::out_of_range'\n"
    "  what():  stoi argument out of range\n";

TEST_F(BadPort, OfLettersEndsTheProcessWithExitCode3AndNoReply) {
  ExpectEndWithoutReply(Fill(kConnect, R"("443")", R"("abc")"), kInvalidArgument);
}

TEST_F(BadPort, BeyondTheRangeEndsTheProcessWithExitCode3AndNoReply) {
  ExpectEndWithoutReply(Fill(kConnect, R"("443")", R"("99999999999")"), kOutOfRange);
}

TEST_F(BadPort, EndsTheProcessBeforeTheRequiredFieldsAreLookedAt) {
  ExpectEndWithoutReply(R"({"op":"connect","endpoint_port":"-"})", kInvalidArgument);
}

TEST_F(BadPort, LeavesARunningTunnelInPlace) {
  BringTunnelUp();
  Ask(Fill(kConnect, R"("443")", R"("abc")"));
  server_.Wait();
  EXPECT_EQ(ServiceStatus(kTunnelService).dwCurrentState, DWORD{SERVICE_RUNNING});
  EXPECT_EQ(ReadFileBytes(ActiveConf()), kConf);
}

TEST_F(BadPort, IsNotReadOnAConnectOfAnotherSession) {
  Ask(R"({"op":"register_session","session_nonce":"abc"})");
  EXPECT_EQ(Ask(R"({"op":"connect","endpoint_port":"abc"})"),
            R"({"ok":false,"error":"session_mismatch","message":"invalid session"})");
  EXPECT_TRUE(server_.IsRunning());
}

TEST_F(BadPort, WithALeadingBlankAndATrailingLetterIsRead) {
  Ask(Fill(kConnect, R"("443")", R"(" -443x")"));
  EXPECT_EQ(ReadFileBytes(ActiveConf()), Fill(kConf, ":443\n", ":-443\n"));
}

}  // namespace
}  // namespace veltrane::windows_tests
