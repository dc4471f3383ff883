#pragma once

// What is on a machine, in words.

#include <string>
#include <vector>

#include "tests/faults/account.h"
#include "tests/simulated/machine.h"

namespace veltrane::faults {

// What is there beyond the program: routes in table order, services, files. A running tunnel has
// loaded this configuration, "for fra-1", when it began to run; empty when that is not known.
Machinery LeftOn(const simulated::Machine& machine, const std::string& loaded);

// What a configuration file contains: "for fra-1", "of zeros", "in part".
std::string Contents(const std::string& bytes);

// What the program has not closed: "1 pipes", "2 service handles".
std::vector<std::string> OpenOn(const simulated::Machine& machine);

// The SIDs in the access list of the pipe that was created last; none for one with default
// security.
std::vector<std::string> AdmittedBy(const simulated::Machine& machine);

}  // namespace veltrane::faults
