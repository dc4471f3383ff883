#include "client/doctor/doctor.h"

#include "client/doctor/checks.h"
#include "client/doctor/findings.h"

namespace veltrane {

ExitCode RunDoctor(const DoctorOptions& options, Display& display) {
  Findings findings;
  Preflight preflight = BeginPreflight(options.any_server);
  CheckService(preflight, findings);
  CheckPipe(preflight, findings);
  CheckTunnelLibrary(preflight, findings);
  CheckSettings(preflight, findings);
  CheckSession(preflight, findings);
  CheckBypass(preflight, findings);
  CheckNetwork(preflight, findings);
  CheckLeftovers(preflight, findings);
  CheckConfigurationFolder(preflight, findings);
  display.Print(options.json ? FindingsJson(findings)
                             : FindingsScreen(findings, display.OutputPainter()));
  return findings.Verdict();
}

}  // namespace veltrane
