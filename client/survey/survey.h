#pragma once

// Reads from the machine what the forecast is made from.

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "client/forecast/situation.h"
#include "client/survey/service_settings.h"

namespace veltrane {

struct SurveyQuestion {
  bool any_server = false;                 // a service in console mode: this process's settings
  std::optional<std::string> allowed_ips;  // of the profile, as it is sent
  std::optional<std::string> address;
  std::vector<IpAddress> asked;      // by the command line
  std::vector<Subject> prompt = {};  // the connections by which this prompt is reached
};

struct Survey {
  Situation situation;

  // Whether the subjects include everyone who is connected over Remote Desktop now, as far as can
  // be read: the connections of both families, the ports of all listeners and the sessions.
  bool all_connections_read = false;

  // The connections, two of one peer counted twice, and the active sessions that somebody must be
  // connected to.
  std::size_t rdp_connections = 0;
  std::size_t remote_sessions = 0;
};

// Says, without a full stop, that more sessions are active than there are connections, so that
// somebody is connected in a way that is not surveyed: by another protocol or another port, through
// a program on this machine, or without TCP. Empty when nobody is.
std::string UnseenGuestText(const Survey& survey);

// Reads everything; changes nothing. The subjects are, in this order and each address once (each
// pair of remote and local address for connections): the peers of established connections to the
// port of any Remote Desktop listener (HKLM\SYSTEM\CurrentControlSet\Control\Terminal
// Server\WinStations\*, PortNumber) or to 3389, which a listener keeps until it is restarted; those
// of this prompt; the addresses that the settings name, or may name as far as can be seen; those
// asked about; the IPv4 client addresses of sessions.
Survey SurveyMachine(const SurveyQuestion& question);

}  // namespace veltrane
