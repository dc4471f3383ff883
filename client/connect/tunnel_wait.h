#pragma once

#include <cstdint>
#include <string>

#include "client/exchange/service_pipe.h"

namespace veltrane {

// What came of waiting for the tunnel; the text says why it is not up, without a full stop.
struct TunnelWait {
  bool up = false;
  std::string text;
};

// Asks the service once a second until its tunnel service has run for three answers in a row
// (tunnel_running). Fails when it does not within so many seconds, of which a question without an
// answer takes 5 at most, when it has run and stops, and when the service is no longer connected. A
// tunnel service that begins to run at the end has the time for its three answers.
TunnelWait WaitForTunnel(std::uint32_t seconds, bool any_server, const WaitObserver& observer);

}  // namespace veltrane
