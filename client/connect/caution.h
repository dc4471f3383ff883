#pragma once

// Whether a connect may be sent. Pure functions.

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "client/forecast/forecast.h"
#include "client/survey/survey.h"

namespace veltrane {

// Where the person at this prompt comes from.
struct Prompt {
  bool remote_session = false;        // a Remote Desktop session (IsRemoteSession)
  bool over_ssh = false;              // SSH_CONNECTION is set
  std::optional<IpAddress> ssh_peer;  // of SSH_CONNECTION; nullopt when it cannot be read
};

// Reads the value of SSH_CONNECTION, "CLIENT_IP CLIENT_PORT SERVER_IP SERVER_PORT" (ssh(1)); an
// empty one is none.
Prompt PromptOf(bool remote_session, std::string_view ssh_connection);

// What the forecast means for a connect.
struct Caution {
  bool stops = false;             // somebody who is connected now would not stay
  std::string reason;             // why it stops, without a full stop
  std::vector<Outlook> outlooks;  // of those who are connected and in danger; when there are none,
                                  // of the others; the worst first
};

// Judges the outlooks of a survey. It stops when an established Remote Desktop connection, or the
// SSH connection of this prompt, has another verdict than stays or refused; when not everyone who
// is connected can be found; and when this is a remote session whose connection is not among those
// found. Otherwise the outlooks are those of people who are not connected now.
Caution Weigh(const Survey& survey, const std::vector<Outlook>& forecast, const Prompt& prompt);

}  // namespace veltrane
