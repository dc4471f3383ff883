#pragma once

// Whether a connect may be sent. Pure functions.

#include <string>
#include <vector>

#include "client/connect/prompt.h"
#include "client/forecast/forecast.h"
#include "client/survey/survey.h"

namespace veltrane {

// What the forecast means for a connect.
struct Caution {
  bool stops = false;              // somebody who is connected now would not stay
  std::string reason;              // why it stops, without a full stop
  bool origin_is_missing = false;  // it would not stop for that if the command line said from where
                                   // this prompt is reached
  std::vector<Outlook> outlooks;   // of those who are connected and in danger; when there are none,
                                   // of the others; the worst first
};

// Judges the outlooks of a survey that was made for this prompt. It stops when somebody who is
// connected has another verdict than stays or refused: the peer of a Remote Desktop connection,
// that of a connection of the prompt, and whoever is at an address that the command line names. It
// also stops when not everyone who is connected can be found: when there are fewer Remote Desktop
// connections than remote sessions, this one included, and when the prompt is reached over SSH or
// WinRM, or may be, and neither a connection nor the command line says from where. Otherwise the
// outlooks are those of people who are not connected now.
Caution Weigh(const Survey& survey, const std::vector<Outlook>& forecast, const Prompt& prompt);

}  // namespace veltrane
