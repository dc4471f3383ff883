#pragma once

// For what a process may end by itself, and what must have come before (docs/protocol.md, "What
// ends the service").

#include <vector>

#include "tests/simulation/facts.h"

namespace veltrane::simulation {

struct Reason {
  const char* name;
  bool (*is)(const EndFacts&);
};
const std::vector<Reason>& Reasons();

// The reason for which this process ended; null when its main function returned, or for none.
const Reason* ReasonOf(const EndFacts& end);

}  // namespace veltrane::simulation
