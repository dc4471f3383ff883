#pragma once

// What must hold. Each function is one rule of the documents, asked of what was seen; it answers
// what is broken, or an empty text. A rule that has an exception says which document has it.

#include <string>
#include <vector>

#include "tests/simulation/facts.h"

namespace veltrane::simulation {

// The rules about the facts, with their names.
template <typename Facts>
struct Invariant {
  const char* name;
  std::string (*broken)(const Facts&);
};
const std::vector<Invariant<CallFacts>>& CallInvariants();
const std::vector<Invariant<MomentFacts>>& MomentInvariants();
const std::vector<Invariant<ExchangeFacts>>& ExchangeInvariants();
const std::vector<Invariant<EndFacts>>& EndInvariants();
const std::vector<Invariant<TimerFacts>>& TimerInvariants();
const std::vector<Invariant<ConversationFacts>>& ConversationInvariants();

// "NAME: what is broken" of the first that is broken; empty when all hold.
template <typename Facts>
std::string Judge(const std::vector<Invariant<Facts>>& invariants, const Facts& facts) {
  for (const Invariant<Facts>& invariant : invariants) {
    const std::string broken = invariant.broken(facts);
    if (!broken.empty()) return std::string(invariant.name) + ": " + broken;
  }
  return "";
}

// Of calls.
std::string OnlyRecordedRoutesAreDeleted(const CallFacts& call);
std::string OnlyHostRoutesThroughTheGatewayAreCreated(const CallFacts& call);
std::string OnlyRequestsAndTimersChangeTheMachine(const CallFacts& call);
std::string TheTimerWaitsItsTime(const CallFacts& call);
std::string NoCallCarriesAKey(const CallFacts& call);
std::string StatesFollowTheirOrder(const CallFacts& call);
std::string AStoppedServiceHasNoTimer(const CallFacts& call);
std::string TheTunnelIsGivenTimeToStop(const CallFacts& call);
std::string TheStartIsReportedAsItWas(const CallFacts& call);

// Of moments.
std::string ThePhaseIsOneOfThree(const MomentFacts& moment);
std::string TheNodeBelongsToConnected(const MomentFacts& moment);
std::string OnlyAConnectIsConnecting(const MomentFacts& moment);
std::string AConnectIsConnecting(const MomentFacts& moment);
std::string ThereIsOneTimerAtMost(const MomentFacts& moment);
std::string ThereIsOnePipeInstanceAtMost(const MomentFacts& moment);
std::string NothingIsLeftOpen(const MomentFacts& moment);
std::string KeysAreInActiveConfAlone(const MomentFacts& moment);

// Of exchanges.
std::string TheReplyIsWhole(const ExchangeFacts& exchange);
std::string TheErrorBelongsToTheOperation(const ExchangeFacts& exchange);
std::string TheReplyCarriesNoKey(const ExchangeFacts& exchange);
std::string ThePhaseFollowsTheReply(const ExchangeFacts& exchange);
std::string TheSessionIsChecked(const ExchangeFacts& exchange);
std::string ARefusalChangesNothing(const ExchangeFacts& exchange);
std::string ARefusalKeepsToItsRow(const ExchangeFacts& exchange);
std::string ARefusalDeletesWhatItCreated(const ExchangeFacts& exchange);
std::string AnErrorLeavesNoNewTunnel(const ExchangeFacts& exchange);
std::string AppliedMeansSeen(const ExchangeFacts& exchange);
std::string RoutesArePinnedBeforeTheTunnelStarts(const ExchangeFacts& exchange);
std::string TheGuardPinsNothing(const ExchangeFacts& exchange);
std::string TheTunnelStartsFromItsFile(const ExchangeFacts& exchange);
std::string ADisconnectLeavesNothing(const ExchangeFacts& exchange);
std::string TheTimerIsScheduledAsTold(const ExchangeFacts& exchange);
std::string TheReplyIsThePromisedOne(const ExchangeFacts& exchange);
std::string TheRequestIsWiped(const ExchangeFacts& exchange);
std::string AStatusTellsTheTruth(const ExchangeFacts& exchange);
std::string ConnectedMeansStarted(const ExchangeFacts& exchange);
std::string EveryLostRouteIsAddedAgain(const ExchangeFacts& exchange);
std::string OnlyAdministratorsArePinned(const ExchangeFacts& exchange);
std::string TheTunnelIsThisProgram(const ExchangeFacts& exchange);
std::string TheGuardSeesADefaultRoute(const ExchangeFacts& exchange);
std::string KeysAreLockedAway(const ExchangeFacts& exchange);
std::string ACancelledTimerSleepsNoMore(const ExchangeFacts& exchange);

// Of timers.
std::string TheTimerDoesItsWork(const TimerFacts& timer);
std::string TheTimerLeavesDisconnected(const TimerFacts& timer);

// Of conversations.
std::string ARequestIsAnswered(const ConversationFacts& conversation);

// Of ends.
std::string TheProcessEndsForAKnownReason(const EndFacts& end);
std::string AnOrderlyEndLeavesNothingOpen(const EndFacts& end);

}  // namespace veltrane::simulation
