#pragma once

#include <optional>
#include <set>
#include <string>
#include <vector>

#include "tests/simulated/machine.h"
#include "tests/simulation/facts.h"

namespace veltrane::simulation {

// What the rules promise for a request, from the machine as it is now. `nonce` is the registered
// one, `counted` says whether a connect or a stop has ended the passive phase, `own` has the
// machine's own public addresses as the process knows them.
Promise PromiseFor(const simulated::Machine& machine, const std::string& request,
                   const std::string& nonce, bool counted, const std::set<std::string>& own);

// The public ones among the addresses of the machine's adapters.
std::set<std::string> PublicAddressesIn(const std::vector<std::uint32_t>& addresses);

// "192.168.1.1 if 12", the way to the probe address; nullopt when it has no gateway.
std::optional<std::string> PhysicalWay(const simulated::Machine& machine);

}  // namespace veltrane::simulation
