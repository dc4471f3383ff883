#include "client/connect/caution.h"

#include <algorithm>

#include "client/screens/forecast_texts.h"

namespace veltrane {
namespace {

bool IsPrompts(const Outlook& outlook, const Prompt& prompt) {
  return prompt.ssh_peer && outlook.subject.address == *prompt.ssh_peer;
}

bool IsConnected(const Outlook& outlook, const Prompt& prompt) {
  return outlook.subject.reason == SubjectReason::kRdpConnection || IsPrompts(outlook, prompt);
}

bool IsDanger(const Outlook& outlook) {
  return outlook.verdict != ForecastVerdict::kStays && outlook.verdict != ForecastVerdict::kRefused;
}

// Why somebody may be connected whom the forecast does not know; empty when nobody is.
std::string FindUnknownGuest(const Survey& survey, const std::vector<Outlook>& forecast,
                             const Prompt& prompt) {
  if (!survey.all_connections_read) {
    return "it cannot be read who is connected over Remote Desktop";
  }
  if (prompt.over_ssh && !prompt.ssh_peer) {
    return "this prompt is reached over SSH, and SSH_CONNECTION does not say from where";
  }
  const bool found = std::any_of(forecast.begin(), forecast.end(), [](const Outlook& outlook) {
    return outlook.subject.reason == SubjectReason::kRdpConnection;
  });
  if (prompt.remote_session && !found) {
    return "this is a Remote Desktop session, but the connection that it comes over is not to be "
           "found";
  }
  return {};
}

}  // namespace

Prompt PromptOf(bool remote_session, std::string_view ssh_connection) {
  Prompt prompt{
      .remote_session = remote_session, .over_ssh = !ssh_connection.empty(), .ssh_peer = {}};
  if (prompt.over_ssh) {
    prompt.ssh_peer = ParseAddress(ssh_connection.substr(0, ssh_connection.find(' ')));
  }
  return prompt;
}

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
  caution.reason = FindUnknownGuest(survey, forecast, prompt);
  if (!caution.outlooks.empty()) caution.reason = "somebody who is connected now would not stay";
  caution.stops = !caution.reason.empty();
  if (caution.outlooks.empty()) caution.outlooks = others;
  caution.outlooks = WorstFirst(std::move(caution.outlooks));
  return caution;
}

}  // namespace veltrane
