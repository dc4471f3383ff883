// Each invariant of exchanges holds for what the program does, and breaks when that is doctored.

#include <gtest/gtest.h>

#include "tests/simulation/invariants.h"

namespace veltrane::simulation {
namespace {

using Change = std::function<void(ExchangeFacts&)>;

constexpr char kRow[] = "203.0.113.5/32 via 192.168.1.1 if 12 metric 1";
constexpr char kPlace[] = "203.0.113.5 via 192.168.1.1 if 12";
constexpr char kConf[] =
    "[Interface]\nPrivateKey = SECRET-1=\n\n[Peer]\nAllowedIPs = 10.8.0.0/24\n";

CallFacts Call(const std::string& name, bool changes) {
  CallFacts call;
  call.name = name;
  call.text = name;
  call.changes = changes;
  return call;
}

std::string Reply(const std::string& beginning, const std::string& bypass = R"("enabled":false)",
                  const std::string& guard = R"("effective_disable_default_route":false)") {
  return "{" + beginning + ",\"admin_bypass\":{" + bypass + "},\"poc_route_guard\":{" + guard +
         "}}";
}

std::string Error(const std::string& code) {
  return R"("ok":false,"error":")" + code + R"(","message":"so it is")";
}

// A connect that pinned an administrator, started the tunnel and a timer, and said so.
ExchangeFacts Connect() {
  ExchangeFacts facts;
  facts.request = R"({"op":"connect","node_id":"fra-1","session_nonce":"abc"})";
  facts.op = "connect";
  facts.wished_node = "fra-1";
  facts.nonce = "abc";
  facts.reply = Reply(R"("ok":true,"phase":"connected","node_id":"fra-1")",
                      R"("enabled":true,"applied":true,"gateway":"192.168.1.1",)"
                      R"("physical_interface_index_before_tunnel":"12",)"
                      R"("selected_bypass_ip_entries":[{"ip":"203.0.113.5","required":true}])",
                      R"("auto_stop_scheduled":true,"auto_stop_seconds":60,)"
                      R"("auto_stop_deadline_utc":"1970-01-01T00:02:40Z")");
  facts.calls = {Call("CreateForwardRow", true), Call("OutputFile.Write", true),
                 Call("Service.Start", true)};
  facts.phase_before = "disconnected";
  facts.phase_after = "connected";
  facts.node_after = "fra-1";
  facts.tunnel_after = {true, true};
  facts.conf_after = kConf;
  facts.promise = {.kind = Promise::Kind::kGoesOn,
                   .bypass = true,
                   .conf = kConf,
                   .delay = 60,
                   .administrators = {"203.0.113.5"}};
  facts.recorded_after = {kRow};
  facts.created = {kRow};
  facts.looks = {{}, {kPlace}, {kPlace}};
  facts.looks_before_start = 2;
  facts.started = true;
  facts.conf_at_start = kConf;
  facts.replaced = true;
  facts.command_line = facts.due_command_line = R"("C:\service.exe" /service "C:\active.conf")";
  facts.has_own_sid = true;
  facts.deadline_counts_from = 100;
  facts.timers_after = 1;
  return facts;
}

ExchangeFacts Refused(const std::string& reply) {
  ExchangeFacts facts = Connect();
  facts.reply = reply;
  facts.phase_after = "disconnected";
  facts.node_after.clear();
  facts.calls.clear();
  facts.created.clear();
  facts.recorded_after.clear();
  facts.started = false;
  facts.conf_at_start.reset();
  facts.tunnel_after = {};
  facts.timers_after = 0;
  facts.failures = true;
  return facts;
}

ExchangeFacts Simple(const std::string& op, const std::string& reply) {
  ExchangeFacts facts;
  facts.request = R"({"op":")" + op + R"("})";
  facts.op = op;
  facts.reply = reply;
  facts.phase_before = facts.phase_after = "disconnected";
  return facts;
}

std::string After(ExchangeFacts facts, const Change& change,
                  std::string (*rule)(const ExchangeFacts&)) {
  EXPECT_EQ(Judge(ExchangeInvariants(), facts), "");
  change(facts);
  return rule(facts);
}

ExchangeFacts Status() {
  ExchangeFacts facts =
      Simple("status", Reply(R"("ok":true,"phase":"disconnected","tunnel_running":false)"));
  return facts;
}

ExchangeFacts Disconnect() {
  ExchangeFacts facts = Simple("disconnect", Reply(R"("ok":true,"phase":"disconnected")"));
  facts.phase_before = "connected";
  facts.node_before = "fra-1";
  facts.conf_after = std::string(4096, '\0');
  return facts;
}

TEST(ExchangeInvariants, AReplyMayNotBeCutOff) {
  EXPECT_NE(After(
                Status(), [](auto& facts) { facts.reply->pop_back(); }, TheReplyIsWhole),
            "");
  EXPECT_NE(After(
                Status(), [](auto& facts) { facts.reply = ""; }, TheReplyIsWhole),
            "");
}

TEST(ExchangeInvariants, AReplyMayNotLackItsReports) {
  EXPECT_NE(After(
                Status(),
                [](auto& facts) {
                  facts.reply = R"({"ok":true,"phase":"disconnected","tunnel_running":false})";
                },
                TheReplyIsWhole),
            "");
}

TEST(ExchangeInvariants, AnErrorMayNotBelongToAnotherOperation) {
  EXPECT_NE(After(
                Disconnect(), [](auto& facts) { facts.reply = "{" + Error("unknown_op") + "}"; },
                TheErrorBelongsToTheOperation),
            "");
  EXPECT_NE(After(
                Refused("{" + Error("config_write_failed") + "}"),
                [](auto& facts) { facts.reply = "{" + Error("odd") + "}"; },
                TheErrorBelongsToTheOperation),
            "");
}

TEST(ExchangeInvariants, AReplyMayNotCarryAKey) {
  const auto leak = [](auto& facts) { facts.reply->insert(1, "\"SECRET-1=\":1,"); };
  EXPECT_NE(After(Status(), leak, TheReplyCarriesNoKey), "");
}

TEST(ExchangeInvariants, ThePhaseMayNotDifferFromTheReply) {
  EXPECT_NE(After(
                Connect(), [](auto& facts) { facts.phase_after = "connecting"; },
                ThePhaseFollowsTheReply),
            "");
  EXPECT_NE(
      After(
          Connect(), [](auto& facts) { facts.node_after = "ams-2"; }, ThePhaseFollowsTheReply),
      "");
  EXPECT_NE(After(
                Disconnect(), [](auto& facts) { facts.phase_after = "connected"; },
                ThePhaseFollowsTheReply),
            "");
  EXPECT_NE(
      After(
          Status(), [](auto& facts) { facts.phase_after = "connected"; }, ThePhaseFollowsTheReply),
      "");
}

TEST(ExchangeInvariants, AForeignNonceMayNotConnect) {
  EXPECT_NE(After(
                Connect(), [](auto& facts) { facts.nonce = "abcd"; }, TheSessionIsChecked),
            "");
}

TEST(ExchangeInvariants, AStatusMayNotChangeAnything) {
  EXPECT_NE(After(
                Status(), [](auto& facts) { facts.calls = {Call("RemoveFile", true)}; },
                ARefusalChangesNothing),
            "");
}

TEST(ExchangeInvariants, ARefusalMayNotGoFurtherThanItsRow) {
  EXPECT_NE(After(
                Refused(Reply(Error("poc_route_guard_failed"))),
                [](auto& facts) { facts.calls = {Call("OutputFile.Open", true)}; },
                ARefusalKeepsToItsRow),
            "");
  EXPECT_NE(After(
                Refused("{" + Error("config_write_failed") + "}"),
                [](auto& facts) { facts.calls = {Call("Service.SendStop", true)}; },
                ARefusalKeepsToItsRow),
            "");
}

TEST(ExchangeInvariants, ARefusalMayNotLeaveARoute) {
  EXPECT_NE(After(
                Refused("{" + Error("config_write_failed") + "}"),
                [](auto& facts) { facts.created = {kRow}; }, ARefusalDeletesWhatItCreated),
            "");
}

TEST(ExchangeInvariants, ARefusalMayNotLeaveATunnel) {
  const ExchangeFacts refused = Refused(Reply(Error("poc_default_route_detected")));
  EXPECT_NE(After(
                refused, [](auto& facts) { facts.started = true; }, AnErrorLeavesNoNewTunnel),
            "");
  EXPECT_NE(After(
                refused,
                [](auto& facts) {
                  facts.tunnel_after = {true, true};
                },
                AnErrorLeavesNoNewTunnel),
            "");
}

TEST(ExchangeInvariants, AppliedMayNotBeSaidWithoutALook) {
  EXPECT_NE(After(
                Connect(), [](auto& facts) { facts.looks.back().clear(); }, AppliedMeansSeen),
            "");
  EXPECT_NE(After(
                Connect(), [](auto& facts) { facts.looks.pop_back(); }, AppliedMeansSeen),
            "");
}

TEST(ExchangeInvariants, TheTunnelMayNotStartBeforeTheRoutesAreThere) {
  EXPECT_NE(After(
                Connect(), [](auto& facts) { facts.looks[1].clear(); },
                RoutesArePinnedBeforeTheTunnelStarts),
            "");
}

TEST(ExchangeInvariants, TheGuardMayNotPinOrLetACatchAllThrough) {
  ExchangeFacts guarded = Connect();
  guarded.reply = Reply(R"("ok":true,"phase":"connected","node_id":"fra-1")", R"("enabled":false)",
                        R"("effective_disable_default_route":true)");
  guarded.created.clear();
  guarded.promise.delay = 0;
  EXPECT_NE(After(
                guarded, [](auto& facts) { facts.created = {kRow}; }, TheGuardPinsNothing),
            "");
  EXPECT_NE(After(
                guarded, [](auto& facts) { facts.conf_at_start = "AllowedIPs = ::/0\n"; },
                TheGuardPinsNothing),
            "");
  EXPECT_NE(After(
                guarded, [](auto& facts) { facts.tunnel_default_route = true; },
                TheGuardSeesADefaultRoute),
            "");
}

TEST(ExchangeInvariants, TheTunnelMayNotStartFromAnotherFile) {
  EXPECT_NE(After(
                Connect(), [](auto& facts) { facts.conf_at_start = "[Interface]\n"; },
                TheTunnelStartsFromItsFile),
            "");
}

TEST(ExchangeInvariants, ConnectedMayNotBeSaidWithoutAStart) {
  EXPECT_NE(After(
                Connect(), [](auto& facts) { facts.started = false; }, ConnectedMeansStarted),
            "");
}

TEST(ExchangeInvariants, TheTunnelMayNotBeAnotherProgramOrTheEarlierOne) {
  const std::vector<Change> changes = {
      [](auto& facts) { facts.replaced = false; },
      [](auto& facts) { facts.command_line = R"("C:\service.exe")"; },
      [](auto& facts) { facts.has_own_sid = false; },
  };
  for (const Change& change : changes) {
    EXPECT_NE(After(Connect(), change, TheTunnelIsThisProgram), "");
  }
}

TEST(ExchangeInvariants, ADisconnectMayNotLeaveAnything) {
  const std::vector<Change> leavings = {
      [](auto& facts) { facts.recorded_after = {kRow}; },
      [](auto& facts) { facts.timers_after = 1; },
      [](auto& facts) {
        facts.tunnel_after = {true, false};
      },
      [](auto& facts) { facts.conf_after = kConf; },
  };
  for (const Change& leave : leavings) {
    EXPECT_NE(After(Disconnect(), leave, ADisconnectLeavesNothing), "");
  }
}

TEST(ExchangeInvariants, TheTimerMayNotDifferFromTheReply) {
  EXPECT_NE(After(
                Connect(), [](auto& facts) { facts.timers_after = 0; }, TheTimerIsScheduledAsTold),
            "");
  EXPECT_NE(
      After(
          Connect(), [](auto& facts) { facts.promise.delay = 30; }, TheTimerIsScheduledAsTold),
      "");
  EXPECT_NE(After(
                Connect(), [](auto& facts) { facts.deadline_counts_from = 99; },
                TheTimerIsScheduledAsTold),
            "");
}

TEST(ExchangeInvariants, AReplyMayNotDifferFromThePromise) {
  EXPECT_NE(After(
                Connect(),
                [](auto& facts) {
                  facts.promise = {.kind = Promise::Kind::kReply, .error = "invalid_profile"};
                },
                TheReplyIsThePromisedOne),
            "");
  EXPECT_NE(After(
                Connect(), [](auto& facts) { facts.promise.kind = Promise::Kind::kEnd; },
                TheReplyIsThePromisedOne),
            "");
  EXPECT_NE(
      After(
          Connect(), [](auto& facts) { facts.reply = "{" + Error("config_write_failed") + "}"; },
          TheReplyIsThePromisedOne),
      "");
}

TEST(ExchangeInvariants, AKeyMayNotStayInTheBuffer) {
  EXPECT_NE(After(
                Connect(), [](auto& facts) { facts.key_in_buffer = true; }, TheRequestIsWiped),
            "");
}

TEST(ExchangeInvariants, ALostRouteMayNotBeGivenUp) {
  ExchangeFacts facts = Connect();
  facts.calls.push_back(Call("CreateForwardRow", true));
  facts.calls.back().text += std::string(" ") + kRow;
  facts.reply->insert(facts.reply->find("\"applied\""), R"("route_readded_after_tunnel":true,)");
  facts.looks = {{}, {kPlace}, {}, {kPlace}};
  EXPECT_EQ(EveryLostRouteIsAddedAgain(facts), "");
  facts.looks.back().clear();
  EXPECT_EQ(EveryLostRouteIsAddedAgain(facts), "");
  facts.calls.pop_back();
  EXPECT_NE(EveryLostRouteIsAddedAgain(facts), "");
}

TEST(ExchangeInvariants, NobodyElseMayBePinned) {
  EXPECT_NE(After(
                Connect(), [](auto& facts) { facts.promise.administrators = {"203.0.113.50"}; },
                OnlyAdministratorsArePinned),
            "");
}

TEST(ExchangeInvariants, AStatusMayNotLie) {
  EXPECT_NE(
      After(
          Status(), [](auto& facts) { facts.tunnel_after.running = true; }, AStatusTellsTheTruth),
      "");
}

TEST(ExchangeInvariants, OthersMayNotReadTheKey) {
  EXPECT_NE(After(
                Connect(), [](auto& facts) { facts.open_to_others = "C:\\active.conf"; },
                KeysAreLockedAway),
            "");
}

TEST(ExchangeInvariants, ATimerMayNotSleepOnAfterADisconnect) {
  EXPECT_NE(After(
                Disconnect(), [](auto& facts) { facts.sleeps_of_timer = 2; },
                ACancelledTimerSleepsNoMore),
            "");
}

}  // namespace
}  // namespace veltrane::simulation
