#pragma once

#include "client/forecast/plan.h"

namespace veltrane {

// Decides the part of a plan that is the bypass's, for a world in which it is on and the guard is
// not in force: whether the connect is refused, and whether the subject is pinned.
void PlanPins(const Situation& situation, const World& world, const Subject& subject, Plan& plan);

}  // namespace veltrane
