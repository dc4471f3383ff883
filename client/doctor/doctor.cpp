#include "client/doctor/doctor.h"

#include "client/doctor/checks.h"

namespace veltrane {

Findings Examine(bool any_server) {
  Findings findings;
  Preflight preflight = BeginPreflight(any_server);
  CheckService(preflight, findings);
  CheckPipe(preflight, findings);
  CheckTunnelLibrary(preflight, findings);
  CheckSettings(preflight, findings);
  CheckSession(preflight, findings);
  CheckBypass(preflight, findings);
  CheckNetwork(preflight, findings);
  CheckLeftovers(preflight, findings);
  CheckConfigurationFolder(preflight, findings);
  return findings;
}

}  // namespace veltrane
