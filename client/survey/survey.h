#pragma once

// Reads from the machine what the forecast is made from.

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
  std::vector<IpAddress> asked;  // by the command line
};

struct Survey {
  Situation situation;

  // Whether the subjects include everyone who is connected over Remote Desktop now: the connections
  // of both families and the ports of all listeners could be read.
  bool all_connections_read = false;
};

// Reads everything; changes nothing. The subjects are, in this order and each address once (each
// pair of remote and local address for connections): the peers of established connections to the
// port of any Remote Desktop listener (HKLM\SYSTEM\CurrentControlSet\Control\Terminal
// Server\WinStations\*, PortNumber) or to 3389, which a listener keeps until it is restarted; the
// addresses that the settings name, or may name as far as can be seen; those asked about; the IPv4
// client addresses of sessions.
Survey SurveyMachine(const SurveyQuestion& question);

}  // namespace veltrane
