// The session nonce, and what the dispatcher refuses.

#include "tests/windows/clean_machine.h"
#include "tests/windows/control_manager.h"
#include "tests/windows/conversation.h"
#include "tests/windows/pipe_connection.h"

namespace veltrane::windows_tests {
namespace {

constexpr char kRegistered[] = R"({"ok":true,"phase":"disconnected"})";
constexpr char kSessionMismatch[] =
    R"({"ok":false,"error":"session_mismatch","message":"invalid session"})";
// What a connect without a profile answers once it is past the session check.
constexpr char kInvalidProfile[] =
    R"({"ok":false,"error":"invalid_profile","message":"missing required fields"})";
constexpr char kForbiddenPath[] =
    R"({"ok":false,"error":"forbidden_path","message":"config paths not accepted from UI"})";
constexpr char kUnknownOp[] =
    R"({"ok":false,"error":"unknown_op","message":"unsupported operation"})";

class Session : public CleanMachine {
 protected:
  ConsoleServer server_;
};
class Dispatcher : public Session {};

TEST_F(Session, IsRegisteredByItsNonce) {
  EXPECT_EQ(Ask(R"({"op":"register_session","session_nonce":"abc"})"), kRegistered);
}

TEST_F(Session, IsNotAskedForWhenNoneIsRegistered) {
  EXPECT_EQ(Ask(R"({"op":"connect","session_nonce":"whatever"})"), kInvalidProfile);
}

TEST_F(Session, LetsTheMatchingNonceConnect) {
  Ask(R"({"op":"register_session","session_nonce":"abc"})");
  EXPECT_EQ(Ask(R"({"op":"connect","session_nonce":"abc"})"), kInvalidProfile);
}

TEST_F(Session, RefusesALongerNonce) {
  Ask(R"({"op":"register_session","session_nonce":"abc"})");
  EXPECT_EQ(Ask(R"({"op":"connect","session_nonce":"abcd"})"), kSessionMismatch);
}

TEST_F(Session, RefusesAShorterNonce) {
  Ask(R"({"op":"register_session","session_nonce":"abc"})");
  EXPECT_EQ(Ask(R"({"op":"connect","session_nonce":"ab"})"), kSessionMismatch);
}

TEST_F(Session, RefusesAConnectWithoutANonce) {
  Ask(R"({"op":"register_session","session_nonce":"abc"})");
  EXPECT_EQ(Ask(R"({"op":"connect"})"), kSessionMismatch);
}

TEST_F(Session, IsReplacedByTheNextRegistration) {
  Ask(R"({"op":"register_session","session_nonce":"abc"})");
  Ask(R"({"op":"register_session","session_nonce":"xyz"})");
  EXPECT_EQ(Ask(R"({"op":"connect","session_nonce":"abc"})"), kSessionMismatch);
  EXPECT_EQ(Ask(R"({"op":"connect","session_nonce":"xyz"})"), kInvalidProfile);
}

TEST_F(Session, IsNoLongerAskedForAfterAnEmptyRegistration) {
  Ask(R"({"op":"register_session","session_nonce":"abc"})");
  EXPECT_EQ(Ask(R"({"op":"register_session","session_nonce":""})"), kRegistered);
  EXPECT_EQ(Ask(R"({"op":"connect"})"), kInvalidProfile);
}

TEST_F(Session, SurvivesADisconnect) {
  Ask(R"({"op":"register_session","session_nonce":"abc"})");
  Ask(kDisconnect);
  EXPECT_EQ(Ask(R"({"op":"connect"})"), kSessionMismatch);
}

TEST_F(Session, MismatchStartsNoTunnel) {
  Ask(R"({"op":"register_session","session_nonce":"abc"})");
  EXPECT_EQ(Ask(kConnect), kSessionMismatch);
  EXPECT_FALSE(ServiceExists(kTunnelService));
  EXPECT_FALSE(std::filesystem::exists(TunnelsFolder()));
}

TEST_F(Dispatcher, AnswersTheFirstStatusWithDefaultReports) {
  EXPECT_EQ(Ask(kStatus), R"({"ok":true,"phase":"disconnected","tunnel_running":false,)" +
                              kFreshBypass + "," + kFreshGuard + "}");
}

TEST_F(Dispatcher, RefusesAConfigurationPathInAnyRequest) {
  EXPECT_EQ(Ask(R"({"op":"status","config_path":"C:\\a.conf"})"), kForbiddenPath);
}

TEST_F(Dispatcher, RefusesAConfigurationPathKeyInsideAValue) {
  EXPECT_EQ(Ask(R"({"op":"status","note":"wgQuickConfig"})"), kForbiddenPath);
}

TEST_F(Dispatcher, RefusesAConfigurationPathOnADisconnectBeforeItTearsDown) {
  BringTunnelUp();
  EXPECT_EQ(Ask(R"({"op":"disconnect","conf_path":""})"), kForbiddenPath);
  EXPECT_TRUE(ServiceExists(kTunnelService));
}

TEST_F(Dispatcher, KnowsNoOperationInCapitals) { EXPECT_EQ(Ask(R"({"op":"STATUS"})"), kUnknownOp); }

TEST_F(Dispatcher, KnowsNoRequestWithoutAnOperation) {
  EXPECT_EQ(Ask(R"({"session_nonce":"abc"})"), kUnknownOp);
}

}  // namespace
}  // namespace veltrane::windows_tests
