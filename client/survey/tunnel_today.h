#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "client/forecast/situation.h"

namespace veltrane {

struct TunnelFacts {
  TunnelToday today = TunnelToday::kUnknown;
  std::optional<std::uint32_t> interface_index;
};

// Finds the tunnel that is up: its service (kTunnelServiceName) has not stopped, or one of these
// interfaces has the alias that the library gives to its adapter, the name of the configuration
// file without its ending. None only when the names of all these interfaces can be read.
TunnelFacts SurveyTunnel(const std::vector<InterfaceFacts>& interfaces);

}  // namespace veltrane
