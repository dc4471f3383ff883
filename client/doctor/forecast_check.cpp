#include <algorithm>
#include <optional>
#include <string_view>

#include "client/doctor/checks.h"
#include "client/screens/forecast_texts.h"
#include "client/text/quoting.h"
#include "client/text/split.h"

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

// Halves, or smaller pieces, that together are a catch-all, which the guard does not see as one.
bool HasHalves(const std::string& allowed_ips) {
  std::vector<IpNetwork> pieces;
  for (const std::string_view item : Split(allowed_ips, ',')) {
    const std::optional<IpNetwork> network = ParseNetwork(Trimmed(item));
    if (network && network->prefix_length > 0) pieces.push_back(*network);
  }
  return CoverFamily(pieces, IpFamily::kIpv4) || CoverFamily(pieces, IpFamily::kIpv6);
}

void CheckHalves(const Preflight& preflight, Findings& findings) {
  if (!HasHalves(preflight.question.allowed_ips.value_or(""))) return;
  const std::vector<World>& worlds = preflight.survey.situation.worlds;
  if (std::none_of(worlds.begin(), worlds.end(), [](const World& world) { return world.guard; })) {
    return;
  }
  findings.Warn("halves",
                "the default-route guard is on, or may be: it does not see a catch-all in "
                "halves, and nobody is pinned under it",
                "");
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

// Somebody sits at the other end of a session, though no connection shows him.
void AddSessions(const Preflight& preflight, Findings& findings) {
  const Survey& survey = preflight.survey;
  const std::string unseen = UnseenGuestText(survey);
  if (preflight.guard.rdp_session_active && survey.rdp_connections == 0) {
    findings.Risk(
        "this session",
        "a Remote Desktop session, but the connection that it comes over is not to be found", "");
  } else if (!unseen.empty()) {
    findings.Risk("sessions", unseen, "");
  }
}

}  // namespace

void CheckForecast(const Preflight& preflight, Findings& findings) {
  findings.Begin("forecast");
  AddQuestion(preflight, findings);
  CheckHalves(preflight, findings);
  for (const Outlook& outlook : preflight.forecast) Add(outlook, findings);
  AddSessions(preflight, findings);
  if (preflight.forecast.empty()) {
    findings.Note("nobody",
                  "no Remote Desktop connection, and no setting names an address: ask for one with "
                  "--from ADDRESS");
  }
}

}  // namespace veltrane
