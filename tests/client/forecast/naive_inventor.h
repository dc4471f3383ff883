#pragma once

// Machines of which everything is known, from a situation of which it is not.

#include <vector>

#include "tests/client/forecast/naive_machine.h"

namespace veltrane::naive {

// Fills in each blank that matters in this world in every way that could matter to the subject; one
// machine when there are none.
std::vector<Machine> InventMachines(const Situation& situation, const World& world,
                                    const Subject& subject);

}  // namespace veltrane::naive
