#include <algorithm>

#include "client/doctor/checks.h"
#include "client/screens/forecast_texts.h"
#include "client/text/quoting.h"

namespace veltrane {
namespace {

void AddQuestion(const Preflight& preflight, Findings& findings) {
  const SurveyQuestion& question = preflight.question;
  if (question.allowed_ips) {
    findings.Ok("profile", "AllowedIPs " + Shown(*question.allowed_ips) + ", Address " +
                               Shown(question.address.value_or("")));
  } else {
    findings.NoteWithFix("profile",
                         "none is given, so the question is asked for 0.0.0.0/0, ::/0, with which "
                         "the WireGuard library blocks everything outside the tunnel",
                         ".\\veltranectl doctor PROFILE");
  }
  if (question.any_server) {
    findings.Note("settings", "assumed: the service is taken to have this process's environment");
  }
  if (!preflight.survey.all_connections_read) {
    findings.Risk("connections", "not everyone who is connected over Remote Desktop can be found",
                  "netstat -ano -p TCP");
  }
}

void Add(const Outlook& outlook, Findings& findings) {
  const std::string check = AddressText(outlook.subject.address);
  const std::string text = SummaryOf(outlook) + ": " + DetailOf(outlook, false);
  const bool asked_for_a_profile =
      outlook.cause == Cause::kAssumedCatchAll || outlook.cause == Cause::kGuardNetworkUnknown;
  const std::string fix = asked_for_a_profile ? "" : FixOf(outlook);
  if (Endangers(outlook)) {
    findings.Risk(check, text, fix);
  } else if (outlook.verdict == ForecastVerdict::kStays) {
    findings.Ok(check, text);
  } else if (outlook.subject.reason == SubjectReason::kRdpSession || asked_for_a_profile) {
    findings.NoteWithFix(check, text, fix);
  } else if (outlook.verdict == ForecastVerdict::kRefused && outlook.settled_by.empty()) {
    findings.Fail(check, text, fix);
  } else {
    findings.Warn(check, text, fix);
  }
}

// Somebody sits at the other end of this session, though no connection shows him.
void AddOwnSession(const Preflight& preflight, Findings& findings) {
  const std::vector<Outlook>& forecast = preflight.forecast;
  const bool found = std::any_of(forecast.begin(), forecast.end(), [](const Outlook& outlook) {
    return outlook.subject.reason == SubjectReason::kRdpConnection;
  });
  if (found || !preflight.guard.rdp_session_active) return;
  findings.Risk(
      "this session",
      "a Remote Desktop session, but the connection that it comes over is not to be found", "");
}

}  // namespace

void CheckForecast(const Preflight& preflight, Findings& findings) {
  findings.Begin("forecast");
  AddQuestion(preflight, findings);
  for (const Outlook& outlook : preflight.forecast) Add(outlook, findings);
  AddOwnSession(preflight, findings);
  if (preflight.forecast.empty()) {
    findings.Note("nobody",
                  "no Remote Desktop connection, and no setting names an address: ask for one with "
                  "--from ADDRESS");
  }
}

}  // namespace veltrane
