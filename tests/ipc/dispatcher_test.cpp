#include "ipc/dispatcher.h"

#include <atomic>
#include <cstdint>
#include <optional>
#include <string>
#include <thread>

#include <gtest/gtest.h>

#include "bypass/records.h"
#include "tests/support/allocation_hook.h"
#include "tests/support/name_of.h"
#include "tests/support/on_server.h"
#include "tests/support/report_texts.h"
#include "tests/support/steps.h"

namespace veltrane {
namespace {

using Dispatcher = OnServer;

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

// ---- refusals

struct Refusal {
  const char* name;
  std::string request;
  std::string reply;
};

class RefusedRequest : public Dispatcher, public testing::WithParamInterface<Refusal> {};

TEST_P(RefusedRequest, HasNoEffect) {
  server.session_nonce = "abc";
  server.SetPhase(kPhaseConnected, "n1");
  EXPECT_EQ(Handle(GetParam().request), GetParam().reply);
  EXPECT_EQ(server.session_nonce, "abc");
  EXPECT_EQ(PhaseAndNode(), "connected n1");
  EXPECT_EQ(machine.calls.All(), Texts{});
}

const std::string kProfile = R"(,"node_id":"n","client_private_key":"k"})";

const Refusal kRefusals[] = {
    {"KeyConfigPath", R"({"op":"connect","config_path":"C:\\x.conf"})", kForbidden},
    {"KeyWgQuickConfig", R"({"op":"connect","wg_quick_config":"[Interface]"})", kForbidden},
    {"KeyWgQuickConfigInCamelCase", R"({"op":"connect","wgQuickConfig":""})", kForbidden},
    {"KeyConfPath", R"({"op":"connect","conf_path":"x"})", kForbidden},
    {"PathInAStatusRequest", R"({"op":"status","hint":"conf_path"})", kForbidden},
    {"PathInARegistration", R"({"op":"register_session","session_nonce":"config_path"})",
     kForbidden},
    {"PathInADisconnect", R"({"op":"disconnect","x":"wg_quick_config"})", kForbidden},
    {"PathInALongerKey", R"({"op":"status","my_config_path_2":"x"})", kForbidden},
    {"PathAsOperation", R"({"op":"wgQuickConfig"})", kForbidden},
    {"PathOutsideAnyObject", "conf_path", kForbidden},
    {"NoPathButPartsOfThem", R"({"conf_pat":"config_pat","wg_quick_confi":"wgQuickConfi"})",
     kUnknown},
    {"NoPathInCapitals", R"({"CONFIG_PATH":"x"})", kUnknown},
    {"NoPathInCamelCase", R"({"configPath":"x"})", kUnknown},
    {"NoPathInOtherCamelCase", R"({"WgQuickConfig":"x"})", kUnknown},
    {"NoPathWithABlank", R"({"config path":"x"})", kUnknown},
    {"NoPathWithAnEscapedLetter", R"({"conf\u005fpath":"x"})", kUnknown},
    {"StatusInCapitals", R"({"op":"STATUS"})", kUnknown},
    {"ConnectWithACapital", R"({"op":"Connect"})", kUnknown},
    {"NoOperation", R"({"session_nonce":"abc"})", kUnknown},
    {"EmptyOperation", R"({"op":""})", kUnknown},
    {"OperationThatIsNoString", R"({"op":1})", kUnknown},
    {"StatusWithATrailingBlank", R"({"op":"status "})", kUnknown},
    {"BeginningOfStatus", R"({"op":"stat"})", kUnknown},
    {"LongerThanStatus", R"({"op":"statuses"})", kUnknown},
    {"OtherOperation", R"({"op":"shutdown"})", kUnknown},
    {"EmptyRequest", "", kUnknown},
    {"LongerNonce", R"({"op":"connect","session_nonce":"abcd")" + kProfile, kMismatch},
    {"ShorterNonce", R"({"op":"connect","session_nonce":"ab")" + kProfile, kMismatch},
    {"NoNonce", R"({"op":"connect")" + kProfile, kMismatch},
    {"NonceOfOtherBytes", R"({"op":"connect","session_nonce":"abd")" + kProfile, kMismatch},
    {"NonceInOtherCase", R"({"op":"connect","session_nonce":"ABC")" + kProfile, kMismatch},
    {"NonceThatIsNoString", R"({"op":"connect","session_nonce":123)" + kProfile, kMismatch},
    {"WrongNonceWithABadPort", R"({"op":"connect","session_nonce":"ab","endpoint_port":"abc"})",
     kMismatch}};

INSTANTIATE_TEST_SUITE_P(Dispatcher, RefusedRequest, testing::ValuesIn(kRefusals), NameOf<Refusal>);

// ---- register_session

TEST_F(Dispatcher, RegisterSessionReplacesTheNonceUncheckedAndUnescaped) {
  EXPECT_EQ(Handle(R"({"op":"register_session","session_nonce":"abc"})"), kRegistered);
  EXPECT_EQ(server.session_nonce, "abc");
  EXPECT_EQ(Handle(R"({"op":"register_session","session_nonce":"a\"b\\c"})"), kRegistered);
  EXPECT_EQ(server.session_nonce, "a\"b\\c");
  EXPECT_EQ(Handle(R"({"op":"register_session"})"), kRegistered);
  EXPECT_EQ(server.session_nonce, "");
}

TEST_F(Dispatcher, RegisterSessionWhileConnectedAnswersDisconnectedAndLeavesTheConnection) {
  server.SetPhase(kPhaseConnected, "n1");
  EXPECT_EQ(Handle(R"({"op":"register_session","session_nonce":"abc"})"), kRegistered);
  EXPECT_EQ(PhaseAndNode(), "connected n1");
  EXPECT_EQ(machine.calls.All(), Texts{});
}

// ---- the session check of connect

TEST_F(Dispatcher, ConnectNeedsNoNonceWhenNoneIsRegisteredOrAnEmptyOne) {
  EXPECT_EQ(Handle(R"({"op":"connect"})"), kInvalidProfile);
  EXPECT_EQ(Handle(R"({"op":"connect","session_nonce":"anything"})"), kInvalidProfile);
  Handle(R"({"op":"register_session","session_nonce":"abc"})");
  Handle(R"({"op":"register_session","session_nonce":""})");
  EXPECT_EQ(Handle(R"({"op":"connect","session_nonce":"abcd"})"), kInvalidProfile);
}

TEST_F(Dispatcher, ConnectWithTheRegisteredNonceIsHandedToTheConnectSequence) {
  Handle(R"({"op":"register_session","session_nonce":"a\/c"})");
  EXPECT_EQ(Handle(R"({"op":"connect","session_nonce":"a/c"})"), kInvalidProfile);
}

// ---- status

constexpr wchar_t kTunnel[] = L"VeltraneVpnTunnel$Active";
constexpr char kIdle[] = R"({"ok":true,"phase":"disconnected","tunnel_running":false)";
constexpr char kConnectedButDown[] =
    R"({"ok":true,"phase":"connected","node_id":"n1","tunnel_running":false)";

class Status : public OnServer {
 protected:
  std::string Ask() { return Handle(R"({"op":"status"})"); }
};

TEST_F(Status, NodeStandsBetweenPhaseAndTunnel) {
  machine.services.Add(kTunnel, simulated::kRunning);
  server.SetPhase(kPhaseConnected, "n1");
  EXPECT_EQ(Ask(), Reply(R"({"ok":true,"phase":"connected","node_id":"n1","tunnel_running":true)"));
}

TEST_F(Status, PhaseConnectingIsShownAsItIs) {
  server.SetPhase(kPhaseConnecting);
  EXPECT_EQ(Ask(), Reply(R"({"ok":true,"phase":"connecting","tunnel_running":false)"));
}

TEST_F(Status, NodeIsCopiedWithoutEscaping) {
  server.SetPhase(kPhaseConnected, "a\"b\\c");
  EXPECT_EQ(Ask(), Reply("{\"ok\":true,\"phase\":\"connected\",\"node_id\":\"a\"b\\c\","
                         "\"tunnel_running\":false"));
}

TEST_F(Status, NeedsNoNonceAndKeepsTheRegisteredOne) {
  server.session_nonce = "abc";
  EXPECT_EQ(Ask(), Reply(kIdle));
  EXPECT_EQ(server.session_nonce, "abc");
}

TEST_F(Status, PhaseAndTunnelAreIndependent) {
  server.SetPhase(kPhaseConnected, "n1");
  EXPECT_EQ(Ask(), Reply(kConnectedButDown));
  server.SetPhase(kPhaseDisconnected);
  machine.services.Add(kTunnel, simulated::kRunning);
  EXPECT_EQ(Ask(), Reply(R"({"ok":true,"phase":"disconnected","tunnel_running":true)"));
}

TEST_F(Status, OnlyReadsTheTunnelService) {
  machine.services.Add(kTunnel, simulated::kRunning);
  Ask();
  EXPECT_EQ(machine.calls.All(), (Texts{"ServiceManager.Open 0x1",
                                        "ServiceManager.OpenExisting VeltraneVpnTunnel$Active 0x4",
                                        "Service.QueryState VeltraneVpnTunnel$Active"}));
  EXPECT_EQ(machine.services.OpenHandles(), 0);
}

struct TunnelState {
  const char* name;
  std::optional<std::uint32_t> state;  // of the tunnel service; without one it does not exist
  const char* failing = nullptr;       // a call that fails
};

class TunnelThatDoesNotRun : public Status, public testing::WithParamInterface<TunnelState> {};

TEST_P(TunnelThatDoesNotRun, IsReportedSo) {
  if (GetParam().state) machine.services.Add(kTunnel, *GetParam().state);
  if (GetParam().failing != nullptr) machine.FailAlways(GetParam().failing, 5);
  EXPECT_EQ(Ask(), Reply(kIdle));
}

const TunnelState kTunnelStates[] = {
    {"AbsentBecauseTheServiceIsFresh", {}},
    {"Stopped", simulated::kStopped},
    {"StartPending", simulated::kStartPending},
    {"StopPending", simulated::kStopPending},
    {"ManagerCannotBeOpened", simulated::kRunning, "ServiceManager.Open"},
    {"ServiceCannotBeOpened", simulated::kRunning, "ServiceManager.OpenExisting"},
    {"StateCannotBeRead", simulated::kRunning, "Service.QueryState"}};

INSTANTIATE_TEST_SUITE_P(Status, TunnelThatDoesNotRun, testing::ValuesIn(kTunnelStates),
                         NameOf<TunnelState>);

TEST_F(Status, CurrentBypassIsReported) {
  AdminBypassState& bypass = CurrentAdminBypassState();
  bypass.enabled = true;
  bypass.applied = true;
  bypass.client_ip = "203.0.113.5";
  bypass.message = "a \"quoted\" text";
  bypass.admin_env_ips = "[]";
  bypass.auto_stop_seconds = 120;
  EXPECT_EQ(Ask(), Reply(kIdle, With(kFreshBypass,
                                     {"enabled", "applied", R"("auto_stop_seconds":120)",
                                      R"("client_ip":"203.0.113.5")",
                                      R"("message":"a \"quoted\" text","admin_env_ips":[])"})));
}

TEST_F(Status, GuardReportIsTheDefaultEvenWhereSettingsAreInForce) {
  machine.environment.SetMachine(L"VELTRANE_POC_DISABLE_DEFAULT_ROUTE", L"1");
  machine.environment.SetProcess(L"VELTRANE_POC_AUTO_STOP_SECONDS", L"60");
  machine.sessions.SetRemoteSession(true);
  EXPECT_EQ(Ask(), Reply(kIdle));
}

TEST_F(Status, PhaseIsThatOfTheMomentBeforeTheTunnelServiceIsAskedAndBypassThatOfAfterwards) {
  server.SetPhase(kPhaseConnected, "n1");
  machine.OnCall("ServiceManager.Open", 1, [this] {
    server.SetPhase(kPhaseDisconnected);
    CurrentAdminBypassState().enabled = true;
  });
  EXPECT_EQ(Ask(), Reply(kConnectedButDown, With(kFreshBypass, {"enabled"})));
}

TEST_F(Status, BypassIsThatOfOneMomentThoughTheRecordChangesWhileTheReplyIsWritten) {
  std::string addresses = R"(["198.51.100.1")";
  for (int i = 0; i < 100; ++i) addresses += R"(,"203.0.113.5")";
  addresses += "]";
  AdminBypassState& bypass = CurrentAdminBypassState();
  bypass.rdp_tcp_remote_addresses = addresses;
  bypass.route_verify_after_tunnel = "203.0.113.5:ok(metric=1);";
  // A copy of the record needs one byte more than its longest text has; only the reply needs more.
  const AllocationHook writing(addresses.size() + 1, [&bypass] {
    bypass.route_verify_after_tunnel = "203.0.113.5:missing;";
  });
  const std::string reply = Ask();
  EXPECT_TRUE(writing.HasRun());
  EXPECT_EQ(bypass.route_verify_after_tunnel, "203.0.113.5:missing;");
  EXPECT_EQ(reply,
            Reply(kIdle, With(kFreshBypass,
                              {R"("rdp_tcp_remote_addresses":)" + addresses +
                               R"(,"route_verify_after_tunnel":"203.0.113.5:ok(metric=1);")"})));
}

TEST_F(Status, NeverMixesThePhaseOfOneMomentWithTheNodeOfAnother) {
  const std::string connected = Reply(kConnectedButDown);
  const std::string disconnected = Reply(kIdle);
  std::atomic<bool> enough = false;
  std::thread writer([this, &enough] {
    while (!enough) {
      server.SetPhase(kPhaseConnected, "n1");
      server.SetPhase(kPhaseDisconnected);
    }
  });
  for (int i = 0; i < 300; ++i) {
    const std::string reply = Ask();
    EXPECT_TRUE(reply == connected || reply == disconnected) << reply;
  }
  enough = true;
  writer.join();
}

}  // namespace
}  // namespace veltrane
