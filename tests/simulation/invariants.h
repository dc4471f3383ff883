#pragma once

// What must hold. Each function is one rule of the documents, asked of what was seen. A rule that
// has an exception says which document has it.

#include <vector>

#include "tests/simulation/facts.h"
#include "tests/simulation/verdict.h"

namespace veltrane::simulation {

// All rules about facts of one kind.
const std::vector<Invariant<CallFacts>>& CallInvariants();
const std::vector<Invariant<MomentFacts>>& MomentInvariants();
const std::vector<Invariant<ExchangeFacts>>& ExchangeInvariants();
const std::vector<Invariant<EndFacts>>& EndInvariants();
const std::vector<Invariant<TimerFacts>>& TimerInvariants();
const std::vector<Invariant<ConversationFacts>>& ConversationInvariants();

// Of calls.
Verdict OnlyRecordedRoutesAreDeleted(const CallFacts& call);
Verdict OnlyHostRoutesThroughTheGatewayAreCreated(const CallFacts& call);
Verdict OnlyRequestsAndTimersChangeTheMachine(const CallFacts& call);
Verdict TheTimerWaitsItsTime(const CallFacts& call);
Verdict NoCallCarriesAKey(const CallFacts& call);
Verdict StatesFollowTheirOrder(const CallFacts& call);
Verdict AStoppedServiceHasNoTimer(const CallFacts& call);
Verdict TheTunnelIsGivenTimeToStop(const CallFacts& call);
Verdict TheStartIsReportedAsItWas(const CallFacts& call);
Verdict NoMutexIsHeldAcrossACall(const CallFacts& call);

// Of moments.
Verdict ThePhaseIsOneOfThree(const MomentFacts& moment);
Verdict TheNodeBelongsToConnected(const MomentFacts& moment);
Verdict OnlyAConnectIsConnecting(const MomentFacts& moment);
Verdict AConnectIsConnecting(const MomentFacts& moment);
Verdict ThereIsOneTimerAtMost(const MomentFacts& moment);
Verdict ThereIsOnePipeInstanceAtMost(const MomentFacts& moment);
Verdict NothingIsLeftOpen(const MomentFacts& moment);
Verdict ThePhaseIsTheLatestOutcome(const MomentFacts& moment);
Verdict KeysAreInActiveConfAlone(const MomentFacts& moment);

// Of exchanges.
Verdict TheReplyIsWhole(const ExchangeFacts& exchange);
Verdict TheErrorBelongsToTheOperation(const ExchangeFacts& exchange);
Verdict TheReplyCarriesNoKey(const ExchangeFacts& exchange);
Verdict ThePhaseFollowsTheReply(const ExchangeFacts& exchange);
Verdict TheSessionIsChecked(const ExchangeFacts& exchange);
Verdict ARefusalChangesNothing(const ExchangeFacts& exchange);
Verdict ARefusalKeepsToItsRow(const ExchangeFacts& exchange);
Verdict ARefusalDeletesWhatItCreated(const ExchangeFacts& exchange);
Verdict ARefusalHasItsCause(const ExchangeFacts& exchange);
Verdict AnErrorLeavesNoNewTunnel(const ExchangeFacts& exchange);
Verdict ATunnelThatWasNotStartedDoesNotRun(const ExchangeFacts& exchange);
Verdict AppliedMeansSeen(const ExchangeFacts& exchange);
Verdict RoutesArePinnedBeforeTheTunnelStarts(const ExchangeFacts& exchange);
Verdict TheGuardPinsNothing(const ExchangeFacts& exchange);
Verdict TheTunnelStartsFromItsFile(const ExchangeFacts& exchange);
Verdict ADisconnectLeavesNothing(const ExchangeFacts& exchange);
Verdict TheTimerIsScheduledAsTold(const ExchangeFacts& exchange);
Verdict TheReplyIsThePromisedOne(const ExchangeFacts& exchange);
Verdict TheRequestIsWiped(const ExchangeFacts& exchange);
Verdict AStatusTellsTheTruth(const ExchangeFacts& exchange);
Verdict ConnectedMeansStarted(const ExchangeFacts& exchange);
Verdict EveryLostRouteIsAddedAgain(const ExchangeFacts& exchange);
Verdict OnlyAdministratorsArePinned(const ExchangeFacts& exchange);
Verdict TheReplyNamesWhoIsPinned(const ExchangeFacts& exchange);
Verdict TheTunnelIsThisProgram(const ExchangeFacts& exchange);
Verdict TheGuardSeesADefaultRoute(const ExchangeFacts& exchange);
Verdict KeysAreLockedAway(const ExchangeFacts& exchange);
Verdict ACancelledTimerSleepsNoMore(const ExchangeFacts& exchange);

// Of timers.
Verdict TheTimerWaitsToItsEnd(const TimerFacts& timer);
Verdict TheTimerDoesItsWork(const TimerFacts& timer);
Verdict TheTimerLeavesNothing(const TimerFacts& timer);

// Of conversations.
Verdict ARequestIsAnswered(const ConversationFacts& conversation);

// Of ends.
Verdict TheProcessEndsForAKnownReason(const EndFacts& end);
Verdict TheExitCodeIsTheDueOne(const EndFacts& end);
Verdict AnOrderlyEndLeavesNothingOpen(const EndFacts& end);

}  // namespace veltrane::simulation
