#include "client/watchdog/confirmation.h"

#include "client/watchdog/question.h"
#include "tests/client/watchdog/on_watched_machine.h"

namespace veltrane {
namespace {

// Tests in which the watchdog is played.
class Confirmations : public OnWatchedMachine {
 protected:
  Confirmations() { side.watchdogs.first_words = {"armed"}; }

  static Confirmation Arm() {
    Arming arming = Confirmation::Arm(60, "office", false);
    return std::move(arming.confirmation.value());
  }

  // Why nothing may be sent.
  static std::string Problem() {
    const Arming arming = Confirmation::Arm(60, "office", false);
    EXPECT_FALSE(arming.confirmation.has_value());
    return arming.problem;
  }

  void WatchdogSays(double seconds, const std::string& line) {
    At(seconds, [this, line] { side.watchdogs.WatchdogSays(line); });
  }

  void Expect(const Outcome& outcome, OutcomeKind kind, const std::string& text) {
    EXPECT_EQ(outcome.kind, kind);
    EXPECT_EQ(outcome.text, text);
  }
};

TEST_F(Confirmations, StartAWatchdogWithTheTimeAndTheNode) {
  EXPECT_TRUE(Confirmation::Arm(60, "büro 1", true).confirmation.has_value());
  EXPECT_EQ(side.watchdogs.started,
            (std::vector<Texts>{{"watchdog", "--seconds=60", "--node-id=büro 1", "--any-server"}}));
}

TEST_F(Confirmations, StartAWatchdogThatTrustsOnlyTheService) {
  Arm();
  EXPECT_EQ(side.watchdogs.started,
            (std::vector<Texts>{{"watchdog", "--seconds=60", "--node-id=office"}}));
}

TEST_F(Confirmations, AreNotArmedWithoutAWatchdog) {
  side.watchdogs.start_error = 1314;
  EXPECT_EQ(Problem(), "the watchdog cannot be started (Windows error 1314): try again");
}

TEST_F(Confirmations, AreNotArmedWhileAnotherOneIs) {
  side.watchdogs.first_words = {"another"};
  EXPECT_EQ(
      Problem(),
      "another connect waits for its confirmation: confirm that one with veltranectl "
      "confirm, or wait until it has been undone (if there is none, another program holds the "
      "watchdog's pipe)");
}

TEST_F(Confirmations, AreNotArmedWhenTheWatchdogCannotWatch) {
  side.watchdogs.first_words = {"failed Windows refuses it (Windows error 1400)"};
  EXPECT_EQ(Problem(),
            "the watchdog cannot watch: Windows refuses it (Windows error 1400): try again");
}

TEST_F(Confirmations, AreNotArmedWhenTheWatchdogEnds) {
  side.watchdogs.first_words = {};
  side.watchdogs.WatchdogEnds();
  EXPECT_EQ(Problem(), "the watchdog ended at once: try again");
}

TEST_F(Confirmations, AreNotArmedByAWatchdogThatIsSilent) {
  side.watchdogs.first_words = {};
  EXPECT_EQ(Problem(), "the watchdog did not report within 15 s: try again");
  EXPECT_EQ(side.watchdogs.heard, Texts{});
  EXPECT_DOUBLE_EQ(Seconds(), 15);
}

TEST_F(Confirmations, SayWhatHappens) {
  Confirmation confirmation = Arm();
  confirmation.SayAnswered();
  confirmation.SayRefused();
  confirmation.SayLost();
  confirmation.SayConfirmed();
  EXPECT_EQ(side.watchdogs.heard, (Texts{"answered", "refused", "lost", "confirmed"}));
}

TEST_F(Confirmations, SayWhetherTheWatchdogHasLeftTheJob) {
  EXPECT_TRUE(Arm().HasLeftJob());
  side.watchdogs.leaves_job = false;
  EXPECT_FALSE(Arm().HasLeftJob());
}

TEST_F(Confirmations, AwaitAnOutcome) {
  WatchdogSays(2.5, "undone there is no connection any more");
  Confirmation confirmation = Arm();
  std::vector<std::uint32_t> observed;
  Expect(confirmation.AwaitOutcome([&](std::uint32_t seconds) { observed.push_back(seconds); }),
         OutcomeKind::kUndone, "there is no connection any more");
  EXPECT_EQ(observed, (std::vector<std::uint32_t>{1, 2}));
}

TEST_F(Confirmations, ReadEveryOutcome) {
  Confirmation confirmation = Arm();
  side.watchdogs.WatchdogSays("confirmed");
  Expect(*confirmation.Hear(0), OutcomeKind::kConfirmed, "the connection stays");
  side.watchdogs.WatchdogSays("failed it \x1b[31m could not");
  Expect(*confirmation.Hear(0), OutcomeKind::kNotUndone, "it \xEF\xBF\xBD[31m could not");
  side.watchdogs.WatchdogSays("hello");
  EXPECT_FALSE(confirmation.Hear(0).has_value());
}

TEST_F(Confirmations, UndoThemselvesWhenTheWatchdogIsKilled) {
  StartService();
  ConnectTo("office");
  Confirmation confirmation = Arm();
  At(5, [this] { side.watchdogs.WatchdogEnds(); });
  Expect(confirmation.AwaitOutcome([](std::uint32_t) {}), OutcomeKind::kUndone,
         "the watchdog ended without a word; the connection to \"office\" has been undone");
  EXPECT_FALSE(TunnelRuns());
}

TEST_F(Confirmations, HearThatTheWatchdogKnowsOfTheSending) {
  side.watchdogs.answers["sending"] = {"watching"};
  EXPECT_TRUE(Arm().SaySending());
  EXPECT_EQ(side.watchdogs.heard, Texts{"sending"});
}

TEST_F(Confirmations, SendNothingWhenTheWatchdogIsSilent) {
  Confirmation confirmation = Arm();
  EXPECT_FALSE(confirmation.SaySending());
  EXPECT_DOUBLE_EQ(Seconds(), 15);
}

TEST_F(Confirmations, SendNothingWhenTheWatchdogSaysSomethingElse) {
  side.watchdogs.answers["sending"] = {"failed it cannot"};
  EXPECT_FALSE(Arm().SaySending());
}

TEST_F(Confirmations, SendNothingWhenTheWatchdogHasEnded) {
  Confirmation confirmation = Arm();
  side.watchdogs.WatchdogEnds();
  EXPECT_FALSE(confirmation.SaySending());
}

TEST_F(Confirmations, UndoThemselvesWhatIsMadeAfterTheEndOfTheWatchdog) {
  StartService();
  Confirmation confirmation = Arm();
  side.watchdogs.WatchdogSays("undone there is no connection any more");
  side.watchdogs.WatchdogEnds();
  ConnectTo("office");
  EXPECT_FALSE(confirmation.SayAnswered());
  Expect(confirmation.AwaitOutcome([](std::uint32_t) {}), OutcomeKind::kUndone,
         "the watchdog ended before the service answered; the connection to \"office\" has been "
         "undone");
  EXPECT_FALSE(TunnelRuns());
}

// Tests of the question at the console.
class Questions : public Confirmations {
 protected:
  Questions() { side.watchdogs.answers["confirmed"] = {"confirmed"}; }

