// A reply is the one that the rules promise, and a status says what is so.

#include "tests/simulation/exchange_examples.h"

namespace veltrane::simulation {
namespace {

TEST(ReplyInvariants, AReplyMayNotDifferFromThePromise) {
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

// A refusal that no promise can foresee is held against what the machine showed.
TEST(ReplyInvariants, ALateRefusalMayNotComeWithoutACause) {
  ExchangeFacts lost = RefusedByBypass("route_verify_after_tunnel_failed");
  lost.failures = false;
  lost.started = true;
  lost.looks.back() = Look();
  EXPECT_EQ(TheReplyIsThePromisedOne(lost), "");
  lost.looks.back() = Seen();
  EXPECT_NE(TheReplyIsThePromisedOne(lost), "");
  ExchangeFacts detected = Guarded();
  detected.promise.guard = true;
  detected.reply = ReplyText(Error("poc_default_route_detected"));
  detected.looks.back().tunnel_default = true;
  EXPECT_EQ(TheReplyIsThePromisedOne(detected), "");
  detected.looks.back().tunnel_default = false;
  EXPECT_NE(TheReplyIsThePromisedOne(detected), "");
}

TEST(ReplyInvariants, AStatusMayNotSayAnotherPhase) {
  const std::string connected =
      ReplyText(R"("ok":true,"phase":"connected","node_id":"fra-1","tunnel_running":false)");
  EXPECT_NE(After(
                Status(), [&](auto& facts) { facts.reply = connected; }, AStatusTellsTheTruth),
            "");
  EXPECT_NE(After(
                Status(),
                [](auto& facts) {
                  facts.phases_before = {{"connected", "fra-1"}};
                },
                AStatusTellsTheTruth),
            "");
}

TEST(ReplyInvariants, AStatusBesideATimerMaySayEither) {
  ExchangeFacts facts = Status();
  facts.phases_before = {{"connected", "fra-1"}};
  facts.beside_timer = true;
  EXPECT_EQ(AStatusTellsTheTruth(facts), "");
}

TEST(ReplyInvariants, AStatusMayNotHideATunnel) {
  const auto run = [](auto& facts) { facts.tunnel_after.running = true; };
  EXPECT_NE(After(Status(), run, AStatusTellsTheTruth), "");
  ExchangeFacts facts = Status();
  run(facts);
  facts.calls = {FailedCall("Service.QueryState")};
  EXPECT_EQ(AStatusTellsTheTruth(facts), "");
}

}  // namespace
}  // namespace veltrane::simulation
