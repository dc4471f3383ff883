#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace veltrane::simulation {

// The calls that the dice let fail, and the statuses with which each may. Status 0 of a function
// that returns a status is a success that does nothing; kOnlyHalf and kNothingAtAll are in
// tests/simulated/calls.h. A thread that cannot be created is Process::RefuseNextThread.
struct FailingCall {
  std::string name;
  std::vector<std::uint32_t> statuses;
};
const std::vector<FailingCall>& FailingCalls();

}  // namespace veltrane::simulation