  Outcome Ask() {
    Confirmation confirmation = Arm();
    Display display;
    return AskAtConsole(confirmation, 60, display);
  }

  void Type(double seconds, const std::string& keys) {
    At(seconds, [this, keys] { side.Type(keys); });
  }
};

constexpr char kQuestion[] =
    "Within 60 s it will be undone, unless you confirm it here or by veltranectl confirm.\n"
    "Type keep and press Enter to keep the connection: ";

TEST_F(Questions, AreAnsweredWithAWord) {
  Type(10, "keep\r");
  Expect(Ask(), OutcomeKind::kConfirmed, "the connection stays");
  EXPECT_EQ(side.Output(), std::string(kQuestion) + "keep\r\n");
  EXPECT_EQ(side.watchdogs.heard, (Texts{"confirmed"}));
  EXPECT_DOUBLE_EQ(Seconds(), 10);
}

TEST_F(Questions, AreAnsweredWithAWordThatWasTypedSlowlyAndCorrected) {
  Type(10, " ke");
  Type(11, "r\b");
  Type(12, "ep ");
  Type(13, "\r");
  Expect(Ask(), OutcomeKind::kConfirmed, "the connection stays");
}

TEST_F(Questions, AreAskedAgainAfterAnotherWord) {
  Type(10, "y\r");
  Type(12, "keep\r");
  Expect(Ask(), OutcomeKind::kConfirmed, "the connection stays");
  EXPECT_EQ(side.Output(), std::string(kQuestion) +
                               "y\r\nType keep and press Enter to keep the connection: keep\r\n");
}

TEST_F(Questions, AreNotAnsweredByWhatWasTypedBefore) {
  side.Type("keep\r");
  WatchdogSays(60, "undone there is no connection any more");
  Expect(Ask(), OutcomeKind::kUndone, "there is no connection any more");
  EXPECT_EQ(side.watchdogs.heard, Texts{});
}

TEST_F(Questions, EndWithTheTime) {
  Type(10, "kee");
  WatchdogSays(62, "undone the connection to \"office\" has been undone");
  Expect(Ask(), OutcomeKind::kUndone, "the connection to \"office\" has been undone");
  EXPECT_EQ(side.Output(), std::string(kQuestion) + "kee\n");
  EXPECT_DOUBLE_EQ(Seconds(), 62);
}

TEST_F(Questions, EndWhenTheConnectionIsConfirmedElsewhere) {
  WatchdogSays(10, "confirmed");
  Expect(Ask(), OutcomeKind::kConfirmed, "the connection stays");
  EXPECT_EQ(side.Output(), std::string(kQuestion) + "\n");
}

TEST_F(Questions, AreAnsweredTooLateWhenTheWatchdogSaysSo) {
  side.watchdogs.answers["confirmed"] = {"undone the connection to \"office\" has been undone"};
  Type(59.9, "keep\r");
  Expect(Ask(), OutcomeKind::kUndone, "the connection to \"office\" has been undone");
}

}  // namespace
}  // namespace veltrane
