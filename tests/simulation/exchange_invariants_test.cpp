// Each invariant of exchanges holds for what the program does, and breaks when that is doctored.

#include "tests/simulation/exchange_examples.h"

namespace veltrane::simulation {
namespace {

// A connect that failed where a call did.
ExchangeFacts Broken(const std::string& error) {
  ExchangeFacts facts = Refused("{" + Error(error) + "}");
  facts.calls = {FailedCall("OutputFile.Open"), FailedCall("ServiceManager.Open")};
  return facts;
}

// A connect that was refused because the program is in a Remote Desktop session.
ExchangeFacts InRemoteSession() {
  ExchangeFacts facts = Refused(ReplyText(Error("poc_route_guard_failed")));
  facts.shown = {.remote = true};
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
                Broken("config_write_failed"),
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
  EXPECT_NE(
      After(
          InRemoteSession(), [](auto& facts) { facts.calls = {Call("OutputFile.Open", true)}; },
          ARefusalKeepsToItsRow),
      "");
  EXPECT_NE(After(
                Broken("config_write_failed"),
                [](auto& facts) { facts.calls = {Call("Service.SendStop", true)}; },
                ARefusalKeepsToItsRow),
            "");
}

TEST(ExchangeInvariants, ARefusalMayNotLeaveARoute) {
  EXPECT_NE(After(
                Broken("config_write_failed"), [](auto& facts) { facts.created = {kRow}; },
                ARefusalDeletesWhatItCreated),
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
  EXPECT_NE(After(
                Connect(), [](auto& facts) { facts.shown.delay = 30; }, TheTimerIsScheduledAsTold),
            "");
  EXPECT_NE(After(
                Connect(), [](auto& facts) { facts.shown.delay = 0; }, TheTimerIsScheduledAsTold),
            "");
  EXPECT_NE(After(
                Connect(), [](auto& facts) { facts.deadline_counts_from = 99; },
                TheTimerIsScheduledAsTold),
            "");
}

// Only a call that keeps the program from taking them down excuses what is left.
TEST(ExchangeInvariants, ADisconnectMayLeaveWhatItCannotTakeDown) {
  ExchangeFacts facts = Disconnect();
  facts.tunnel_after = {true, false};
  facts.calls = {FailedCall("Service.QueryState")};
  EXPECT_NE(ADisconnectLeavesNothing(facts), "");
  facts.calls = {FailedCall("Service.Delete")};
  EXPECT_EQ(ADisconnectLeavesNothing(facts), "");
  facts.conf_after = kConf;
  EXPECT_NE(ADisconnectLeavesNothing(facts), "");
  facts.calls.push_back(FailedCall("OutputFile.Write"));
  EXPECT_EQ(ADisconnectLeavesNothing(facts), "");
}

TEST(ExchangeInvariants, AKeyMayNotStayInTheBuffer) {
  EXPECT_NE(After(
                Connect(),
                [](auto& facts) {
                  facts.request.insert(1, R"("client_private_key":"SECRET-1=",)");
                  facts.key_in_buffer = true;
                },
                TheRequestIsWiped),
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
