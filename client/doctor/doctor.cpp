#include "client/doctor/doctor.h"

#include <utility>

#include "client/doctor/checks.h"

namespace veltrane {
namespace {

void NoteWhatWasDenied(Findings& findings) {
  if (findings.Denied().empty()) return;
  std::string list;
  for (const std::string& what : findings.Denied()) list += (list.empty() ? "" : ", ") + what;
  findings.Begin("rights");
  findings.Note("not looked at", list + ": run veltranectl doctor in an elevated prompt");
}

}  // namespace

Examination Examine(const SurveyQuestion& question) {
  Findings findings;
  Preflight preflight = BeginPreflight(question);
  CheckService(preflight, findings);
  CheckPipe(preflight, findings);
  CheckTunnelLibrary(preflight, findings);
  CheckProgramAccess(preflight, findings);
  CheckSettings(preflight, findings);
  CheckSession(preflight, findings);
  CheckBypass(preflight, findings);
  CheckEnvironment(preflight, findings);
  CheckNetwork(preflight, findings);
  CheckLeftovers(preflight, findings);
  CheckConfigurationFolder(preflight, findings);
  NoteWhatWasDenied(findings);
  CheckForecast(preflight, findings);
  return {std::move(findings), std::move(preflight.forecast), question.any_server};
}

}  // namespace veltrane
