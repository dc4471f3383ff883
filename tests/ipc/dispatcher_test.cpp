#include "ipc/dispatcher.h"

#include <stdexcept>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/on_machine.h"

namespace veltrane {
namespace {

using testing::StrEq;
using testing::ThrowsMessage;
using Texts = std::vector<std::string>;

constexpr char kForbidden[] =
    R"({"ok":false,"error":"forbidden_path","message":"config paths not accepted from UI"})";
constexpr char kUnknown[] =
    R"({"ok":false,"error":"unknown_op","message":"unsupported operation"})";
constexpr char kMismatch[] =
    R"({"ok":false,"error":"session_mismatch","message":"invalid session"})";
// What a connect without a profile answers once its session has been accepted.
constexpr char kInvalidProfile[] =
    R"({"ok":false,"error":"invalid_profile","message":"missing required fields"})";
constexpr char kRegistered[] = R"({"ok":true,"phase":"disconnected"})";

struct NamedRequest {
  const char* name;
  const char* request;
};

std::string NameOf(const testing::TestParamInfo<NamedRequest>& test) { return test.param.name; }

class Dispatcher : public OnMachine {
 protected:
  std::string Handle(const std::string& request) { return HandleRequest(server, request); }

  IpcServer server;
};

// ---- configuration paths

class ForbiddenRequest : public Dispatcher, public testing::WithParamInterface<NamedRequest> {};

TEST_P(ForbiddenRequest, IsRefusedWithoutAnyEffect) {
  server.session_nonce = "old";
  server.SetPhase(kPhaseConnected, "n1");
  EXPECT_EQ(Handle(GetParam().request), kForbidden);
  EXPECT_EQ(server.session_nonce, "old");
  EXPECT_EQ(server.phase, "connected");
  EXPECT_EQ(server.node_id, "n1");
  EXPECT_EQ(machine.calls.All(), Texts{});
}

INSTANTIATE_TEST_SUITE_P(
    Dispatcher, ForbiddenRequest,
    testing::Values(
        NamedRequest{"KeyConfigPath", R"({"op":"connect","config_path":"C:\\x.conf"})"},
        NamedRequest{"KeyWgQuickConfig", R"({"op":"connect","wg_quick_config":"[Interface]"})"},
        NamedRequest{"KeyWgQuickConfigInCamelCase", R"({"op":"connect","wgQuickConfig":""})"},
        NamedRequest{"KeyConfPath", R"({"op":"connect","conf_path":"x"})"},
        NamedRequest{"ValueOfAStatusRequest", R"({"op":"status","hint":"conf_path"})"},
        NamedRequest{"ValueOfARegistration",
                     R"({"op":"register_session","session_nonce":"config_path"})"},
        NamedRequest{"Disconnect", R"({"op":"disconnect","x":"wg_quick_config"})"},
        NamedRequest{"PartOfALongerKey", R"({"op":"status","my_config_path_2":"x"})"},
        NamedRequest{"UnknownOperation", R"({"op":"wgQuickConfig"})"},
        NamedRequest{"TextThatIsNoObject", "conf_path"}),
    NameOf);

class AllowedRequest : public Dispatcher, public testing::WithParamInterface<NamedRequest> {};

TEST_P(AllowedRequest, PassesTheSearchForConfigurationPaths) {
  EXPECT_EQ(Handle(GetParam().request), kUnknown);
}

INSTANTIATE_TEST_SUITE_P(
    Dispatcher, AllowedRequest,
    testing::Values(NamedRequest{"CutShort",
                                 R"({"conf_pat":"config_pat","wg_quick_confi":"wgQuickConfi"})"},
                    NamedRequest{"Capitals", R"({"CONFIG_PATH":"x"})"},
                    NamedRequest{"CamelCase", R"({"configPath":"x"})"},
                    NamedRequest{"Blank", R"({"config path":"x"})"},
                    NamedRequest{"EscapedLetter", R"({"conf\u005fpath":"x"})"},
                    NamedRequest{"OtherCamelCase", R"({"WgQuickConfig":"x"})"}),
    NameOf);

// ---- unknown operations

class UnknownOperation : public Dispatcher, public testing::WithParamInterface<NamedRequest> {};

TEST_P(UnknownOperation, IsRefusedWithoutAnyEffect) {
  server.session_nonce = "abc";
  server.SetPhase(kPhaseConnected, "n1");
  EXPECT_EQ(Handle(GetParam().request), kUnknown);
  EXPECT_EQ(server.session_nonce, "abc");
  EXPECT_EQ(server.phase, "connected");
  EXPECT_EQ(server.node_id, "n1");
  EXPECT_EQ(machine.calls.All(), Texts{});
}

INSTANTIATE_TEST_SUITE_P(Dispatcher, UnknownOperation,
                         testing::Values(NamedRequest{"StatusInCapitals", R"({"op":"STATUS"})"},
                                         NamedRequest{"ConnectWithACapital", R"({"op":"Connect"})"},
                                         NamedRequest{"Missing", R"({"session_nonce":"abc"})"},
                                         NamedRequest{"Empty", R"({"op":""})"},
                                         NamedRequest{"NoString", R"({"op":1})"},
                                         NamedRequest{"TrailingBlank", R"({"op":"status "})"},
                                         NamedRequest{"BeginningOfAnother", R"({"op":"stat"})"},
                                         NamedRequest{"LongerThanAnother", R"({"op":"statuses"})"},
                                         NamedRequest{"Other", R"({"op":"shutdown"})"},
                                         NamedRequest{"EmptyRequest", ""}),
                         NameOf);

// ---- register_session

TEST_F(Dispatcher, RegisterSessionStoresTheNonce) {
  EXPECT_EQ(Handle(R"({"op":"register_session","session_nonce":"abc"})"), kRegistered);
  EXPECT_EQ(server.session_nonce, "abc");
  EXPECT_EQ(machine.calls.All(), Texts{});
}

TEST_F(Dispatcher, RegisterSessionStoresTheUnescapedNonce) {
  Handle(R"({"op":"register_session","session_nonce":"a\"b\\c"})");
  EXPECT_EQ(server.session_nonce, "a\"b\\c");
}

TEST_F(Dispatcher, RegisterSessionReplacesAnEarlierNonceUnchecked) {
  server.session_nonce = "abc";
  EXPECT_EQ(Handle(R"({"op":"register_session","session_nonce":"xyz"})"), kRegistered);
  EXPECT_EQ(server.session_nonce, "xyz");
}

TEST_F(Dispatcher, RegisterSessionWithoutANonceClearsIt) {
  server.session_nonce = "abc";
  EXPECT_EQ(Handle(R"({"op":"register_session"})"), kRegistered);
  EXPECT_EQ(server.session_nonce, "");
}

TEST_F(Dispatcher, RegisterSessionWhileConnectedAnswersDisconnectedAndLeavesTheConnection) {
  machine.services.Add(L"VeltraneVpnTunnel$Active", simulated::kRunning);
  server.SetPhase(kPhaseConnected, "n1");
  EXPECT_EQ(Handle(R"({"op":"register_session","session_nonce":"abc"})"), kRegistered);
  EXPECT_EQ(server.phase, "connected");
  EXPECT_EQ(server.node_id, "n1");
  EXPECT_EQ(machine.services.Find(L"VeltraneVpnTunnel$Active")->state, simulated::kRunning);
  EXPECT_EQ(machine.calls.All(), Texts{});
}

// ---- the session check of connect

TEST_F(Dispatcher, ConnectNeedsNoNonceWhenNoneIsRegistered) {
  EXPECT_EQ(Handle(R"({"op":"connect"})"), kInvalidProfile);
  EXPECT_EQ(Handle(R"({"op":"connect","session_nonce":"anything"})"), kInvalidProfile);
}

TEST_F(Dispatcher, ConnectWithTheRegisteredNonceIsHandedToTheConnectSequence) {
  Handle(R"({"op":"register_session","session_nonce":"abc"})");
  EXPECT_EQ(Handle(R"({"op":"connect","session_nonce":"abc"})"), kInvalidProfile);
}

TEST_F(Dispatcher, NonceIsComparedAfterUnescaping) {
  Handle(R"({"op":"register_session","session_nonce":"a\/c"})");
  EXPECT_EQ(Handle(R"({"op":"connect","session_nonce":"a/c"})"), kInvalidProfile);
}

TEST_F(Dispatcher, EmptyRegistrationSwitchesTheCheckOffAgain) {
  Handle(R"({"op":"register_session","session_nonce":"abc"})");
  Handle(R"({"op":"register_session","session_nonce":""})");
  EXPECT_EQ(Handle(R"({"op":"connect","session_nonce":"abcd"})"), kInvalidProfile);
}

class WrongNonce : public Dispatcher, public testing::WithParamInterface<NamedRequest> {};

TEST_P(WrongNonce, IsASessionMismatchThatChangesNothing) {
  Handle(R"({"op":"register_session","session_nonce":"abc"})");
  server.SetPhase(kPhaseConnected, "n1");
  EXPECT_EQ(Handle(GetParam().request), kMismatch);
  EXPECT_EQ(server.session_nonce, "abc");
  EXPECT_EQ(server.phase, "connected");
  EXPECT_EQ(server.node_id, "n1");
  EXPECT_EQ(machine.calls.All(), Texts{});
  EXPECT_FALSE(ReadStartupState().connect_requested);
}

INSTANTIATE_TEST_SUITE_P(
    Dispatcher, WrongNonce,
    testing::Values(
        NamedRequest{
            "Longer",
            R"({"op":"connect","session_nonce":"abcd","node_id":"n","client_private_key":"k"})"},
        NamedRequest{
            "Shorter",
            R"({"op":"connect","session_nonce":"ab","node_id":"n","client_private_key":"k"})"},
        NamedRequest{"Missing", R"({"op":"connect","node_id":"n","client_private_key":"k"})"},
        NamedRequest{"OtherBytes", R"({"op":"connect","session_nonce":"abd"})"},
        NamedRequest{"OtherCase", R"({"op":"connect","session_nonce":"ABC"})"},
        NamedRequest{"NoString", R"({"op":"connect","session_nonce":123})"},
        NamedRequest{"BadPort", R"({"op":"connect","session_nonce":"ab","endpoint_port":"abc"})"}),
    NameOf);

// ---- errors of the profile

TEST_F(Dispatcher, PortWithoutDigitsIsNotCaught) {
  EXPECT_THAT([this] { Handle(R"({"op":"connect","endpoint_port":"abc"})"); },
              ThrowsMessage<std::invalid_argument>(StrEq("invalid stoi argument")));
  EXPECT_EQ(server.phase, "disconnected");
  EXPECT_EQ(machine.calls.All(), Texts{});
}

TEST_F(Dispatcher, PortBeyond32BitsIsNotCaught) {
  Handle(R"({"op":"register_session","session_nonce":"abc"})");
  EXPECT_THAT(
      [this] { Handle(R"({"op":"connect","session_nonce":"abc","endpoint_port":"99999999999"})"); },
      ThrowsMessage<std::out_of_range>(StrEq("stoi argument out of range")));
  EXPECT_EQ(server.phase, "disconnected");
}

}  // namespace
}  // namespace veltrane
