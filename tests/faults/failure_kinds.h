#pragma once

// How a boundary call can fail: what the headers of platform/ say of each function.

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace veltrane::faults {

struct FailureKind {
  std::string_view call;   // a name of tests/simulated/boundary_calls.h
  std::string_view label;  // "fails", "160", "half a list"
  std::uint32_t status;    // for Calls::Fail
};

// The kinds of failure of a function, none for one whose contract names none.
std::vector<FailureKind> KindsOf(std::string_view call);

// One call of a story that is made to fail: the n-th of this name, 1 being the first.
struct Fault {
  FailureKind kind;
  std::size_t nth = 0;
};

}  // namespace veltrane::faults
