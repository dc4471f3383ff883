#include "client/connect/caution.h"

#include <algorithm>

#include "client/screens/forecast_texts.h"

namespace veltrane {
namespace {

bool IsConnected(const Outlook& outlook, const Prompt& prompt) {
  const IpAddress& address = outlook.subject.address;
  return IsConnection(outlook.subject) ||
         std::find(prompt.named.begin(), prompt.named.end(), address) != prompt.named.end();
}

bool IsDanger(const Outlook& outlook) {
  return outlook.verdict != ForecastVerdict::kStays && outlook.verdict != ForecastVerdict::kRefused;
}

bool Has(const Prompt& prompt, SubjectReason reason) {
  return std::any_of(prompt.connections.begin(), prompt.connections.end(),
                     [reason](const Subject& subject) { return subject.reason == reason; });
}

// Why it is not known from where this prompt is reached; empty when it is, or when it is not
// reached over SSH or WinRM.
std::string FindUnknownOrigin(const Prompt& prompt) {
  if (!prompt.named.empty()) return {};
  if (prompt.over_ssh && !Has(prompt, SubjectReason::kSshConnection)) {
    return "this prompt is reached over SSH, and SSH_CONNECTION does not say from where";
  }
  if (!prompt.over_winrm) {
    return "the processes cannot be read, so this prompt may be reached over WinRM from anywhere";
  }
  if (*prompt.over_winrm && !Has(prompt, SubjectReason::kWinRmConnection)) {
    return "this prompt is reached over WinRM, and it cannot be found out from where";
  }
  return {};
}

// Why somebody may be connected over Remote Desktop whom the forecast does not know; empty when
// nobody is.
std::string FindUnknownGuest(const Survey& survey, const Prompt& prompt) {
  if (!survey.all_connections_read) {
    return "it cannot be read who is connected over Remote Desktop";
  }
  if (prompt.remote_session && survey.rdp_connections == 0) {
    return "this is a Remote Desktop session, but the connection that it comes over is not to be "
           "found";
  }
  return UnseenGuestText(survey);
}

}  // namespace

Caution Weigh(const Survey& survey, const std::vector<Outlook>& forecast, const Prompt& prompt) {
  Caution caution;
  std::vector<Outlook> others;
  for (const Outlook& outlook : forecast) {
    if (!IsDanger(outlook)) continue;
    if (IsConnected(outlook, prompt)) {
      caution.outlooks.push_back(outlook);
    } else if (outlook.subject.reason != SubjectReason::kRdpSession) {
      others.push_back(outlook);
    }
  }
  caution.reason = FindUnknownGuest(survey, prompt);
  if (!caution.outlooks.empty()) caution.reason = "somebody who is connected now would not stay";
  if (caution.reason.empty()) {
    caution.reason = FindUnknownOrigin(prompt);
    caution.origin_is_missing = !caution.reason.empty();
  }
  caution.stops = !caution.reason.empty();
  if (caution.outlooks.empty()) caution.outlooks = others;
  caution.outlooks = WorstFirst(std::move(caution.outlooks));
  return caution;
}

}  // namespace veltrane
