#pragma once

// What is on a machine, in words.

#include <string>
#include <vector>

#include "tests/faults/account.h"
#include "tests/simulated/machine.h"

namespace veltrane::faults {

// What is there beyond the program: routes in table order, services, files.
Machinery LeftOn(const simulated::Machine& machine);

// What the program has not closed: "1 pipes", "2 service handles".
std::vector<std::string> OpenOn(const simulated::Machine& machine);

// The SIDs in the access list of the pipe that was created last; none for one with default
// security.
std::vector<std::string> AdmittedBy(const simulated::Machine& machine);

}  // namespace veltrane::faults
