// Each invariant of pinned addresses holds for what the program does, and breaks when that is
// doctored.

#include "tests/simulation/exchange_examples.h"

namespace veltrane::simulation {
namespace {

void ShowAnother(ExchangeFacts& facts) {
  facts.shown.selected.insert("9.9.9.9");
  facts.shown.required.insert("9.9.9.9");
}

TEST(BypassInvariants, AppliedMayNotBeSaidWithoutALook) {
  EXPECT_NE(After(
                Connect(), [](auto& facts) { facts.looks.back() = Look(); }, AppliedMeansSeen),
            "");
  EXPECT_NE(After(
                Connect(), [](auto& facts) { facts.looks.pop_back(); }, AppliedMeansSeen),
            "");
  EXPECT_NE(After(Connect(), ShowAnother, AppliedMeansSeen), "");
}

TEST(BypassInvariants, AConnectMayNotSucceedWithoutApplying) {
  EXPECT_NE(After(
                Connect(),
                [](auto& facts) {
                  facts.reply->replace(facts.reply->find("\"applied\":true"), 14,
                                       "\"applied\":false");
                },
                AppliedMeansSeen),
            "");
  EXPECT_NE(After(
                Connect(), [](auto& facts) { facts.shown.bypass = false; }, AppliedMeansSeen),
            "");
}

TEST(BypassInvariants, TheTunnelMayNotStartBeforeTheRoutesAreThere) {
  EXPECT_NE(After(
                Connect(), [](auto& facts) { facts.looks[3] = Look(); },
                RoutesArePinnedBeforeTheTunnelStarts),
            "");
  EXPECT_NE(After(Connect(), ShowAnother, RoutesArePinnedBeforeTheTunnelStarts), "");
  EXPECT_NE(After(
                Connect(), [](auto& facts) { facts.shown.way = "10.0.0.1 if 13"; },
                RoutesArePinnedBeforeTheTunnelStarts),
            "");
  EXPECT_NE(After(
                Connect(), [](auto& facts) { facts.shown.required.clear(); },
                RoutesArePinnedBeforeTheTunnelStarts),
            "");
}

TEST(BypassInvariants, TheReplyMayNotNameAnybodyElse) {
  EXPECT_NE(After(Connect(), ShowAnother, TheReplyNamesWhoIsPinned), "");
  EXPECT_NE(
      After(
          Connect(), [](auto& facts) { facts.shown.required.clear(); }, TheReplyNamesWhoIsPinned),
      "");
  EXPECT_NE(
      After(
          Connect(), [](auto& facts) { facts.shown.bypass = false; }, TheReplyNamesWhoIsPinned),
      "");
}

TEST(BypassInvariants, TheReplyMayLeaveOutWhatCouldNotBeRead) {
  ExchangeFacts facts = Connect();
  ShowAnother(facts);
  facts.shown.unsure = {"9.9.9.9"};
  EXPECT_EQ(TheReplyNamesWhoIsPinned(facts), "");
}

TEST(BypassInvariants, NobodyElseMayBePinned) {
  EXPECT_NE(After(
                Connect(), [](auto& facts) { facts.shown.selected = {"203.0.113.50"}; },
                OnlyAdministratorsArePinned),
            "");
}

TEST(BypassInvariants, ALostRouteMayNotBeGivenUp) {
  ExchangeFacts facts = Connect();
  facts.reply->insert(facts.reply->find("\"applied\""), R"("route_readded_after_tunnel":true,)");
  facts.looks[8] = Look();
  facts.looks.push_back(Seen());
  EXPECT_EQ(EveryLostRouteIsAddedAgain(facts), "");
  facts.looks.back() = Look();
  EXPECT_NE(EveryLostRouteIsAddedAgain(facts), "");
  facts.attempts.push_back({.address = "203.0.113.5", .looks = 9});
  EXPECT_EQ(EveryLostRouteIsAddedAgain(facts), "");
}

TEST(BypassInvariants, ALostRouteMayNotGoUnnoticed) {
  EXPECT_NE(
      After(
          Connect(), [](auto& facts) { facts.looks[8] = Look(); }, EveryLostRouteIsAddedAgain),
      "");
}

TEST(BypassInvariants, TheGuardMayNotPinOrLetACatchAllThrough) {
  EXPECT_NE(After(
                Guarded(), [](auto& facts) { facts.created = {kRow}; }, TheGuardPinsNothing),
            "");
  EXPECT_NE(After(
                Guarded(), [](auto& facts) { facts.conf_at_start = "AllowedIPs = ::/0\n"; },
                TheGuardPinsNothing),
            "");
}

TEST(BypassInvariants, TheGuardMayNotOverlookADefaultRoute) {
  const Change show = [](auto& facts) { facts.looks.back().tunnel_default = true; };
  EXPECT_NE(After(Guarded(), show, TheGuardSeesADefaultRoute), "");
  EXPECT_NE(After(
                Guarded(), [](auto& facts) { facts.looks.pop_back(); }, TheGuardSeesADefaultRoute),
            "");
  ExchangeFacts nameless = Guarded();
  show(nameless);
  nameless.calls.push_back(FailedCall("ReadInterfaceNames"));
  EXPECT_FALSE(TheGuardSeesADefaultRoute(nameless).WasAsked());
}

}  // namespace
}  // namespace veltrane::simulation
