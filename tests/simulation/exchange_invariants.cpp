#include "tests/simulation/invariants.h"

namespace veltrane::simulation {

const std::vector<Invariant<ExchangeFacts>>& ExchangeInvariants() {
  static const std::vector<Invariant<ExchangeFacts>> invariants = {
      {"TheReplyIsWhole", TheReplyIsWhole},
      {"TheErrorBelongsToTheOperation", TheErrorBelongsToTheOperation},
      {"TheReplyCarriesNoKey", TheReplyCarriesNoKey},
      {"ThePhaseFollowsTheReply", ThePhaseFollowsTheReply},
      {"TheSessionIsChecked", TheSessionIsChecked},
      {"ARefusalChangesNothing", ARefusalChangesNothing},
      {"ARefusalKeepsToItsRow", ARefusalKeepsToItsRow},
      {"ARefusalDeletesWhatItCreated", ARefusalDeletesWhatItCreated},
      {"ARefusalHasItsCause", ARefusalHasItsCause},
      {"AnErrorLeavesNoNewTunnel", AnErrorLeavesNoNewTunnel},
      {"ATunnelThatWasNotStartedDoesNotRun", ATunnelThatWasNotStartedDoesNotRun},
      {"AppliedMeansSeen", AppliedMeansSeen},
      {"RoutesArePinnedBeforeTheTunnelStarts", RoutesArePinnedBeforeTheTunnelStarts},
      {"TheGuardPinsNothing", TheGuardPinsNothing},
      {"TheTunnelStartsFromItsFile", TheTunnelStartsFromItsFile},
      {"ADisconnectLeavesNothing", ADisconnectLeavesNothing},
      {"TheTimerIsScheduledAsTold", TheTimerIsScheduledAsTold},
      {"TheReplyIsThePromisedOne", TheReplyIsThePromisedOne},
      {"AStatusTellsTheTruth", AStatusTellsTheTruth},
      {"ConnectedMeansStarted", ConnectedMeansStarted},
      {"EveryLostRouteIsAddedAgain", EveryLostRouteIsAddedAgain},
      {"OnlyAdministratorsArePinned", OnlyAdministratorsArePinned},
      {"TheReplyNamesWhoIsPinned", TheReplyNamesWhoIsPinned},
      {"TheTunnelIsThisProgram", TheTunnelIsThisProgram},
      {"TheGuardSeesADefaultRoute", TheGuardSeesADefaultRoute},
      {"KeysAreLockedAway", KeysAreLockedAway},
      {"TheRequestIsWiped", TheRequestIsWiped},
      {"ACancelledTimerSleepsNoMore", ACancelledTimerSleepsNoMore},
  };
  return invariants;
}

}  // namespace veltrane::simulation
