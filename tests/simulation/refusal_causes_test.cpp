// A refusal holds with its cause, and breaks without it; and what it may not leave behind.

#include "tests/simulation/exchange_examples.h"

namespace veltrane::simulation {
namespace {

// The refusal has its cause after the change, and none before it.
void ExpectCause(ExchangeFacts facts, const Change& happen) {
  EXPECT_NE(ARefusalHasItsCause(facts), "") << *facts.reply;
  happen(facts);
  EXPECT_EQ(ARefusalHasItsCause(facts), "") << *facts.reply;
}

TEST(RefusalCauses, AReadFailureNeedsAMachineThatSaysOtherwise) {
  ExpectCause(Refused(ReplyText(Error("poc_env_read_failed"))),
              [](auto& facts) { facts.shown.remote = facts.shown.guard_of_machine = true; });
}

TEST(RefusalCauses, TheGuardNeedsACatchAllOrARemoteSession) {
  ExpectCause(Refused(ReplyText(Error("poc_route_guard_failed"))),
              [](auto& facts) { facts.shown.remote = true; });
  ExchangeFacts guarded = Refused(ReplyText(Error("poc_route_guard_failed")));
  guarded.shown.guard = guarded.shown.remote = true;
  ExpectCause(guarded,
              [](auto& facts) { facts.request.insert(1, R"("endpoint_host":"0.0.0.0/0",)"); });
}

TEST(RefusalCauses, NoAddressesNeedsThatThereAreNone) {
  ExpectCause(RefusedByBypass("no_admin_bypass_ips"),
              [](auto& facts) { facts.shown.required.clear(); });
}

TEST(RefusalCauses, NoGatewayNeedsThatThereIsNone) {
  ExpectCause(RefusedByBypass("physical_gateway_missing"),
              [](auto& facts) { facts.shown.way.reset(); });
}

TEST(RefusalCauses, AnAddressThatCannotBeAddedNeedsALookThatDoesNotFindIt) {
  ExchangeFacts refused = RefusedByBypass("route_add_failed");
  ExpectCause(refused, [](auto& facts) {
    facts.attempts = {{.address = "203.0.113.5", .succeeded = true, .looks = 1}};
  });
  refused.attempts = {{.address = "203.0.113.5", .succeeded = true, .looks = 2}};
  ExpectCause(refused, [](auto& facts) { facts.shown.unsure = {"203.0.113.5"}; });
  refused.attempts = {{.address = "203.0.113.5", .succeeded = false, .looks = 2}};
  ExpectCause(refused, [](auto& facts) { facts.looks[3] = Look(); });
}

TEST(RefusalCauses, ARouteThatIsNotVerifiedNeedsALastLookThatDoesNotFindIt) {
  const Change lose = [](auto& facts) { facts.looks.back() = Look(); };
  ExpectCause(RefusedByBypass("route_verify_before_tunnel_failed"), lose);
  ExchangeFacts after = RefusedByBypass("route_verify_after_tunnel_failed");
  after.started = true;
  ExpectCause(after, lose);
}

TEST(RefusalCauses, TheBypassMayNotRefuseWhereItIsOff) {
  ExchangeFacts facts = RefusedByBypass("no_admin_bypass_ips");
  facts.shown.required.clear();
  facts.shown.bypass = false;
  EXPECT_NE(ARefusalHasItsCause(facts), "");
}

TEST(RefusalCauses, AFileNeedsACallThatFailedOrSomebodyWhoHasItOpen) {
  const ExchangeFacts refused = Refused("{" + Error("config_write_failed") + "}");
  ExpectCause(refused, [](auto& facts) { facts.calls = {FailedCall("MoveFileWithFlags")}; });
  ExpectCause(refused, [](auto& facts) { facts.odd_files = true; });
}

TEST(RefusalCauses, ATunnelNeedsACallThatFailedOrAnOddService) {
  const ExchangeFacts refused = Refused("{" + Error("tunnel_start_failed") + "}");
  ExpectCause(refused, [](auto& facts) { facts.calls = {FailedCall("Service.Start")}; });
  ExpectCause(refused, [](auto& facts) { facts.odd_services = true; });
}

TEST(RefusalCauses, ADefaultRouteNeedsALookThatFoundOne) {
  ExchangeFacts refused = Guarded();
  refused.reply = ReplyText(Error("poc_default_route_detected"));
  ExpectCause(refused, [](auto& facts) { facts.looks.back().tunnel_default = true; });
}

// A connect that was refused when the tunnel was up, and has taken it down.
ExchangeFacts TornDown() {
  ExchangeFacts facts = RefusedByBypass("route_verify_after_tunnel_failed");
  facts.started = facts.stop_sent = true;
  facts.looks.back() = Look();
  facts.reply->insert(facts.reply->find("\"failure_reason"),
                      R"("route_readded_after_tunnel":true,)");
  facts.looks.insert(facts.looks.end() - 1, Look());
  facts.attempts = {{.address = "203.0.113.5", .looks = 9}};
  facts.calls = {Call("Service.Start", true), Call("Service.SendStop", true)};
  return facts;
}

TEST(RefusalCauses, ARefusalMayNotLeaveItsTunnel) {
  const std::vector<Change> leavings = {
      [](auto& facts) { facts.stop_sent = false; },
      [](auto& facts) {
        facts.tunnel_after = {true, true};
      },
      [](auto& facts) {
        facts.tunnel_after = {true, false};
      },
  };
  for (const Change& leave : leavings) {
    EXPECT_NE(After(TornDown(), leave, AnErrorLeavesNoNewTunnel), "");
  }
}

// Only a call that keeps the program from taking the tunnel down excuses it.
TEST(RefusalCauses, ARefusalMayLeaveWhatItCannotTakeDown) {
  ExchangeFacts running = TornDown();
  running.tunnel_after = {true, true};
  ExchangeFacts installed = TornDown();
  installed.tunnel_after = {true, false};
  for (const char* name : {"Service.QueryState", "Service.SetSidType", "Service.Delete"}) {
    running.calls.back() = FailedCall(name);
    EXPECT_NE(AnErrorLeavesNoNewTunnel(running), "") << name;
  }
  for (const char* name : {"ServiceManager.Open", "Service.SendStop"}) {
    running.calls.back() = FailedCall(name);
    EXPECT_EQ(AnErrorLeavesNoNewTunnel(running), "") << name;
  }
  installed.calls.back() = FailedCall("Service.Delete");
  EXPECT_EQ(AnErrorLeavesNoNewTunnel(installed), "");
  installed.calls.insert(installed.calls.begin(), FailedCall("ServiceManager.Open"));
  installed.calls.back() = Call("Service.SendStop", true);
  EXPECT_NE(AnErrorLeavesNoNewTunnel(installed), "");  // that was before the start
}

TEST(RefusalCauses, ATunnelMayNotRunThatWasNotStarted) {
  ExchangeFacts facts = Refused("{" + Error("config_write_failed") + "}");
  EXPECT_EQ(ATunnelThatWasNotStartedDoesNotRun(facts), "");
  facts.tunnel_after = {true, true};
  EXPECT_NE(ATunnelThatWasNotStartedDoesNotRun(facts), "");
  facts.tunnel_before = {true, true};
  EXPECT_FALSE(ATunnelThatWasNotStartedDoesNotRun(facts).WasAsked());
}

}  // namespace
}  // namespace veltrane::simulation
